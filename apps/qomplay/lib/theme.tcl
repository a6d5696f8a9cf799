# The look: a dark and a light theme for all widgets, in sizes that follow the screen's resolution.
namespace eval qomplay::theme {
    # Words stand on stage, panel and raised; `edge` is what a control is told from them by, and
    # `line` only parts one thing from another.
    variable palettes {
        dark {
            stage   #101214  panel   #1c1f23  raised  #2a2e34  hover   #3a4048
            line    #34393f  edge    #7d8691  text    #e6e8ea  dim     #a8b0b9
            faint   #838c96  accent  #4da3ff  warning #f2b84b  failure #ff8a80
        }
        light {
            stage   #ffffff  panel   #f2f3f5  raised  #e3e6ea  hover   #d0d5db
            line    #c9ced4  edge    #6f7882  text    #1b1e22  dim     #4a525b
            faint   #707a85  accent  #0a62c4  warning #7a4b00  failure #b3261e
        }
    }
    variable name dark
    variable text_size 100      ;# percent of the usual
    variable text_sizes {100 125 150 200}
    variable colours
    array set colours [dict get $palettes $name]
    variable drawn {}           ;# images in colours of the theme: image, and the script of its data
    variable repaints {}        ;# scripts of what takes colours for itself
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

# Begins to ask for the resources of the display, which over a slow link take as long as Tk takes to
# begin; may be called before Tk is loaded.
proc qomplay::theme::ask {} {
    variable asked
    if {[info exists asked]} return
    if {[catch {open "|xrdb -query 2>@1"} asked]} {set asked ""}
}

# Desktops tell the resolution a person wants as a resource; what the server says is often 96
# dots per inch whatever the screen is. Without either, Tk's own scaling stays.
proc qomplay::theme::resolution {} {
    variable asked
    ask
    if {[catch {read $asked} resources]} return
    catch {close $asked}
    unset asked
    if {[regexp -line {^Xft\.dpi:\s*(\d{2,3})(?:\.\d*)?\s*$} $resources - dpi]} {
        tk scaling [expr {max(48, min(480, $dpi)) / 72.0}]
    }
}

proc qomplay::theme::setup {{theme dark} {size 100}} {
    variable name $theme
    variable text_size $size
    few_questions
    resolution
    paint
}

# Takes over another theme or size of text, now and in all that is on the screen.
proc qomplay::theme::change {theme size} {
    variable name $theme
    variable text_size $size
    variable drawn
    variable repaints
    paint
    foreach {image script} $drawn {$image configure -data [eval $script]}
    foreach script $repaints {eval $script}
}

# A script that gives widgets their colours anew when the theme changes; it is run at once as well.
proc qomplay::theme::repaint {script} {
    variable repaints
    lappend repaints $script
    eval $script
}

proc qomplay::theme::other {} {
    variable name
    return [expr {$name eq "dark" ? "light" : "dark"}]
}

proc qomplay::theme::next_size {} {
    variable text_size
    variable text_sizes
    foreach size $text_sizes {if {$size > $text_size} {return $size}}
    return [lindex $text_sizes 0]
}

proc qomplay::theme::paint {} {
    variable palettes
    variable name
    variable colours
    array set colours [dict get $palettes $name]
    fonts
    if {"qomplay" ni [ttk::style theme names]} {
        ttk::style theme create qomplay -parent clam
    }
    ttk::style theme use qomplay
    frames
    buttons
    fields
    lists
    scrollbars
    option add *Toplevel.background [colour panel]
    foreach {place colour} {
        background stage foreground text selectBackground accent selectForeground stage
    } {
        option add *TCombobox*Listbox.$place [colour $colour]
    }
    . configure -background [colour stage]
}

# What spares questions to the server, each of which takes long over a slow link. An input method is
# set up window by window; the first field that is shown needs it. Tk asks for white and black with
# every image, unless somebody has them.
proc qomplay::theme::few_questions {} {
    tk useinputmethods 0
    bind TEntry <Map> {+tk useinputmethods 1}
    ::frame .inks -background white -highlightbackground black
}

proc qomplay::theme::fonts {} {
    variable text_size
    set family [font actual TkDefaultFont -family]
    foreach wanted {{Noto Sans} {DejaVu Sans} {Liberation Sans}} {
        if {$wanted in [font families]} {
            set family $wanted
            break
        }
    }
    foreach {name size weight} {QomText 10 normal QomSmall 9 normal QomTime 12 bold QomTitle 13 bold} {
        if {$name ni [font names]} {font create $name}
        font configure $name -family $family -size [expr {round($size * $text_size / 100.0)}] \
            -weight $weight
    }
}

proc qomplay::theme::frames {} {
    ttk::style configure . -background [colour panel] -foreground [colour text] -font QomText \
        -bordercolor [colour edge] -darkcolor [colour panel] -lightcolor [colour panel] \
        -troughcolor [colour stage] -focuscolor [colour accent]
    ttk::style configure Dim.TLabel -foreground [colour dim] -font QomSmall
    ttk::style configure Small.TLabel -font QomSmall
    foreach style {Dim.TLabel Small.TLabel} {ttk::style configure Tight.$style -borderwidth 0}
    ttk::style configure Time.TLabel -font QomTime
    ttk::style configure Title.TLabel -font QomTitle
    ttk::style configure Failure.TLabel -foreground [colour failure] -font QomTitle
    ttk::style configure Warning.TLabel -foreground [colour warning] -font QomSmall
    foreach {style font} {Float.TLabel QomText Hint.TLabel QomSmall} {
        ttk::style configure $style -background [colour raised] -font $font -relief solid -borderwidth 1
    }
    ttk::style configure Alarm.TLabel -background [colour raised] -foreground [colour warning] \
        -font QomText -relief solid -borderwidth 1
    ttk::style configure Stage.TFrame -background [colour stage]
    ttk::style configure Line.TFrame -background [colour line]
}

proc qomplay::theme::buttons {} {
    ttk::style layout Icon.TButton {
        Button.border -sticky nswe -border 1 -children {
            Button.padding -sticky nswe -children {Button.label -sticky nswe}
        }
    }
    ttk::style configure Icon.TButton -padding [px 4] -background [colour panel]
    ttk::style map Icon.TButton -background [list pressed [colour line] active [colour raised]]
    ttk::style configure TButton -padding [list [px 12] [px 5]] -background [colour raised] \
        -anchor center
    ttk::style configure Word.TButton -padding [list [px 5] [px 3]] -background [colour panel] \
        -font QomSmall -width 0
    ttk::style map Word.TButton -background [list pressed [colour line] active [colour raised]]
    ringed Icon.TButton panel
    ringed Word.TButton panel
    ringed TButton raised
    ttk::style map TButton -background [list pressed [colour line] active [colour hover]] \
        -foreground [list disabled [colour faint]]
}

# The keyboard's focus is a ring in the colour of nothing else.
proc qomplay::theme::ringed {style around} {
    ttk::style configure $style -relief solid -borderwidth [px 2]
    foreach part {bordercolor lightcolor darkcolor} {
        ttk::style configure $style -$part [colour $around]
        ttk::style map $style -$part [list focus [colour accent]]
    }
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
    foreach style {TRadiobutton TCheckbutton} {
        ttk::style configure $style -padding [px 2]
        ttk::style map $style -background [list focus [colour hover] active [colour panel]]
    }
}

proc qomplay::theme::lists {} {
    ttk::style configure Treeview -background [colour panel] -fieldbackground [colour panel] \
        -foreground [colour text] -font QomSmall -borderwidth 0
    ttk::style map Treeview -background [list selected [colour hover]] \
        -foreground [list selected [colour text]]
}

proc qomplay::theme::paint_menu {menu} {
    $menu configure -background [colour raised] -foreground [colour text] -font QomSmall \
        -activebackground [colour hover] -activeforeground [colour text] -borderwidth 1 \
        -activeborderwidth 0 -relief solid
}

proc qomplay::theme::scrollbars {} {
    foreach orientation {Horizontal Vertical} {
        ttk::style configure $orientation.TScrollbar -background [colour edge] \
            -troughcolor [colour stage] -bordercolor [colour stage] -arrowcolor [colour dim] \
            -gripcount 0 -arrowsize [px 11] -relief flat
        ttk::style map $orientation.TScrollbar \
            -background [list disabled [colour stage] active [colour dim]] \
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
            lappend states $state [image_of image $name $size $ink]
        }
        set icons($name) [list [image_of image $name $size text] {*}$states]
    }
    return $icons($name)
}

# The image of a filled circle.
proc qomplay::theme::disc {size name} {return [image_of disc $size $name]}

# An image in a colour of the theme, whatever the theme will be.
proc qomplay::theme::image_of {kind args} {
    variable drawn
    set ink [lindex $args end]
    set script "::qomplay::icons::$kind [lrange $args 0 end-1] \[rgb \[colour $ink\]\]"
    # Tk asks the server for every shade of a palette, 256 of them at first, one after the other. It
    # needs none for pixels that are partly transparent.
    set image [::image create photo -palette 2/2/2 -format png -data [eval $script]]
    lappend drawn $image $script
    return $image
}

proc qomplay::theme::rgb {colour} {
    scan $colour #%2x%2x%2x red green blue
    return [list $red $green $blue]
}
