# What happened when, above the timeline's trough: the applications as bands with their names, how much
# of the picture changed and how much was put in, where nothing happened for long, and where the
# picture is not to be trusted.
namespace eval qomplay::strip {
    variable canvas ""
    variable bands {}      ;# application, first and last microsecond, name
    variable damaged {}    ;# from, to: microseconds
    variable idle {}       ;# from, to: microseconds
    variable waiting 0     ;# a drawing is due
    variable tints {accent text warning}
}

proc qomplay::strip::px {length} {return [::qomplay::theme::px $length]}
proc qomplay::strip::bands_height {} {return [px 15]}
proc qomplay::strip::activity_height {} {return [px 24]}
proc qomplay::strip::height {} {return [expr {[bands_height] + [activity_height]}]}

proc qomplay::strip::build {path} {
    variable canvas $path
    ::qomplay::theme::repaint [namespace code draw_soon]
    bind . <<SpanChanged>> +[namespace code draw_soon]
    bind . <<TimelineResized>> +[namespace code draw_soon]
    bind $path <Destroy> +[list after cancel [namespace code draw]]
}

proc qomplay::strip::set_damaged {stretches} {
    variable damaged $stretches
    draw_soon
}

proc qomplay::strip::set_idle {stretches} {
    variable idle $stretches
    draw_soon
}

# The applications, as a list of first microsecond, last microsecond, name.
proc qomplay::strip::set_bands {list} {
    variable bands $list
    draw_soon
}

proc qomplay::strip::draw_soon {} {
    variable waiting
    if {$waiting} return
    set waiting 1
    after idle [namespace code draw]
}

proc qomplay::strip::draw {} {
    variable canvas
    variable waiting 0
    if {![winfo exists $canvas] || !$::qomplay::window::surveyed || [winfo width $canvas] < 10} return
    $canvas delete strip
    draw_damage
    draw_activity
    draw_idle
    draw_bands
    $canvas raise place
    $canvas raise handle
}

# The line that goes through all rows where the shown frame is.
proc qomplay::strip::show_place {x} {
    variable canvas
    if {[$canvas find withtag place] eq ""} {
        $canvas create line 0 0 0 0 -tags place -width 1
        ::qomplay::theme::repaint [namespace code paint_place]
    }
    $canvas coords place $x 0 $x [height]
}

proc qomplay::strip::paint_place {} {
    variable canvas
    if {[winfo exists $canvas]} {$canvas itemconfigure place -fill [::qomplay::theme::colour text]}
}

# --- from moments to pixels ----------------------------------------------------------------------

# The pixels of a stretch, or nothing when it is not in sight.
proc qomplay::strip::seen {from to} {
    set left [::qomplay::timeline::x_of [::qomplay::window::fraction_at $from]]
    set right [::qomplay::timeline::x_of [::qomplay::window::fraction_at $to]]
    set start [::qomplay::timeline::margin]
    set end [expr {$start + [::qomplay::timeline::length]}]
    if {$right < $start || $left > $end} return
    return [list [expr {max($start, $left)}] [expr {min($end, $right)}]]
}

# --- the rows ------------------------------------------------------------------------------------

# A stretch whose picture is not to be trusted is shaded through all rows.
proc qomplay::strip::draw_damage {} {
    variable canvas
    variable damaged
    foreach {from to} $damaged {
        set place [seen $from $to]
        if {$place eq ""} continue
        lassign $place left right
        $canvas create rectangle $left 0 [expr {max($left + [px 2], $right)}] [height] \
            -tags {strip damaged} -outline "" -stipple gray25 -fill [::qomplay::theme::colour warning]
    }
}

# Changes of the picture stand up from the middle of their row, input hangs down from it.
proc qomplay::strip::draw_activity {} {
    variable canvas
    set bins [expr {min([::qomplay::timeline::length], 4000)}]
    set from [::qomplay::window::us_at $::qomplay::span::from]
    set to [::qomplay::window::us_at $::qomplay::span::to]
    if {$to <= $from} return
    set activity [::qom::activity $::qomplay::window::view $bins $from $to]
    set base [expr {[bands_height] + [activity_height] * 2 / 3}]
    curve picture [dict get $activity picture] $base [expr {$base - [bands_height] - 1}] accent
    curve input [dict get $activity input] $base -[expr {[height] - $base - 1}] dim
    $canvas create line [::qomplay::timeline::margin] $base \
        [expr {[::qomplay::timeline::margin] + [::qomplay::timeline::length]}] $base \
        -tags strip -fill [::qomplay::theme::colour line]
}

