# What a person can do. Buttons, keys and the command line end here.
namespace eval qomplay::actions {
    variable view .stage.clip.view
}

proc qomplay::actions::quit {} {destroy .}

# --- moving --------------------------------------------------------------------------------------

# The frame that the next step counts from: where a move under way will end.
proc qomplay::actions::from {} {
    set target [::qomplay::seeking::target]
    return [expr {$target >= 0 ? $target : [dict get $::qomplay::window::shown frame]}]
}

proc qomplay::actions::frames {} {
    return [dict get $::qomplay::window::facts numberOfFrames]
}

proc qomplay::actions::jump {ms} {
    ::qomplay::seeking::to [expr {[from] + round($ms / [::qomplay::window::frame_ms])}]
}

proc qomplay::actions::start {} {::qomplay::seeking::to 0}
proc qomplay::actions::end {} {::qomplay::seeking::to [frames]}
proc qomplay::actions::back {} {jump -5000}
proc qomplay::actions::ahead {} {jump 5000}
proc qomplay::actions::minute_back {} {jump -60000}
proc qomplay::actions::minute_ahead {} {jump 60000}

# Steps are for looking closely: playing stops.
proc qomplay::actions::previous {} {
    pause
    ::qomplay::seeking::to [expr {[from] - 1}]
}

proc qomplay::actions::next {} {
    pause
    ::qomplay::seeking::to [expr {[from] + 1}]
}

# To the next change of the picture, or the last one.
proc qomplay::actions::next_change {} {to_change next "The picture does not change any more"}
proc qomplay::actions::previous_change {} {to_change previous "The picture does not change before"}
proc qomplay::actions::to_change {direction otherwise} {
    variable view
    pause
    if {[::qomplay::seeking::target] >= 0} return
    set us [::qom::change $view $direction]
    if {$us eq ""} {::qomplay::panels::say $otherwise} else {to_moment $us}
}

# Shows what was on the screen at a moment, microseconds since the epoch.
proc qomplay::actions::to_moment {us} {
    ::qomplay::seeking::to [::qomplay::window::frame_of_us $us] $us
}

proc qomplay::actions::drag_to {fraction} {
    ::qomplay::seeking::to [expr {round($fraction * [frames])}]
}

# Goes to a place as times::parse gives it.
proc qomplay::actions::go_at {place} {
    set ms [ms_of $place]
    if {$ms < $::qomplay::window::first_ms} {
        ::qomplay::panels::say "This recording begins at [::qomplay::times::wall $::qomplay::window::first_ms]"
    } elseif {$ms > [::qomplay::window::last_ms]} {
        ::qomplay::panels::say "This recording ends at [::qomplay::times::wall [::qomplay::window::last_ms]]"
    }
    ::qomplay::seeking::to [frame_at $ms] [exact_time $place $ms]
}

# The last frame that is not after a moment.
proc qomplay::actions::frame_at {ms} {
    return [::qomplay::window::frame_of_us [expr {
        $::qomplay::window::first_us + ($ms - $::qomplay::window::first_ms) * 1000}]]
}

# The microseconds since the epoch that a place means, whose moment is `ms`; empty where it is not in
# the recording. What is counted from the start is counted from the first picture to the microsecond.
proc qomplay::actions::exact_time {place ms} {
    set first $::qomplay::window::first_ms
    if {$ms < $first || $ms > [::qomplay::window::last_ms]} return
    set counted [expr {[lindex $place 0] in {elapsed either} && $ms == $first + [lindex $place 1]}]
    return [expr {$ms * 1000 + ($counted ? $::qomplay::window::first_us - $first * 1000 : 0)}]
}

proc qomplay::actions::ms_of {place} {
    return [::qomplay::times::resolve $place $::qomplay::window::first_ms [::qomplay::window::last_ms] \
        [dict get $::qomplay::window::shown ms]]
}

# --- playing -------------------------------------------------------------------------------------

