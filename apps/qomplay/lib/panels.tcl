# What opens over the picture: the recording's facts, the keys, the field for a time, a message.
namespace eval qomplay::panels {
    variable bare elapsed   ;# what 1:02:03 means in the field: elapsed or day
    variable saying {::qomplay::panels::unfloat .message}
}

proc qomplay::panels::px {length} {return [::qomplay::theme::px $length]}

# Opens the panel, or closes it when it is open. True when it is open now.
proc qomplay::panels::toggle {name} {
    set path .panel_$name
    if {[winfo exists $path]} {
        close $path
        return 0
    }
    set where [fill $name $path 1]
    if {![fits $path]} {
        destroy $path
        set where [fill $name $path 0]
    }
    place $path {*}$where
    raise $path
    return 1
}

# Makes the panel, with room around its rows or without; returns where it is to be placed.
proc qomplay::panels::fill {name path roomy} {
    ttk::frame $path -padding [px [expr {$roomy ? 16 : 6}]] -relief solid -borderwidth 1
    return [fill_$name $path $roomy]
}

proc qomplay::panels::fits {path} {
    update idletasks
    return [expr {[winfo reqheight $path] <= [winfo height .] - [px 24]
        && [winfo reqwidth $path] <= [winfo width .] - [px 24]}]
}

proc qomplay::panels::close {path} {
    destroy $path
    focus .
}

# Closes all panels; true when there was one.
proc qomplay::panels::close_all {} {
    set open 0
    foreach child [winfo children .] {
        if {[string match .panel_* $child]} {
            close $child
            set open 1
        }
    }
    return $open
}

