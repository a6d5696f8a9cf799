# Times as people write and read them. Nothing here needs a window.
#
# A place is a list of a kind, milliseconds, and what else the kind has:
#   elapsed ms         since the first picture
#   relative ms        ahead of what is shown, or behind it
#   day ms ?offset?    since midnight, on whatever day of the recording
#   either ms ms       elapsed, or since midnight if only that is in the recording
#   clock ms ?offset?  a date and a time, as zones.tcl has clock times
#   date ms            the first moment of a day, as a clock time
# An offset is seconds that the clock is ahead of UTC; without one the zone that is chosen counts.
namespace eval qomplay::times {}

# Milliseconds as h:mm:ss, with tenths of a second unless `digits` is 0.
proc qomplay::times::elapsed {ms {digits 1}} {
    set ms [expr {max(0, $ms)}]
    set seconds [expr {$ms / 1000}]
    set text [format %d:%02d:%02d [expr {$seconds / 3600}] [expr {$seconds / 60 % 60}] \
        [expr {$seconds % 60}]]
    if {$digits} {append text . [expr {$ms / 100 % 10}]}
    return $text
}

# A length in milliseconds, as short as it can be said: 4 s, 2:13, 1:02:03.
proc qomplay::times::short {ms} {
    set seconds [expr {round($ms / 1000.0)}]
    if {$seconds < 60} {return "$seconds s"}
    if {$seconds < 3600} {return [format %d:%02d [expr {$seconds / 60}] [expr {$seconds % 60}]]}
    return [elapsed $ms 0]
}

# Milliseconds since the epoch as date and time with tenths of a second, offset and zone.
proc qomplay::times::wall {ms} {return "[clock_text $ms] [::qomplay::zones::label $ms]"}

# The same in two parts, of which the second is the zone's name, or empty where it has none.
proc qomplay::times::parts {ms} {
    lassign [::qomplay::zones::label $ms] offset name
    return [list "[clock_text $ms] $offset" $name]
}

proc qomplay::times::clock_text {ms} {
    set zone [::qomplay::zones::tcl_zone $::qomplay::zones::choice]
    set text [clock format [expr {$ms / 1000}] -timezone $zone -format "%Y-%m-%d %H:%M:%S"]
    return $text.[expr {$ms / 100 % 10}]
}

# The place that a text names. Elapsed: 90, 90.5, 1:30, 1:02:03.5, 1h2m3s, 7.5h. Relative: +60, -5.
# Clock: a date, with or without a time, or a time behind "@"; a time may have an offset behind it, as
# `wall` writes it. `bare` tells what a time of the form h:mm:ss without any of these is: "either",
# "elapsed" or "day". Throws an error with a message for the person who wrote it.
proc qomplay::times::parse {text {bare either}} {
    set text [string trim $text]
    if {[regexp {^\d{5,}-\d+-\d+} $text]} {error "years beyond 9999 are not understood here"}
    if {[regexp {^(\d{4}-\d{1,2}-\d{1,2})(?:[ T]+(\d.*))?$} $text - date time]} {
        set midnight [day $date]
        if {$time eq ""} {return [list date $midnight]}
        lassign [time_and_offset $time $text] ms offset
        return [list clock [expr {$midnight + $ms}] {*}$offset]
    }
    if {[regexp {^([-+])\s*(.*)$} $text - sign length]} {
        return [list relative [expr {"${sign}1" * [span $length $text]}]]
    }
    if {[regexp {^@\s*(.*)$} $text - time]} {return [of_clock $time $text]}
    return [bare $text $bare]
}

# A time with neither date nor sign.
proc qomplay::times::bare {text bare} {
    if {[string match *:* $text] && ($bare eq "day" || [regexp {[-+Zz]} $text])} {
        return [of_clock $text $text]
    }
    set elapsed [span $text $text]
    if {$bare ne "either" || ![string match *:* $text] || [catch {of_day $text $text} day]} {
        return [list elapsed $elapsed]
    }
    return [list either $elapsed $day]
}

# The place of a time of day, which may have an offset behind it.
proc qomplay::times::of_clock {time text} {
    lassign [time_and_offset $time $text] ms offset
    return [list day $ms {*}$offset]
}

# Milliseconds since midnight of a time of day, and the offset behind it as a list of it or of none.
# The name of a zone behind the offset adds nothing to it.
proc qomplay::times::time_and_offset {time text} {
    if {![regexp {^([\d:.]+)\s*(?:([-+][\d:]+)(?:\s+[[:alpha:]]{1,6})?|(Z|z|UTC))?$} $time \
            - clock offset utc]} {
        unclear $text
    }
    if {$utc ne ""} {set offset +00:00}
    return [list [of_day $clock $text] \
        [expr {$offset eq "" ? {} : [list [::qomplay::zones::seconds $offset]]}]]
}

proc qomplay::times::unclear {text} {
    error "\"$text\" is not a time: write 1:02:03, 90s, +60, @14:03:05 or 2026-03-01 14:03:05"
}

# The midnight with which a date begins, as a clock time, if there is such a day.
proc qomplay::times::day {date} {
    scan $date %d-%d-%d year month day
    set normal [format %04d-%02d-%02d $year $month $day]
    if {[catch {clock scan $normal -format %Y-%m-%d -timezone :UTC} seconds]
            || [clock format $seconds -format %Y-%m-%d -timezone :UTC] ne $normal} {
        error "there is no day $date"
    }
    return [expr {$seconds * 1000}]
}

