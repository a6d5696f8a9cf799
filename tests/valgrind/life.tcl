# life.tcl RECORDING: one life of the widget, for memcheck: shown, played, moved about in both modes,
# resized, two at once, creations that fail, and every way of ending. Errors of the script end it
# with status 1; what memcheck looks for, no test sees.

package require Tk
package require qom::view

lassign $argv recording

# In an event handler, too.
interp bgerror {} {apply {{message options} {
    puts stderr [dict get $options -errorinfo]
    exit 1
}}}

# Lets everything happen that is due, and what the server sends in answer.
proc settle {} {
    update
    after 20 {set ::settled 1}
    vwait ::settled
    update
}

proc told {notification} {
    lappend ::told [dict get $notification type]
}

# Waits for a notification of this type.
proc until {type} {
    while {$type ni $::told} {vwait ::told}
}

proc show {path args} {
    pack [::qom::view $path $::recording] -fill both -expand 1
    $path configure {*}$args
    $path callback told
    if {![winfo viewable $path]} {tkwait visibility $path}
    settle
}

set told {}

# Played from the start, then moved about, forward and backward.
show .v
set frames [dict get [.v info] numberOfFrames]
.v play start
until playing_done
foreach frame [list 0 $frames 3 [expr {$frames / 2}] 1 $frames 0] {
    .v go $frame
    settle
}
::qom::seek .v 2
image create photo picture
::qom::photo .v picture -cursor 1
image delete picture
.v dump

# Scaled and at natural size, scrolled, in windows of all shapes.
foreach scaling {1 0} {
    .v configure -scaling $scaling -xscrollcommand {lappend ::told} -yscrollcommand {lappend ::told}
    foreach geometry {320x200 100x300 37x1 900x700} {
        wm geometry . $geometry
        settle
        .v xview moveto 0.5
        .v yview scroll 1 units
        foreach frame [list $frames 0] {
            .v go $frame
            settle
        }
    }
}
foreach subcommand {configure info version build} {.v $subcommand}

# A second view beside it; the first one goes while the other plays.
show .w -scaling 1
.w play start
.v play start
settle
destroy .v
until playing_done
show .v
rename .v {}
settle

# Creations that fail, and commands that do, beside a view that lives.
set whole [open $recording rb]
set spoilt [open $recording.spoilt wb]
puts -nonewline $spoilt [read $whole 900][string repeat x 5000]
close $whole
close $spoilt
foreach command {
    {::qom::view .f /does/not/exist}
    {::qom::view .f [info script]}
    {::qom::view .w $recording}
    {::qom::view .absent.f $recording}
    {::qom::view .f}
    {.w go nowhere}
    {.w configure -absent 1}
} {
    if {![catch $command]} {error "did not fail: $command"}
}
catch {::qom::view .f $recording.spoilt}
settle
catch {destroy .f}
file delete $recording.spoilt

# A view that ends while it tells something, and one that lives to the end of the interpreter.
show .v
.v callback {apply {notification {destroy .v}}}
.v go $frames
settle
destroy .w
show .last
.last play start
settle
destroy .
exit 0
