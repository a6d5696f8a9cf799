# Sourced by tests that drive a view `.v` and listen to what it reports.

package require tcltest 2.5
package require qomtest
namespace import ::tcltest::test

namespace eval driving {
    variable file [tcltest::makeFile {} driving.qom]
    variable told {}   ;# notifications, in order
    variable at {}     ;# clock readings, milliseconds, one for each

    proc tell notification {
        lappend driving::at [clock milliseconds]
        lappend driving::told $notification
    }
    # A recording of these records, or of so many frames with a change in each.
    proc record args {
        variable file
        variable records $args
        if {[string is integer $args]} {
            set records {{image 0 0 80 60 1}}
            for {set i 1} {$i <= $args} {incr i} {
                lappend records [list at ${i}00000] [list blocks [list [expr {$i % 60}] 3 20 20 $i]]
            }
        }
        file delete $file
        qomtest::record $file 80 60 {*}$records
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
    proc seek {frame {command {::qom::seek .v}}} {
        {*}$command $frame
        qomtest::settle
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
    # What was told: frames by their numbers, everything else by its type.
    proc summary {} {
        lmap notification $driving::told {
            dict with notification {}
            expr {$type eq "timestamp" ? $frame : $type}
        }
    }
    proc done {} {
        destroy .v
        forget
    }
}
