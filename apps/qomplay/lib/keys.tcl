# Keys and wheel. Keys do nothing while a person writes into a field.
namespace eval qomplay::keys {
    # key symbols, action, what the help shows for them, and what they do; rows of one meaning
    # that has several keys show the first only
    variable table {
        space               play            "Space"          "play or pause"
        Left                back            "\u2190  \u2192" "5 seconds back or ahead"
        Right               ahead           ""               ""
        Down                minute_back     "\u2193  \u2191" "a minute back or ahead"
        Up                  minute_ahead    ""               ""
        Shift-Left          minute_back     ""               ""
        Shift-Right         minute_ahead    ""               ""
        comma               previous        ",  ."           "one frame back or ahead"
        period              next            ""               ""
        Home                start           "Home  End"      "to the start or the end"
        End                 end             ""               ""
        g                   goto            "g"              "go to a time"
        z                   zone            "z"              "next time zone"
        n                   fit             "n"              "fit to the window or natural size"
        f                   full            "f"              "full screen"
        F11                 full            ""               ""
        s                   save            "s  S"           "save the picture, S without cursor"
        S                   save_without_cursor "" ""
        c                   copy_time       "c"              "copy the time"
        Control-c           copy_time       ""               ""
        i                   facts           "i"              "facts about the recording"
        t                   theme           "t  T"           "light or dark, T: size of the text"
        T                   text_size       ""               ""
        question            help            "?"              "this list"
        F1                  help            ""               ""
        Escape              escape          "Esc"            "close, leave full screen, stop a move"
        q                   quit            "q"              "quit"
        Control-q           quit            ""               ""
    }
}

proc qomplay::keys::setup {} {
    variable table
    foreach {key action shown meaning} $table {
        bind . <$key> [namespace code [list press %W $action]]
    }
    foreach {event axis units} {
        Button-4 yview -40 Button-5 yview 40 Shift-Button-4 xview -40 Shift-Button-5 xview 40
        Button-6 xview -40 Button-7 xview 40
    } {
        # Not every Tk knows the wheels that turn sideways.
        catch {bind .stage.clip.view <$event> [list ::qomplay::stage::scroll $axis $units]}
    }
    focus .
}

proc qomplay::keys::press {window action} {
    if {[string match .panel_goto* $window] && $action ne "escape"} return
    # A button that has the keyboard is pressed by the space bar.
    if {$action eq "play" && [winfo class $window] eq "TButton"} return
    # Events of dialogs come here too, since this is their main window.
    if {[winfo toplevel $window] ne "."} return
    ::qomplay::actions::$action
}

# Pairs of keys and what they do.
proc qomplay::keys::help {} {
    variable table
    set rows {}
    foreach {key action shown meaning} $table {
        if {$shown ne ""} {lappend rows [subst -nocommands -novariables $shown] $meaning}
    }
    lappend rows \
        "Click" "play or pause, twice full screen" \
        "Wheel" "scroll at natural size, Shift sideways" \
        "Drag" "move the picture at natural size" \
        "Click a text" "copy the whole text"
    return $rows
}