proc qomplay::actions::playing {} {
    variable view
    return [$view play status]
}

proc qomplay::actions::play {} {
    variable view
    if {[playing]} {
        pause
        return
    }
    if {[from] >= [frames]} {::qomplay::seeking::to 0}
    $view play start
    ::qomplay::window::show_playing
}

proc qomplay::actions::pause {} {
    variable view
    $view play stop
    ::qomplay::window::show_playing
}

proc qomplay::actions::slower {} {::qomplay::speed::change 0}
proc qomplay::actions::faster {} {::qomplay::speed::change 1}
proc qomplay::actions::usual_speed {} {::qomplay::speed::choose 1}
proc qomplay::actions::speed {} {::qomplay::speed::menu .bars.row.speed}
proc qomplay::actions::idle {} {::qomplay::idle::next_mode}
proc qomplay::actions::whole {} {::qomplay::span::whole}

# --- finding -------------------------------------------------------------------------------------

proc qomplay::actions::events {} {::qomplay::side::toggle}
proc qomplay::actions::find {} {::qomplay::side::find}
proc qomplay::actions::next_found {} {::qomplay::side::step 1}
proc qomplay::actions::previous_found {} {::qomplay::side::step 0}

# --- looking -------------------------------------------------------------------------------------

proc qomplay::actions::fit {} {set_natural [expr {!$::qomplay::stage::natural}]}
proc qomplay::actions::enlarge {} {::qomplay::stage::next_enlarged}
proc qomplay::actions::natural {} {set_natural 1}
proc qomplay::actions::set_natural {on} {
    ::qomplay::stage::set_natural $on
    ::qomplay::controls::show_natural $on
}
proc qomplay::actions::full {} {::qomplay::fullscreen::set_on [expr {!$::qomplay::fullscreen::on}]}
proc qomplay::actions::theme {} {
    ::qomplay::theme::change [::qomplay::theme::other] $::qomplay::theme::text_size
}
proc qomplay::actions::text_size {} {
    ::qomplay::theme::change $::qomplay::theme::name [::qomplay::theme::next_size]
}
proc qomplay::actions::facts {} {::qomplay::panels::toggle facts}
proc qomplay::actions::help {} {::qomplay::panels::toggle help}
proc qomplay::actions::zone {} {::qomplay::zones::next}
proc qomplay::actions::goto {} {::qomplay::panels::toggle goto}

# Closes what is open, leaves full screen, or stops a move: the first of them that applies.
proc qomplay::actions::escape {} {
    if {[::qomplay::report::stop] || [::qomplay::panels::close_all] || [::qomplay::side::close]} return
    if {$::qomplay::fullscreen::on} {
        full
        return
    }
    ::qomplay::seeking::cancel
}

# --- marks and what is made of them --------------------------------------------------------------

proc qomplay::actions::mark {} {
    pause
    ::qomplay::panels::toggle mark
}
proc qomplay::actions::in_point {} {::qomplay::stretch::set_end in}
proc qomplay::actions::out_point {} {::qomplay::stretch::set_end out}
proc qomplay::actions::take {} {::qomplay::panels::toggle take}
proc qomplay::actions::report {} {::qomplay::report::ask}

# --- taking along --------------------------------------------------------------------------------

proc qomplay::actions::shown_time {} {
    return [::qomplay::times::wall [dict get $::qomplay::window::shown ms]]
}

proc qomplay::actions::copy_time {} {::qomplay::copying::copy [shown_time]}

proc qomplay::actions::open {} {::qomplay::opening::ask}
proc qomplay::actions::save_at_once {} {
    variable view
    ::qomplay::pictures::save_at_once $view
}
proc qomplay::actions::save {} {save_picture 1}
proc qomplay::actions::save_without_cursor {} {save_picture 0}
proc qomplay::actions::save_picture {cursor} {
    variable view
    ::qomplay::pictures::save $view $cursor
}
