# Saving the picture. It is written under a name of its own beside its place and gets its name when
# it is whole; what is there already gives way only to a person's word.
namespace eval qomplay::pictures {}

# The picture is taken before the question where to, for a recording may play on meanwhile.
proc qomplay::pictures::save {view cursor} {
    set photo [image create photo]
    try {
        ::qom::photo $view $photo -cursor $cursor
        set lossy [::qom::lossy $view]
        set name [ask]
        if {$name eq "" || ![is_open $view]} return
        # The dialog has asked about a file that is there.
        write $photo $name [is_there $name] $lossy
    } finally {
        if {[is_open .]} {image delete $photo}
    }
}

# The path of a file to be; empty without one, also when the window goes while its dialog is open,
# which the dialog takes for an error.
proc qomplay::pictures::ask {} {
    set failed [catch {
        tk_getSaveFile -parent . -title "Save the picture" -defaultextension .png \
            -filetypes {{{PNG pictures} .png}} -initialfile [first_name]
    } name details]
    if {!$failed} {return $name}
    if {[is_open .stage]} {return -options $details $name}
    return ""
}

# Also where the whole window is gone, and Tk with it.
proc qomplay::pictures::is_open {window} {return [expr {[info commands $window] ne ""}]}

# The recording's name and the time of the frame, short enough for any file system and without what
# means something to the dialog.
proc qomplay::pictures::first_name {} {
    set stem [::qomplay::texts::line [file rootname [::qomplay::names::tail $::qomplay::window::file]] 50]
    return [string map {: "" " " - / _ ~ _ * _ ? _ [ _ ] _} $stem-[::qomplay::actions::shown_time]].png
}

proc qomplay::pictures::is_there {name} {return [expr {![catch {file lstat $name facts}]}]}

# `lossy` are the areas of the picture that are.
proc qomplay::pictures::write {photo name replace {lossy {}}} {
    set shown [::qomplay::texts::path $name]
    try {
        set data [$photo data -format png]
        if {$lossy ne ""} {set data [marked $data $lossy]}
        write_file $name $data $replace
        ::qomplay::panels::say "Saved $shown[expr {$lossy eq "" ? "" : "; a part of it\
            [::qomplay::trouble::is_lossy]"}]"
    } trap POSIX {message details} {
        ::qomplay::panels::say "The picture could not be saved: $shown:\
            [lindex [dict get $details -errorcode] 2]"
    } on error message {
        ::qomplay::panels::say "The picture could not be saved: $message"
    }
}

# A PNG file with texts that tell of its lossy areas, as `qom picture` writes them.
proc qomplay::pictures::marked {png lossy} {
    set areas [lmap area $lossy {
        lassign $area x y width height
        string cat $width x $height + $x + $y
    }]
    return [string replace $png 0 32 [string range $png 0 32][text qom:lossy $areas][text Warning \
        "a part of the picture [::qomplay::trouble::is_lossy]"]]
}

# A text of a PNG file.
proc qomplay::pictures::text {key value} {
    set body [encoding convertto iso8859-1 "tEXt$key\0$value"]
    return [binary format I [expr {[string length $body] - 4}]]$body[binary format I [zlib crc32 $body]]
}

# The mode is what the user's umask leaves of rw-rw-rw-.
proc qomplay::pictures::write_file {name data replace} {
    set temporary [file join [file dirname $name] .qomplay-[random_word]]
    set channel [open $temporary {WRONLY CREAT EXCL BINARY} 0666]
    try {
        puts -nonewline $channel $data
        close $channel
        set channel ""
        if {$replace} {replace $temporary $name} else {place $temporary $name}
    } finally {
        if {$channel ne ""} {catch {close $channel}}
        file delete $temporary
    }
}

proc qomplay::pictures::random_word {} {
    set channel [open /dev/urandom rb]
    try {
        return [binary encode hex [read $channel 12]]
    } finally {
        close $channel
    }
}

proc qomplay::pictures::replace {from to} {
    # Tcl would move the file into the folder.
    if {[file isdirectory $to]} {throw {POSIX EISDIR {is a folder}} "is a folder"}
    file rename -force -- $from $to
}

# A link fails where something is by now; some file systems have none.
proc qomplay::pictures::place {from to} {
    if {[catch {file link -hard $to $from}]} {file rename -- $from $to}
}
