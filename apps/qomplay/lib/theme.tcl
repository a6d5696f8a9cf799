# The look: one dark theme for all widgets, in sizes that follow the screen's resolution.
namespace eval qomplay::theme {
    variable colours
    array set colours {
        stage   #101214
        panel   #1c1f23
        raised  #2a2e34
        hover   #3a4048
        line    #34393f
        text    #e6e8ea
        dim     #9aa2ab
        faint   #5d656e
        accent  #4da3ff
        warning #f2b84b
        failure #ff7a70
    }
    variable icons
}

proc qomplay::theme::colour {name} {
    variable colours
    return $colours($name)
}

# Pixels for a length that is right at 96 dots per inch.
proc qomplay::theme::px {length} {
    return [expr {max(1, round($length * [tk scaling] * 72 / 96))}]
}

# Desktops tell the resolution a person wants as a resource; what the server says is often 96
# dots per inch whatever the screen is. Without either, Tk's own scaling stays.
proc qomplay::theme::resolution {} {
    if {[catch {exec xrdb -query 2>@1} resources]} return
    if {[regexp -line {^Xft\.dpi:\s*(\d{2,3})(?:\.\d*)?\s*$} $resources - dpi]} {
        tk scaling [expr {max(48, min(480, $dpi)) / 72.0}]
    }
}

proc qomplay::theme::setup {} {
    resolution
    fonts
    if {"qomplay" ni [ttk::style theme names]} {
        ttk::style theme create qomplay -parent clam
    }
    ttk::style theme use qomplay
    frames
    buttons
    fields
    scrollbars
    option add *Toplevel.background [colour panel]
    . configure -background [colour stage]
}

proc qomplay::theme::fonts {} {
    set family [font actual TkDefaultFont -family]
    foreach wanted {{Noto Sans} {DejaVu Sans} {Liberation Sans}} {
        if {$wanted in [font families]} {
            set family $wanted
            break
        }
    }
    foreach {name size weight} {QomText 10 normal QomSmall 9 normal QomTime 12 bold QomTitle 13 bold} {
        if {$name ni [font names]} {font create $name}
        font configure $name -family $family -size $size -weight $weight
    }
}

proc qomplay::theme::frames {} {
    ttk::style configure . -background [colour panel] -foreground [colour text] -font QomText \
        -bordercolor [colour line] -darkcolor [colour panel] -lightcolor [colour panel] \
        -troughcolor [colour stage] -focuscolor [colour accent]
    ttk::style configure Dim.TLabel -foreground [colour dim] -font QomSmall
    ttk::style configure Small.TLabel -font QomSmall
    foreach style {Dim.TLabel Small.TLabel} {ttk::style configure Tight.$style -borderwidth 0}
    ttk::style configure Time.TLabel -font QomTime
    ttk::style configure Title.TLabel -font QomTitle
    ttk::style configure Failure.TLabel -foreground [colour failure] -font QomTitle
    ttk::style configure Warning.TLabel -foreground [colour warning] -font QomSmall
    ttk::style configure Stage.TFrame -background [colour stage]
    ttk::style configure Line.TFrame -background [colour line]
}

proc qomplay::theme::buttons {} {
    ttk::style layout Icon.TButton {
        Button.border -sticky nswe -border 1 -children {
            Button.padding -sticky nswe -children {Button.label -sticky nswe}
        }
    }
    ttk::style configure Icon.TButton -padding [px 6] -relief flat -borderwidth 0 \
        -background [colour panel]
    ttk::style map Icon.TButton -background [list pressed [colour line] active [colour raised]]
    ttk::style configure TButton -padding [list [px 12] [px 5]] -relief flat -borderwidth 0 \
        -background [colour raised] -anchor center
    ttk::style map TButton -background [list pressed [colour line] active [colour hover]] \
        -foreground [list disabled [colour faint]]
}

proc qomplay::theme::fields {} {
    ttk::style configure TEntry -fieldbackground [colour stage] -foreground [colour text] \
        -insertcolor [colour text] -padding [px 4] -selectbackground [colour accent] \
        -selectforeground [colour stage]
    ttk::style map TEntry -bordercolor [list focus [colour accent]] \
        -lightcolor [list focus [colour accent]]
    ttk::style configure TRadiobutton -indicatorbackground [colour stage] \
        -indicatorforeground [colour accent] -font QomSmall \
        -indicatormargin [list 0 0 [px 6] 0] -indicatorsize [px 11]
    ttk::style map TRadiobutton -background [list active [colour panel]]
}

proc qomplay::theme::scrollbars {} {
    foreach orientation {Horizontal Vertical} {
        ttk::style configure $orientation.TScrollbar -background [colour hover] \
            -troughcolor [colour stage] -bordercolor [colour stage] -arrowcolor [colour dim] \
            -gripcount 0 -arrowsize [px 11] -relief flat
        ttk::style map $orientation.TScrollbar \
            -background [list disabled [colour stage] active [colour faint]] \
            -arrowcolor [list disabled [colour stage]]
    }
}

# The -image value of a button: the icon for each state.
proc qomplay::theme::icon {name} {
    variable icons
    if {![info exists icons($name)]} {
        set size [px 18]
        set states {}
        foreach {state ink} {disabled faint pressed accent} {
            lappend states $state [::qomplay::icons::image $name $size [rgb [colour $ink]]]
        }
        set icons($name) [list [::qomplay::icons::image $name $size [rgb [colour text]]] {*}$states]
    }
    return $icons($name)
}

# The image of a filled circle.
proc qomplay::theme::disc {size name} {
    return [::qomplay::icons::disc $size [rgb [colour $name]]]
}

proc qomplay::theme::rgb {colour} {
    scan $colour #%2x%2x%2x red green blue
    return [list $red $green $blue]
}
