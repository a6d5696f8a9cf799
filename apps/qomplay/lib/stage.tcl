# The stage: where the picture lies.
#
# The view is placed on a stage that keeps its size whatever the recording asks for. To fit the
# picture the view gets exactly the picture's shape, in the middle of the stage; at natural size
# it fills the stage and scrolls.
namespace eval qomplay::stage {
    variable view .stage.clip.view
    variable size {}       ;# of the recorded screen, pixels; empty before a recording is open
    variable natural 0
    variable enlarged free ;# how a picture smaller than the stage is: free, whole, or no
    variable pressed {}    ;# where a button went down: x, y, the visible fractions, picture moved
}

proc qomplay::stage::build {} {
    variable view
    frame .stage -borderwidth 0
    frame .stage.clip -borderwidth 0
    ::qomplay::theme::repaint {
        foreach frame {.stage .stage.clip} {
            if {[winfo exists $frame]} {$frame configure -background [::qomplay::theme::colour stage]}
        }
    }
    ttk::scrollbar .stage.x -orient horizontal -command [list $view xview]
    ttk::scrollbar .stage.y -orient vertical -command [list $view yview]
    bind .stage <Configure> [namespace code layout_soon]
    bind .stage <Destroy> [namespace code close]
}

# Creates the view of a recording, whose name is given as bytes; its errors are passed on.
proc qomplay::stage::open {name} {
    variable view
    variable size
    ::qomplay::names::as_bytes {::qom::view $view [::qomplay::names::plain $name]}
    $view configure -xscrollcommand {.stage.x set} -yscrollcommand {.stage.y set}
    ::qom::filter $view fine
    set size [recorded_size]
    foreach window [list .stage .stage.clip $view] {
        bind $window <Button-1> [namespace code {press %X %Y}]
        bind $window <B1-Motion> [namespace code {pan %X %Y}]
        bind $window <ButtonRelease-1> [namespace code release]
        bind $window <Double-Button-1> [namespace code double]
    }
}

proc qomplay::stage::recorded_size {} {
    variable view
    set facts [$view info]
    return [list [dict get $facts width] [dict get $facts height]]
}

# The recorded screen may change its size at any frame.
proc qomplay::stage::follow_size {} {
    variable size
    set now [recorded_size]
    if {$now ne $size} {
        set size $now
        layout
    }
}

# While a window is dragged larger many sizes come; the picture follows the latest.
proc qomplay::stage::layout_soon {} {
    after cancel [namespace code layout]
    after idle [namespace code layout]
}

# Nothing is to be laid out, and no click to be followed, any more.
proc qomplay::stage::close {} {
    variable size {}
    after cancel [namespace code layout]
}

proc qomplay::stage::layout {} {
    variable size
    variable natural
    if {$size eq ""} return
    if {$natural} layout_natural else layout_fitted
}

proc qomplay::stage::layout_fitted {} {
    variable size
    lassign $size width height
    foreach bar {.stage.x .stage.y} {place forget $bar}
    set room_x [winfo width .stage]
    set room_y [winfo height .stage]
    set factor [factor [expr {min(double($room_x) / $width, double($room_y) / $height)}]]
    set shown_x [expr {max(1, round($width * $factor))}]
    set shown_y [expr {max(1, round($height * $factor))}]
    put_view $shown_x $shown_y $room_x $room_y \
        [expr {int(ceil($width * $factor))}] [expr {int(ceil($height * $factor))}]
}

# The factor of the picture where there is room for a larger one.
proc qomplay::stage::factor {room} {
    variable enlarged
    if {$room <= 1.0} {return $room}
    return [dict get [list free [expr {min(32.0, $room)}] whole [expr {min(32.0, floor($room))}] no 1.0] \
        $enlarged]
}

# The next way to enlarge.
proc qomplay::stage::next_enlarged {} {
    variable enlarged
    set enlarged [dict get {free whole whole no no free} $enlarged]
    layout
    ::qomplay::panels::say [dict get {
        free "Small pictures are enlarged to fit" whole "Small pictures are enlarged by whole numbers"
        no "Small pictures are not enlarged"
    } $enlarged]
}

# The clip has the size of the picture. The view inside is up to a pixel larger, so that the
# picture's own rounding never leaves a line of its background in sight.
proc qomplay::stage::put_view {width height room_x room_y inner_x inner_y} {
    variable view
    place .stage.clip -x [expr {max(0, ($room_x - $width) / 2)}] \
        -y [expr {max(0, ($room_y - $height) / 2)}] -width $width -height $height
    place $view -x 0 -y 0 -width [expr {max(1, $inner_x)}] -height [expr {max(1, $inner_y)}]
}

proc qomplay::stage::layout_natural {} {
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
proc qomplay::stage::set_natural {on} {
    variable view
    variable natural $on
    $view configure -scaling [expr {!$on}]
    layout
}

proc qomplay::stage::scroll {axis units} {
    variable view
    variable natural
    if {$natural} {$view $axis scroll $units units}
}

# --- the pointer on the picture ------------------------------------------------------------------

# A click plays or pauses, a double click is full screen, dragging moves a picture that is larger
# than the window.
proc qomplay::stage::press {x y} {
    variable view
    variable pressed
    focus .
    set pressed [list $x $y [lindex [$view xview] 0] [lindex [$view yview] 0] 0]
}

proc qomplay::stage::pan {x y} {
    variable view
    variable size
    variable natural
    variable pressed
    if {$pressed eq ""} return
    lassign $pressed from_x from_y left top moved
    if {!$moved && hypot($x - $from_x, $y - $from_y) < [::qomplay::theme::px 4]} return
    lset pressed 4 1
    if {!$natural} return
    lassign $size width height
    $view xview moveto [expr {max(0.0, min(1.0, $left - double($x - $from_x) / $width))}]
    $view yview moveto [expr {max(0.0, min(1.0, $top - double($y - $from_y) / $height))}]
}

# The first click of two counts at once; the second one takes it back.
proc qomplay::stage::release {} {
    variable pressed
    if {$pressed eq ""} return
    if {![lindex $pressed 4]} ::qomplay::actions::play
    set pressed {}
}

proc qomplay::stage::double {} {
    variable pressed {}
    ::qomplay::actions::play
    ::qomplay::actions::full
}
