# What opens over the picture: the recording's facts, the keys, the field for a time, a message.
namespace eval qomplay::panels {
    variable bare elapsed   ;# what 1:02:03 means in the field: elapsed or day
}

proc qomplay::panels::px {length} {return [::qomplay::theme::px $length]}

# Opens the panel, or closes it when it is open. True when it is open now.
proc qomplay::panels::toggle {name} {
    set path .panel_$name
    if {[winfo exists $path]} {
        close $path
        return 0
    }
    ttk::frame $path -padding [px 16] -relief solid -borderwidth 1
    fill_$name $path
    return 1
}

proc qomplay::panels::close {path} {
    destroy $path
    focus .
}

# Closes all panels; true when there was one.
proc qomplay::panels::close_all {} {
    set open 0
    foreach child [winfo children .] {
        if {[string match .panel_* $child]} {
            close $child
            set open 1
        }
    }
    return $open
}

# Rows of two columns.
proc qomplay::panels::table {path title rows} {
    ttk::label $path.title -style Title.TLabel -text $title
    grid $path.title -row 0 -column 0 -columnspan 2 -sticky w -pady [list 0 [px 10]]
    set row 0
    foreach {name value} $rows {
        incr row
        ttk::label $path.name$row -style Dim.TLabel -text $name
        ttk::label $path.value$row -style Small.TLabel -text $value -wraplength [px 320] -justify left
        grid $path.name$row -row $row -column 0 -sticky nw -padx [list 0 [px 16]] -pady 1
        grid $path.value$row -row $row -column 1 -sticky nw -pady 1
    }
}

proc qomplay::panels::fill_help {path} {
    table $path "Keys" [::qomplay::keys::help]
    place $path -relx 0.5 -rely 0.5 -anchor center
    raise $path
}

proc qomplay::panels::fill_facts {path} {
    table $path "This recording" [facts]
    place $path -relx 1.0 -x [expr {-[px 12]}] -y [px 12] -anchor ne
    raise $path
}

proc qomplay::panels::facts {} {
    set facts $::qomplay::window::facts
    set state $::qomplay::window::state
    set line ::qomplay::footer::one_line
    set rows [list \
        File [file normalize $::qomplay::window::file] \
        Size "[bytes [dict get $state fileSize]], [dict get $facts recordCount] records" \
        State [dict get $state state] \
        Begins [::qomplay::times::wall [dict get $facts beginTimeInMs]] \
        Ends [::qomplay::times::wall [dict get $facts endTimeInMs]] \
        Length [::qomplay::times::elapsed [dict get $facts durationInMs]] \
        Screen "[dict get $facts width] x [dict get $facts height], [dict get $facts depth] bits" \
        Pixels [dict get $facts pixelFormat] \
        "Full pictures to start from" [dict get $state checkpointCount] \
        "Recorded by" [$line [dict get $facts user]] \
        TFN [$line [dict get $facts tfn]] \
        "File format" "[dict get $facts formatVersion]"]
    if {[dict exists $facts palette_size]} {lappend rows Palette "[dict get $facts palette_size] colours"}
    if {[dict get $state damagedBytes] > 0} {
        lappend rows Damage "[bytes [dict get $state damagedBytes]], from byte [dict get $state damagedAt]"
    }
    if {[dict get $state tornBytes] > 0} {
        lappend rows "Cut off at the end" [bytes [dict get $state tornBytes]]
    }
    return $rows
}

proc qomplay::panels::bytes {count} {
    foreach unit {bytes kB MB GB} {
        if {$count < 1000 || $unit eq "GB"} break
        set count [expr {$count / 1000.0}]
    }
    return [expr {$unit eq "bytes" ? "$count bytes" : [format "%.1f %s" $count $unit]}]
}

# The field for a time: what it means is said while it is written.
proc qomplay::panels::fill_goto {path} {
    variable bare
    ttk::label $path.title -style Title.TLabel -text "Go to a time"
    ttk::entry $path.time -width 26 -font QomText
    ttk::radiobutton $path.elapsed -text "since the start" -value elapsed \
        -variable [namespace which -variable bare] -command [namespace code [list preview $path]]
    ttk::radiobutton $path.day -text "time of day" -value day \
        -variable [namespace which -variable bare] -command [namespace code [list preview $path]]
    ttk::label $path.meaning -style Dim.TLabel -width 44
    grid $path.title - -sticky w -pady [list 0 [px 10]]
    grid $path.time - -sticky ew
    grid $path.elapsed $path.day -sticky w -pady [px 6]
    grid $path.meaning - -sticky w
    place $path -relx 0.5 -rely 0.5 -anchor center
    raise $path
    bind $path.time <KeyRelease> [namespace code [list preview $path]]
    bind $path.time <Return> [namespace code [list go $path]]
    bind $path.time <KP_Enter> [namespace code [list go $path]]
    bind $path.time <Escape> [namespace code [list close $path]]
    focus $path.time
    preview $path
}

proc qomplay::panels::place_of {path} {
    variable bare
    return [::qomplay::times::parse [$path.time get] $bare]
}

proc qomplay::panels::preview {path} {
    if {[string trim [$path.time get]] eq ""} {
        set meaning "1:02:03, 90s, 14:03:05 or 2026-03-01 14:03:05"
    } elseif {[catch {place_of $path} place]} {
        set meaning $place
    } else {
        set meaning [::qomplay::actions::describe $place]
    }
    $path.meaning configure -text $meaning
}

proc qomplay::panels::go {path} {
    if {[catch {place_of $path} place]} {
        bell
        return
    }
    close $path
    ::qomplay::actions::go_at $place
}

# A message that goes away by itself.
proc qomplay::panels::say {text} {
    set path .message
    if {![winfo exists $path]} {
        ::label $path -background [::qomplay::theme::colour raised] -borderwidth 0 -font QomText \
            -foreground [::qomplay::theme::colour text] -padx [px 14] -pady [px 8]
    }
    $path configure -text $text -wraplength [expr {max(200, [winfo width .] - [px 80])}]
    place $path -relx 0.5 -y [px 16] -anchor n
    raise $path
    after cancel [list ::qomplay::panels::unsay]
    after 4000 [list ::qomplay::panels::unsay]
}

proc qomplay::panels::unsay {} {
    if {[winfo exists .message]} {place forget .message}
}
