# What opens over the picture: the recording's facts, the keys, a message.
namespace eval qomplay::panels {
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

# Fills a panel that is open anew.
proc qomplay::panels::refresh {name} {
    if {![winfo exists .panel_$name]} return
    set focus [focus]
    toggle $name
    toggle $name
    if {[winfo exists $focus]} {focus $focus}
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
        State [::qomplay::damage::state $state] \
        Begins [::qomplay::times::wall [dict get $facts beginTimeInMs]] \
        Ends [::qomplay::times::wall [dict get $facts endTimeInMs]] \
        Length [::qomplay::times::elapsed [dict get $facts durationInMs]] \
        Screen "[dict get $facts width] x [dict get $facts height], [dict get $facts depth] bits" \
        Pixels [dict get $facts pixelFormat] \
        Checkpoints [dict get $state checkpointCount] \
        "Person recorded" [or_none [dict get $facts user]] \
        TFN [or_none [dict get $facts tfn]] \
        "File format" "[dict get $facts formatVersion]" \
        "Time zone" [::qomplay::zones::words $::qomplay::zones::choice $::qomplay::window::first_ms]]
    if {[dict exists $facts palette_size]} {lappend rows Palette "[dict get $facts palette_size] colours"}
    if {[dict get $state damagedBytes] > 0} {
        lappend rows Damage "[::qomplay::trouble::bytes [dict get $state damagedBytes]], from byte [dict get $state damagedAt]"
    }
    if {[dict get $state tornBytes] > 0} {
        lappend rows "Cut off at the end" [::qomplay::trouble::bytes [dict get $state tornBytes]]
    }
    return $rows
}

proc qomplay::panels::fill_goto {path roomy} {return [::qomplay::goto::fill $path]}

proc qomplay::panels::fill_mark {path roomy} {return [::qomplay::marks::fill $path]}
proc qomplay::panels::fill_take {path roomy} {return [::qomplay::taking::fill $path]}

proc qomplay::panels::or_none {text} {return [expr {$text eq "" ? "\u2013" : $text}]}

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
        ttk::label $path -style Float.TLabel -padding [list [px 14] [px 8]] -justify left
    }
    set wide [expr {max(200, [winfo width .] - [px 80])}]
    $path configure -text [::qomplay::texts::fitting $text QomText [expr {3 * $wide}]] -wraplength $wide
    place $path {*}$args
    raise $path
}

proc qomplay::panels::unfloat {path} {
    if {[winfo exists $path]} {place forget $path}
}
