# tclsh all.tcl -testdir DIRECTORY [-file PATTERN] [-match PATTERN] [other tcltest options]
#
# Runs the tcltest files of a directory in this process and exits with status 1 unless at least
# one test ran, none failed, every file was read to its end and no event handler raised an error.
# tcltest alone cannot say so: with Tk loaded, the cleanupTests that ends a test file ends the
# process with status 0. The constraint `interactive` keeps it from doing that.

package require tcltest 2.5

# What was written before a crash has to reach the log.
fconfigure stdout -buffering line

namespace eval runner {
    variable ran 0    ;# tests passed or failed, all files together
    variable failed 0 ;# tests failed
    variable faults {}

    proc fault {what} {
        variable faults
        lappend faults $what
        puts "==== FAULT: $what"
    }

    proc backgroundError {message options} {
        fault "background error: [dict get $options -errorinfo]"
    }

    # In place of exit while the files run, so that no file can end the run early.
    proc refuseExit {{status 0}} {
        fault "a test file called exit $status"
        return -code error "exit $status called by a test file"
    }
}

proc tcltest::cleanupTestsHook {} {
    variable numTests
    set ::runner::ran [expr {$numTests(Passed) + $numTests(Failed)}]
    set ::runner::failed $numTests(Failed)
}

tcltest::configure -singleproc 1 -verbose {start body error} {*}$argv
tcltest::testConstraint interactive 1
set argv {}
set argc 0

interp bgerror {} ::runner::backgroundError
rename exit runner::exit
interp alias {} ::exit {} ::runner::refuseExit

set unsuccessful [tcltest::runAllTests]
if {$unsuccessful && $runner::failed == 0} {
    puts "The file ended with: $errorInfo"
}
if {$runner::ran == 0} {
    runner::fault "no test ran"
}
runner::exit [expr {$unsuccessful || [llength $runner::faults] > 0}]
