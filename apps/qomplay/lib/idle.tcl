# Stretches without change: passed over, hurried through, or played like everything else. They are never
# hidden: the timeline shows each, and the clock tells what is passed over.
namespace eval qomplay::idle {
    variable modes {off skip hurry}
    variable mode off
    variable limit 3.0        ;# seconds without change from which on a stretch counts
    variable stretches {}     ;# from, to: microseconds
    variable lead 500000      ;# microseconds of a stretch that play as usual, at both ends
    variable times 16.0       ;# as many times faster is hurried
}

# Finds the stretches of the recording; to be called again when it has grown.
proc qomplay::idle::setup {} {
    variable limit
    variable stretches [::qom::idle $::qomplay::window::view [expr {wide($limit * 1e6)}]]
    ::qomplay::strip::set_idle $stretches
}

proc qomplay::idle::next_mode {} {
    variable modes
    variable mode
    choose [lindex $modes [expr {([lsearch $modes $mode] + 1) % [llength $modes]}]]
}

proc qomplay::idle::choose {wanted} {
    variable mode $wanted
    variable limit
    ::qomplay::speed::hurry 1
    ::qomplay::panels::say [dict get {
        off "Stretches without change are played"
        skip "Stretches without change are skipped"
        hurry "Stretches without change are hurried through"
    } $mode]
    ::qomplay::controls::show_idle $mode
    played
}

# The stretch around a moment, of which enough is left to gain something; or nothing.
proc qomplay::idle::around {us} {
    variable stretches
    variable lead
    set low 0
    set high [expr {[llength $stretches] / 2}]
    # The last stretch that begins before the moment.
    while {$low < $high} {
        set half [expr {($low + $high) / 2}]
        if {[lindex $stretches [expr {2 * $half}]] <= $us} {set low [expr {$half + 1}]} else {set high $half}
    }
    if {$low == 0} return
    lassign [lrange $stretches [expr {2 * $low - 2}] [expr {2 * $low - 1}]] from to
    if {$us < $from + $lead || $us >= $to - $lead} return
    return [list $from $to]
}

# A frame is shown.
proc qomplay::idle::played {} {
    variable mode
    variable lead
    variable times
    if {$mode eq "off" || ![::qomplay::actions::playing]} return
    set stretch [around [::qomplay::window::position_us]]
    if {$mode eq "hurry"} {
        ::qomplay::speed::hurry [expr {$stretch eq "" ? 1 : $times}]
        return
    }
    if {$stretch eq "" || [::qomplay::seeking::target] >= 0} return
    set us [expr {[lindex $stretch 1] - $lead}]
    set passed [expr {($us - [::qomplay::window::position_us]) / 1000}]
    ::qomplay::panels::say "Skipped [::qomplay::times::short $passed] without change"
    ::qomplay::seeking::to [::qomplay::window::frame_of_us $us]
}
