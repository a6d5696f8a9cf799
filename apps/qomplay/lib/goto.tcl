# The field to go to a time: what it means is said while it is written, and in which time zone.
namespace eval qomplay::goto {
    variable path .panel_goto
    variable bare either    ;# what 1:02:03 means in the field, as times::parse has it
    variable zone local     ;# as chosen in the menu
}

proc qomplay::goto::px {length} {return [::qomplay::theme::px $length]}

# Makes the rows of the panel; returns where it is to be placed.
proc qomplay::goto::fill {path} {
    ttk::style configure Small.Failure.TLabel -font QomSmall
    ttk::label $path.title -style Title.TLabel -text "Go to a time"
    ttk::entry $path.time -width 26 -font QomText -validate key \
        -validatecommand [list [namespace which short_enough] %P]
    build_kinds $path.kinds
    ttk::label $path.meaning -justify left -anchor nw -wraplength [wide]
    build_buttons $path.buttons
    foreach {part above} {title 0 time 10 kinds 6 meaning 6 buttons 10} {
        grid $path.$part -sticky new -pady [list [expr {$above ? [px $above] : 0}] 0]
    }
    # Nothing moves while one writes.
    grid columnconfigure $path 0 -minsize [wide]
    grid rowconfigure $path 3 -minsize [expr {[px 10] + 2 * [font metrics QomSmall -linespace]}]
    bind $path.time <KeyRelease> [namespace code preview]
    bind $path.time <Control-a> {%W selection range 0 end; break}
    foreach key {Return KP_Enter} {bind $path.time <$key> [namespace code go]}
    focus $path.time
    preview
    return {-relx 0.5 -rely 0.5 -anchor center}
}

# What a time of the form h:mm:ss is.
proc qomplay::goto::build_kinds {path} {
    ttk::frame $path
    foreach {kind words} {either "as it fits" elapsed "since the start" day "time of day"} {
        ttk::radiobutton $path.$kind -text $words -value $kind \
            -variable [namespace which -variable bare] -command [namespace code preview]
        pack $path.$kind -side left -padx [list 0 [px 12]]
    }
}

proc qomplay::goto::build_buttons {path} {
    ttk::frame $path
    foreach {name words} {zone "" other "The other" cancel Cancel go Go} {
        ttk::button $path.$name -text $words -command [namespace code $name]
        bind $path.$name <Return> {%W invoke; break}
        bind $path.$name <KP_Enter> {%W invoke; break}
    }
    show_choice $path.zone
    pack $path.zone -side left -padx [list 0 [px 8]]
    pack $path.go $path.cancel -side right -padx [list [px 8] 0]
}

proc qomplay::goto::show_choice {button} {
    $button configure -text "[::qomplay::zones::name $::qomplay::zones::choice] \u25be"
}

proc qomplay::goto::wide {} {return [expr {min([px 400], [winfo width .] - [px 70])}]}

# No time is longer; a text that is pasted by mistake may be.
proc qomplay::goto::short_enough {text} {return [expr {[string length $text] <= 60}]}

proc qomplay::goto::place_of {} {
    variable path
    variable bare
    return [::qomplay::times::parse [$path.time get] $bare]
}

# Two lines under the field: what is written means, or what is wrong with it.
proc qomplay::goto::preview {} {
    variable path
    set style Dim.TLabel
    set other {}
    if {[string trim [$path.time get]] eq ""} {
        set meaning "1:02:03, 90s, 7.5h, +60, -5; by the clock 14:03:05, 2026-03-01, or a date and a\
            time; with an offset, as in 14:03:05 +01:00"
    } elseif {[catch {place_of} place]} {
        set meaning $place
        set style Small.Failure.TLabel
    } else {
        set other [other_of $place]
        set meaning [describe $place $other]
    }
    $path.meaning configure -style $style \
        -text [::qomplay::texts::fitting $meaning QomSmall [expr {3 * [wide] - [px 60]}]]
    if {$other eq ""} {
        pack forget $path.buttons.other
    } else {
        $path.buttons.other configure -text "Take [::qomplay::zones::signed [lindex $other 0]]"
        pack $path.buttons.other -side left
    }
}

