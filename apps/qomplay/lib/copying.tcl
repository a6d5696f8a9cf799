# Taking texts along. What is shown may be cut; what is copied is whole.
namespace eval qomplay::copying {
    variable whole   ;# by widget
}

# A click on the widget copies the text, dragging selects a part of what it shows.
proc qomplay::copying::offer {widget text} {
    variable whole
    set whole($widget) $text
    $widget configure -cursor [expr {$text eq "" ? "" : "hand2"}]
    ::qomplay::selecting::offer $widget [list ::qomplay::copying::clicked $widget]
    bind $widget <Destroy> [list unset -nocomplain ::qomplay::copying::whole($widget)]
}

proc qomplay::copying::clicked {widget} {
    variable whole
    if {$whole($widget) ne ""} {copy $whole($widget)}
}

proc qomplay::copying::copy {text} {
    clipboard clear
    clipboard append -- $text
    ::qomplay::panels::say "Copied [::qomplay::texts::line $text 60]"
}
