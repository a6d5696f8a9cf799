# The recordings that were shown last, and where each was left, in a file of the user's.
namespace eval qomplay::recents {
    variable most 20
    variable path ""   ;# absolute path of the recording that is shown, as bytes; empty: none
}

proc qomplay::recents::file_name {} {
    if {[info exists ::env(XDG_STATE_HOME)] && $::env(XDG_STATE_HOME) ne ""} {
        return [file join $::env(XDG_STATE_HOME) qomplay recent]
    }
    return [file join ~ .local state qomplay recent]
}

# Pairs of an absolute path, as bytes, and the microseconds since its first picture; the latest first.
# What cannot be read is no list.
proc qomplay::recents::all {} {
    set list {}
    catch {
        set channel [open [file_name] r]
        try {
            foreach line [split [read $channel 200000] \n] {
                if {[regexp {^(\d{1,18}) (/\S+)$} $line - since name]} {lappend list [decoded $name] $since}
            }
        } finally {
            close $channel
        }
    }
    return $list
}

proc qomplay::recents::encoded {bytes} {
    set text ""
    foreach letter [split $bytes ""] {
        append text [expr {[regexp {^[A-Za-z0-9/._-]$} $letter] ? $letter : [format %%%02X [scan $letter %c]]}]
    }
    return $text
}

proc qomplay::recents::decoded {text} {
    while {[regexp -indices {%[0-9A-Fa-f]{2}} $text found]} {
        lassign $found first last
        append bytes [string range $text 0 $first-1] \
            [format %c [scan [string range $text $first+1 $last] %x]]
        set text [string range $text $last+1 end]
    }
    return [append bytes $text]
}

# The recording of a name, as bytes, is shown from now on; where it is left is kept when the window
# closes.
proc qomplay::recents::remember {name} {
    variable path [::qomplay::names::as_bytes {file normalize [::qomplay::names::plain $name]}]
    write [left_at $path]
    bind .bars <Destroy> +[namespace code leave]
}

# Microseconds at which a recording was left; 0 for one that was not shown.
proc qomplay::recents::left_at {path} {
    set all [all]
    return [expr {[dict exists $all $path] ? [dict get $all $path] : 0}]
}

proc qomplay::recents::leave {} {
    variable path
    if {$path eq ""} return
    catch {write [expr {max(0, [::qomplay::window::last_shown_us] - $::qomplay::window::first_us)}]}
    set path ""
}

# Puts the recording that is shown in front. A list that cannot be written is none.
proc qomplay::recents::write {since} {
    variable path
    variable most
    set all [dict merge [dict create $path $since] [dict remove [all] $path]]
    set lines [lmap {name at} [lrange $all 0 [expr {2 * $most - 1}]] {string cat $at " " [encoded $name]}]
    catch {
        file mkdir [file dirname [file_name]]
        ::qomplay::pictures::write_file [file_name] [join $lines \n]\n 1
    }
}
