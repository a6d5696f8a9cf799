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
        less                previous_change "<  >"       "to the last or next change of the picture"
        greater             next_change     ""               ""
        bracketleft         slower          "\[  \]"         "slower or faster"
        bracketright        faster          ""               ""
        BackSpace           usual_speed     "Backspace"      "as fast as it was recorded"
        x                   idle            "x"              "play, skip or hurry through idle time"
        Home                start           "Home  End"      "to the start or the end"
        End                 end             ""               ""
        g                   goto            "g"              "go to a time"
        z                   zone            "z"              "next time zone"
        Control-f           find            "Ctrl+F  n  N"   "find a text, the next or last one found"
        n                   next_found      ""               ""
        N                   previous_found  ""               ""
        e                   events          "e"              "list of events"
        m                   mark            "m"              "mark this moment, with a note"
        I                   in_point        "I  O"           "a stretch begins, or ends, here"
        O                   out_point       ""               ""
        E                   take            "E"              "take the stretch out, as a film or a recording"
        r                   report          "r"              "a report of the marks"
        w                   whole           "w"              "the whole recording in the timeline"
        1                   fit             "1"              "fit to the window or natural size"
        2                   enlarge         "2"              "enlarge freely, by whole numbers, or not"
        f                   full            "f"              "full screen"
        F11                 full            ""               ""
        s                   save            "s  S"           "save the picture, S without asking"
        S                   save_at_once    ""               ""
        Control-s           save_without_cursor "Ctrl+S"     "save the picture without the cursor"
        Control-o           open            "Ctrl+O"         "open another recording"
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
    # Keys of the keypad and of media, where the keyboard has them; and letters that with Caps Lock
    # come as capitals.
    variable others {
        KP_Enter play  KP_Left back  KP_Right ahead  KP_Up minute_ahead  KP_Down minute_back
        KP_Home start  KP_End end  KP_Prior minute_ahead  KP_Next minute_back  KP_Space play
        Prior minute_ahead  Next minute_back  Control-w quit
        XF86AudioPlay play  XF86AudioPause pause  XF86AudioStop pause  XF86AudioPrev minute_back
        XF86AudioNext minute_ahead  XF86AudioRewind back  XF86AudioForward ahead
    }
}

proc qomplay::keys::setup {} {
    variable table
    variable others
    foreach {key action shown meaning} $table {
        bind . [event_of $key] [namespace code [list pressed %W $key $action %s]]
    }
    foreach {key action shown meaning} $table {
        set capital [string toupper $key]
        if {[regexp {^[a-z]$} $key] && $capital ni $table} {
            bind . <$capital> [namespace code [list pressed %W $key $action %s]]
        }
    }
    foreach {key action} $others {catch {bind . <$key> [namespace code [list press %W $action]]}}
    foreach {event axis units} {
        Button-4 yview -40 Button-5 yview 40 Shift-Button-4 xview -40 Shift-Button-5 xview 40
        Button-6 xview -40 Button-7 xview 40
    } {
        # Not every Tk knows the wheels that turn sideways.
        catch {bind .stage.clip.view <$event> [list ::qomplay::stage::scroll $axis $units]}
    }
    focus .
}

# A digit alone would be a button of the mouse.
proc qomplay::keys::event_of {key} {
    return [expr {[string is digit $key] ? "<Key-$key>" : "<$key>"}]
}

# Caps Lock does not make another key of a letter; Shift does.
proc qomplay::keys::pressed {window key action state} {
    variable table
    if {!($state & 2) || ![regexp {^[a-zA-Z]$} $key]} {
        press $window $action
        return
    }
    set meant [expr {$state & 1 ? [string toupper $key] : [string tolower $key]}]
    foreach {key action shown meaning} $table {
        if {$key eq $meant} {press $window $action}
    }
}

proc qomplay::keys::press {window action} {
    if {$action ne "escape"
            && ([string match .panel_goto* $window] || [winfo class $window] eq "TEntry")} return
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
        "Wheel on the timeline" "zoom, Shift sideways" \
        "Wheel" "scroll at natural size, Shift sideways" \
        "Drag" "move the picture at natural size" \
        "Click a text" "copy the whole text"
    return $rows
}
