# The viewer of recordings: from the command line to a window.
package require Tcl 8.6

namespace eval qomplay {
    variable version ;# set by the program that sources this
    variable library [file dirname [file normalize [info script]]]
    variable part
}
foreach qomplay::part {
    options times seeking trouble
    icons theme hints timeline footer controls stage fullscreen panels window
    keys actions
} {
    source -encoding utf-8 [file join $qomplay::library $qomplay::part.tcl]
}

# Runs the program for the words of a command line. Returns the exit status: 0, 1 when the
# recording cannot be shown, 2 for wrong words.
proc qomplay::main {words} {
    try {
        set options [options::parse $words]
    } trap {QOMPLAY USAGE} message {
        puts stderr "qomplay: $message\n[options::usage]"
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
    # Tk reads the command line of the process when it is loaded; ours is used up.
    set ::argv {}
    set ::argc 0
    if {[catch {package require Tk 8.6} message]} {
        puts stderr "qomplay: cannot open a window: $message"
        return 1
    }
    if {[catch {package require qom::view} message]} {
        puts stderr "qomplay: the package qom::view is missing: $message"
        return 1
    }
    return [run $options]
}

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
    set file [dict get $options file]
    theme::setup
    window::build $file
    try {
        window::open $file
    } on error {message details} {
        set words [trouble::failure $file $message $details]
        puts stderr "qomplay: $words"
        trouble::show_failure $words
        return 1
    }
    keys::setup
    window::size_first
    if {[dict get $options natural]} {actions::natural}
    if {[dict get $options at] ne ""} {actions::go_at [dict get $options at]}
    if {[dict get $options play]} {actions::play}
    return 0
}
