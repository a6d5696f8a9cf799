# Marks: moments that a person has marked, with a note. They are kept in a file of their own beside the
# recording, or, where nothing can be written there, in the user's folder for data. docs/marks.md tells
# its form.
namespace eval qomplay::marks {
    variable all {}       ;# microseconds since the epoch, note; in the order of their times
    variable file ""      ;# where they are kept, as bytes
    variable usable 1     ;# the file may be written: it is not a broken one
    variable editing ""   ;# microseconds of the mark in the panel
}

# Reads the marks of the recording that is shown.
proc qomplay::marks::setup {} {
    variable all {}
    variable usable 1
    variable file [::qomplay::names::as_bytes {place $::qomplay::window::name}]
    if {[::qomplay::names::as_bytes {file exists $file}]} {
        try {
            set all [parsed [::qomplay::names::as_bytes {read_file $file}]]
        } on error message {
            set usable 0
            set shown [::qomplay::texts::path [::qomplay::names::text $file]]
            ::qomplay::panels::say "The marks in $shown cannot be read, and none will\
                be written: $message"
        }
    }
    changed
}

# The file of a recording's marks, names as bytes: the one beside it, unless nobody may write there and there is none.
proc qomplay::marks::place {recording} {
    set beside [::qomplay::names::plain $recording].marks.json
    if {[file exists $beside] || [file writable [file dirname $beside]]} {return $beside}
    if {[info exists ::env(XDG_DATA_HOME)] && $::env(XDG_DATA_HOME) ne ""} {
        set data [encoding convertto utf-8 $::env(XDG_DATA_HOME)]
    } else {
        set data ~/.local/share
    }
    set whole [file normalize [::qomplay::names::plain $recording]]
    set word [format %08x [zlib crc32 $whole]]
    return [file join $data qomplay marks [string range [file tail $whole] 0 99]-$word.json]
}

proc qomplay::marks::read_file {name} {
    if {[file size $name] > 10000000} {error "it is larger than 10 MB"}
    set channel [open $name r]
    try {
        fconfigure $channel -encoding utf-8
        return [read $channel]
    } finally {
        close $channel
    }
}

# The marks that a text in JSON holds, as `all` has them.
proc qomplay::marks::parsed {text} {
    package require json
    set content [::json::json2dict $text]
    if {![dict exists $content format] || [dict get $content format] ne "qom-marks 1"} {
        error "it is not in the form \"qom-marks 1\""
    }
    set marks [lmap mark [dict get $content marks] {
        set time [dict get $mark time]
        if {![string is wideinteger -strict $time] || $time < 0} {error "\"$time\" is not a time"}
        list $time [dict get $mark note]
    }]
    return [lsort -integer -index 0 $marks]
}

proc qomplay::marks::written {} {
    variable all
    package require json::write
    ::json::write indented 1
    set marks [lmap mark $all {
        lassign $mark us note
        ::json::write object time $us \
            elapsed [::json::write string [elapsed $us]] note [::json::write string $note]
    }]
    return [::json::write object \
        format [::json::write string "qom-marks 1"] \
        recording [::json::write string [::qomplay::names::tail $::qomplay::window::file]] \
        begin $::qomplay::window::first_us \
        marks [::json::write array {*}$marks]]\n
}

# Seconds since the first picture, to the microsecond.
proc qomplay::marks::elapsed {us} {
    set since [expr {$us - $::qomplay::window::first_us}]
    return [::qomplay::times::elapsed [expr {$since / 1000}] 0].[format %06d [expr {$since % 1000000}]]
}

proc qomplay::marks::save {} {
    variable file
    variable usable
    if {!$usable} {error "the file that is there cannot be read"}
    set content [encoding convertto utf-8 [written]]
    ::qomplay::names::as_bytes {
        file mkdir [file dirname $file]
        ::qomplay::pictures::write_file $file $content 1
    }
}

# --- setting them --------------------------------------------------------------------------------

# The mark at a moment, or so near that nothing else is shown; its place in the list, or -1.
proc qomplay::marks::near {us} {
    variable all
    set least [::qomplay::window::frame_us]
    set found -1
    set i 0
    foreach mark $all {
        set away [expr {abs([lindex $mark 0] - $us)}]
        if {$away < $least} {
            set least $away
            set found $i
        }
        incr i
    }
    return $found
}

# Sets a mark, or changes its note; without a note and with `keep` 0 takes it away.
proc qomplay::marks::put {us note {keep 1}} {
    variable all
    set before $all
    set at [near $us]
    if {$at >= 0} {set all [lreplace $all $at $at]}
    if {$keep} {set all [lsort -integer -index 0 [concat $all [list [list $us $note]]]]}
    if {[catch save message]} {
        set all $before
        ::qomplay::panels::say "The mark could not be written: $message"
    }
    changed
}

proc qomplay::marks::changed {} {
    variable all
    ::qomplay::timeline::set_ticks mark \
        [lmap mark $all {::qomplay::window::fraction_at [lindex $mark 0]}]
    event generate . <<Happened>>
}

# As the list at the side has events.
proc qomplay::marks::events {} {
    variable all
    return [lmap mark $all {list [lindex $mark 0] mark [lindex $mark 1]}]
}

# --- the panel -----------------------------------------------------------------------------------

proc qomplay::marks::fill {path} {
    variable editing [::qomplay::window::position_us]
    variable all
    set at [near $editing]
    if {$at >= 0} {set editing [lindex $all $at 0]}
    set px ::qomplay::theme::px
    ttk::label $path.title -style Title.TLabel \
        -text "[expr {$at >= 0 ? "The mark" : "Mark this moment"}], [elapsed $editing]"
    ttk::entry $path.note -width 44 -font QomText -validate key \
        -validatecommand {expr {[string length %P] <= 2000}}
    if {$at >= 0} {$path.note insert 0 [lindex $all $at 1]}
    ttk::frame $path.buttons
    ttk::button $path.buttons.set -text [expr {$at >= 0 ? "Change" : "Mark"}] \
        -command [namespace code [list done $path 1]]
    ttk::button $path.buttons.remove -text Remove -command [namespace code [list done $path 0]]
    ttk::button $path.buttons.cancel -text Cancel -command [list ::qomplay::panels::close $path]
    pack $path.buttons.set $path.buttons.cancel -side right -padx [list [$px 8] 0]
    if {$at >= 0} {pack $path.buttons.remove -side left}
    grid $path.title -sticky w
    grid $path.note -sticky ew -pady [$px 10]
    grid $path.buttons -sticky ew
    foreach key {Return KP_Enter} {bind $path.note <$key> [namespace code [list done $path 1]]}
    focus $path.note
    return {-relx 0.5 -rely 0.5 -anchor center}
}

proc qomplay::marks::done {path keep} {
    variable editing
    set note [string trim [$path.note get]]
    ::qomplay::panels::close $path
    put $editing $note $keep
}
