# Moves: at most one is under way; the last place that was asked for wins.
#
# The view reports each round of a move. While a move is under way a new wish replaces the one
# before, so that dragging over a long recording never queues anything up.
namespace eval qomplay::seeking {
    variable view ""      ;# path of the view; empty before a recording is open
    variable target -1    ;# frame that the view is moving to; -1: no move
    variable wish -1      ;# frame to move to next; -1: none
    variable changed {}   ;# command that is called when a move begins, goes on or ends
}

proc qomplay::seeking::setup {path command} {
    variable view $path
    variable changed $command
    variable target -1
    variable wish -1
}

# The frame of the move under way, or -1.
proc qomplay::seeking::target {} {
    variable wish
    variable target
    return [expr {$wish >= 0 ? $wish : $target}]
}

proc qomplay::seeking::to {frame} {
    variable view
    variable target
    variable wish
    set last [dict get [$view info] numberOfFrames]
    set wish [expr {max(0, min($frame, $last))}]
    if {$target < 0} {next}
}

# Begins the move that was wished for last.
proc qomplay::seeking::next {} {
    variable view
    variable target
    variable wish
    variable changed
    if {$wish >= 0} {
        set target $wish
        set wish -1
        ::qom::seek $view $target
    }
    {*}$changed
}

# The view shows a frame. A round that ended before its target goes on by itself, unless
# another place is wished for by now.
proc qomplay::seeking::arrived {frame} {
    variable target
    variable wish
    if {$target < 0} return
    if {$frame == $target || $wish >= 0} {
        set target -1
    }
    next
}

# The move ended early: with an error, or at the end of the recording.
proc qomplay::seeking::ended {} {
    variable target -1
    next
}

# Stops the move under way where it is.
proc qomplay::seeking::cancel {} {
    variable view
    variable target
    variable wish -1
    if {$target < 0} return
    to [dict get [$view info] currentFrame]
    set target -1
    next
}
