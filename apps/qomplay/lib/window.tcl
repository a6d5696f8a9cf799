# The window: the parts put together, and what the view reports brought to them.
namespace eval qomplay::window {
    variable view .stage.clip.view
    variable file ""       ;# the recording's name, as text
    variable name ""       ;# the same as bytes
    variable facts {}      ;# the view's info at creation
    variable state {}      ;# how the recording was found
    variable first_ms 0    ;# time of frame 0, milliseconds since the epoch
    variable first_us 0    ;# the same in microseconds, as far as the view tells them
    variable shown {}      ;# what the last notification told: frame, ms
    variable passed 0      ;# damaged records passed over so far
    variable playing -1    ;# as last shown
    variable surveyed 0    ;# the recording as a whole is being looked at
    variable lossy 0.0     ;# share of the picture that is lossy, as last shown
}

proc qomplay::window::px {length} {return [::qomplay::theme::px $length]}

proc qomplay::window::build {name} {
    variable file $name
    # Nothing is drawn before it has its place and its size.
    wm withdraw .
    show_title ""
    wm protocol . WM_DELETE_WINDOW ::qomplay::actions::quit
    ::qomplay::stage::build
    ::qomplay::controls::build
    bind all <Key> +::qomplay::fullscreen::key
    ttk::label .notice -style Warning.TLabel -padding [list [px 12] [px 5]] -anchor w
    grid .stage -row 0 -column 0 -sticky nsew
    grid .notice -row 1 -column 0 -columnspan 2 -sticky ew
    grid .bars -row 2 -column 0 -columnspan 2 -sticky ew
    grid remove .notice
    grid columnconfigure . 0 -weight 1
    grid rowconfigure . 0 -weight 1
    grid propagate . 0
    bind .notice <Configure> {.notice configure -wraplength [expr {%w - [qomplay::theme::px 24]}]}
    wm minsize . [px 420] [px 320]
    . configure -width [px 960] -height [px 640]
}

# What the window is called: the recording and what it does.
proc qomplay::window::show_title {doing} {
    variable file
    set name [::qomplay::texts::path [::qomplay::names::tail $file] 100]
    wm title . [join [list $name {*}$doing qomplay] " \u2013 "]
}

# Opens the recording of a name (as bytes) into the view; an error of the view's is passed on.
proc qomplay::window::open {bytes} {
    variable view
    variable name $bytes
    variable facts
    variable state
    variable first_ms
    variable first_us
    ::qom::framerate recorded
    ::qomplay::stage::open $name
    set facts [$view info]
    set state [::qom::state $view]
    ::qom::tolerant $view 1
    set first_ms [dict get $facts timestampInMs]
    set first_us [position_us]
    ::qomplay::zones::setup $view
    bind . <<TimeZone>> [namespace code zone_changed]
    $view callback [namespace code report]
    ::qomplay::seeking::setup $view [namespace code show_progress] [namespace code cannot_go_on]
    bind $view <Destroy> [namespace code lost]
    ::qomplay::controls::set_times [total_ms] [list $first_ms [last_ms]]
    ::qomplay::goto::offer_zones
    show_frame [dict get $facts currentFrame] $first_ms
    show_lossy
    show_playing
    tell_found
    ::qomplay::vanishing::watch $view $name
}

# What looks at the recording as a whole, once its picture is on the screen.
proc qomplay::window::survey {} {
    variable surveyed 0
    ::qomplay::span::setup [expr {1e6 * 2 / max(2e6, [total_us])}]
    ::qomplay::speed::setup
    ::qomplay::marks::setup
    variable view
    set later [list after 200 [namespace code look_over]]
    if {[winfo ismapped $view]} $later else {bind $view <Map> +$later}
    bind .bars <Destroy> +[list after cancel [namespace code look_over]]
}

proc qomplay::window::look_over {} {
    variable surveyed
    if {$surveyed} return
    ::qomplay::idle::setup
    ::qomplay::happenings::setup
    ::qomplay::damage::setup
    set surveyed 1
    ::qomplay::strip::draw_soon
}

# Milliseconds from frame 0 to the last frame.
proc qomplay::window::total_ms {} {
    variable facts
    return [expr {round([dict get $facts numberOfFrames] * [frame_ms])}]
}

# Milliseconds of a frame, with a fraction; the rate is fixed when a view is created.
proc qomplay::window::frame_ms {} {return [expr {[frame_us] / 1000.0}]}

