# The timeline: where the frame is in the recording, and a handle to drag.
#
# It knows fractions, 0 at the start and 1 at the end. Pressing or dragging calls the command
# with a fraction; hovering shows the time there.
namespace eval qomplay::timeline {
    variable canvas ""
    variable fraction 0.0   ;# of the frame that is shown
    variable goal -1        ;# of the frame that a move goes to; -1: none
    variable dragging 0
    variable marks {}       ;# fractions where the recording is damaged
    variable command {}     ;# called with a fraction
    variable label {}       ;# called with a fraction, returns the text of the hint
}

proc qomplay::timeline::build {path on_seek hint} {
    variable canvas $path
    variable command $on_seek
    variable label $hint
    ::canvas $path -height [theme_px 26] -highlightthickness [theme_px 2] -borderwidth 0 \
        -takefocus 1 -cursor hand2
    foreach item {trough goal played} {
        $path create line 0 0 0 0 -tags $item -capstyle round -width [theme_px 4]
    }
    ::qomplay::theme::repaint [namespace code paint]
    $path create image 0 0 -tags handle -image [::qomplay::theme::disc [theme_px 14] text]
    bind $path <Configure> [namespace code draw]
    bind $path <Button-1> [namespace code {press %x}]
    bind $path <B1-Motion> [namespace code {drag %x}]
    bind $path <ButtonRelease-1> [namespace code {release %x}]
    bind $path <Motion> [namespace code {hint %x}]
    bind $path <Button-4> ::qomplay::actions::ahead
    bind $path <Button-5> ::qomplay::actions::back
    bind $path <Leave> [namespace code leave]
    return $path
}

proc qomplay::timeline::paint {} {
    variable canvas
    if {![winfo exists $canvas]} return
    $canvas configure -background [theme_colour panel] -highlightcolor [theme_colour accent] \
        -highlightbackground [theme_colour panel]
    foreach {item colour} {trough edge goal text played accent mark warning} {
        $canvas itemconfigure $item -fill [theme_colour $colour]
    }
}

proc qomplay::timeline::theme_px {length} {return [::qomplay::theme::px $length]}
proc qomplay::timeline::theme_colour {name} {return [::qomplay::theme::colour $name]}

# Shows the frame's place, unless a person holds the handle, and the goal of a move.
proc qomplay::timeline::show {at to} {
    variable dragging
    variable fraction
    variable goal $to
    if {!$dragging} {set fraction $at}
    draw
}

proc qomplay::timeline::margin {} {return [theme_px 10]}

proc qomplay::timeline::x_of {at} {
    variable canvas
    set width [expr {[winfo width $canvas] - 2 * [margin]}]
    return [expr {[margin] + $at * max(1, $width)}]
}

proc qomplay::timeline::fraction_at {x} {
    variable canvas
    set width [expr {max(1, [winfo width $canvas] - 2 * [margin])}]
    return [expr {max(0.0, min(1.0, ($x - [margin]) / double($width)))}]
}

proc qomplay::timeline::draw {} {
    variable canvas
    variable fraction
    variable goal
    variable marks
    set middle [expr {[winfo height $canvas] / 2}]
    set x [expr {round([x_of $fraction])}]
    bar trough [x_of 0] [x_of 1] $middle
    bar played [x_of 0] $x $middle
    bar goal $x [expr {$goal >= 0 ? [x_of $goal] : $x}] $middle
    foreach at $marks {
        $canvas coords mark$at [x_of $at] [expr {$middle - [theme_px 6]}] \
            [x_of $at] [expr {$middle + [theme_px 6]}]
    }
    $canvas coords handle $x $middle
}

proc qomplay::timeline::bar {item from to middle} {
    variable canvas
    $canvas coords $item $from $middle $to $middle
}

# Marks a place where the recording is damaged; places that are closer than the eye can tell
# share a mark.
proc qomplay::timeline::mark {at} {
    variable canvas
    variable marks
    set at [format %.3f $at]
    if {$at in $marks} return
    lappend marks $at
    $canvas create line 0 0 0 0 -tags [list mark mark$at] -fill [theme_colour warning] \
        -width [theme_px 2]
    $canvas raise handle
    draw
}

proc qomplay::timeline::press {x} {
    variable dragging 1
    drag $x
}

proc qomplay::timeline::drag {x} {
    variable dragging
    variable fraction
    variable command
    if {!$dragging} return
    set fraction [fraction_at $x]
    draw
    hint $x
    {*}$command $fraction
}

proc qomplay::timeline::release {x} {
    variable dragging
    if {!$dragging} return
    drag $x
    set dragging 0
}

proc qomplay::timeline::hint {x} {
    variable canvas
    variable label
    ::qomplay::hints::show $canvas $x [{*}$label [fraction_at $x]]
}

proc qomplay::timeline::leave {} {
    variable dragging
    if {!$dragging} ::qomplay::hints::hide
}
