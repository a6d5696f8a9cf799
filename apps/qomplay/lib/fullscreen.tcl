# Full screen: the picture has the whole screen; moving the pointer brings the bars over it.
namespace eval qomplay::fullscreen {
    variable on 0
    variable rest 2500    ;# milliseconds without a move of the pointer until the bars go
    variable before ""    ;# geometry to go back to when there is no window manager to do it
    variable pointer {}
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
        place forget .bars
        grid .bars
        . configure -cursor ""
        if {$before ne "" && [fills_screen]} {wm geometry . $before}
    }
    ::qomplay::window::show_lossy_over
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