proc qomplay::window::frame_us {} {
    variable view
    return [expr {1000000 / [$view configure -framerate]}]
}

# --- moments, microseconds since the epoch, and fractions of the recording -----------------------

proc qomplay::window::total_us {} {
    variable facts
    return [expr {[dict get $facts numberOfFrames] * [frame_us]}]
}

proc qomplay::window::us_at {fraction} {
    variable first_us
    return [expr {$first_us + wide($fraction * [total_us])}]
}

proc qomplay::window::fraction_at {us} {
    variable first_us
    return [expr {max(0.0, min(1.0, double($us - $first_us) / max(1, [total_us])))}]
}

# The last frame that is not after a moment.
proc qomplay::window::frame_of_us {us} {
    variable first_us
    variable facts
    return [expr {max(0, min([dict get $facts numberOfFrames], ($us - $first_us) / [frame_us]))}]
}

# Where the last picture was, also when there is no view any more.
proc qomplay::window::last_shown_us {} {
    variable shown
    return [expr {[dict get $shown ms] * 1000}]
}

proc qomplay::window::position_us {} {
    variable view
    return [::qom::position $view]
}

# Milliseconds since the epoch of the last record.
proc qomplay::window::last_ms {} {
    variable facts
    return [dict get $facts endTimeInMs]
}

proc qomplay::window::hint_text {fraction} {
    variable facts
    variable first_ms
    set ms [expr {round(round($fraction * [dict get $facts numberOfFrames]) * [frame_ms])}]
    return "[::qomplay::times::elapsed $ms]    [::qomplay::times::wall [expr {$first_ms + $ms}]]"
}

# --- what the view reports -----------------------------------------------------------------------

proc qomplay::window::report {notification} {
    switch [dict get $notification type] {
        timestamp {
            show_frame [dict get $notification frame] [expr {[position_us] / 1000}]
            show_lossy
            ::qomplay::damage::shown
            ::qomplay::side::shown
            ::qomplay::idle::played
            ::qomplay::footer::update $notification
            ::qomplay::stage::follow_size
            ::qomplay::seeking::arrived [dict get $notification frame]
        }
        playing_done {
            ::qomplay::seeking::ended
            show_end
        }
        playing_error {
            ::qomplay::seeking::ended
            cannot_go_on
        }
    }
    tell_passed_over
    show_playing
}

proc qomplay::window::cannot_go_on {} {
    # What happened to the file says more.
    ::qomplay::vanishing::look
    if {$::qomplay::vanishing::gone} return
    notice "The recording cannot be shown from here on."
}

# The view was destroyed while its window stays: nothing waits for it any more.
proc qomplay::window::lost {} {
    variable file
    if {![winfo exists .]} return
    ::qomplay::seeking::setup "" list
    ::qomplay::trouble::show_failure \
        "The picture of [::qomplay::texts::path $file] is gone. Open the recording again." $file
}

# Playing ends when the last frame is next, without showing it.
proc qomplay::window::show_end {} {
    variable playing
    variable shown
    variable facts
    set last [dict get $facts numberOfFrames]
    if {$playing == 1 && [dict get $shown frame] < $last} {::qomplay::seeking::to $last}
}

proc qomplay::window::show_frame {frame ms} {
    variable shown
    variable first_ms
    set shown [dict create frame $frame ms $ms]
    ::qomplay::controls::show_time [::qomplay::times::elapsed [expr {$ms - $first_ms}]] $ms
    show_progress
}

# The times by the clock are told in another zone from now on.
proc qomplay::window::zone_changed {} {
    variable shown
    variable first_ms
    ::qomplay::controls::set_times [total_ms] [list $first_ms [last_ms]]
    ::qomplay::controls::arrange [winfo width $::qomplay::controls::row]
    show_frame [dict get $shown frame] [dict get $shown ms]
    ::qomplay::panels::refresh facts
    ::qomplay::goto::zone_changed
}

proc qomplay::window::fraction_of {frame} {
    variable facts
    set frames [dict get $facts numberOfFrames]
    return [expr {$frames > 0 ? max(0.0, min(1.0, double($frame) / $frames)) : 0.0}]
}