# Where a place can be read in two ways: the offset that names the other, and how often the clock
# showed it. Otherwise empty.
proc qomplay::goto::other_of {place} {
    lassign [::qomplay::times::other $place $::qomplay::window::first_ms [::qomplay::window::last_ms]] \
        ms often
    if {$ms eq ""} return
    # A time that no clock showed is read with the offset of the other side of the change.
    set meant [::qomplay::actions::ms_of $place]
    return [list [::qomplay::zones::offset [expr {$often eq "twice" ? $ms : $meant}]] $often]
}

# The moment a place means, in words.
proc qomplay::goto::describe {place other} {
    set ms [::qomplay::actions::ms_of $place]
    set first $::qomplay::window::first_ms
    set words "[::qomplay::times::wall $ms], "
    if {$ms < $first} {
        append words "before the start: goes to the start"
    } elseif {$ms > [::qomplay::window::last_ms]} {
        append words "past the end: goes to the end"
    } else {
        append words "[::qomplay::times::elapsed [expr {$ms - $first}]] from the start"
    }
    switch [lindex $other 1] {
        twice {append words ". The clock showed this time twice."}
        never {append words ". The clock never showed this time: it was set forward."}
    }
    return $words
}

proc qomplay::goto::go {} {
    variable path
    if {[catch {place_of} place]} {
        bell
        preview
        $path.time selection range 0 end
        focus $path.time
        return
    }
    cancel
    ::qomplay::actions::go_at $place
}

proc qomplay::goto::cancel {} {
    variable path
    ::qomplay::panels::close $path
}

# Writes the offset of the other reading behind the time.
proc qomplay::goto::other {} {
    variable path
    set other [other_of [place_of]]
    if {$other eq ""} return
    $path.time insert end [::qomplay::zones::signed [lindex $other 0]]
    $path.time icursor end
    focus $path.time
    preview
}

# --- the time zone -------------------------------------------------------------------------------

proc qomplay::goto::zone {} {
    variable path
    set button $path.buttons.zone
    tk_popup [zone_menu] [winfo rootx $button] [expr {[winfo rooty $button] + [winfo height $button]}]
}

# The menu of the zones there are.
proc qomplay::goto::zone_menu {} {
    variable zone $::qomplay::zones::choice
    destroy .zones
    menu .zones -tearoff 0 -font QomText -background [::qomplay::theme::colour raised] \
        -foreground [::qomplay::theme::colour text] -borderwidth 1 -relief flat \
        -activebackground [::qomplay::theme::colour hover] \
        -activeforeground [::qomplay::theme::colour text] -selectcolor [::qomplay::theme::colour accent]
    foreach choice [::qomplay::zones::choices] {
        .zones add radiobutton -variable [namespace which -variable zone] -value $choice \
            -label [::qomplay::zones::words $choice [dict get $::qomplay::window::shown ms]] \
            -command [list ::qomplay::zones::use $choice]
    }
    return .zones
}

# The time by the clock has the menu of zones too.
proc qomplay::goto::offer_zones {} {
    foreach name {wall zone} {
        bind .bars.row.$name <Button-3> [namespace code {tk_popup [zone_menu] %X %Y}]
    }
    tell_zone
}

proc qomplay::goto::tell_zone {} {
    set words [::qomplay::zones::words $::qomplay::zones::choice $::qomplay::window::first_ms]
    foreach name {wall zone} {
        ::qomplay::hints::change .bars.row.$name "$words. Go to a time (g), time zone (z)"
    }
}

proc qomplay::goto::zone_changed {} {
    variable path
    tell_zone
    if {![winfo exists $path]} return
    show_choice $path.buttons.zone
    preview
}
