# Moves: at most one is under way; the last place that was asked for wins.
#
# The view reports each round of a move. While a move is under way a new wish replaces the one
# before, so that dragging over a long recording never queues anything up.
namespace eval qomplay::seeking {
    variable view ""      ;# path of the view; empty before a recording is open
    variable target -1    ;# frame that the view is moving to; -1: no move
    variable wish -1      ;# frame to move to next; -1: none
    variable exact ""     ;# microseconds since the epoch that the wish is for; empty: the frame's time
    variable rounds 0     ;# rounds that the move under way has ended short of its target
    variable changed {}   ;# command that is called when a move begins, goes on or ends
    variable failed {}    ;# command that is called when a move cannot begin
}

# An empty path is that of no view: nothing moves any more.
proc qomplay::seeking::setup {path on_change {on_failure list}} {
    variable view $path
    variable changed $on_change
    variable failed $on_failure
    variable target -1
    variable wish -1
    variable rounds 0
}

# The frame of the move under way, or -1.
proc qomplay::seeking::target {} {
    variable wish
    variable target
    return [expr {$wish >= 0 ? $wish : $target}]
}

# How often the move under way has shown a frame before its target.
proc qomplay::seeking::rounds {} {
    variable rounds
    return $rounds
}

# Moves to a frame; with `time` (microseconds since the epoch) to what was shown at exactly that
# time, of which the frame is the last.
proc qomplay::seeking::to {frame {time ""}} {
    variable view
    variable target
    variable wish
    variable exact $time
    if {$view eq ""} return
    set last [dict get [$view info] numberOfFrames]
    set wish [expr {max(0, min($frame, $last))}]
    if {$target < 0} next
}

# Begins the move that was wished for last.
proc qomplay::seeking::next {} {
    variable view
    variable target
    variable wish
    variable rounds
    variable changed
    variable failed
    if {$wish >= 0} {
        set target $wish
        set wish -1
        set rounds 0
        if {[catch {begin $target}]} {
            done
            {*}$failed
        }
    }
    {*}$changed
}

proc qomplay::seeking::begin {frame} {
    variable view
    variable exact
    if {$exact ne ""} {
        ::qom::seektime $view $exact
    } else {
        ::qom::seek $view $frame
    }
}

# The view shows a frame. A round that ended before its target goes on by itself, unless
# another place is wished for by now.
proc qomplay::seeking::arrived {frame} {
    variable target
    variable wish
    variable rounds
    if {$target < 0} return
    incr rounds
    if {$frame == $target || $wish >= 0} done
    next
}

proc qomplay::seeking::done {} {
    variable target -1
    variable rounds 0
}

# The move ended early: with an error, or at the end of the recording.
proc qomplay::seeking::ended {} {
    done
    next
}

# Stops the move under way where it is.
proc qomplay::seeking::cancel {} {
    variable view
    variable target
    variable wish -1
    variable exact ""
    if {$target < 0} return
    set wish [dict get [$view info] currentFrame]
    done
    next
}