# The timeline; and what a move that takes more than one round is about.
proc qomplay::window::show_progress {} {
    variable shown
    set target [::qomplay::seeking::target]
    set frame [dict get $shown frame]
    ::qomplay::timeline::show [fraction_of $frame] [expr {$target < 0 ? -1 : [fraction_of $target]}]
    if {[::qomplay::seeking::rounds] > 0} {
        ::qomplay::panels::busy "Going to [elapsed_at $target], now at [elapsed_at $frame]"
    } else {
        ::qomplay::panels::busy ""
    }
    # The rounds of a move leave no time for what waits until nothing else is to do.
    if {$target >= 0} {update idletasks}
}

proc qomplay::window::elapsed_at {frame} {
    return [::qomplay::times::elapsed [expr {round($frame * [frame_ms])}] 0]
}

proc qomplay::window::show_playing {} {
    variable view
    variable playing
    set now [$view play status]
    if {$now == $playing} return
    set playing $now
    ::qomplay::controls::show_playing $now
    show_title [expr {$now ? {playing} : {paused}}]
}

# --- what is lossy -------------------------------------------------------------------------------

# How much of the picture is lossy, 0 to 1.
proc qomplay::window::lossy_share {} {
    variable view
    set pixels 0
    foreach area [::qom::lossy $view] {incr pixels [expr {[lindex $area 2] * [lindex $area 3]}]}
    lassign $::qomplay::stage::size width height
    return [expr {min(1.0, double($pixels) / ($width * $height))}]
}

# Says for as long as it is so that the picture has lossy areas: among the controls, and over the
# picture where it has the whole screen.
proc qomplay::window::show_lossy {} {
    variable lossy
    set now [lossy_share]
    if {$now == $lossy} return
    set lossy $now
    if {$now == 0} {
        ::qomplay::controls::show_lossy "" ""
    } else {
        set percent [::qomplay::trouble::percent $now]
        ::qomplay::controls::show_lossy "lossy: $percent" "$percent of this picture            [::qomplay::trouble::is_lossy]"
    }
    show_lossy_over
}

proc qomplay::window::show_lossy_over {} {
    variable lossy
    if {$lossy > 0 && $::qomplay::fullscreen::on} {
        ::qomplay::panels::float .lossy "lossy: [::qomplay::trouble::percent $lossy]" -in .stage \
            -relx 1.0 -x [expr {-[px 12]}] -y [px 12] -anchor ne
    } else {
        ::qomplay::panels::unfloat .lossy
    }
}

# --- what was found wrong ------------------------------------------------------------------------

proc qomplay::window::notice {text} {
    .notice configure -text $text
    ::qomplay::selecting::offer .notice
    grid .notice
}

proc qomplay::window::tell_found {} {
    variable state
    variable first_ms
    set words [::qomplay::trouble::found $state $first_ms]
    if {$words ne ""} {notice $words}
    if {[dict exists $state damagedAtTimeInMs]} {mark_damage [dict get $state damagedAtTimeInMs]}
}

proc qomplay::window::tell_passed_over {} {
    variable view
    variable passed
    variable first_ms
    set now [::qom::state $view]
    if {[dict get $now passedOver] == $passed} return
    set passed [dict get $now passedOver]
    set ms [dict get $now passedOverTimeInMs]
    mark_damage $ms
    ::qomplay::panels::say [::qomplay::trouble::passed_over [expr {$ms - $first_ms}]]
}

proc qomplay::window::mark_damage {ms} {
    variable first_ms
    ::qomplay::timeline::mark [fraction_of [expr {($ms - $first_ms) / [frame_ms]}]]
}

# The first size of the window: the picture at natural size where the screen has room for it.
proc qomplay::window::size_first {} {
    lassign $::qomplay::stage::size width height
    update idletasks
    set bars [winfo reqheight .bars]
    if {[winfo manager .notice] ne ""} {incr bars [winfo reqheight .notice]}
    set factor [expr {min(1.0, 0.92 * [winfo screenwidth .] / $width,
        (0.88 * [winfo screenheight .] - $bars) / $height)}]
    . configure \
        -width [expr {min([winfo screenwidth .], max([px 880], round($width * $factor)))}] \
        -height [expr {min([winfo screenheight .], max([px 360], round($height * $factor)) + $bars)}]
    # The buttons come last, or they would be drawn twice.
    grid remove .bars
    wm deiconify .
    update idletasks
    ::qomplay::stage::layout
    grid .bars
}