# Milliseconds since midnight.
proc qomplay::times::of_day {time text} {
    if {![regexp {^(\d{1,2}):(\d{2})(?::(\d{2})(\.\d{1,3})?)?$} $time - hours minutes seconds part]} {
        unclear $text
    }
    set seconds [expr {$seconds eq "" ? 0 : [scan $seconds %d]}]
    set hours [scan $hours %d]
    set minutes [scan $minutes %d]
    if {$hours > 23 || $minutes > 59 || $seconds > 59} {unclear $text}
    return [expr {($hours * 3600 + $minutes * 60 + $seconds) * 1000 + [thousandths $part]}]
}

proc qomplay::times::thousandths {part} {
    return [expr {$part in {"" .} ? 0 : round("0$part" * 1000)}]
}

# Milliseconds of an elapsed time, which is `text` or a part of it.
proc qomplay::times::span {time text} {
    if {[regexp {^(?:(\d{1,5}):)?(\d{1,6}):(\d{2})(\.\d{1,3})?$} $time - hours minutes seconds part]} {
        set hours [expr {$hours eq "" ? 0 : [scan $hours %d]}]
        set minutes [scan $minutes %d]
        set seconds [scan $seconds %d]
        if {$seconds > 59 || ($hours > 0 && $minutes > 59)} {unclear $text}
        return [expr {($hours * 3600 + $minutes * 60 + $seconds) * 1000 + [thousandths $part]}]
    }
    set number {(\d{1,9}(?:\.\d{0,3})?)}
    if {[regexp "^${number}\$" $time]} {append time s}
    if {$time eq "" || ![regexp "^(?:${number}h)?\\s*(?:${number}m)?\\s*(?:${number}\\s*s)?\$" $time \
            - hours minutes seconds]} {
        unclear $text
    }
    set sum 0
    foreach {count unit} [list $hours 3600 $minutes 60 $seconds 1] {
        if {$count ne ""} {set sum [expr {$sum + $unit * [milliseconds $count]}]}
    }
    return $sum
}

# A decimal number of seconds in milliseconds.
proc qomplay::times::milliseconds {number} {
    lassign [split $number .] whole part
    return [expr {[scan $whole %lld] * 1000 + [thousandths .$part]}]
}

# The moment of a place, in milliseconds since the epoch, in a recording whose first picture was at
# `first`, whose last record at `last`, and of which `now` is shown.
proc qomplay::times::resolve {place first last {now ""}} {
    lassign $place kind ms more
    switch $kind {
        elapsed {return [expr {$first + $ms}]}
        relative {return [expr {($now eq "" ? $first : $now) + $ms}]}
        either {
            if {$first + $ms <= $last} {return [expr {$first + $ms}]}
            set time [resolve [list day $more] $first $last]
            return [expr {$time >= $first && $time <= $last ? $time : $first + $ms}]
        }
        date {
            set time [lindex [::qomplay::zones::moments $ms] 0]
            set end [lindex [::qomplay::zones::moments [expr {$ms + 86400000}]] 0]
            return [expr {$time <= $first && $first < $end ? $first : $time}]
        }
    }
    set moments [lmap time [clock_times $place $first] {moments $time $more}]
    return [nearest [concat {*}$moments] $first $last]
}

# The moments that a clock time may mean, of which an offset leaves one.
proc qomplay::times::moments {time offset} {
    if {$offset ne ""} {return [list [::qomplay::zones::moment_at $time $offset]]}
    return [::qomplay::zones::moments $time]
}

# What a place of kind clock or day may be: a time of day, that of the first picture's day and that of
# the next.
proc qomplay::times::clock_times {place first} {
    lassign $place kind ms offset
    if {$kind eq "clock"} {return [list $ms]}
    set start [expr {$offset eq "" ? [::qomplay::zones::clock_time $first] : $first + 1000 * $offset}]
    set midnight [expr {$start - $start % 86400000}]
    return [list [expr {$midnight + $ms}] [expr {$midnight + 86400000 + $ms}]]
}

# The first of some moments that is in the recording; or the one nearest to it.
proc qomplay::times::nearest {moments first last} {
    set best ""
    foreach moment $moments {
        set away [expr {max(0, $first - $moment, $moment - $last)}]
        if {$best eq "" || $away < $least} {
            set best $moment
            set least $away
        }
    }
    return $best
}

# Where the clocks were changed a clock time can be read in two ways: the moment of the other one,
# and "twice" or "never" for how often the clock showed it. Empty where there is but one.
proc qomplay::times::other {place first last} {
    lassign $place kind ms offset
    set meant [resolve $place $first $last]
    if {$kind eq "either" && $meant != $first + $ms} {lassign [list [list day $offset]] place offset}
    if {[lindex $place 0] ni {clock day} || $offset ne ""} {return {}}
    foreach time [clock_times $place $first] {
        set moments [::qomplay::zones::moments $time]
        if {[llength $moments] < 2 || $meant ni $moments} continue
        set shown [expr {[::qomplay::zones::clock_time $meant] == $time}]
        return [list [lindex $moments [expr {$meant == [lindex $moments 0]}]] \
            [expr {$shown ? "twice" : "never"}]]
    }
    return {}
}
