# The window: the picture on its stage, the timeline, the buttons, the footer; and what the view
# reports, brought to them.
#
# The view is placed on a stage that keeps its size whatever the recording asks for. To fit the
# picture the view gets exactly the picture's shape, in the middle of the stage; at natural size
# it fills the stage and scrolls.
namespace eval qomplay::window {
    variable view .stage.clip.view
    variable file ""
    variable facts {}      ;# the view's info at creation
    variable state {}      ;# how the recording was found
    variable first_ms 0    ;# time of frame 0, milliseconds since the epoch
    variable shown {}      ;# what the last notification told: frame, timestampInMs
    variable size {0 0}    ;# of the recorded screen, pixels
    variable natural 0
    variable full 0
    variable opened 0
}

proc qomplay::window::build {name} {
    variable file $name
    wm title . "[file tail $name] \u2013 qomplay"
    wm protocol . WM_DELETE_WINDOW ::qomplay::actions::quit
    build_stage
    build_controls
    footer_path
    ttk::label .notice -style Warning.TLabel -padding [list [px 12] [px 4]] -anchor w
    grid .stage -row 0 -column 0 -sticky nsew
    grid .notice -row 1 -column 0 -sticky ew
    grid .controls -row 2 -column 0 -sticky ew
    grid .line -row 3 -column 0 -sticky ew
    grid .footer -row 4 -column 0 -sticky ew
    grid remove .notice
    grid columnconfigure . 0 -weight 1
    grid rowconfigure . 0 -weight 1
    grid propagate . 0
    wm minsize . [px 480] [px 320]
    . configure -width [px 960] -height [px 640]
}

proc qomplay::window::px {length} {return [::qomplay::theme::px $length]}

proc qomplay::window::footer_path {} {
    ttk::frame .line -style Line.TFrame -height 1
    ::qomplay::footer::build .footer
}

proc qomplay::window::build_stage {} {
    frame .stage -background [::qomplay::theme::colour stage] -borderwidth 0
    frame .stage.clip -background [::qomplay::theme::colour stage] -borderwidth 0
    ttk::scrollbar .stage.x -orient horizontal
    ttk::scrollbar .stage.y -orient vertical
    bind .stage <Configure> [namespace code layout]
}

proc qomplay::window::build_controls {} {
    ttk::frame .controls
    ::qomplay::timeline::build .controls.timeline ::qomplay::actions::drag_to \
        [namespace code hint_text]
    ttk::frame .controls.row -padding [list [px 6] 0 [px 6] [px 6]]
    pack .controls.timeline -fill x -padx [px 4] -pady [list [px 2] 0]
    pack .controls.row -fill x
    foreach {name side} {
        start left back left previous left play left next left ahead left end left
        help right full right facts right save right fit right
    } {
        ttk::button .controls.row.$name -style Icon.TButton -takefocus 0 \
            -image [::qomplay::theme::icon $name] -command ::qomplay::actions::$name
        pack .controls.row.$name -side $side
    }
    ttk::label .controls.row.elapsed -style Time.TLabel -anchor e
    ttk::label .controls.row.total -style Dim.TLabel -anchor w
    ttk::label .controls.row.wall -style Small.TLabel -anchor w
    ttk::label .controls.row.status -style Dim.TLabel -anchor e
    pack .controls.row.elapsed -side left -padx [list [px 12] 0]
    pack .controls.row.total -side left -padx [list [px 6] [px 12]]
    pack .controls.row.wall -side left -padx [list [px 6] [px 12]]
    pack .controls.row.status -side right -padx [px 8]
}

# Opens the recording into the view; an error of the view's is passed on.
proc qomplay::window::open {name} {
    variable view
    variable facts
    variable state
    variable first_ms
    variable size
    variable opened
    ::qom::view $view $name
    $view configure -xscrollcommand {.stage.x set} -yscrollcommand {.stage.y set}
    .stage.x configure -command [list $view xview]
    .stage.y configure -command [list $view yview]
    set facts [$view info]
    set state [::qom::state $view]
    ::qom::tolerant $view 1
    set first_ms [dict get $facts timestampInMs]
    set size [list [dict get $facts width] [dict get $facts height]]
    set opened 1
    $view callback [namespace code report]
    ::qomplay::seeking::setup $view [namespace code show_progress]
    show_frame [dict get $facts currentFrame] $first_ms
    set width [string length [::qomplay::times::elapsed [total_ms]]]
    .controls.row.elapsed configure -width $width
    .controls.row.total configure -text "/ [::qomplay::times::elapsed [total_ms] 0]"
    .controls.row.wall configure -width 21
    tell_state
}

# Milliseconds from frame 0 to the last frame.
proc qomplay::window::total_ms {} {
    variable facts
    return [expr {[dict get $facts numberOfFrames] * [frame_ms]}]
}

