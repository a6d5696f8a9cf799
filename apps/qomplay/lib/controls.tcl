# Below the picture: the timeline, the buttons, the times, and the footer, in one frame.
namespace eval qomplay::controls {
    variable row .bars.row
    # button, hint; * stands for what does not end at the left
    variable left {
        start    "To the start (Home)"
        back     "5 seconds back (\u2190)"
        previous "One frame back (,)"
        play     "Play or pause (Space)"
        next     "One frame ahead (.)"
        ahead    "5 seconds ahead (\u2192)"
        end      "To the end (End)"
    }
    variable right {
        fit   "Fit to the window or natural size (1)"
        save  "Save the picture (s)"
        facts "Facts about the recording (i)"
        full  "Full screen (f)"
        help  "Keys (?)"
    }
    # What goes first when the window is too narrow for everything.
    variable dispensable {zone idle total help facts save start end fit wall back ahead}
}

proc qomplay::controls::px {length} {return [::qomplay::theme::px $length]}

proc qomplay::controls::build {} {
    variable row
    variable left
    variable right
    ttk::frame .bars
    ::qomplay::timeline::build .bars.timeline ::qomplay::actions::drag_to \
        ::qomplay::window::hint_text
    ttk::frame $row -padding [list [px 6] 0 [px 6] [px 6]]
    ttk::frame .bars.line -style Line.TFrame -height 1
    ::qomplay::footer::build .bars.footer
    pack .bars.timeline -fill x -padx [px 4] -pady [list [px 2] 0]
    pack $row .bars.line .bars.footer -fill x
    set column 0
    foreach {name hint} $left {button $name [incr column] $hint}
    build_times [incr column]
    incr column 5
    word speed $column "How fast it plays (\[ \])" "1\u00d7"
    word idle [incr column] "Time in which nothing happens is played, skipped or hurried through (x)" "idle"
    foreach {name hint} $right {button $name [incr column] $hint}
    bind $row <Configure> [namespace code {arrange %w}]
}

proc qomplay::controls::button {name column hint} {
    variable row
    ttk::button $row.$name -style Icon.TButton \
        -image [::qomplay::theme::icon $name] -command ::qomplay::actions::$name
    grid $row.$name -row 0 -column $column
    ::qomplay::hints::add $row.$name [subst -nocommands -novariables $hint]
}

# A button with a word that changes.
proc qomplay::controls::word {name column hint text} {
    variable row
    ttk::button $row.$name -style Word.TButton -text $text -command ::qomplay::actions::$name
    grid $row.$name -row 0 -column $column -padx [px 1]
    ::qomplay::hints::add $row.$name $hint
}

proc qomplay::controls::show_speed {words} {
    variable row
    $row.speed configure -text $words
}

proc qomplay::controls::show_idle {mode} {
    variable row
    $row.idle configure -text [dict get {off idle skip "skip idle" hurry "hurry idle"} $mode]
    arrange [winfo width $row]
}

proc qomplay::controls::build_times {column} {
    variable row
    ttk::label $row.lossy -style Warning.TLabel -anchor e
    grid $row.lossy -row 0 -column [expr {$column + 4}] -padx [px 6] -sticky e
    grid remove $row.lossy
    ttk::label $row.elapsed -style Time.TLabel -anchor e
    ttk::label $row.total -style Dim.TLabel -anchor w
    ttk::label $row.wall -style Small.TLabel -anchor w
    ttk::label $row.zone -style Dim.TLabel -anchor w
    grid $row.elapsed -row 0 -column $column -padx [list [px 14] [px 6]]
    grid $row.total -row 0 -column [expr {$column + 1}] -padx [list 0 [px 10]]
    grid $row.wall -row 0 -column [expr {$column + 2}] -padx [list [px 6] 0] -sticky w
    grid $row.zone -row 0 -column [expr {$column + 3}] -padx [list [px 3] [px 6]] -sticky w
    grid columnconfigure $row [expr {$column + 4}] -weight 1
    foreach name {elapsed total wall zone} {
        $row.$name configure -cursor hand2
        bind $row.$name <Button-1> ::qomplay::actions::goto
        ::qomplay::hints::add $row.$name "Go to a time (g)"
    }
}

# The times are as wide as their widest texts, so that nothing moves when they change: the elapsed
# time's is the whole length, the clock's one of its `moments`.
proc qomplay::controls::set_times {length moments} {
    variable row
    $row.elapsed configure -width [string length [::qomplay::times::elapsed $length]]
    lassign {} walls zones
    foreach ms $moments {
        lassign [::qomplay::times::parts $ms] wall zone
        lappend walls [characters $wall]
        lappend zones [characters $zone]
    }
    $row.wall configure -width [tcl::mathfunc::max {*}$walls]
    $row.zone configure -width [tcl::mathfunc::max {*}$zones]
    $row.total configure -text "/ [::qomplay::times::elapsed $length 0]"
}

# The width of a small text as labels count it, in digits.
proc qomplay::controls::characters {text} {
    return [expr {int(ceil([font measure QomSmall $text] / double([font measure QomSmall 0])))}]
}

# Shows the time since the start and the moment that it is.
proc qomplay::controls::show_time {elapsed ms} {
    variable row
    lassign [::qomplay::times::parts $ms] wall zone
    $row.elapsed configure -text $elapsed
    $row.wall configure -text $wall
    $row.zone configure -text $zone
    ::qomplay::fullscreen::tell
}

# Says that the picture has lossy areas; empty when it has none.
proc qomplay::controls::show_lossy {text hint} {
    variable row
    $row.lossy configure -text $text
    ::qomplay::hints::add $row.lossy $hint
    if {$text eq ""} {grid remove $row.lossy} else {grid $row.lossy}
    arrange [winfo width $row]
}

proc qomplay::controls::show_playing {on} {
    variable row
    $row.play configure -image [::qomplay::theme::icon [expr {$on ? "pause" : "play"}]]
}

proc qomplay::controls::show_natural {on} {
    variable row
    $row.fit configure -image [::qomplay::theme::icon [expr {$on ? "natural" : "fit"}]]
}

# Leaves out what a narrow row has no room for.
proc qomplay::controls::arrange {width} {
    variable row
    variable dispensable
    foreach name $dispensable {grid $row.$name}
    foreach name $dispensable {
        if {[needed] <= $width} return
        grid remove $row.$name
    }
}

proc qomplay::controls::needed {} {
    variable row
    set sum [px 12]
    foreach child [grid slaves $row] {
        lassign [dict get [grid info $child] -padx] before after
        incr sum [expr {[winfo reqwidth $child] + $before + ($after eq "" ? $before : $after)}]
    }
    return $sum
}
