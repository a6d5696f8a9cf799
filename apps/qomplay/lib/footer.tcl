# The footer: the texts of the recording, each in a cell of its own. A cell comes when its text is
# told for the first time, and stays; nothing moves when a text changes.
namespace eval qomplay::footer {
    # item of the recording, label, share of the width, what it is
    variable cells {
        app     Application  9 "the application that had the keyboard, as its window was titled"
        appfmt  Format       2 "how the application's title was put together"
        host    Host         2 "the computer that was recorded"
        ip      Address      2 "the network address of the computer that was recorded"
        user    "Last input" 2 "the person who gave the last input"
        tfn     TFN          2 "the full name of that person"
        sid     SID          1 "the identifier of the recorded session"
        tid     TID          1 "the identifier of the recorder"
    }
    variable texts   ;# by item, whole
    variable path ""
    variable columns 0
    variable told {}     ;# items that have had a text
    variable placed {}   ;# those that have their cell
}

proc qomplay::footer::build {frame} {
    variable cells
    variable texts
    variable path $frame
    ttk::frame $frame -padding [list [::qomplay::theme::px 12] [::qomplay::theme::px 4]]
    foreach {item name share meaning} $cells {
        set texts($item) ""
        set cell [ttk::frame $frame.$item]
        ttk::label $cell.name -text $name -style Dim.TLabel
        ttk::label $cell.text -style Small.TLabel -width 1
        ::qomplay::hints::add $cell.name "$name: $meaning"
        pack $cell.name -anchor w
        pack $cell.text -anchor w -fill x
        bind $cell.text <Configure> [namespace code [list fit $item]]
        bind $cell.text <Enter> [namespace code [list whole $item]]
        bind $cell.text <Leave> ::qomplay::hints::hide
    }
    bind $frame <Configure> [namespace code {arrange %w}]
    arrange [::qomplay::theme::px 960]
    return $frame
}

# Puts the cells that have a text side by side, in a narrow window four to a row.
proc qomplay::footer::arrange {width} {
    variable cells
    variable path
    variable columns
    variable told
    variable placed
    set wanted [expr {$width < [::qomplay::theme::px 620] ? 4 : 8}]
    if {$columns == $wanted && $placed eq $told} return
    set columns $wanted
    set placed $told
    set place 0
    for {set column 0} {$column < 8} {incr column} {
        grid columnconfigure $path $column -weight 0 -uniform ""
    }
    foreach {item name share meaning} $cells {
        if {$item ni $told} continue
        set column [expr {$place % $columns}]
        grid $path.$item -row [expr {$place / $columns}] -column $column -sticky ew \
            -padx [list 0 [::qomplay::theme::px 8]]
        grid columnconfigure $path $column -weight [expr {$columns == 8 ? $share : 1}] -uniform cells
        incr place
    }
}

# Takes over the items that a notification carries.
proc qomplay::footer::update {notification} {
    variable texts
    variable told
    variable path
    foreach item [array names texts] {
        if {[dict exists $notification $item]} {
            set texts($item) [dict get $notification $item]
            if {$texts($item) ne "" && $item ni $told} {lappend told $item}
            ::qomplay::copying::offer $path.$item.text $texts($item)
            fit $item
        }
    }
    arrange [expr {[winfo width $path] > 1 ? [winfo width $path] : [::qomplay::theme::px 960]}]
}

# Shows as much of a text as its cell has room for.
proc qomplay::footer::fit {item} {
    variable texts
    variable path
    set label $path.$item.text
    set room [expr {[winfo width $label] - 2}]
    set text [::qomplay::texts::fitting $texts($item) QomSmall $room]
    $label configure -text [expr {$text eq "" ? "\u2013" : $text}]
}

# More of the text, above a cell that has no room for it.
proc qomplay::footer::whole {item} {
    variable texts
    variable path
    set label $path.$item.text
    set line [::qomplay::texts::line $texts($item) 400]
    if {$line in [list "" [$label cget -text]]} return
    ::qomplay::hints::show $label [expr {[winfo width $label] / 2}] $line
}
