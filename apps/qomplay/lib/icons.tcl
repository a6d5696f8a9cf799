# Icons of the buttons, drawn with smooth edges at any size, from polygons on a grid of 24 by 24.
namespace eval qomplay::icons {
    variable shapes
    array set shapes {
        play     {{7 4 20 12 7 20}}
        pause    {{6 4 10 4 10 20 6 20} {14 4 18 4 18 20 14 20}}
        start    {{4 4 7 4 7 20 4 20} {20 4 20 20 9 12}}
        end      {{17 4 20 4 20 20 17 20} {4 4 15 12 4 20}}
        back     {{12 5 12 19 3 12} {21 5 21 19 12 12}}
        ahead    {{3 5 12 12 3 19} {12 5 21 12 12 19}}
        previous {{15 5 15 19 6 12} {17 5 19 5 19 19 17 19}}
        next     {{9 5 18 12 9 19} {5 5 7 5 7 19 5 19}}
        fit      {{3 5 21 5 21 19 3 19 3 5 5 7 5 17 19 17 19 7 5 7} {8 10 16 10 16 14 8 14}}
        natural  {{3 5 21 5 21 19 3 19 3 5 5 7 5 17 19 17 19 7 5 7} {7 9 9 9 9 15 7 15}
                  {15 9 17 9 17 15 15 15} {11 9 13 9 13 11 11 11} {11 13 13 13 13 15 11 15}}
        save     {{11 3 13 3 13 11 17 11 12 17 7 11 11 11} {4 15 6 15 6 19 18 19 18 15 20 15 20 21 4 21}}
        facts    {{11 4 13 4 13 7 11 7} {9 10 13 10 13 18 15 18 15 20 9 20 9 18 11 18 11 12 9 12}}
        full     {{3 3 9 3 9 5 5 5 5 9 3 9} {15 3 21 3 21 9 19 9 19 5 15 5}
                  {3 15 5 15 5 19 9 19 9 21 3 21} {19 15 21 15 21 21 15 21 15 19 19 19}}
        help     {{8 8 8 6 10 4 14 4 16 6 16 10 13 12 13 15 11 15 11 11 14 9 14 7 13 6 11 6 10 7 10 8}
                  {11 17 13 17 13 20 11 20}}
    }
    variable samples 4   ;# rows of samples in a row of pixels
}

# An icon as a PNG, `size` pixels wide and high, in a colour given as red, green and blue.
proc qomplay::icons::image {name size ink} {
    variable shapes
    return [drawn $shapes($name) $size $ink]
}

# A filled circle.
proc qomplay::icons::disc {size ink} {
    set points {}
    for {set i 0} {$i < 64} {incr i} {
        set angle [expr {$i * 3.14159265 / 32}]
        lappend points [expr {12 + 12 * cos($angle)}] [expr {12 + 12 * sin($angle)}]
    }
    return [drawn [list $points] $size $ink]
}

proc qomplay::icons::drawn {polygons size ink} {
    set rows ""
    foreach row [coverage $polygons $size] {
        append rows [binary format c 0]
        # One pixel that is nearly invisible makes Tk take the whole image as partly transparent.
        if {$rows eq "\0"} {lset row 0 [expr {max(0.004, min(0.99, [lindex $row 0]))}]}
        foreach part $row {append rows [binary format c4 [list {*}$ink [expr {round(255 * $part)}]]]}
    }
    return [png $size $rows]
}

# A PNG of a square of rows, each a filter byte and red, green, blue and alpha of its pixels: the
# one way to give Tk an image with smooth edges for any background.
proc qomplay::icons::png {size rows} {
    set data [binary format H* 89504e470d0a1a0a]
    foreach {type body} [list \
        IHDR [binary format IIccccc $size $size 8 6 0 0 0] \
        IDAT [zlib compress $rows] \
        IEND ""] {
        append data [binary format I [string length $body]] $type $body \
            [binary format I [zlib crc32 $type$body]]
    }
    return $data
}

# For each pixel of each row how much of it the polygons cover, 0..1.
proc qomplay::icons::coverage {polygons size} {
    variable samples
    set scale [expr {$size / 24.0}]
    set edges [edges_of $polygons $scale]
    set rows {}
    for {set y 0} {$y < $size} {incr y} {
        set row [lrepeat $size 0.0]
        for {set sample 0} {$sample < $samples} {incr sample} {
            set at [expr {$y + ($sample + 0.5) / $samples}]
            foreach edge_list $edges {
                foreach {from to} [crossings $edge_list $at] {add_span row $from $to $size}
            }
        }
        lappend rows $row
    }
    return $rows
}

proc qomplay::icons::edges_of {polygons scale} {
    set all {}
    foreach polygon $polygons {
        set edges {}
        set points [concat $polygon [lrange $polygon 0 1]]
        for {set i 0} {$i + 3 < [llength $points]} {incr i 2} {
            lassign [lrange $points $i $i+3] x1 y1 x2 y2
            if {$y1 == $y2} continue
            if {$y1 > $y2} {lassign [list $x1 $y1 $x2 $y2] x2 y2 x1 y1}
            lappend edges [expr {$x1 * $scale}] [expr {$y1 * $scale}] [expr {$x2 * $scale}] \
                [expr {$y2 * $scale}]
        }
        lappend all $edges
    }
    return $all
}

# Where a horizontal line enters and leaves a polygon, in order.
proc qomplay::icons::crossings {edges y} {
    set found {}
    foreach {x1 y1 x2 y2} $edges {
        if {$y >= $y1 && $y < $y2} {
            lappend found [expr {$x1 + ($x2 - $x1) * ($y - $y1) / ($y2 - $y1)}]
        }
    }
    return [lsort -real $found]
}

proc qomplay::icons::add_span {row_name from to size} {
    variable samples
    upvar 1 $row_name row
    for {set x [expr {max(0, int($from))}]} {$x < min($size, $to)} {incr x} {
        set part [expr {(min($x + 1, $to) - max($x, $from)) / double($samples)}]
        lset row $x [expr {min(1.0, [lindex $row $x] + $part)}]
    }
}
