# The timeline: where the frame is in the recording, and a handle to drag.
#
# It knows fractions of the recording, 0 at the start and 1 at the end, of which it shows the part that
# span.tcl tells. Pressing or dragging calls the command with a fraction; moving over it calls the
# hover command with a place and a fraction. What happened when is drawn above the trough by strip.tcl.
namespace eval qomplay::timeline {
    variable canvas ""
    variable fraction 0.0   ;# of the frame that is shown
    variable goal -1        ;# of the frame that a move goes to; -1: none
    variable dragging 0
    variable ticks          ;# fractions by kind
    array set ticks {damage {} mark {} found {} in {} out {}}
    variable inks {damage warning mark accent found text in accent out accent}
    variable command {}     ;# called with a fraction
    variable label {}       ;# called with a fraction, returns the text of the hint
}

proc qomplay::timeline::build {path on_seek hint} {
    variable canvas $path
    variable command $on_seek
    variable label $hint
    ::canvas $path -height [expr {[trough_height] + [::qomplay::strip::height]}] \
        -highlightthickness [px 2] -borderwidth 0 -takefocus 1 -cursor hand2
    foreach item {trough goal played} {
        $path create line 0 0 0 0 -tags $item -capstyle round -width [px 4]
    }
    ::qomplay::strip::build $path
    ::qomplay::theme::repaint [namespace code paint]
    $path create image 0 0 -tags handle -image [::qomplay::theme::disc [px 14] text]
    bind $path <Configure> [namespace code resized]
    bind $path <Button-1> [namespace code {press %x}]
    bind $path <B1-Motion> [namespace code {drag %x}]
    bind $path <ButtonRelease-1> [namespace code {release %x}]
    bind $path <Motion> [namespace code {hint %x}]
    bind $path <Button-4> [namespace code {wheel %x 0.7}]
    bind $path <Button-5> [namespace code {wheel %x 1.4}]
    bind $path <Shift-Button-4> [namespace code {turn -0.15}]
    bind $path <Shift-Button-5> [namespace code {turn 0.15}]
    foreach {event part} {Button-6 -0.15 Button-7 0.15} {
        # Not every Tk knows the wheels that turn sideways.
        catch {bind $path <$event> [namespace code [list turn $part]]}
    }
    bind $path <Leave> [namespace code leave]
    bind $path <Destroy> +::qomplay::hover::hide
    bind . <<SpanChanged>> +[namespace code draw]
    return $path
}

proc qomplay::timeline::px {length} {return [::qomplay::theme::px $length]}
proc qomplay::timeline::colour {name} {return [::qomplay::theme::colour $name]}

proc qomplay::timeline::paint {} {
    variable canvas
    variable inks
    if {![winfo exists $canvas]} return
    $canvas configure -background [colour panel] -highlightcolor [colour accent] \
        -highlightbackground [colour panel]
    foreach {item name} {trough edge goal text played accent mark warning} {
        $canvas itemconfigure $item -fill [colour $name]
    }
    foreach {kind ink} $inks {$canvas itemconfigure tick-$kind -fill [colour $ink]}
}

# Shows the frame's place, unless a person holds the handle, and the goal of a move.
proc qomplay::timeline::show {at to} {
    variable dragging
    variable fraction
    variable goal $to
    if {!$dragging} {
        set fraction $at
        ::qomplay::span::follow $at
    }
    draw_place
}

# --- places on the canvas ------------------------------------------------------------------------

proc qomplay::timeline::margin {} {return [px 10]}
proc qomplay::timeline::trough_height {} {return [px 22]}

# Pixels between the ends of the trough.
proc qomplay::timeline::length {} {
    variable canvas
    return [expr {max(1, [winfo width $canvas] - 2 * [margin])}]
}

proc qomplay::timeline::x_of {at} {
    return [expr {[margin] + ($at - $::qomplay::span::from) / [::qomplay::span::width] * [length]}]
}

proc qomplay::timeline::fraction_at {x} {
    set at [expr {$::qomplay::span::from + ($x - [margin]) * [::qomplay::span::width] / [length]}]
    return [expr {max(0.0, min(1.0, $at))}]
}

# The height at which the trough lies.
proc qomplay::timeline::middle {} {
    variable canvas
    return [expr {[winfo height $canvas] - [trough_height] / 2}]
}

# A place between the ends of the trough.
proc qomplay::timeline::within {x} {
    return [expr {max([margin], min([margin] + [length], $x))}]
}

# --- drawing -------------------------------------------------------------------------------------

proc qomplay::timeline::resized {} {
    draw
    event generate . <<TimelineResized>>
}

proc qomplay::timeline::draw {} {
    variable canvas
    variable ticks
    if {![winfo exists $canvas]} return
    draw_place
    foreach kind [array names ticks] {draw_ticks $kind}
    $canvas raise handle
}

proc qomplay::timeline::draw_place {} {
    variable canvas
    variable fraction
    variable goal
    set x [expr {round([x_of $fraction])}]
    bar trough [margin] [expr {[margin] + [length]}]
    bar played [margin] $x
    bar goal $x [expr {$goal >= 0 ? [x_of $goal] : $x}]
    $canvas coords handle [within $x] [middle]
    ::qomplay::strip::show_place [within $x]
}

proc qomplay::timeline::bar {item from to} {
    variable canvas
    $canvas coords $item [within $from] [middle] [within $to] [middle]
}

# --- ticks ---------------------------------------------------------------------------------------

# The places of a kind: damage, mark, found, in, out. Those closer than the eye can tell share a tick.
proc qomplay::timeline::set_ticks {kind fractions} {
    variable ticks
    set ticks($kind) [lsort -real -unique $fractions]
    draw_ticks $kind
}

proc qomplay::timeline::draw_ticks {kind} {
    variable canvas
    variable ticks
    variable inks
    if {![winfo exists $canvas]} return
    $canvas delete tick-$kind
    set last -10
    foreach at $ticks($kind) {
        set x [expr {round([x_of $at])}]
        if {$x != [within $x] || $x - $last < 2} continue
        set last $x
        set tags [list tick-$kind [expr {$kind eq "damage" ? "mark" : "tick"}]]
        $canvas create line $x [expr {[middle] - [px 7]}] $x [expr {[middle] + [px 7]}] \
            -tags $tags -fill [colour [dict get $inks $kind]] -width [px 2]
    }
    $canvas raise handle
}

# Marks a place where the recording is damaged.
proc qomplay::timeline::mark {at} {
    variable ticks
    set at [format %.3f $at]
    if {$at ni $ticks(damage)} {set_ticks damage [concat $ticks(damage) $at]}
}

# --- the pointer ---------------------------------------------------------------------------------

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
    draw_place
    hint $x
    {*}$command $fraction
}

proc qomplay::timeline::release {x} {
    variable dragging
    if {!$dragging} return
    drag $x
    set dragging 0
}

proc qomplay::timeline::wheel {x factor} {
    ::qomplay::span::zoom [fraction_at $x] $factor
    hint $x
}

proc qomplay::timeline::turn {part} {::qomplay::span::pan $part}

proc qomplay::timeline::hint {x} {
    variable canvas
    variable label
    ::qomplay::hover::show $canvas [within $x] [fraction_at $x] [{*}$label [fraction_at $x]]
}

proc qomplay::timeline::leave {} {
    variable dragging
    if {!$dragging} ::qomplay::hover::hide
}
