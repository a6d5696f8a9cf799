# The viewer in an interpreter of its own within the test's process: its real code under real
# key and mouse events, where a test can also ask what it knows.
package require Tk
package require tcltest
namespace import tcltest::*
wm withdraw .
# What it remembers of the recordings that it shows is the test's own.
set ::env(XDG_STATE_HOME) [tcltest::makeDirectory state]

namespace eval program {
    variable program ""
    variable patience 30000   ;# milliseconds until a test gives up waiting
    namespace export start start_page stop ask until at_frame key events point colour record wait_for \
        run_command window_named
}

# Makes a recording from the lines of a text.
proc program::record {name lines {start 2026-03-02T08:30:00Z}} {
    set lines [list "qom-text 1" "start $start" {*}$lines]
    set text [tcltest::makeFile [join $lines \n] $name.txt]
    set recording [file join [tcltest::temporaryDirectory] $name.qom]
    file delete $recording
    exec $::env(QOM) make $text $recording 2>@1
    return $recording
}

# Starts the viewer as if with these words on its command line, and waits for its first picture.
proc program::start {args} {
    load_program
    set status [ask [list qomplay::start [ask [list qomplay::options::parse $args]]]]
    if {$status != 0} {error "the viewer did not start: status $status"}
    until {[winfo ismapped .] && [winfo ismapped .stage.clip.view]}
    ask {focus -force .}
    until {[focus] eq "."}
    update
}

# The same without a recording.
proc program::start_page {args} {
    load_program
    ask [list qomplay::start [ask [list qomplay::options::parse $args]]]
    until {[winfo ismapped .start]}
    ask {focus -force .start.list}
    until {[focus] eq ".start.list"}
    update
}

proc program::load_program {} {
    variable program [interp create]
    # In place of a dialog that nobody answers.
    $program alias fault ::runner::backgroundError
    interp bgerror $program fault
    ask {set argv {}}
    ask [list set auto_path $::auto_path]
    ask {package require Tk; package require qom::view}
    ask [list source -encoding utf-8 [file join $::env(QOMPLAY_LIBRARY) qomplay.tcl]]
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
    wait_for $condition {ask [list expr $condition]}
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

# Starts the program as a process of its own, by a command line that ends in the program's, and
# returns a channel to what it says.
proc program::run_command {args} {
    # The server may not have noticed yet that the process before is gone.
    wait_for "the last window to go" {catch {events search --onlyvisible --name "qomplay$"}}
    set pipe [open |[list {*}$args 2>@1] r]
    window_named "qomplay$"
    return $pipe
}

# Waits for the X window with a name and gives it the keyboard.
proc program::window_named {name} {
    wait_for "a window named $name" {
        expr {![catch {events search --onlyvisible --name $name windowfocus --sync}]}
    }
}

# Waits until a frame is shown and no move is under way.
proc program::at_frame {frame} {
    until "\[dict get \$qomplay::window::shown frame\] == $frame && \[qomplay::seeking::target\] < 0"
}

# Sends real events, by a program as it is, also where a sanitizer is loaded into this process.
proc program::events {args} {exec env -u LD_PRELOAD xdotool {*}$args}

proc program::key {args} {
    foreach name $args {events key $name}
}

# Places of a widget on the screen, as fractions of its width and height.
proc program::place {widget fx fy} {
    ask [list update]
    lmap {corner side} {rootx width rooty height} fraction [list $fx $fy] {
        expr {round([ask "winfo $corner $widget"] + $fraction * ([ask "winfo $side $widget"] - 1))}
    }
}

proc program::point {widget {fx 0.5} {fy 0.5}} {
    events mousemove {*}[place $widget $fx $fy]
}

# The colour on the screen in a widget, red, green and blue.
proc program::colour {widget {fx 0.5} {fy 0.5}} {
    lassign [place $widget $fx $fy] x y
    set pixel [exec env -u LD_PRELOAD import -silent -window root -crop 1x1+$x+$y -depth 8 txt:-]
    if {![regexp {\((\d+),(\d+),(\d+)} $pixel - red green blue]} {error "no pixel in $pixel"}
    return [list $red $green $blue]
}
