# What the window shows without a recording: those that were shown last, and a way to open others.
namespace eval qomplay::start_page {
    variable options {}   ;# of the command line
    variable recents {}   ;# path as bytes, microseconds where it was left; as listed
}

proc qomplay::start_page::show {given} {
    variable options $given
    wm title . qomplay
    set px ::qomplay::theme::px
    . configure -background [::qomplay::theme::colour panel]
    ttk::frame .start -padding [$px 24]
    ttk::label .start.title -style Title.TLabel -text "Recordings of desktop sessions"
    ttk::button .start.open -text "Open\u2026" -command ::qomplay::opening::ask
    ttk::treeview .start.list -columns {left folder} -selectmode browse -height 10
    .start.list heading #0 -text "Shown last" -anchor w
    .start.list heading left -text "Left at" -anchor w
    .start.list heading folder -text Folder -anchor w
    .start.list column #0 -width [$px 260]
    .start.list column left -width [$px 80] -stretch 0
    .start.list column folder -width [$px 300]
    grid .start.title -row 0 -column 0 -sticky w
    grid .start.open -row 0 -column 1 -sticky e
    grid .start.list -row 1 -column 0 -columnspan 2 -sticky nsew -pady [list [$px 16] 0]
    grid columnconfigure .start 0 -weight 1
    grid rowconfigure .start 1 -weight 1
    grid .start -row 0 -column 0 -sticky nsew
    grid columnconfigure . 0 -weight 1
    grid rowconfigure . 0 -weight 1
    fill
    wm protocol . WM_DELETE_WINDOW {destroy .}
    foreach {event action} {
        <Double-Button-1> chosen <Return> chosen <KP_Enter> chosen <space> chosen
    } {
        # The list is gone afterwards.
        bind .start.list $event "[namespace code $action]; break"
    }
    foreach {key script} {
        <Control-o> ::qomplay::opening::ask <Escape> {destroy .} <q> {destroy .} <Control-q> {destroy .}
        <Control-w> {destroy .}
    } {
        bind . $key $script
    }
    wm minsize . [$px 480] [$px 320]
    if {[wm state .] eq "withdrawn"} {wm deiconify .}
    focus [expr {[.start.list children {}] eq "" ? ".start.open" : ".start.list"}]
}

proc qomplay::start_page::fill {} {
    variable recents [::qomplay::recents::all]
    .start.list tag configure gone -foreground [::qomplay::theme::colour faint]
    set row 0
    foreach {path since} $recents {
        set there [::qomplay::names::as_bytes {file isfile $path}]
        set text [::qomplay::names::text $path]
        .start.list insert {} end -id $row -tags [expr {$there ? {} : "gone"}] \
            -text [::qomplay::texts::path [::qomplay::names::tail $text] 60] \
            -values [list [::qomplay::times::elapsed [expr {$since / 1000}] 0] \
                [expr {$there ? [::qomplay::texts::path [file dirname $text] 60] : "is not there any more"}]]
        incr row
    }
    if {$row > 0} {
        .start.list selection set 0
        .start.list focus 0
    }
}

# Opens the recording of the row that is chosen where it was left.
proc qomplay::start_page::chosen {} {
    variable recents
    set row [.start.list selection]
    if {$row eq ""} return
    lassign [lrange $recents [expr {2 * $row}] [expr {2 * $row + 1}]] path since
    open $path $since
}

# Shows a recording, its name as bytes, in this window in place of the page.
proc qomplay::start_page::open {path since} {
    variable options
    foreach event [bind .] {bind . $event {}}
    destroy .start
    dict set options file $path
    if {$since > 0 && [dict get $options at] eq ""} {
        dict set options at [list elapsed [expr {$since / 1000}]]
    }
    ::qomplay::open_recording $options
}
