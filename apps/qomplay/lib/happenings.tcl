# What the recording tells in words over its whole length: applications, people, computers, sizes of the
# screen, damage. It is gathered while everything else goes on.
namespace eval qomplay::happenings {
    variable all {}      ;# microseconds, kind, text; in the order of their times
    variable complete 0
    variable names {
        app Application host Host user "Last input" ip Address size Screen damage Damage mark Mark
    }
}

proc qomplay::happenings::setup {} {
    variable all {}
    variable complete 0
    ::qom::events $::qomplay::window::view -command [namespace code told]
}

# A batch of events, or "done".
proc qomplay::happenings::told {what {batch {}}} {
    variable all
    variable complete
    if {$what eq "done"} {
        set complete 1
        ::qomplay::strip::set_bands [bands]
    } else {
        lappend all {*}$batch
    }
    event generate . <<Happened>>
}

# The applications one after the other: first and last microsecond, and name.
proc qomplay::happenings::bands {} {
    variable all
    set bands {}
    set name ""
    foreach event $all {
        lassign $event us kind text
        if {$kind ne "app" || $text eq $name} continue
        if {$name ne ""} {lappend bands [list $since $us $name]}
        set name $text
        set since $us
    }
    if {$name ne ""} {lappend bands [list $since [::qomplay::window::us_at 1.0] $name]}
    return $bands
}

proc qomplay::happenings::kind_name {kind} {
    variable names
    return [expr {[dict exists $names $kind] ? [dict get $names $kind] : $kind}]
}

# What is told, and the marks that a person has set.
proc qomplay::happenings::everything {} {
    variable all
    return [lsort -integer -index 0 [concat $all [::qomplay::marks::events]]]
}

# The last text of a kind that was told at or before a moment.
proc qomplay::happenings::text_at {kind us} {
    variable all
    set last ""
    foreach event $all {
        if {[lindex $event 0] > $us} break
        if {[lindex $event 1] eq $kind} {set last [lindex $event 2]}
    }
    return $last
}

# The events whose texts contain a text, in whatever case.
proc qomplay::happenings::with {text} {
    set all [everything]
    if {$text eq ""} {return $all}
    set wanted [string tolower $text]
    return [lmap event $all {
        if {[string first $wanted [string tolower [lindex $event 2]]] < 0} continue
        set event
    }]
}

# How many of some events are not after a moment.
proc qomplay::happenings::until {events us} {
    set low 0
    set high [llength $events]
    while {$low < $high} {
        set half [expr {($low + $high) / 2}]
        if {[lindex $events $half 0] <= $us} {set low [expr {$half + 1}]} else {set high $half}
    }
    return $low
}

# Stretches of damage, which are found apart from the rest.
proc qomplay::happenings::add_damage {stretches} {
    variable all
    foreach {from to} $stretches {
        lappend all [list $from damage "not reliable for [::qomplay::times::short [expr {($to - $from) / 1000}]]"]
    }
    set all [lsort -integer -index 0 $all]
    event generate . <<Happened>>
}
