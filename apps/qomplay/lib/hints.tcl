# Hints: a short text above what the pointer rests on. There is one at a time, inside the window,
# so that it needs nothing of a window manager.
namespace eval qomplay::hints {
    variable path .hint
    variable delay 600   ;# milliseconds before the hint of a button appears
}

# Shows a text above a widget, centred at x pixels from the widget's left edge.
proc qomplay::hints::show {widget x text} {
    variable path
    if {![winfo exists $path]} {
        ttk::label $path -style Hint.TLabel -justify left \
            -padding [list [::qomplay::theme::px 7] [::qomplay::theme::px 3]]
    }
    set wide [expr {max(100, round([winfo width .] * 0.6))}]
    $path configure -text [::qomplay::texts::fitting $text QomSmall [expr {5 * $wide}]] -wraplength $wide
    set width [winfo reqwidth $path]
    set left [expr {[winfo rootx $widget] - [winfo rootx .] + $x - $width / 2}]
    set gap [::qomplay::theme::px 3]
    set top [expr {[winfo rooty $widget] - [winfo rooty .] - [winfo reqheight $path] - $gap}]
    place $path -x [expr {max($gap, min([winfo width .] - $width - $gap, $left))}] -y [expr {max(0, $top)}]
    raise $path
}

proc qomplay::hints::hide {} {
    variable path
    after cancel [list ::qomplay::hints::rest]
    if {[winfo exists $path]} {place forget $path}
}

# Another text for a widget that has a hint.
proc qomplay::hints::change {widget text} {
    variable texts
    set texts($widget) $text
}

# Gives a widget a hint that appears when the pointer rests on it.
proc qomplay::hints::add {widget text} {
    variable texts
    set texts($widget) $text
    bind $widget <Enter> +[list ::qomplay::hints::enter $widget]
    bind $widget <Leave> +::qomplay::hints::hide
    bind $widget <Button> +::qomplay::hints::hide
}

proc qomplay::hints::enter {widget} {
    variable delay
    variable over $widget
    after cancel [list ::qomplay::hints::rest]
    after $delay [list ::qomplay::hints::rest]
}

proc qomplay::hints::rest {} {
    variable over
    variable texts
    if {![winfo exists $over] || ![winfo ismapped $over]} return
    show $over [expr {[winfo width $over] / 2}] $texts($over)
}