# One polygon over numbers, `high` pixels for the largest of them; roots, so that little is seen too.
proc qomplay::strip::curve {kind numbers base high ink} {
    variable canvas
    set most [tcl::mathfunc::max 1 {*}$numbers]
    set step [expr {double([::qomplay::timeline::length]) / [llength $numbers]}]
    set x [::qomplay::timeline::margin]
    set points [list $x $base]
    set sign [expr {$high < 0 ? -1 : 1}]
    foreach number $numbers {
        # What is there at all is at least a pixel high.
        set up [expr {$number > 0 ? $sign * max(1.5, sqrt(double($number) / $most) * abs($high)) : 0}]
        set y [expr {$base - $up}]
        lappend points $x $y
        set x [expr {$x + $step}]
        lappend points $x $y
    }
    lappend points $x $base
    $canvas create polygon $points -tags [list strip $kind] -outline "" \
        -fill [::qomplay::theme::colour $ink]
}

# A notch for each stretch without change, with its length where there is room.
proc qomplay::strip::draw_idle {} {
    variable canvas
    variable idle
    set base [expr {[bands_height] + [activity_height] * 2 / 3}]
    set last -10
    foreach {from to} $idle {
        set place [seen $from $to]
        if {$place eq ""} continue
        lassign $place left right
        if {$right - $last < 3} continue
        set last $right
        $canvas create line $left [expr {$base - [px 3]}] $left [expr {$base + [px 2]}] \
            $right [expr {$base + [px 2]}] $right [expr {$base - [px 3]}] \
            -tags {strip idle} -fill [::qomplay::theme::colour faint]
        set text [::qomplay::times::short [expr {($to - $from) / 1000}]]
        if {[font measure QomSmall $text] + [px 8] < $right - $left} {
            $canvas create text [expr {($left + $right) / 2}] [expr {$base + [px 2]}] -anchor s \
                -tags {strip idle} -font QomSmall -text $text -fill [::qomplay::theme::colour dim]
        }
    }
}

# Each application in a band of its own tint, with as much of its name as there is room for.
proc qomplay::strip::draw_bands {} {
    variable canvas
    variable bands
    set top 1
    set bottom [expr {[bands_height] - 1}]
    set last -10
    foreach band $bands {
        lassign $band from to name
        set place [seen $from $to]
        if {$place eq ""} continue
        lassign $place left right
        # Bands too narrow to be told from each other share one.
        if {$right - $last < 2} continue
        set last $right
        $canvas create rectangle $left $top [expr {max($left + 1, $right - 1)}] $bottom \
            -tags {strip band} -outline "" -fill [tint $name]
        set room [expr {$right - $left - [px 6]}]
        if {$room < [px 16]} continue
        $canvas create text [expr {$left + [px 3]}] [expr {($top + $bottom) / 2}] -anchor w \
            -tags {strip band} -font QomSmall -fill [::qomplay::theme::colour text] \
            -text [::qomplay::texts::fitting $name QomSmall $room]
    }
}

# A tint that is the same for a name wherever it is, near enough to the panel for words to be read on.
proc qomplay::strip::tint {name} {
    set hue [expr {[zlib crc32 [encoding convertto utf-8 $name]] % 6}]
    lassign [lindex {{1 0 0} {0 1 0} {0 0 1} {1 1 0} {0 1 1} {1 0 1}} $hue] red green blue
    set panel [::qomplay::theme::rgb [::qomplay::theme::colour raised]]
    set step [expr {[lindex $panel 0] > 128 ? -28 : 34}]
    set sum {}
    foreach part $panel add [list $red $green $blue] {
        lappend sum [expr {max(0, min(255, $part + ($step > 0 ? $step * $add : $step * !$add)))}]
    }
    return [format #%02x%02x%02x {*}$sum]
}
