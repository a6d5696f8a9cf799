# Full screen: the picture has the whole screen; moving the pointer brings the bars over it.
namespace eval qomplay::fullscreen {
    variable on 0
    variable rest 2500    ;# milliseconds without a move of the pointer until the bars go
    variable before ""    ;# geometry to go back to when there is no window manager to do it
    variable pointer {}
    variable told 1500    ;# milliseconds that a key shows the time and the state for
    variable telling 0    ;# they are shown
}

proc qomplay::fullscreen::set_on {wanted} {
    variable on $wanted
    variable before
    after cancel [namespace code fill_screen]
    wm attributes . -fullscreen $on
    if {$on} {
        set before [wm geometry .]
        after 300 [namespace code fill_screen]
        grid remove .bars
        bind . <Motion> [namespace code {moved %X %Y}]
        . configure -cursor none
    } else {
        bind . <Motion> {}
        after cancel [namespace code hide]
        forget_key
        place forget .bars
        grid .bars
        . configure -cursor ""
        if {$before ne "" && [fills_screen]} {wm geometry . $before}
    }
    ::qomplay::window::show_lossy_over
}

# Any key shows for a while what the bars would tell: the time and whether it plays.
proc qomplay::fullscreen::key {} {
    variable on
    variable told
    variable telling
    if {!$on} return
    set telling 1
    after cancel [namespace code forget_key]
    after $told [namespace code forget_key]
    after idle [namespace code tell]
}

# Brings what a key has shown up to date.
proc qomplay::fullscreen::tell {} {
    variable telling
    variable on
    if {!$on || !$telling} return
    set row $::qomplay::controls::row
    set state [expr {[::qomplay::actions::playing] ? "playing" : "paused"}]
    ::qomplay::panels::float .clock \
        "[$row.elapsed cget -text] [$row.total cget -text]    [$row.wall cget -text]    $state" \
        -in .stage -relx 0.5 -y [::qomplay::theme::px 12] -anchor n
}

proc qomplay::fullscreen::forget_key {} {
    variable telling 0
    after cancel [namespace code forget_key]
    ::qomplay::panels::unfloat .clock
}

proc qomplay::fullscreen::fills_screen {} {
    return [expr {[winfo width .] == [winfo screenwidth .] && [winfo height .] == [winfo screenheight .]}]
}

# Without a window manager nobody has followed the wish.
proc qomplay::fullscreen::fill_screen {} {
    variable on
    if {$on && ![fills_screen]} {wm geometry . [winfo screenwidth .]x[winfo screenheight .]+0+0}
}

proc qomplay::fullscreen::moved {x y} {
    variable pointer
    variable rest
    if {[list $x $y] eq $pointer} return
    set pointer [list $x $y]
    if {[winfo manager .bars] eq ""} {
        . configure -cursor ""
        place .bars -relx 0 -rely 1.0 -anchor sw -relwidth 1.0
        raise .bars
    }
    after cancel [namespace code hide]
    after $rest [namespace code hide]
}

# The bars stay while the pointer is on them.
proc qomplay::fullscreen::hide {} {
    variable on
    variable rest
    if {!$on} return
    set under [winfo containing {*}[winfo pointerxy .]]
    if {[string match .bars* $under]} {
        after $rest [namespace code hide]
        return
    }
    ::qomplay::hints::hide
    place forget .bars
    . configure -cursor none
}
