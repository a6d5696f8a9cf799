# The command line. Its words are bytes, since one of them is the name of a file.
namespace eval qomplay::options {}

proc qomplay::options::usage {} {
    return "usage: qomplay \[FILE\] \[--at TIME\] \[--play\] \[--natural\]\n\
        \              \[--theme dark|light\] \[--text-size PERCENT\]\n\
       qomplay --help | --version"
}

proc qomplay::options::help {} {
    return "[usage]

Shows the recording FILE; without one, a list of those that were shown last.

  --at TIME   begin at a time: elapsed, as 90, 7.5h or 1:02:03.5, or by the clock, as
              @14:03:05, 2026-03-01 or \"2026-03-01 14:03:05 +01:00\"
  --play      begin to play at once
  --natural   show the picture at its natural size instead of fitting it to the window
  --theme T   dark, or light
  --text-size PERCENT
              size of the texts, 50 to 300 percent of the usual
  --help      show this text and exit
  --version   show the version and exit

Press ? in the window for its keys.
Exit status: 0, 1 when the recording cannot be shown, 2 for a wrong command line."
}

proc qomplay::options::wrong {message} {
    throw {QOMPLAY USAGE} $message
}

# Returns a dictionary: file (as bytes), at, play, natural, theme, text_size, help, version. Throws QOMPLAY USAGE.
proc qomplay::options::parse {words} {
    set options {file "" at "" play 0 natural 0 theme dark text_size 100 help 0 version 0}
    set files {}
    set only_files 0
    while {[llength $words]} {
        set words [lassign $words word]
        if {$only_files || ![string match -* $word]} {
            lappend files $word
            continue
        }
        switch -glob -- $word {
            -- {set only_files 1}
            --help - -h {dict set options help 1}
            --version {dict set options version 1}
            --play {dict set options play 1}
            --natural {dict set options natural 1}
            --at {
                if {![llength $words]} {wrong "--at needs a time"}
                set words [lassign $words time]
                dict set options at [at $time]
            }
            --theme - --text-size {
                if {![llength $words]} {wrong "$word needs a value"}
                set words [lassign $words value]
                lassign [look $word $value] key value
                dict set options $key $value
            }
            --theme=* - --text-size=* {
                regexp {^([^=]*)=(.*)$} $word - key value
                lassign [look $key $value] key value
                dict set options $key $value
            }
            --at=* {dict set options at [at [string range $word 5 end]]}
            default {wrong "unknown option [::qomplay::names::text $word]"}
        }
    }
    if {[dict get $options help] || [dict get $options version]} {return $options}
    if {[llength $files] > 1} {wrong "more than one recording is given"}
    dict set options file [lindex $files 0]
    return $options
}

# The key and the value of an option about the looks.
proc qomplay::options::look {word value} {
    if {$word eq "--theme"} {
        if {$value ni {dark light}} {wrong "--theme is dark or light"}
        return [list theme $value]
    }
    if {![regexp {^[0-9]{2,3}$} $value] || [scan $value %d size] != 1 || $size < 50 || $size > 300} {
        wrong "--text-size is 50 to 300"
    }
    return [list text_size $size]
}

proc qomplay::options::at {time} {
    if {[catch {::qomplay::times::parse [::qomplay::names::text $time]} place]} {wrong $place}
    return $place
}