# Milliseconds of a frame; the rate is fixed when a view is created.
proc qomplay::window::frame_ms {} {return 100}

# Milliseconds since the epoch of the last record.
proc qomplay::window::last_ms {} {
    variable facts
    return [dict get $facts endTimeInMs]
}

proc qomplay::window::hint_text {fraction} {
    variable facts
    variable first_ms
    set ms [expr {round($fraction * [dict get $facts numberOfFrames]) * [frame_ms]}]
    return "[::qomplay::times::elapsed $ms]    [::qomplay::times::wall [expr {$first_ms + $ms}]]"
}

# --- what the view reports -----------------------------------------------------------------------

proc qomplay::window::report {notification} {
    switch [dict get $notification type] {
        timestamp {
            show_frame [dict get $notification frame] [dict get $notification timestampInMs]
            ::qomplay::footer::update $notification
            follow_size
            ::qomplay::seeking::arrived [dict get $notification frame]
        }
        playing_done {::qomplay::seeking::ended}
        playing_error {
            ::qomplay::seeking::ended
            notice "The recording cannot be shown from here on: a part of it is damaged."
        }
    }
    tell_passed_over
    show_playing
}

proc qomplay::window::show_frame {frame ms} {
    variable shown
    variable first_ms
    set shown [dict create frame $frame ms $ms]
    .controls.row.elapsed configure -text [::qomplay::times::elapsed [expr {$ms - $first_ms}]]
    .controls.row.wall configure -text [::qomplay::times::wall $ms]
    show_progress
}

proc qomplay::window::fraction_of {frame} {
    variable facts
    set frames [dict get $facts numberOfFrames]
    return [expr {$frames > 0 ? double($frame) / $frames : 0.0}]
}

# The timeline, and a word when a move takes more than a round.
proc qomplay::window::show_progress {} {
    variable shown
    set target [::qomplay::seeking::target]
    set frame [dict get $shown frame]
    ::qomplay::timeline::show [fraction_of $frame] [expr {$target < 0 ? -1 : [fraction_of $target]}]
    if {$target < 0 || $target == $frame} {
        .controls.row.status configure -text ""
    } else {
        set to [::qomplay::times::elapsed [expr {$target * [frame_ms]}] 0]
        .controls.row.status configure -text "going to $to\u2026"
    }
}

proc qomplay::window::show_playing {} {
    variable view
    set icon [expr {[$view play status] ? "pause" : "play"}]
    .controls.row.play configure -image [::qomplay::theme::icon $icon]
}

# --- what was found wrong ------------------------------------------------------------------------

proc qomplay::window::notice {text} {
    .notice configure -text $text
    grid .notice
}

proc qomplay::window::tell_state {} {
    variable state
    switch [dict get $state state] {
        damaged {
            notice "This recording is damaged: what is readable is shown. \"qom verify\" lists what is not."
        }
        unfinished {
            notice "This recording is not finished: it is still being written, or its end was cut off."
        }
    }
}

proc qomplay::window::tell_passed_over {} {
    variable view
    set count [dict get [::qom::state $view] passedOver]
    if {$count == 0} return
    notice "[expr {$count == 1 ? {A damaged record was} : "$count damaged records were"}] passed over:\
        the picture may be wrong until the next full one."
}

# The words for a recording that cannot be opened.
proc qomplay::window::failure {name message details} {
    set code [dict get $details -errorcode]
    switch -glob -- $code {
        "POSIX ENOENT *" {return "There is no file $name."}
        "POSIX EACCES *" {return "You may not read $name."}
        "POSIX EISDIR *" {return "$name is a folder, not a recording."}
        "POSIX *" {return "$name cannot be read: [lindex $code 2]."}
        "QOM SETUP READER" {return "$name is not a recording, or its beginning is damaged."}
        "QOM SETUP CONVERSION" {return "This display cannot show $name: $message."}
        "QOM IMAGE *" - "QOM FIRST *" {return "$name has no picture that can be shown: $message."}
    }
    return "$name cannot be shown: $message."
}

proc qomplay::window::show_failure {name message details} {
    foreach part {.notice .controls .line .footer .stage} {grid remove $part}
    ttk::frame .failure -padding [px 32]
    ttk::label .failure.title -style Failure.TLabel -text "The recording cannot be shown"
    ttk::label .failure.text -text [failure $name $message $details] -wraplength [px 460] -justify left
    ttk::button .failure.close -text Close -command {destroy .}
    pack .failure.title -anchor w
    pack .failure.text -anchor w -pady [px 16]
    pack .failure.close -anchor e
    grid .failure -row 0 -column 0
    . configure -background [::qomplay::theme::colour panel] -width [px 560] -height [px 240]
    wm minsize . 1 1
    focus .failure.close
    foreach key {<Escape> <Return> <q>} {bind . $key {destroy .}}
}

