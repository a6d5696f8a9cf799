# Selecting a part of a text that is shown. While the pointer is pressed on the text a field with the
# same words lies over it; it stays as long as it has the keyboard, so that they can be copied.
namespace eval qomplay::selecting {
    variable path .selecting
    variable begun 0   ;# index where the pointer went down
}

# Makes the words of a label selectable. `on_click` is run by a click that selects nothing.
proc qomplay::selecting::offer {label {on_click list}} {
    bind $label <Button-1> [namespace code [list press $label %x %y]]
    bind $label <B1-Motion> [namespace code {drag %x %y}]
    bind $label <ButtonRelease-1> [namespace code [list release $on_click]]
}

proc qomplay::selecting::press {label x y} {
    variable path
    variable begun
    close
    set style [winfo class $label]
    catch {set style [expr {[$label cget -style] eq "" ? $style : [$label cget -style]}]}
    text $path -wrap char -borderwidth 0 -highlightthickness 0 -padx 0 -pady 0 -takefocus 0 \
        -font [ttk::style lookup $style -font] -cursor xterm \
        -background [ttk::style lookup $style -background] \
        -foreground [ttk::style lookup $style -foreground] \
        -selectbackground [::qomplay::theme::colour accent] \
        -selectforeground [::qomplay::theme::colour stage] -inactiveselectbackground \
        [::qomplay::theme::colour accent]
    $path insert end [$label cget -text]
    $path configure -state disabled
    # The label's own border and padding stay around it.
    set edge [expr {min(2, [winfo height $label] / 8)}]
    place $path -in $label -x $edge -y $edge -relwidth 1 -width -$edge -relheight 1 -height -$edge
    raise $path
    ::update idletasks
    set begun [$path index @$x,$y]
    bind $path <Escape> "[namespace code close]; break"
    bind $path <FocusOut> [namespace code close]
    bind $path <Control-c> "[namespace code copy]; break"
    bind $path <Control-C> "[namespace code copy]; break"
}

proc qomplay::selecting::drag {x y} {
    variable path
    variable begun
    if {![winfo exists $path]} return
    set at [$path index @$x,$y]
    $path tag remove sel 1.0 end
    if {[$path compare $at < $begun]} {
        $path tag add sel $at $begun
    } else {
        $path tag add sel $begun $at
    }
}

proc qomplay::selecting::release {on_click} {
    variable path
    if {![winfo exists $path]} return
    if {[$path tag ranges sel] ne ""} {
        focus $path
    } else {
        close
        {*}$on_click
    }
}

proc qomplay::selecting::copy {} {
    variable path
    if {[$path tag ranges sel] ne ""} {::qomplay::copying::copy [$path get sel.first sel.last]}
}

proc qomplay::selecting::close {} {
    variable path
    if {![winfo exists $path]} return
    set had [expr {[focus] eq $path}]
    destroy $path
    if {$had} {focus .}
}
