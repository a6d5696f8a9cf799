# The footer: the texts of the recording, each in a cell of fixed width so that nothing moves
# when a text changes.
namespace eval qomplay::footer {
    # item of the recording, label, share of the width
    variable cells {
        app     Application 4
        appfmt  Format      2
        host    Host        2
        ip      Address     2
        user    "Last input" 2
        tfn     TFN         2
        sid     SID         2
        tid     TID         2
    }
    variable texts   ;# by item, whole
    variable path ""
    variable columns 0
}

proc qomplay::footer::build {frame} {
    variable cells
    variable texts
    variable path $frame
    ttk::frame $frame -padding [list [::qomplay::theme::px 12] [::qomplay::theme::px 4]]
    foreach {item name share} $cells {
        set texts($item) ""
        set cell [ttk::frame $frame.$item]
        ttk::label $cell.name -text $name -style Dim.TLabel
        ttk::label $cell.text -style Small.TLabel -width 1
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

# Puts the cells side by side, in a narrow window four to a row.
proc qomplay::footer::arrange {width} {
    variable cells
    variable path
    variable columns
    set wanted [expr {$width < [::qomplay::theme::px 620] ? 4 : 8}]
    if {$columns == $wanted} return
    set columns $wanted
    set place 0
    foreach {item name share} $cells {
        set column [expr {$place % $columns}]
        grid $path.$item -row [expr {$place / $columns}] -column $column -sticky ew \
            -padx [list 0 [::qomplay::theme::px 8]]
        grid columnconfigure $path $column -weight [expr {$columns == 8 ? $share : 1}] -uniform cells
        incr place
    }
    for {set column $columns} {$column < 8} {incr column} {
        grid columnconfigure $path $column -weight 0 -uniform ""
    }
}

# Takes over the items that a notification carries.
proc qomplay::footer::update {notification} {
    variable texts
    variable path
    foreach item [array names texts] {
        if {[dict exists $notification $item]} {
            set texts($item) [dict get $notification $item]
            ::qomplay::copying::offer $path.$item.text $texts($item)
            fit $item
        }
    }
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
