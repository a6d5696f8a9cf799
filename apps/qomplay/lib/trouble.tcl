# What is wrong with a recording, in words for the person who wants to see it.
namespace eval qomplay::trouble {
    variable told {}   ;# unexpected errors, as standard error has them
}

# The words for a recording that cannot be opened: `message` and `details` are the view's error, and
# `file` is its name as it is to be shown.
proc qomplay::trouble::failure {file message details} {
    set code [dict get $details -errorcode]
    switch -glob -- $code {
        "POSIX ENOENT *" {return "There is no file $file."}
        "POSIX EACCES *" {return "You may not read $file."}
        "POSIX EISDIR *" {return "$file is a folder, not a recording."}
        "POSIX *" {return "$file cannot be read: [lindex $code 2]."}
        "QOM SETUP READER" {return "$file is not a recording, or its beginning is damaged."}
        "QOM SETUP CONVERSION" {
            return "This display has [winfo depth .] bits for each pixel, and the colours of $file\
                cannot be shown with them: $message."
        }
        "QOM IMAGE *" - "QOM FIRST *" {return "$file has no picture that can be shown: $message."}
    }
    return "$file cannot be shown: $message."
}

# The words for how a recording was found, as ::qom::state tells it; empty when it is whole.
proc qomplay::trouble::found {state first_ms} {
    switch [dict get $state state] {
        damaged {
            if {![dict exists $state damagedAtTimeInMs]} {
                if {![dict get $state headRecovered]} {return "This recording is damaged."}
                return "The beginning of this file is damaged; a copy of it stands in, and nothing is\
                    lost by that."
            }
            set at [expr {[dict get $state damagedAtTimeInMs] - $first_ms}]
            return "This recording is damaged: [bytes [dict get $state damagedBytes]] at\
                [::qomplay::times::elapsed $at 0] cannot be read. The picture may be wrong from there\
                until the next full one."
        }
        unfinished {
            return "This recording has no end: it is still being written, or its writer was stopped."
        }
    }
    return ""
}

proc qomplay::trouble::passed_over {ms} {
    return "A damaged part at [::qomplay::times::elapsed $ms 0] was passed over: the picture may be\
        wrong until the next full one."
}

# What lossy means, as the end of a sentence.
proc qomplay::trouble::is_lossy {} {
    return "is lossy: near what was on the screen, and not the same"
}

# A share in words; one that is there at all is not none.
proc qomplay::trouble::percent {share} {
    return [expr {$share < 0.01 ? "under 1 %" : "[expr {round(100 * $share)}] %"}]
}

proc qomplay::trouble::bytes {count} {
    foreach unit {bytes kB MB GB} {
        if {$count < 1000 || $unit eq "GB"} break
        set count [expr {$count / 1000.0}]
    }
    return [expr {$unit eq "bytes" ? "$count bytes" : [format "%.1f %s" $count $unit]}]
}

# An error that nobody has foreseen.
proc qomplay::trouble::unexpected {message details} {
    variable told
    # One that comes again and again is said once.
    set where [dict get $details -errorinfo]
    if {$where in $told || [llength $told] >= 20} return
    lappend told $where
    ::qomplay::complain "unexpected error: [dict get $details -errorinfo]"
    if {[info commands .stage] ne ""} {::qomplay::panels::say "Something went wrong: $message"}
}

# Turns the window into one that says why the recording cannot be shown. A click on the words
# copies the recording's name.
proc qomplay::trouble::show_failure {words name} {
    ::qomplay::fullscreen::set_on 0
    foreach event [bind .] {bind . $event {}}
    destroy {*}[winfo children .]
    ttk::frame .failure -padding [::qomplay::theme::px 32]
    ttk::label .failure.title -style Failure.TLabel -text "The recording cannot be shown"
    ttk::label .failure.text -text [::qomplay::texts::line $words] -wraplength [::qomplay::theme::px 480] -justify left
    ::qomplay::copying::offer .failure.text $name
    ttk::button .failure.close -text Close -command {destroy .}
    pack .failure.title -anchor w
    pack .failure.text -anchor w -pady [::qomplay::theme::px 18]
    pack .failure.close -anchor e
    . configure -background [::qomplay::theme::colour panel]
    grid columnconfigure . 0 -weight 1
    grid rowconfigure . 0 -weight 1
    grid .failure -row 0 -column 0 -sticky nsew
    wm minsize . 1 1
    update idletasks
    . configure -width [expr {max([::qomplay::theme::px 560], [winfo reqwidth .failure])}] \
        -height [winfo reqheight .failure]
    if {[wm state .] eq "withdrawn"} {wm deiconify .}
    focus .failure.close
    foreach key {<Escape> <Return> <space> <q>} {bind . $key {destroy .}}
}
