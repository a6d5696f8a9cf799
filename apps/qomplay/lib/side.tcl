# The list at the side: what happened when, all of it or what contains a text. It follows the playback,
# a click goes there, and what is found is ticked on the timeline.
namespace eval qomplay::side {
    variable path .side
    variable shown {}       ;# the events in the list
    variable at -1          ;# row of the moment that is shown; -1: before the first
    variable most 2000      ;# rows at most
    variable images {}      ;# by row
    variable asked ""       ;# row whose picture is being made
}

proc qomplay::side::px {length} {return [::qomplay::theme::px $length]}
proc qomplay::side::is_open {} {
    variable path
    return [expr {[winfo exists $path] && [winfo manager $path] ne ""}]
}

proc qomplay::side::build {} {
    variable path
    ttk::frame $path -padding [px 6]
    ttk::style configure Side.Treeview -rowheight [px 44]
    ttk::frame $path.search
    ttk::label $path.search.name -text "Find" -style Dim.TLabel
    ttk::entry $path.search.text -width 22 -font QomSmall
    ttk::label $path.count -style Dim.TLabel
    ttk::treeview $path.list -style Side.Treeview -columns what -show tree -selectmode browse \
        -takefocus 0 -yscrollcommand [namespace code scrolled]
    ttk::scrollbar $path.bar -orient vertical -command [list $path.list yview]
    $path.list column #0 -width [px 84] -stretch 0
    $path.list column what -width [px 210]
    pack $path.search.name -side left -padx [list 0 [px 6]]
    pack $path.search.text -side left -fill x -expand 1
    grid $path.search -row 0 -column 0 -columnspan 2 -sticky ew
    grid $path.count -row 1 -column 0 -columnspan 2 -sticky w -pady [px 3]
    grid $path.list -row 2 -column 0 -sticky nsew
    grid $path.bar -row 2 -column 1 -sticky ns
    grid rowconfigure $path 2 -weight 1
    grid columnconfigure $path 0 -weight 1
    bind $path.search.text <KeyRelease> [namespace code fill]
    bind $path.search.text <Return> [namespace code {step 1}]
    bind $path.search.text <Shift-Return> [namespace code {step 0}]
    bind $path.list <ButtonRelease-1> [namespace code {clicked %x %y}]
    bind $path <Destroy> [list after cancel [namespace code picture_next]]
    bind . <<Happened>> +[namespace code fill]
    bind . <<TimeZone>> +[namespace code fill]
}

proc qomplay::side::open {} {
    variable path
    if {![winfo exists $path]} build
    grid $path -row 0 -column 1 -sticky ns
    fill
}

# True when it was open.
proc qomplay::side::close {} {
    variable path
    if {![is_open]} {return 0}
    grid remove $path
    ::qomplay::timeline::set_ticks found {}
    focus .
    return 1
}

proc qomplay::side::toggle {} {if {![close]} open}

# Opens it to find a text.
proc qomplay::side::find {} {
    variable path
    open
    focus $path.search.text
    $path.search.text selection range 0 end
}

proc qomplay::side::wanted {} {
    variable path
    return [expr {[winfo exists $path] ? [string trim [$path.search.text get]] : ""}]
}

# --- the list ------------------------------------------------------------------------------------

# Lists what contains the text.
proc qomplay::side::fill {} {
    variable path
    variable shown
    variable at -1
    variable most
    variable images
    variable asked ""
    if {![is_open]} return
    set found [::qomplay::happenings::with [wanted]]
    set shown [lrange $found 0 [expr {$most - 1}]]
    $path.list delete [$path.list children {}]
    image delete {*}[dict values $images]
    set images {}
    set row 0
    foreach event $shown {
        $path.list insert {} end -id $row -values [list [line $event]]
        incr row
    }
    $path.count configure -text [counted [llength $found]]
    ::qomplay::timeline::set_ticks found [expr {[wanted] eq "" ? {} : [lmap event $shown {
        ::qomplay::window::fraction_at [lindex $event 0]
    }]}]
    shown
    pictures_soon
}

proc qomplay::side::counted {count} {
    variable most
    set words [expr {[wanted] eq "" ? "events" : "found"}]
    set more [expr {$count > $most ? ", the first $most shown" : ""}]
    return "[expr {$::qomplay::happenings::complete ? "" : "reading \u2026 "}]$count $words$more"
}

# An event in two lines.
proc qomplay::side::line {event} {
    lassign $event us kind text
    set elapsed [::qomplay::times::elapsed [expr {($us - $::qomplay::window::first_us) / 1000}] 0]
    set words [::qomplay::texts::fitting $text QomSmall [px 196]]
    return "$elapsed  [::qomplay::happenings::kind_name $kind]\n$words"
}

# The row of the moment that is shown is marked.
proc qomplay::side::shown {} {
    variable path
    variable shown
    variable at
    if {![is_open]} return
    set now [expr {[::qomplay::happenings::until $shown [::qomplay::window::position_us]] - 1}]
    if {$now == $at} return
    set at $now
    if {$at < 0} {
        $path.list selection set {}
    } else {
        $path.list selection set $at
        $path.list see $at
    }
}

proc qomplay::side::clicked {x y} {
    variable path
    set row [$path.list identify row $x $y]
    if {$row ne ""} {go $row}
    focus .
}

proc qomplay::side::go {row} {
    variable shown
    ::qomplay::actions::to_moment [lindex $shown $row 0]
}

# Goes to the next event found, or the one before; opens the list when nothing is searched for.
proc qomplay::side::step {ahead} {
    variable shown
    if {![is_open] || [wanted] eq ""} {
        find
        return
    }
    set us [::qomplay::window::position_us]
    set row [expr {$ahead ? [::qomplay::happenings::until $shown $us]
        : [::qomplay::happenings::until $shown [expr {$us - 1}]] - 1}]
    if {$row >= 0 && $row < [llength $shown]} {
        go $row
    } else {
        ::qomplay::panels::say "[expr {$ahead ? "No more" : "None before"}]: \"[wanted]\""
    }
}

# --- small pictures ------------------------------------------------------------------------------

proc qomplay::side::scrolled {first last} {
    variable path
    $path.bar set $first $last
    pictures_soon
}

proc qomplay::side::pictures_soon {} {
    after cancel [namespace code picture_next]
    after 30 [namespace code picture_next]
}

# Makes the picture of the first row in sight that has none.
proc qomplay::side::picture_next {} {
    variable path
    variable images
    variable asked
    variable shown
    if {![is_open] || $asked ne ""} return
    foreach row [$path.list children {}] {
        if {[dict exists $images $row] || [$path.list bbox $row] eq ""} continue
        set asked $row
        dict set images $row [image create photo -palette 32/64/32]
        ::qom::preview $::qomplay::window::view [lindex $shown $row 0] [dict get $images $row] \
            -width [px 62] -height [px 40] -command [namespace code [list picture_made $row]]
        return
    }
}

proc qomplay::side::picture_made {row outcome us} {
    variable path
    variable images
    variable asked
    variable shown
    if {$asked ne $row} return
    set asked ""
    if {![is_open] || [lindex $shown $row 0] eq ""} return
    if {$outcome eq "ok"} {
        $path.list item $row -image [dict get $images $row]
    } elseif {$outcome eq "replaced"} {
        # The pointer on the timeline wants its own first.
        image delete [dict get $images $row]
        dict unset images $row
    }
    pictures_soon
}
