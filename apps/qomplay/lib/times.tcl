# Times as people write and read them. Nothing here needs a window.
#
# A place is a list: "elapsed" and milliseconds since the first picture, "day" and milliseconds
# since midnight, or "clock" and milliseconds since the epoch.
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

# Milliseconds since the epoch as local date and time with tenths of a second.
proc qomplay::times::wall {ms} {
    return [clock format [expr {$ms / 1000}] -format "%Y-%m-%d %H:%M:%S"].[expr {$ms / 100 % 10}]
}

# The place that a text names. Elapsed: 90, 90.5, 1:30, 1:02:03.5, 1h2m3s. Clock: a date and time,
# or a time behind "@". `bare` tells what a time of the form h:mm:ss without either is: "elapsed"
# or "day". Throws an error with a message for the person who wrote it.
proc qomplay::times::parse {text {bare elapsed}} {
    set text [string trim $text]
    if {[regexp {^\d{5,}-\d+-\d+} $text]} {error "years beyond 9999 are not understood here"}
    if {[regexp {^(\d{4}-\d{1,2}-\d{1,2})[ T]+(\d.*)$} $text - date time]} {
        return [list clock [moment [day $date] [of_day $time $text]]]
    }
    if {[string index $text 0] eq "@"} {
        return [list day [of_day [string trim [string range $text 1 end]] $text]]
    }
    if {$bare eq "day" && [string match *:* $text]} {return [list day [of_day $text $text]]}
    return [list elapsed [span $text]]
}

proc qomplay::times::unclear {text} {
    error "\"$text\" is not a time: write 1:02:03, 90s or @14:03:05"
}

# A date as year-month-day, if there is such a day.
proc qomplay::times::day {date} {
    scan $date %d-%d-%d year month day
    set normal [format %04d-%02d-%02d $year $month $day]
    if {[catch {clock format [clock scan $normal -format %Y-%m-%d] -format %Y-%m-%d} same]
            || $same ne $normal} {
        error "there is no day $date"
    }
    return $normal
}

# Milliseconds since the epoch of a time of day; days on which the clocks are changed are longer
# or shorter than others.
proc qomplay::times::moment {day ms} {
    set seconds [expr {$ms / 1000}]
    set time [format %d:%02d:%02d [expr {$seconds / 3600}] [expr {$seconds / 60 % 60}] \
        [expr {$seconds % 60}]]
    return [expr {[clock scan "$day $time" -format "%Y-%m-%d %H:%M:%S"] * 1000 + $ms % 1000}]
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

# Milliseconds of an elapsed time.
proc qomplay::times::span {text} {
    if {[regexp {^(?:(\d{1,5}):)?(\d{1,6}):(\d{2})(\.\d{1,3})?$} $text - hours minutes seconds part]} {
        set hours [expr {$hours eq "" ? 0 : [scan $hours %d]}]
        set minutes [scan $minutes %d]
        set seconds [scan $seconds %d]
        if {$seconds > 59 || ($hours > 0 && $minutes > 59)} {unclear $text}
        return [expr {($hours * 3600 + $minutes * 60 + $seconds) * 1000 + [thousandths $part]}]
    }
    if {[regexp {^(\d{1,9})(\.\d{0,3})?\s*s?$} $text - seconds part]} {
        return [expr {[scan $seconds %lld] * 1000 + [thousandths $part]}]
    }
    if {[regexp {^(?:(\d{1,5})h)?\s*(?:(\d{1,6})m)?\s*(?:(\d{1,9})s)?$} $text - hours minutes seconds]
            && $text ne ""} {
        set sum 0
        foreach {number unit} [list $hours 3600 $minutes 60 $seconds 1] {
            if {$number ne ""} {incr sum [expr {[scan $number %lld] * $unit}]}
        }
        return [expr {$sum * 1000}]
    }
    unclear $text
}

# Milliseconds since the epoch of a place in a recording whose first picture was at `first` and
# whose last record at `last`: a time of day is its first occurrence not before `first`, unless
# that lies past `last` and the one before is nearer.
proc qomplay::times::resolve {place first last} {
    lassign $place kind ms
    switch $kind {
        elapsed {return [expr {$first + $ms}]}
        clock {return $ms}
    }
    set begin [expr {$first / 1000}]
    set time [same_day $begin $ms]
    if {$time < $first} {
        # From noon to noon no change of the clocks leaves a day out.
        set noon [expr {[same_day $begin 43200000] / 1000}]
        set next [same_day [expr {$noon + 86400}] $ms]
        if {$next <= $last || $next - $last < $first - $time} {set time $next}
    }
    return $time
}

# Milliseconds since the epoch of a time of day on the local day of a moment (in seconds). Reckoned
# and not read from a date, since recordings may tell years that Tcl does not read.
proc qomplay::times::same_day {seconds ms} {
    set wanted [expr {$ms / 1000}]
    set time [expr {$seconds - [since_midnight $seconds] + $wanted}]
    # Where the clocks were changed in between it is an hour off, perhaps on the day beside.
    set off [expr {($wanted - [since_midnight $time] + 129600) % 86400 - 43200}]
    if {[since_midnight [expr {$time + $off}]] == $wanted} {incr time $off}
    return [expr {$time * 1000 + $ms % 1000}]
}

proc qomplay::times::since_midnight {seconds} {
    scan [clock format $seconds -format %H:%M:%S] %d:%d:%d hours minutes rest
    return [expr {($hours * 60 + $minutes) * 60 + $rest}]
}