# Names and values, in as many columns of rows as are asked for. A value has three lines where there
# is room, or one.
proc qomplay::panels::table {path title rows columns roomy} {
    ttk::label $path.title -style Title.TLabel -text $title
    grid $path.title -row 0 -column 0 -columnspan [expr {2 * $columns}] -sticky w \
        -pady [list 0 [px [expr {$roomy ? 10 : 0}]]]
    set gap [expr {$roomy ? 1 : 0}]
    lassign [expr {$roomy ? {Dim.TLabel Small.TLabel} : {Tight.Dim.TLabel Tight.Small.TLabel}}] \
        name_style value_style
    set wide [expr {min([px 300], [winfo width .] - [px 160])}]
    set room [expr {$roomy ? 3 * $wide - [px 60] : $wide}]
    set high [expr {([llength $rows] / 2 + $columns - 1) / $columns}]
    set i 0
    foreach {name value} $rows {
        set row [expr {1 + $i % $high}]
        set column [expr {$i / $high}]
        ttk::label $path.name$i -style $name_style -text $name
        set kind [expr {[string match /* $value] ? "path" : "line"}]
        ttk::label $path.value$i -style $value_style -wraplength $wide -justify left \
            -text [::qomplay::texts::fitting $value QomSmall $room $kind]
        grid $path.name$i -row $row -column [expr {2 * $column}] -sticky nw -pady $gap \
            -padx [list [expr {$column ? [px 28] : 0}] [px 14]]
        grid $path.value$i -row $row -column [expr {2 * $column + 1}] -sticky nw -pady $gap
        incr i
    }
}

proc qomplay::panels::fill_help {path roomy} {
    set wide [expr {[winfo width .] >= [px 700]}]
    table $path "Keys" [::qomplay::keys::help] [expr {$wide ? 2 : 1}] $roomy
    return {-relx 0.5 -rely 0.5 -anchor center}
}

proc qomplay::panels::fill_facts {path roomy} {
    set facts [facts]
    table $path "This recording" $facts 1 $roomy
    set i 0
    foreach {name value} $facts {
        ::qomplay::copying::offer $path.value$i $value
        incr i
    }
    ttk::label $path.note -style Dim.TLabel -text "A click on a value copies all of it."
    grid $path.note -columnspan 2 -sticky w -pady [list [px [expr {$roomy ? 8 : 0}]] 0]
    set edge [px [expr {$roomy ? 12 : 0}]]
    return [list -relx 1.0 -x -$edge -y $edge -anchor ne]
}

proc qomplay::panels::facts {} {
    set facts $::qomplay::window::facts
    set state $::qomplay::window::state
    set rows [list \
        File [file normalize [::qomplay::names::plain $::qomplay::window::file]] \
        Size "[::qomplay::trouble::bytes [dict get $state fileSize]], [dict get $facts recordCount] records" \
        State [dict get $state state] \
        Begins [::qomplay::times::wall [dict get $facts beginTimeInMs]] \
        Ends [::qomplay::times::wall [dict get $facts endTimeInMs]] \
        Length [::qomplay::times::elapsed [dict get $facts durationInMs]] \
        Screen "[dict get $facts width] x [dict get $facts height], [dict get $facts depth] bits" \
        Pixels [dict get $facts pixelFormat] \
        Checkpoints [dict get $state checkpointCount] \
        "Person recorded" [or_none [dict get $facts user]] \
        TFN [or_none [dict get $facts tfn]] \
        "File format" "[dict get $facts formatVersion]"]
    if {[dict exists $facts palette_size]} {lappend rows Palette "[dict get $facts palette_size] colours"}
    if {[dict get $state damagedBytes] > 0} {
        lappend rows Damage "[::qomplay::trouble::bytes [dict get $state damagedBytes]], from byte [dict get $state damagedAt]"
    }
    if {[dict get $state tornBytes] > 0} {
        lappend rows "Cut off at the end" [::qomplay::trouble::bytes [dict get $state tornBytes]]
    }
    return $rows
}

proc qomplay::panels::or_none {text} {return [expr {$text eq "" ? "\u2013" : $text}]}

# The field for a time: what it means is said while it is written.
proc qomplay::panels::fill_goto {path roomy} {
    variable bare
    ttk::label $path.title -style Title.TLabel -text "Go to a time"
    ttk::entry $path.time -width 26 -font QomText -validate key \
        -validatecommand [list [namespace which short_enough] %P]
    ttk::radiobutton $path.elapsed -text "since the start" -value elapsed \
        -variable [namespace which -variable bare] -command [namespace code [list preview $path]]
    ttk::radiobutton $path.day -text "time of day" -value day \
        -variable [namespace which -variable bare] -command [namespace code [list preview $path]]
    ttk::label $path.meaning -style Dim.TLabel -width 44
    grid $path.title - -sticky w -pady [list 0 [px 10]]
    grid $path.time - -sticky ew
    grid $path.elapsed $path.day -sticky w -pady [px 6]
    grid $path.meaning - -sticky w
    bind $path.time <KeyRelease> [namespace code [list preview $path]]
    bind $path.time <Return> [namespace code [list go $path]]
    bind $path.time <KP_Enter> [namespace code [list go $path]]
    focus $path.time
    preview $path
    return {-relx 0.5 -rely 0.5 -anchor center}
}

# No time is longer; a text that is pasted by mistake may be.
proc qomplay::panels::short_enough {text} {return [expr {[string length $text] <= 60}]}

proc qomplay::panels::place_of {path} {
    variable bare
    return [::qomplay::times::parse [$path.time get] $bare]
}

proc qomplay::panels::preview {path} {
    if {[string trim [$path.time get]] eq ""} {
        set meaning "1:02:03, 90s, 14:03:05 or 2026-03-01 14:03:05"
    } elseif {[catch {::qomplay::actions::describe [place_of $path]} meaning]} {
        # What is wrong with it.
    }
    $path.meaning configure \
        -text [::qomplay::texts::fitting $meaning QomSmall [winfo reqwidth $path.meaning]]
}

proc qomplay::panels::go {path} {
    if {[catch {place_of $path} place]} {
        bell
        return
    }
    close $path
    ::qomplay::actions::go_at $place
}

# A message that goes away by itself.
proc qomplay::panels::say {text} {
    variable saying
    float .message $text -in [expr {[winfo exists .stage] ? ".stage" : "."}] -relx 0.5 -rely 1.0 -y [expr {-[px 16]}] -anchor s
    after cancel $saying
    after [expr {3000 + 40 * min(300, [string length $text])}] $saying
}

# What takes long, while it does; empty when nothing does.
proc qomplay::panels::busy {text} {
    if {$text eq ""} {
        unfloat .busy
    } else {
        float .busy $text -in .stage -x [px 12] -y [px 12] -anchor nw
    }
}

# A text over the picture.
proc qomplay::panels::float {path text args} {
    if {![winfo exists $path]} {
        ::label $path -background [::qomplay::theme::colour raised] -borderwidth 0 -font QomText \
            -foreground [::qomplay::theme::colour text] -padx [px 14] -pady [px 8] -justify left \
            -highlightthickness 1 -highlightbackground [::qomplay::theme::colour line]
    }
    set wide [expr {max(200, [winfo width .] - [px 80])}]
    $path configure -text [::qomplay::texts::fitting $text QomText [expr {3 * $wide}]] -wraplength $wide
    place $path {*}$args
    raise $path
}

proc qomplay::panels::unfloat {path} {
    if {[winfo exists $path]} {place forget $path}
}
