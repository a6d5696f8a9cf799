# The viewer of recordings: from the command line to a window.
package require Tcl 8.6

namespace eval qomplay {
    variable version ;# set by the program that sources this
    variable library [file dirname [file normalize [info script]]]
    variable part
}
foreach qomplay::part {
    names texts options zones times seeking trouble vanishing
    icons theme selecting copying hints hover span strip timeline
    speed idle happenings damage marks stretch side footer controls stage fullscreen panels goto
    window
    recents start_page opening keys actions pictures report taking
} {
    source -encoding utf-8 [file join $qomplay::library $qomplay::part.tcl]
}

# Runs the program for the words of a command line as Tcl has them. Returns the exit status: 0, 1
# when the recording cannot be shown, 2 for wrong words.
proc qomplay::main {argv} {
    try {
        set options [options::parse [names::words $argv]]
    } trap {QOMPLAY USAGE} message {
        complain $message
        puts stderr [options::usage]
        return 2
    }
    if {[dict get $options help]} {
        puts [options::help]
        return 0
    }
    if {[dict get $options version]} {
        variable version
        puts "qomplay $version"
        return 0
    }
    theme::ask
    # Tk reads the command line of the process when it is loaded; ours is used up.
    set ::argv {}
    set ::argc 0
    if {[catch {package require Tk 8.6} message]} {
        complain "cannot open a window: $message"
        return 1
    }
    # Tk offers every interpreter to the other programs of the display, scripts and all.
    rename ::send {}
    interp bgerror {} ::qomplay::trouble::unexpected
    if {[catch {package require qom::view} message]} {
        complain "the package qom::view is missing: $message"
        return 1
    }
    return [run $options]
}

proc qomplay::complain {message} {puts stderr "qomplay: [texts::escaped $message]"}

# Shows the recording until its window is closed.
proc qomplay::run {options} {
    set status [start $options]
    if {[winfo exists .]} {
        tkwait window .
    }
    return $status
}

# Makes the window and opens the recording. Returns the exit status for when the window is
# closed; a recording that cannot be opened leaves a window that says why.
proc qomplay::start {options} {
    theme::setup [dict get $options theme] [dict get $options text_size]
    if {[dict get $options file] eq ""} {
        start_page::show $options
        return 0
    }
    return [open_recording $options]
}

# Shows the recording of the options in the window, which is empty.
proc qomplay::open_recording {options} {
    set file [dict get $options file]
    set name [names::text $file]
    window::build $name
    try {
        window::open $file
    } on error {message details} {
        complain [trouble::failure $name $message $details]
        trouble::show_failure [trouble::failure [texts::path $name] $message $details] $name
        return 1
    }
    keys::setup
    window::size_first
    window::survey
    if {[dict get $options natural]} {actions::natural}
    if {[dict get $options at] ne ""} {actions::go_at [dict get $options at]}
    if {[dict get $options play]} {actions::play}
    recents::remember $file
    return 0
}
