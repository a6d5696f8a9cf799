# Where the picture is not to be trusted, because what it was made of is damaged. The whole file is read
# for it in the background.
namespace eval qomplay::damage {
    variable stretches {}   ;# from, to: microseconds
    variable now {}         ;# the stretch that the shown moment lies in
}

proc qomplay::damage::setup {} {
    variable stretches {}
    variable now {}
    ::qom::unreliable $::qomplay::window::view -command [namespace code found]
}

proc qomplay::damage::found {list} {
    variable stretches $list
    if {$list eq ""} return
    ::qomplay::strip::set_damaged $list
    ::qomplay::happenings::add_damage $list
    ::qomplay::panels::refresh facts
    shown
}

# A moment is shown: says for as long as it is so that its picture may be wrong.
proc qomplay::damage::shown {} {
    variable now
    set around [around [::qomplay::window::position_us]]
    if {$around eq $now} return
    set now $around
    if {$now eq ""} {
        ::qomplay::panels::unfloat .unreliable
    } else {
        ::qomplay::panels::float .unreliable [words] -in .stage -relx 0.5 -y [::qomplay::theme::px 12] \
            -anchor n
        .unreliable configure -style Alarm.TLabel
    }
}

# What is wrong with the shown picture; empty when nothing is known to be.
proc qomplay::damage::words {} {
    variable now
    return [stretch_words $now]
}

# The same for another moment.
proc qomplay::damage::words_at {us} {return [stretch_words [around $us]]}

# The stretch that a moment lies in; or nothing.
proc qomplay::damage::around {us} {
    variable stretches
    foreach {from to} $stretches {
        if {$us >= $from && $us < $to} {return [list $from $to]}
    }
}

proc qomplay::damage::stretch_words {stretch} {
    if {$stretch eq ""} return
    lassign $stretch from to
    set first $::qomplay::window::first_us
    return "not reliable from [::qomplay::times::elapsed [expr {($from - $first) / 1000}] 0] to\
        [::qomplay::times::elapsed [expr {($to - $first) / 1000}] 0]"
}

# The state of the recording in a word, as ::qom::state tells it, or worse.
proc qomplay::damage::state {state} {
    variable stretches
    set passed [dict get [::qom::state $::qomplay::window::view] passedOver]
    if {$stretches ne "" || $passed > 0} {return damaged}
    return [dict get $state state]
}
