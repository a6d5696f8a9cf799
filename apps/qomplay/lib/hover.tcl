# What the pointer on the timeline stands at: the time, and the picture as it was. The picture comes a
# moment later, while everything goes on; a move of the pointer takes the next one.
namespace eval qomplay::hover {
    variable path .hover
    variable image ""      ;# the small picture
    variable wish ""       ;# microseconds that a picture is wanted for; empty: none
    variable asked ""      ;# those of the picture that is being made
    variable soon 15       ;# milliseconds for which the pointer's moves are gathered
    variable place {}      ;# widget and x that the picture belongs above
}

proc qomplay::hover::px {length} {return [::qomplay::theme::px $length]}

proc qomplay::hover::build {} {
    variable path
    variable image
    if {[winfo exists $path]} return
    set image [image create photo -palette 32/64/32]
    ttk::label $path -style Hint.TLabel -compound top -padding [px 4] -image $image -anchor center
}

# Shows the words above a place of the widget at once, and the picture as soon as it is there.
proc qomplay::hover::show {widget x fraction words} {
    variable path
    variable place [list $widget $x]
    variable wish
    variable soon
    build
    $path configure -text $words
    put
    set wish [::qomplay::window::us_at $fraction]
    after cancel [namespace code ask]
    after $soon [namespace code ask]
}

proc qomplay::hover::hide {} {
    variable path
    variable wish ""
    after cancel [namespace code ask]
    if {[info commands $path] ne ""} {place forget $path}
}

proc qomplay::hover::ask {} {
    variable wish
    variable asked
    variable image
    if {$wish eq "" || ![winfo exists $::qomplay::window::view]} return
    set asked $wish
    set width [px 320]
    if {[catch {
        ::qom::preview $::qomplay::window::view $asked $image -width $width -height [px 200] \
            -command [namespace code made]
    }]} {$image blank}
}

# The picture is made, or there is none.
proc qomplay::hover::made {outcome args} {
    variable wish
    variable path
    if {$wish eq "" || ![winfo exists $path]} return
    if {$outcome eq "ok"} put
}

# Within the window, above the place that it is about.
proc qomplay::hover::put {} {
    variable path
    variable place
    lassign $place widget x
    set gap [px 3]
    set width [winfo reqwidth $path]
    set left [expr {[winfo rootx $widget] - [winfo rootx .] + $x - $width / 2}]
    set top [expr {[winfo rooty $widget] - [winfo rooty .] - [winfo reqheight $path] - $gap}]
    place $path -x [expr {round(max($gap, min([winfo width .] - $width - $gap, $left)))}] \
        -y [expr {max(0, $top)}]
    raise $path
}
