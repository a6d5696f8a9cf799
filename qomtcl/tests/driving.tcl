# Sourced by the tests: a view `.v` of a recording made to measure, what is wrong with its window,
# and what it reports.

package require tcltest 2.5
package require qomtest
namespace import ::tcltest::test
wm geometry . +0+0

namespace eval driving {
    variable file [tcltest::makeFile {} driving.qom]
    variable applied {} ;# indexes of the records that the window has to show
    variable told {}    ;# notifications, in order
    variable at {}      ;# clock readings, milliseconds, one for each

    # A recording of a size, which lines of its header may precede, and of these records:
    #   at MICROSECONDS                time of the following records, from the start
    #   image|plain|garbage X Y W H S  pixels drawn from a seed, or `rgb:RR/GG/BB`; plain is not
    #                                  compressed, and garbage, of which there is one, is broken
    #   blocks {X Y W H SEED}...       compressed blocks; overrun, in place of garbage, end too early
    #   copies {X Y W H TOX TOY}...    areas that are copied, one after the other
    #   cursor W H X Y XHOT YHOT SEED, position X Y, screen W H; in place of SEED also {fill PIXEL}
    #   app|appfmt|host|ip|sid|tid ?TEXT?, input USER TFN, done
    #   begin, end                     marks the records between them as a checkpoint
    proc record {size args} {
        variable file
        write $file $size $args
        return $file
    }
    # Lines of a header: so many entries of a palette, also wider than 8 bits.
    proc palette count {
        for {set i 0} {$i < $count} {incr i} {
            lappend lines [format "palette %04x %04x %04x" [expr {$i * 7}] [expr {$i * 11}] [expr {$i * 13}]]
        }
        return $lines
    }
    proc write {path size records} {
        set lines [list "qom-text 1" "start 1700000000" "keycodes 0 0"]
        lappend lines {*}[lrange $size 0 end-2] "screen [join [lrange $size end-1 end] x]"
        if {![string match *format* $size]} {lappend lines "format xRGB8888"}
        if {[lsearch -index 0 $records copies] >= 0} {lappend lines "version 2"}
        set time 1700000000
        set broken 0
        foreach record $records {
            lassign $record kind a b c d e f g
            set pixels "${c}x$d $a,$b [expr {[string match rgb* $e] ? "fill" : "random"}] $e"
            set drawn [lrange "random $g" end-1 end]
            switch $kind {
                at {set time [format %d.%06d [expr {1700000000 + $a / 1000000}] [expr {$a % 1000000}]]}
                plain {lappend lines "image $time $pixels"}
                image {lappend lines "compressed-image $time $pixels"}
                garbage {set broken [llength [lappend lines "compressed-image $time $pixels"]]}
                blocks - overrun {
                    lappend lines "compressed-image-blocks $time"
                    if {$kind eq "overrun"} {set broken [llength $lines]}
                    foreach block [lrange $record 1 end] {
                        lassign $block a b c d e
                        lappend lines "block ${c}x$d $a,$b random $e"
                    }
                    lappend lines end
                }
                copies {
                    lappend lines "copy-area $time"
                    foreach copy [lrange $record 1 end] {
                        lassign $copy a b c d e f
                        lappend lines "copy ${c}x$d $a,$b to $e,$f"
                    }
                    lappend lines end
                }
                screen {lappend lines "screen-change $time ${a}x$b"}
                cursor {lappend lines "cursor-image $time ${a}x$b $c,$d hot $e,$f serial 0 $drawn"}
                position {lappend lines "cursor-position $time $a,$b"}
                input {lappend lines "last-input $time \"$a\" \"$b\""}
                done {lappend lines "done $time"}
                begin - end {lappend lines checkpoint-$kind}
                default {
                    set text [expr {[llength $record] > 1 ? "\"$a\"" : "-"}]
                    lappend lines "footer-item-$kind $time $text"
                }
            }
        }
        file delete $path
        qomtest::record $path [join $lines \n] $broken
    }
    # A view of the recording, displayed. What creation applies is its first record.
    proc show {{geometry ""} args} {
        variable file
        variable applied 0
        ::qom::view .v $file
        .v configure {*}$args
        .v callback driving::tell
        pack .v -side left -fill both -expand 1
        wm geometry . $geometry
        map
    }
    # Records for so many frames, with a change exactly where each begins.
    proc frames count {
        set records {{image 0 0 80 60 1}}
        for {set i 1} {$i <= $count} {incr i} {
            lappend records [list at ${i}00000] [list blocks [list [expr {$i % 60}] 3 20 20 $i]]
        }
        return $records
    }
    proc show_frames count {
        record {80 60} {*}[frames $count]
        show
    }
    proc map {} {
        wm deiconify .
        tkwait visibility .v
        qomtest::settle
        forget
    }
    proc done {} {
        destroy {*}[winfo children .]
        wm geometry . {}
        foreach fault {attach region calloc gc pixmap} {qomtest::fault $fault 0}
        qomtest::clock 0
        qomtest::hurry 0
        qomtest::settle
        forget
    }

    # -- the window --

    # Covers a part of the screen while a script runs.
    proc cover {x y width height {script {}}} {
        toplevel .cover
        wm overrideredirect .cover 1
        wm geometry .cover ${width}x$height+$x+$y
        tkwait visibility .cover
        qomtest::settle
        uplevel 1 $script
        destroy .cover
        qomtest::settle
    }
    # Applies records that the next display will show.
    proc queue args {
        variable applied
        lappend applied {*}$args
        qomtest::apply .v {*}$args
    }
    # Applies records that are displayed at once; returns what is wrong then.
    proc apply args {
        queue {*}$args
        qomtest::settle
        return [check]
    }
    # What is wrong with the window; nothing if all is well.
    proc check {} {
        variable file
        variable applied
        set difference [qomtest::check .v $file $applied]
        # The factor may be above 1 from a screen change on until the window changes.
        if {$difference eq "" || [qomtest::check .v $file $applied -uncapped] eq ""} return
        return $difference
    }

