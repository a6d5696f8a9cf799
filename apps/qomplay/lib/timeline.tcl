# The timeline: where the frame is in the recording, and a handle to drag.
#
# It knows fractions, 0 at the start and 1 at the end. Pressing or dragging calls the command
# with a fraction; hovering shows the time there.
namespace eval qomplay::timeline {
    variable canvas ""
    variable fraction 0.0   ;# of the frame that is shown
    variable goal -1        ;# of the frame that a move goes to; -1: none
    variable dragging 0
    variable command {}     ;# called with a fraction
    variable label {}       ;# called with a fraction, returns the text of the hint
}

proc qomplay::timeline::build {path on_seek hint} {
    variable canvas $path
    variable command $on_seek
    variable label $hint
    ::canvas $path -height [theme_px 26] -highlightthickness 0 -borderwidth 0 -takefocus 0 \
        -background [theme_colour panel] -cursor hand2
    foreach item {trough goal played} colour {line faint accent} {
        $path create rectangle 0 0 0 0 -tags $item -width 0 -fill [theme_colour $colour]
    }
    $path create oval 0 0 0 0 -tags handle -width 0 -fill [theme_colour text]
    bind $path <Configure> [namespace code draw]
    bind $path <Button-1> [namespace code {press %x}]
    bind $path <B1-Motion> [namespace code {drag %x}]
    bind $path <ButtonRelease-1> [namespace code {release %x}]
    bind $path <Motion> [namespace code {hover %x}]
    bind $path <Leave> [namespace code hint_hide]
    return $path
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
    set middle [expr {[winfo height $canvas] / 2.0}]
    set half [expr {[theme_px 4] / 2.0}]
    set radius [theme_px 7]
    set x [x_of $fraction]
    bar trough [x_of 0] [x_of 1] $middle $half
    bar played [x_of 0] $x $middle $half
    if {$goal >= 0} {
        bar goal $x [x_of $goal] $middle $half
    } else {
        bar goal 0 0 0 0
    }
    $canvas coords handle [expr {$x - $radius}] [expr {$middle - $radius}] \
        [expr {$x + $radius}] [expr {$middle + $radius}]
}

proc qomplay::timeline::bar {item from to middle half} {
    variable canvas
    $canvas coords $item [expr {min($from, $to)}] [expr {$middle - $half}] \
        [expr {max($from, $to)}] [expr {$middle + $half}]
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
    hint_show $x
    {*}$command $fraction
}

proc qomplay::timeline::release {x} {
    variable dragging
    if {!$dragging} return
    drag $x
    set dragging 0
}

proc qomplay::timeline::hover {x} {hint_show $x}

# The hint is a small window over everything, above the pointer.
proc qomplay::timeline::hint_show {x} {
    variable canvas
    variable label
    set hint .qomplay_hint
    if {![winfo exists $hint]} {
        ::label $hint -background [theme_colour raised] -foreground [theme_colour text] \
            -font QomSmall -padx [theme_px 6] -pady [theme_px 2] -borderwidth 0
    }
    $hint configure -text [{*}$label [fraction_at $x]]
    set width [winfo reqwidth $hint]
    set left [expr {[winfo x $canvas] + [winfo x [winfo parent $canvas]] + $x - $width / 2}]
    set left [expr {max(0, min([winfo width .] - $width, $left))}]
    set top [expr {[winfo rooty $canvas] - [winfo rooty .] - [winfo reqheight $hint] - [theme_px 2]}]
    place $hint -x $left -y $top
    raise $hint
}

proc qomplay::timeline::hint_hide {} {
    variable dragging
    if {!$dragging && [winfo exists .qomplay_hint]} {place forget .qomplay_hint}
}
