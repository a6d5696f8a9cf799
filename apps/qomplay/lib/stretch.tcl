# The stretch that a person has chosen: from one moment to another, for what is taken out.
namespace eval qomplay::stretch {
    variable ends {in "" out ""}   ;# microseconds since the epoch; empty: the recording's own end
}

# The shown moment becomes an end; again at the same moment it is none any more.
proc qomplay::stretch::set_end {which} {
    variable ends
    set us [::qomplay::window::position_us]
    if {[dict get $ends $which] eq $us} {set us ""}
    dict set ends $which $us
    # An end on the wrong side of the other takes that one away.
    lassign [list [dict get $ends in] [dict get $ends out]] in out
    if {$in ne "" && $out ne "" && $in >= $out} {
        dict set ends [expr {$which eq "in" ? "out" : "in"}] ""
    }
    foreach name {in out} {
        set at [dict get $ends $name]
        ::qomplay::timeline::set_ticks $name \
            [expr {$at eq "" ? {} : [list [::qomplay::window::fraction_at $at]]}]
    }
    ::qomplay::panels::say [words]
    ::qomplay::panels::refresh take
}

# First and last microsecond.
proc qomplay::stretch::limits {} {
    variable ends
    set in [dict get $ends in]
    set out [dict get $ends out]
    return [list [expr {$in eq "" ? $::qomplay::window::first_us : $in}] \
        [expr {$out eq "" ? [::qomplay::window::us_at 1.0] : $out}]]
}

proc qomplay::stretch::words {} {
    lassign [limits] from to
    set first $::qomplay::window::first_us
    return "From [::qomplay::times::elapsed [expr {($from - $first) / 1000}]] to\
        [::qomplay::times::elapsed [expr {($to - $first) / 1000}]],\
        [::qomplay::times::short [expr {($to - $from) / 1000}]]"
}