    # -- moves and reports --

    proc seek {frame {command {::qom::seek .v}}} {
        {*}$command $frame
        qomtest::settle
    }
    proc tell notification {
        lappend driving::at [clock milliseconds]
        lappend driving::told $notification
    }
    proc forget {} {
        variable told {}
        variable at {}
    }
    # Runs the event loop until an expression holds; fails after half a minute.
    proc until condition {
        set guard [after 30000 {set driving::told late}]
        while {![uplevel 1 [list expr $condition]]} {
            vwait driving::told
            if {$driving::told eq "late"} {error "waited too long until $condition"}
        }
        after cancel $guard
    }
    # The same on a clock that moves for nobody else, in steps of 10 ms.
    proc pass_until condition {
        for {set step 0} {$step < 3000 && ![uplevel 1 [list expr $condition]]} {incr step} {
            qomtest::clock 0 10
            qomtest::settle
        }
    }
    # What was told: frames by their numbers, everything else by its type.
    proc summary {} {
        lmap notification $driving::told {
            dict with notification {}
            expr {$type eq "timestamp" ? $frame : $type}
        }
    }

    # -- random choices --

    # Takes sums as well.
    proc random {from to} {expr "$from + int(rand() * ($to - ($from) + 1))"}
    proc pick args {lindex $args [random 0 [llength $args]-1]}
    namespace export random pick
    # Often at or beyond an edge of a frame, or of the cursor; at times as far away as 16 bits reach.
    proc place {width height} {
        if {rand() < 0.1} {return [pick {75 -32768} {32767 32} {-32768 32767} {32767 32767}]}
        lmap side [list $width $height] {
            pick [random -60 $side+60] [random -60 $side+60] [random 0 $side] [random -12 12] \
                [random $side-12 $side+12]
        }
    }
    proc rectangle {width height} {
        list {*}[place $width $height] [random 1 $width/2] [random 1 $height/2] [random 1 999]
    }
    # A record that changes what is seen of a frame of about this size.
    proc change {width height} {
        switch [random 0 11] {
            0 - 1 {list screen [random 20 $width*4/3] [random 20 $height*4/3]}
            2 {list [pick image plain] {*}[rectangle $width $height]}
            3 {
                list copies {*}[lmap i {1 2} {
                    list {*}[lrange [rectangle $width $height] 0 3] {*}[place $width $height]
                }]
            }
            4 {list blocks [rectangle 40 40] [rectangle $width/2 $height/2]}
            5 - 6 {
                set w [pick [random 1 48] [random 1 48] 16 400]
                set h [pick [random 1 48] [random 1 48] 16 300]
                list cursor $w $h {*}[place $width $height] [random 0 $w] [random 0 $h] [random 1 99]
            }
            default {list position {*}[place $width $height]}
        }
    }

    # `now` holds the latest record of each kind that a checkpoint has to restate.
    proc text {} {pick {} a b c}
    proc happening {} {
        variable now
        set record [switch [random 0 9] {
            0 {concat [pick app appfmt host ip sid tid] [pick {} [list [text]]]}
            1 {list input [text] [text]}
            default {change 80 60}
        }]
        set kind [lindex $record 0]
        if {$kind eq "position" && [dict exists $now cursor]} {
            dict set now cursor [lreplace [dict get $now cursor] 3 4 {*}[lrange $record 1 2]]
        } elseif {$kind ni {position image plain blocks copies}} {
            dict set now $kind $record
        }
        return $record
    }
    # Everything restated, with a picture that is a new one.
    proc checkpoint {} {
        variable now
        lassign [dict get $now screen] screen width height
        list begin [dict get $now screen] [list image 0 0 $width $height [random 1 999]] \
            {*}[dict values [dict remove $now screen]] end
    }

    # Records of two minutes: enough for several key frames. Many share a time, and many lie exactly
    # where a frame begins.
    proc session {checkpoints} {
        variable now
        set now {app {app first} screen {screen 80 60}}
        set records {{app first} {image 0 0 80 60 1}}
        for {set time 0} {$time < 120000000} {} {
            switch [random 0 3] {
                0 {set time [expr {($time / 100000 + [random 1 8]) * 100000}]}
                1 {incr time [random 0 700000]}
            }
            lappend records [list at $time] [happening]
            if {$checkpoints && rand() < 0.025} {lappend records {*}[checkpoint]}
        }
        return $records
    }

    # -- what fails, and what is left --

    # Message and error code of a command that fails.
    proc failure args {
        variable file
        if {![catch $args message options]} {return "did not fail: $message"}
        return [list [string map [list $file FILE] $message] [dict get $options -errorcode]]
    }
    # What views leave that are gone: windows, commands, open recordings, segments; none of it.
    proc left {} {
        qomtest::settle
        set open 0
        foreach descriptor [glob -nocomplain /proc/[pid]/fd/*] {
            if {![catch {file readlink $descriptor} target]} {incr open [string match *.qom* $target]}
        }
        set memory [open /proc/[pid]/maps]
        set segments [regexp -all {/SYSV} [read $memory]]
        close $memory
        return [list [winfo children .] [info commands .?*] $open $segments]
    }
    variable nothing {{} {} 0 0}
}
