# How fast the recording plays: what a person has chosen, and faster for a while where nothing happens.
namespace eval qomplay::speed {
    variable steps {0.1 0.25 0.5 1 2 4 8 16 32 64}
    variable chosen 1.0
    variable hurried 1.0    ;# as many times faster than chosen at the moment
}

# A new view plays at the speed that was chosen.
proc qomplay::speed::setup {} {
    variable hurried 1.0
    apply
}

proc qomplay::speed::choose {factor} {
    variable chosen [expr {double($factor)}]
    apply
    ::qomplay::panels::say "Speed [words $chosen]"
}

# The next step up or down from what is chosen.
proc qomplay::speed::change {up} {
    variable steps
    variable chosen
    set order [expr {$up ? $steps : [lreverse $steps]}]
    foreach step $order {
        if {$up ? $step > $chosen + 1e-9 : $step < $chosen - 1e-9} {
            choose $step
            return
        }
    }
    ::qomplay::panels::say "[words $chosen] is the [expr {$up ? "highest" : "lowest"}] speed"
}

# Plays faster, or as it was chosen again with 1.
proc qomplay::speed::hurry {times} {
    variable hurried
    if {$times == $hurried} return
    set hurried [expr {double($times)}]
    apply
}

proc qomplay::speed::now {} {
    variable chosen
    variable hurried
    return [expr {max(0.1, min(64.0, $chosen * $hurried))}]
}

proc qomplay::speed::apply {} {
    ::qom::speed $::qomplay::window::view [now]
    # What passes fast is not read closely, and the fine filter takes longer.
    ::qom::filter $::qomplay::window::view [expr {[now] > 2 ? "fast" : "fine"}]
    ::qomplay::controls::show_speed [words [now]]
}

proc qomplay::speed::words {factor} {return "[format %g $factor]\u00d7"}

# The steps as a menu above a widget.
proc qomplay::speed::menu {widget} {
    variable steps
    variable chosen
    set menu .speeds
    if {![winfo exists $menu]} {::menu $menu -tearoff 0}
    ::qomplay::theme::paint_menu $menu
    $menu delete 0 end
    foreach step [lreverse $steps] {
        $menu add command -label "[expr {$step == $chosen ? "\u2022 " : "   "}][words $step]" \
            -command [namespace code [list choose $step]]
    }
    update idletasks
    tk_popup $menu [winfo rootx $widget] \
        [expr {max(0, [winfo rooty $widget] - [winfo reqheight $menu])}]
}
