# Sourced by tests that drive a view and listen to what it reports.

package require tcltest 2.5
package require qomtest
namespace import ::tcltest::test

namespace eval driving {
    variable file [tcltest::makeFile {} driving.qom]
    variable told {}   ;# notifications, in order
    variable at {}     ;# clock readings, milliseconds, one for each

    proc tell notification {
        variable told
        variable at
        lappend told $notification
        lappend at [clock milliseconds]
    }

    # A recording of `frames` frames with a change in each.
    proc record {frames args} {
        variable file
        set records {{image 0 0 80 60 1}}
        for {set i 1} {$i <= $frames} {incr i} {
            lappend records [list at ${i}00000] [list blocks [list [expr {$i % 60}] 3 20 20 $i]]
        }
        file delete $file
        qomtest::record $file 80 60 {*}$args {*}$records
    }
    proc show {} {
        variable file
        ::qom::view .v $file
        .v callback driving::tell
        pack .v -fill both -expand 1
        tkwait visibility .v
        qomtest::settle
        forget
    }
    proc forget {} {
        variable told {}
        variable at {}
    }

    # Runs the event loop until an expression holds; fails after half a minute.
    proc until condition {
        set guard [after 30000 {set ::driving::late 1}]
        while {![uplevel 1 [list expr $condition]]} {
            vwait ::driving::told
            if {[info exists ::driving::late]} {
                unset ::driving::late
                error "still waiting until $condition, told $::driving::told"
            }
        }
        after cancel $guard
    }
    # The types of what was told, timestamps as the number of their frame.
    proc summary {} {
        variable told
        lmap notification $told {
            dict with notification {}
            expr {$type eq "timestamp" ? $frame : $type}
        }
    }
    proc types {} {
        variable told
        lmap notification $told {dict get $notification type}
    }
    proc done {} {
        catch {destroy .v}
        forget
    }
}
