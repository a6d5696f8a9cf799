# Taking a stretch out of the recording, as a film or as a recording, by the program qom, which does it
# in the background.
namespace eval qomplay::taking {
    variable pipe ""      ;# of the program that runs; empty: none
    variable said ""      ;# the last line that it said
    variable name ""      ;# what it makes
}

proc qomplay::taking::fill {path} {
    variable pipe
    set px ::qomplay::theme::px
    ttk::label $path.title -style Title.TLabel -text "Take out a stretch"
    ttk::label $path.stretch -text [::qomplay::stretch::words]
    ttk::label $path.how -style Dim.TLabel -text "I and O on the picture choose where it begins and ends."
    ttk::frame $path.buttons
    foreach {name words command} {
        film "As a film\u2026" {begin export .mp4} recording "As a recording\u2026" {begin cut .qom}
        stop Stop stop cancel Close close
    } {
        ttk::button $path.buttons.$name -text [subst -nocommands -novariables $words] \
            -command [namespace code $command]
        pack $path.buttons.$name -side left -padx [list 0 [$px 8]]
    }
    grid $path.title $path.stretch $path.how $path.buttons -sticky w -columnspan 1
    foreach part {title stretch how buttons} row {0 1 2 3} {
        grid $path.$part -row $row -column 0 -sticky w -pady [list 0 [$px 8]]
    }
    show_state
    return {-relx 0.5 -rely 0.5 -anchor center}
}

proc qomplay::taking::close {} {::qomplay::panels::close .panel_take}

proc qomplay::taking::show_state {} {
    variable pipe
    if {![winfo exists .panel_take]} return
    foreach {button when} {film 0 recording 0 stop 1} {
        .panel_take.buttons.$button state [expr {($pipe ne "") == $when ? "!disabled" : "disabled"}]
    }
}

# The program: beside this one, in the build tree, or on the PATH.
proc qomplay::taking::tool {} {
    foreach place {qom ../../tools/qom/qom} {
        set file [file join [file dirname [file normalize $::argv0]] $place]
        if {[file isfile $file] && [file executable $file]} {return $file}
    }
    return [lindex [auto_execok qom] 0]
}

proc qomplay::taking::begin {command ending} {
    variable pipe
    if {$pipe ne ""} return
    set tool [tool]
    if {$tool eq ""} {
        ::qomplay::panels::say "The program qom is not installed, which does this."
        return
    }
    set name [::qomplay::pictures::ask_name "Take the stretch out" $ending]
    if {$name ne ""} {run $tool $command $name}
}

# Runs it; what it makes replaces what is there, as the dialog has asked.
proc qomplay::taking::run {tool command file} {
    variable pipe
    variable said ""
    variable name $file
    lassign [::qomplay::stretch::limits] from to
    set first $::qomplay::window::first_us
    set words [list $tool $command --force \
        --from [format %.6f [expr {max(0, $from - $first) / 1e6}]] \
        --to [format %.6f [expr {($to - $first) / 1e6}]]]
    set made [::qomplay::names::bytes $file]
    try {
        ::qomplay::names::as_bytes {
            set recording [file normalize [::qomplay::names::plain $::qomplay::window::name]]
            set pipe [open |[list env QOM_PROGRESS=lines {*}$words -- $recording $made 2>@1] r]
        }
    } on error message {
        ::qomplay::panels::say "qom could not be started: $message"
        return
    }
    fconfigure $pipe -blocking 0
    fileevent $pipe readable [namespace code hear]
    ::qomplay::panels::busy "Making [::qomplay::texts::path $file]"
    show_state
}

proc qomplay::taking::hear {} {
    variable pipe
    variable said
    variable name
    while {[gets $pipe line] >= 0} {
        if {[regexp {^progress (\d+)$} $line - percent]} {
            ::qomplay::panels::busy "Making [::qomplay::texts::path $name]: $percent %"
        } elseif {[string trim $line] ne ""} {
            set said $line
        }
    }
    if {[eof $pipe]} ended
}

proc qomplay::taking::ended {} {
    variable pipe
    variable said
    variable name
    fconfigure $pipe -blocking 1
    set failed [catch {::close $pipe} message details]
    set pipe ""
    ::qomplay::panels::busy ""
    show_state
    if {!$failed} {
        ::qomplay::panels::say "Made [::qomplay::texts::path $name]"
    } elseif {[string match CHILDKILLED* [dict get $details -errorcode]]} {
        ::qomplay::panels::say "Stopped"
    } else {
        ::qomplay::panels::say "[::qomplay::texts::path $name] could not be made:\
            [expr {$said eq "" ? $message : [::qomplay::texts::line $said 300]}]"
    }
}

# Ends the program; it takes away what it has made so far.
proc qomplay::taking::stop {} {
    variable pipe
    if {$pipe eq ""} return
    foreach id [pid $pipe] {catch {exec kill -TERM $id}}
}
