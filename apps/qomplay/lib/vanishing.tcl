# A recording whose file goes while it is shown. The last good picture stays, nothing plays over it,
# and what happened is said for as long as the window is open.
namespace eval qomplay::vanishing {
    variable every 1000   ;# milliseconds between two looks at the file
    variable file ""      ;# its name, as bytes
    variable size 0       ;# bytes it had at the last look
    variable place ""     ;# device and inode of it
    variable gone 0       ;# it has been said
}

# Watches the file of a name, which the view of a path shows.
proc qomplay::vanishing::watch {view name} {
    variable file $name
    variable size
    variable place
    variable gone 0
    after cancel [namespace code look]
    if {[catch {facts} found]} {
        said GONE
        return
    }
    lassign $found size place
    bind $view <Destroy> +[list after cancel [namespace code look]]
    again
}

proc qomplay::vanishing::again {} {
    variable every
    after $every [namespace code look]
}

# The size of the file in bytes, and which file it is; an error when there is none.
proc qomplay::vanishing::facts {} {
    variable file
    ::qomplay::names::as_bytes {file stat [::qomplay::names::plain $file] found}
    return [list $found(size) $found(dev):$found(ino)]
}

proc qomplay::vanishing::look {} {
    variable gone
    set kind [change]
    if {$kind ne ""} {
        said $kind
    } elseif {!$gone} {
        again
    }
}

# What happened to the file: SHRUNK, GONE, or nothing.
proc qomplay::vanishing::change {} {
    variable size
    variable place
    if {[info commands ::qom::refresh] ne ""} {
        if {[catch {::qom::refresh $::qomplay::window::view} - details]} {
            set code [dict get $details -errorcode]
            if {[lrange $code 0 1] eq "QOM FILE"} {return [lindex $code 2]}
        }
    }
    if {[catch {facts} found]} {return GONE}
    lassign $found now there
    if {$there ne $place} {return GONE}
    if {$now < $size} {return SHRUNK}
    set size $now
    return ""
}

# Says what happened, once.
proc qomplay::vanishing::said {kind} {
    variable gone
    if {$gone} return
    set gone 1
    catch {::qomplay::actions::pause}
    ::qomplay::window::notice [words $kind [::qomplay::texts::path $::qomplay::window::file]]
}

proc qomplay::vanishing::words {kind name} {
    if {$kind eq "SHRUNK"} {
        return "$name has become shorter since it was opened: what was cut off is lost. The picture is the\
            last good one; moves go only as far as the file does."
    }
    return "$name is no longer there, or another file has its name. The picture is the last good one of\
        the recording that was opened."
}