# --- where the picture lies ----------------------------------------------------------------------

# The first size of the window: the picture at natural size where the screen has room for it.
proc qomplay::window::layout_first {} {
    variable size
    lassign $size width height
    update idletasks
    set bars 0
    foreach part {.controls .line .footer} {incr bars [winfo reqheight $part]}
    if {[winfo manager .notice] ne ""} {incr bars [winfo reqheight .notice]}
    set factor [expr {min(1.0, 0.92 * [winfo screenwidth .] / $width,
        (0.88 * [winfo screenheight .] - $bars) / $height)}]
    . configure -width [expr {max([px 720], round($width * $factor))}] \
        -height [expr {max([px 240], round($height * $factor)) + $bars}]
    update idletasks
    layout
}

# The recorded screen may change its size at any frame.
proc qomplay::window::follow_size {} {
    variable view
    variable size
    set facts [$view info]
    set now [list [dict get $facts width] [dict get $facts height]]
    if {$now ne $size} {
        set size $now
        layout
    }
}

proc qomplay::window::layout {} {
    variable opened
    variable natural
    if {!$opened} return
    if {$natural} {layout_natural} else {layout_fitted}
}

proc qomplay::window::layout_fitted {} {
    variable view
    variable size
    lassign $size width height
    foreach bar {.stage.x .stage.y} {place forget $bar}
    set room_x [winfo width .stage]
    set room_y [winfo height .stage]
    set factor [expr {min(1.0, double($room_x) / $width, double($room_y) / $height)}]
    set shown_x [expr {max(1, round($width * $factor))}]
    set shown_y [expr {max(1, round($height * $factor))}]
    put_view $shown_x $shown_y $room_x $room_y \
        [expr {int(ceil($width * $factor))}] [expr {int(ceil($height * $factor))}]
}

# The clip has the size of the picture. The view inside is up to a pixel larger, so that the
# picture's own rounding never leaves a line of its background in sight.
proc qomplay::window::put_view {width height room_x room_y inner_x inner_y} {
    variable view
    place .stage.clip -x [expr {max(0, ($room_x - $width) / 2)}] \
        -y [expr {max(0, ($room_y - $height) / 2)}] -width $width -height $height
    place $view -x 0 -y 0 -width [expr {max(1, $inner_x)}] -height [expr {max(1, $inner_y)}]
}

proc qomplay::window::layout_natural {} {
    variable view
    variable size
    lassign $size width height
    set bar [winfo reqwidth .stage.y]
    set all_x [winfo width .stage]
    set all_y [winfo height .stage]
    set needs_x [expr {$width > $all_x}]
    set needs_y [expr {$height > $all_y - ($needs_x ? $bar : 0)}]
    set needs_x [expr {$width > $all_x - ($needs_y ? $bar : 0)}]
    set room_x [expr {$all_x - ($needs_y ? $bar : 0)}]
    set room_y [expr {$all_y - ($needs_x ? $bar : 0)}]
    set shown_x [expr {min($width, $room_x)}]
    set shown_y [expr {min($height, $room_y)}]
    put_view $shown_x $shown_y $room_x $room_y $shown_x $shown_y
    if {$needs_x} {place .stage.x -x 0 -y $room_y -width $room_x} else {place forget .stage.x}
    if {$needs_y} {place .stage.y -x $room_x -y 0 -height $room_y} else {place forget .stage.y}
}

# Fits the picture to the window, or shows it at natural size.
proc qomplay::window::set_natural {on} {
    variable view
    variable natural $on
    $view configure -scaling [expr {!$on}]
    .controls.row.fit configure -image [::qomplay::theme::icon [expr {$on ? "natural" : "fit"}]]
    layout
}

# --- full screen ---------------------------------------------------------------------------------

proc qomplay::window::set_full {on} {
    variable full $on
    wm attributes . -fullscreen $on
    if {$on} {
        bars_hide
        bind . <Motion> [namespace code bars_show]
    } else {
        bind . <Motion> {}
        after cancel [namespace code bars_hide]
        bars_restore
    }
}

# While the pointer rests the picture has the whole screen.
proc qomplay::window::bars_hide {} {
    variable full
    if {!$full} return
    foreach part {.controls .line .footer} {grid remove $part}
    . configure -cursor none
}

proc qomplay::window::bars_restore {} {
    foreach part {.controls .line .footer} {grid $part}
    . configure -cursor ""
}

proc qomplay::window::bars_show {} {
    after cancel [namespace code bars_hide]
    if {[winfo manager .controls] eq ""} {bars_restore}
    after 2500 [namespace code bars_hide]
}
