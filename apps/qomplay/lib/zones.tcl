# The time zone in which times by the clock are written and read: that of this machine (local), UTC,
# or the one the recording was made in, where it tells. Nothing here needs a window but `announce`.
#
# A moment is milliseconds since the epoch. A clock time is milliseconds too: those since the epoch
# at which a clock that runs on UTC would show it.
namespace eval qomplay::zones {
    variable choice local    ;# local, utc or recorded
    variable recorded {}     ;# what Tcl calls the recording's zone, and words for it; empty: unknown
}

# Takes the recording's zone from its view. The choice stays where the recording tells one.
proc qomplay::zones::setup {view} {
    variable recorded {}
    variable choice
    if {[info commands ::qom::zone] ne ""} {
        set recorded [known [::qom::zone $view] $::qomplay::window::first_ms]
    }
    if {$choice eq "recorded" && $recorded eq ""} {set choice local}
}

# Tcl's name and words for a zone as the recording tells it: its name, and its offset in seconds at
# the moment `first`. Where this system knows no zone of that name, or has other rules for it than the
# machine that recorded, the offset alone counts; one that no clock has tells nothing. The name comes
# from a file that anyone may have made: it must look like one before it is looked up among this
# system's files, and not be the one of this machine.
proc qomplay::zones::known {zone first} {
    if {$zone eq ""} {return {}}
    set name [dict get $zone name]
    set offset [dict get $zone offset]
    if {abs($offset) > 18 * 3600} {return {}}
    if {[regexp {^[A-Za-z][A-Za-z0-9_+-]*(/[A-Za-z0-9_+-]+)*$} $name] && $name ne "localtime"
            && ![catch {offset_in :$name $first} here] && $here == $offset} {
        return [list :$name $name]
    }
    return [list [string map {: ""} [signed $offset]] [signed $offset]]
}

proc qomplay::zones::choices {} {
    variable recorded
    return [expr {$recorded eq "" ? {local utc} : {local utc recorded}}]
}

proc qomplay::zones::use {which} {
    variable choice
    if {$which ni [choices] || $which eq $choice} return
    set choice $which
    announce
}

# Goes on to the next zone there is.
proc qomplay::zones::next {} {
    variable choice
    set all [choices]
    use [lindex $all [expr {([lsearch $all $choice] + 1) % [llength $all]}]]
}

# Who shows times listens to this event of the window.
proc qomplay::zones::announce {} {event generate . <<TimeZone>>}

proc qomplay::zones::name {which} {
    return [dict get {local "Local time" utc UTC recorded "The recording's time"} $which]
}

# A choice in words, with what the clock shows in it at a moment.
proc qomplay::zones::words {which moment} {
    variable recorded
    set words [name $which]
    if {$which eq "utc"} {return $words}
    if {$which eq "recorded" && [string match :* [lindex $recorded 0]]} {
        append words ", [lindex $recorded 1]"
    }
    return "$words ([label $moment $which])"
}

# The value of Tcl's -timezone.
proc qomplay::zones::tcl_zone {which} {
    variable recorded
    switch $which {
        local {return ""}
        utc {return :UTC}
        recorded {return [lindex $recorded 0]}
    }
}

# Seconds that clocks are ahead of UTC at a moment.
proc qomplay::zones::offset {moment} {
    variable choice
    return [offset_in [tcl_zone $choice] $moment]
}

proc qomplay::zones::offset_in {zone moment} {
    return [seconds [clock format [expr {$moment / 1000}] -timezone $zone -format %z]]
}

# Seconds of an offset as +hh, +hhmm, +hh:mm or +hhmmss; throws an error when there is none such.
proc qomplay::zones::seconds {offset} {
    if {![regexp {^([+-])(\d\d):?(\d\d)?:?(\d\d)?$} $offset - sign hours minutes rest]} {
        error "\"$offset\" is not an offset: write +01:00"
    }
    set sum 0
    foreach part [list $hours $minutes $rest] {
        set sum [expr {$sum * 60 + ($part eq "" ? 0 : [scan $part %d])}]
    }
    if {$minutes > 59 || $sum > 18 * 3600} {error "there is no offset $offset"}
    return [expr {$sign eq "-" ? -$sum : $sum}]
}

# An offset in seconds as +hh:mm, with seconds where it has some, as long ago.
proc qomplay::zones::signed {offset} {
    set rest [expr {abs($offset)}]
    set text [format %s%02d:%02d [expr {$offset < 0 ? "-" : "+"}] [expr {$rest / 3600}] \
        [expr {$rest / 60 % 60}]]
    if {$rest % 60} {append text [format :%02d [expr {$rest % 60}]]}
    return $text
}

# Offset and name of the zone at a moment, as in "+01:00 CET"; the offset alone where the zone has
# no name but that.
proc qomplay::zones::label {moment {which ""}} {
    variable choice
    set zone [tcl_zone [expr {$which eq "" ? $choice : $which}]]
    set name [clock format [expr {$moment / 1000}] -timezone $zone -format %Z]
    set label [signed [offset_in $zone $moment]]
    if {![string match {[-+]*} $name]} {append label " $name"}
    return $label
}

# What the clock shows at a moment.
proc qomplay::zones::clock_time {moment} {return [expr {$moment + [offset $moment] * 1000}]}

# The moments that a clock time may mean. Mostly it is one. Where the clocks were set back there are
# two. Where they were set forward none shows it, and it is read with the offset from before and
# with the one from after. The first is always the one by the offset from before.
proc qomplay::zones::moments {time} {
    set day 86400000
    set before [expr {$time - 1000 * [offset [expr {$time - $day}]]}]
    set after [expr {$time - 1000 * [offset [expr {$time + $day}]]}]
    if {$before == $after} {return [list $before]}
    set right [lmap moment [list $before $after] {
        if {[clock_time $moment] != $time} continue
        set moment
    }]
    return [expr {[llength $right] == 1 ? $right : [list $before $after]}]
}

# The moment at which clocks that are `offset` seconds ahead of UTC show a time.
proc qomplay::zones::moment_at {time offset} {return [expr {$time - 1000 * $offset}]}
