# The viewer in an interpreter of its own within the test's process: its real code under real
# key and mouse events, where a test can also ask what it knows.
package require Tk
wm withdraw .

namespace eval program {
    variable program ""
    variable patience 30000   ;# milliseconds until a test gives up waiting
    namespace export start stop ask until shown_frame at_frame key events point colour record wait_for launch window_named
}

# Makes a recording from the lines of a text.
proc program::record {name lines} {
    set text [tcltest::makeFile [join [list "qom-text 1" "start 2026-03-02T08:30:00Z" {*}$lines] \n] $name.txt]
    set recording [file join [tcltest::temporaryDirectory] $name.qom]
    file delete $recording
    exec $::env(QOM) make $text $recording 2>@1
    return $recording
}

# Starts the viewer as if with these words on its command line, and waits for its first picture.
proc program::start {args} {
    variable program [interp create]
    $program eval {set argv {}}
    $program eval [list set auto_path $::auto_path]
    $program eval {package require Tk}
    $program eval {package require qom::view}
    $program eval [list source -encoding utf-8 [file join $::env(QOMPLAY_LIBRARY) qomplay.tcl]]
    set status [$program eval [list qomplay::start [ask_options $args]]]
    if {$status != 0} {error "the viewer did not start: status $status"}
    until {[winfo ismapped .] && [winfo ismapped .stage.clip.view]}
    ask {focus -force .}
    until {[focus] eq "."}
    update
}

proc program::ask_options {words} {
    variable program
    return [$program eval [list qomplay::options::parse $words]]
}

proc program::stop {} {
    variable program
    # The events of windows that go are handled while there still is an interpreter for them.
    ask {if {[info commands .] ne ""} {destroy .}}
    update
    interp delete $program
}

proc program::ask {script} {
    variable program
    return [$program eval $script]
}

# Lets the program run until an expression is true in it.
proc program::until {condition} {
    variable program
    wait_for $condition {$program eval [list expr $condition]}
}

# Lets events happen until a script returns true.
proc program::wait_for {what script} {
    variable patience
    set deadline [expr {[clock milliseconds] + $patience}]
    while {![uplevel 1 $script]} {
        if {[clock milliseconds] > $deadline} {error "waited in vain for $what"}
        after 5 {set ::program::tick 1}
        vwait ::program::tick
    }
}

# Starts the program as a process of its own and returns a channel to what it says and its window.
proc program::launch {args} {
    set pipe [open |[list $::env(QOMPLAY) {*}$args 2>@1] r]
    return [list $pipe [window_named "qomplay$"]]
}

# The X window with a name, with the keyboard on it.
proc program::window_named {name} {
    set window [lindex [plain xdotool search --sync --onlyvisible --name $name] 0]
    plain xdotool windowfocus --sync $window
    return $window
}

proc program::shown_frame {} {return [ask {dict get $qomplay::window::shown frame}]}

# Waits until a frame is shown and no move is under way.
proc program::at_frame {frame} {
    until "\[dict get \$qomplay::window::shown frame\] == $frame && \[qomplay::seeking::target\] < 0"
    return [shown_frame]
}

# Sends real events.
proc program::events {args} {plain xdotool {*}$args}

# Runs a program as it is, also where this process runs with a sanitizer loaded into it.
proc program::plain {args} {exec env -u LD_PRELOAD {*}$args}

proc program::key {args} {
    foreach name $args {events key $name}
}

# Places of a widget on the screen, as fractions of its width and height.
proc program::place {widget fx fy} {
    lassign [ask "list \[winfo rootx $widget\] \[winfo rooty $widget\] \[winfo width $widget\] \[winfo height $widget\]"] \
        x y width height
    return [list [expr {round($x + $fx * ($width - 1))}] [expr {round($y + $fy * ($height - 1))}]]
}

proc program::point {widget {fx 0.5} {fy 0.5}} {
    events mousemove {*}[place $widget $fx $fy]
}

# The colour on the screen in a widget, red, green and blue.
proc program::colour {widget {fx 0.5} {fy 0.5}} {
    lassign [place $widget $fx $fy] x y
    update
    set pixel [plain import -silent -window root -crop 1x1+$x+$y -depth 8 txt:-]
    if {![regexp {\((\d+),(\d+),(\d+)} $pixel - red green blue]} {error "no pixel in $pixel"}
    return [list $red $green $blue]
}
