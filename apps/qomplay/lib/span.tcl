# The part of the recording that the timeline shows, as fractions: 0 is the start, 1 the end. Nothing
# here needs a window; whoever draws binds <<SpanChanged>> on the main window.
namespace eval qomplay::span {
    variable from 0.0
    variable to 1.0
    variable least 1e-6   ;# the smallest part that makes sense, a fraction
}

# The whole recording, of which no part shorter than `fraction` will be shown.
proc qomplay::span::setup {fraction} {
    variable least [expr {max(1e-9, min(1.0, $fraction))}]
    set_to 0.0 1.0
}

proc qomplay::span::is_whole {} {
    variable from
    variable to
    return [expr {$from <= 0.0 && $to >= 1.0}]
}

proc qomplay::span::width {} {
    variable from
    variable to
    return [expr {$to - $from}]
}

# Shows a part, moved so that it lies within the recording.
proc qomplay::span::set_to {start end} {
    variable from
    variable to
    variable least
    set wide [expr {max($least, min(1.0, $end - $start))}]
    set start [expr {max(0.0, min(1.0 - $wide, $start))}]
    if {$start == $from && $start + $wide == $to} return
    set from $start
    set to [expr {$start + $wide}]
    event generate . <<SpanChanged>>
}

# Shows `factor` times as much; what is at a fraction stays where it is.
proc qomplay::span::zoom {at factor} {
    variable from
    variable least
    set wide [width]
    set now [expr {max($least, min(1.0, $wide * $factor))}]
    set start [expr {$at - ($at - $from) * $now / $wide}]
    set_to $start [expr {$start + $now}]
}

# Moves what is shown by a part of its width.
proc qomplay::span::pan {part} {
    variable from
    set wide [width]
    set_to [expr {$from + $part * $wide}] [expr {$from + $part * $wide + $wide}]
}

proc qomplay::span::whole {} {set_to 0.0 1.0}

# Keeps a moving place in sight: leaves it where it is until it comes to an edge.
proc qomplay::span::follow {at} {
    variable from
    variable to
    if {[is_whole]} return
    set wide [width]
    if {$at < $from || $at > $to - 0.02 * $wide} {
        set_to [expr {$at - 0.1 * $wide}] [expr {$at + 0.9 * $wide}]
    }
}

# The recording became longer: what is shown stays the same moments, the whole stays the whole.
# `share` is the old length as a part of the new one.
proc qomplay::span::grow {share} {
    variable from
    variable to
    variable least
    set least [expr {$least * $share}]
    if {[is_whole]} return
    set_to [expr {$from * $share}] [expr {$to * $share}]
}
