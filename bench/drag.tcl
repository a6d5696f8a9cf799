# Drags a window of text over a wallpaper, in curves, thirty places a second.
#
#   wish bench/drag.tcl noise|plain
wm overrideredirect . 1
wm geometry . [winfo screenwidth .]x[winfo screenheight .]+0+0
# Only what a move uncovers is painted again, as the server does with the picture of a root window; of
# other widgets all of it would be.
pack [canvas .wallpaper -background "#336699" -highlightthickness 0] -fill both -expand 1
if {[lindex $argv 0] eq "noise"} {
    set size [list [winfo screenwidth .] [winfo screenheight .]]
    set random [open /dev/urandom rb]
    image create photo noise -data "P5\n$size\n255\n[read $random [expr [join $size *]]]"
    .wallpaper create image 0 0 -anchor nw -image noise
}

toplevel .window -borderwidth 2 -relief raised
wm overrideredirect .window 1
wm geometry .window 720x450+100+100
pack [text .window.text -font fixed] -fill both -expand 1
for {set line 1} {$line <= 60} {incr line} {
    .window.text insert end "$line: [string repeat {what a terminal shows } 4]\n"
}

proc drag step {
    set angle [expr {$step * 0.05}]
    set x [expr {round(500 + 400 * cos($angle))}]
    set y [expr {round(300 + 200 * sin(2 * $angle))}]
    wm geometry .window +$x+$y
    raise .window
    after 33 [list drag [incr step]]
}
drag 0
