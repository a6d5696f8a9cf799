# Texts made fit to be shown. They come from the recorded machine, from names of files and from
# errors: they can have any length and hold any character. Every text that is not the program's own
# goes through here before it gets into a widget, a title or onto a terminal.
namespace eval qomplay::texts {
    variable longest 500   ;# characters that are ever measured or shown
    # Characters without a picture of their own, which hide in a text or turn its direction: soft
    # hyphens, joiners, marks and embeddings, annotations, tags; and halves of pairs without the other.
    variable invisible {[\u00ad\u034f\u061c\u115f\u1160\u180e\u200b-\u200f\u202a-\u202e\u2060-\u206f\u3164\ufe00-\ufe0f\ufeff\ufff9-\ufffb]|\udb40[\udc00-\udfff]}
    # What steers a terminal: control characters of both sets, separators of lines, and marks that
    # turn the direction.
    variable steering {[\u0000-\u001f\u007f-\u009f\u061c\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]|\udb40[\udc00-\udfff]}
}

# The beginning of a text as one line, without what nobody can see, at most `limit` characters; an
# ellipsis stands for the rest.
proc qomplay::texts::line {text {limit 500}} {
    variable longest
    set limit [expr {min($limit, $longest)}]
    # More is looked at than shown, because white space shrinks.
    set line [visible [string range $text 0 [expr {4 * $longest}]]]
    if {[string length $line] <= $limit && [string length $text] <= 4 * $longest} {return $line}
    return [head $line [expr {$limit - 1}]]\u2026
}

# The same with the ellipsis in the middle: the end of a path tells more than what comes before it.
proc qomplay::texts::path {text {limit 200}} {
    set line [visible $text]
    if {[string length $line] <= $limit} {return $line}
    set end [expr {$limit * 2 / 3}]
    return [head $line [expr {$limit - $end - 1}]]\u2026[tail $line $end]
}

# As much of a text as has room in so many pixels of a font; `kind` tells how it is cut, line or path.
proc qomplay::texts::fitting {text font room {kind line}} {
    variable longest
    set shown [$kind $text $longest]
    if {[font measure $font $shown] <= $room} {return $shown}
    set low 1
    set high [string length $shown]
    while {$high - $low > 1} {
        set middle [expr {($low + $high) / 2}]
        if {[font measure $font [$kind $shown $middle]] <= $room} {
            set low $middle
        } else {
            set high $middle
        }
    }
    return [$kind $shown $low]
}

# A text as it may be written to a terminal: whole, but what would steer it is told as the numbers of
# its bytes, \x1b.
proc qomplay::texts::escaped {text} {
    variable steering
    set out ""
    set from 0
    foreach place [regexp -all -inline -indices $steering $text] {
        lassign $place first last
        append out [string range $text $from $first-1] [numbers [string range $text $first $last]]
        set from [expr {$last + 1}]
    }
    return [append out [string range $text $from end]]
}

proc qomplay::texts::numbers {characters} {
    binary scan [encoding convertto utf-8 $characters] H* digits
    return [regsub -all {..} $digits {\\x&}]
}

proc qomplay::texts::visible {text} {
    variable invisible
    # First these, for Tcl takes some of them for white space.
    regsub -all $invisible $text "" text
    return [string trim [regsub -all {[[:cntrl:][:space:]\u0080-\u009f\u2028\u2029]+} $text " "]]
}

# Tcl counts a character beyond the first 65536 as two; none is cut in half.
proc qomplay::texts::head {line length} {
    return [regsub {[\ud800-\udbff]$} [string range $line 0 $length-1] ""]
}
proc qomplay::texts::tail {line length} {
    return [regsub {^[\udc00-\udfff]} [string range $line end-[expr {$length - 1}] end] ""]
}
