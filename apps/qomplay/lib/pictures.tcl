# Saving the picture. It is written under a name of its own beside its place and gets its name when
# it is whole; what is there already gives way only to a person's word.
namespace eval qomplay::pictures {}

# The picture is taken before the question where to, for a recording may play on meanwhile.
proc qomplay::pictures::save {view cursor} {
    set photo [image create photo]
    try {
        ::qom::photo $view $photo -cursor $cursor
        set lossy [::qom::lossy $view]
        set unreliable [::qomplay::damage::words]
        set name [ask]
        if {$name eq "" || ![is_open $view]} return
        # The dialog has asked about a file that is there.
        write $photo $name [is_there $name] $lossy $unreliable
    } finally {
        if {[is_open .]} {image delete $photo}
    }
}

# Saves the picture, with its cursor, in the user's folder for pictures.
proc qomplay::pictures::save_at_once {view} {
    set photo [image create photo]
    try {
        ::qom::photo $view $photo
        set name [free_name [folder] [first_name]]
        write $photo $name 0 [::qom::lossy $view] [::qomplay::damage::words]
    } finally {
        image delete $photo
    }
}

# Where the desktop keeps pictures; the user's home where it says nothing.
proc qomplay::pictures::folder {} {
    if {[auto_execok xdg-user-dir] ne "" && ![catch {exec xdg-user-dir PICTURES} folder]
            && [file isdirectory $folder]} {return $folder}
    return [file normalize ~]
}

# A name in a folder that nothing has yet.
proc qomplay::pictures::free_name {folder name} {
    set path [file join $folder $name]
    for {set i 2} {[is_there $path]} {incr i} {
        set path [file join $folder [file rootname $name]-$i[file extension $name]]
    }
    return $path
}

# The path of a file to be; empty without one, also when the window goes while its dialog is open,
# which the dialog takes for an error.
proc qomplay::pictures::ask {} {
    return [ask_name "Save the picture" .png]
}

# The same for a file of another kind, named by its ending.
proc qomplay::pictures::ask_name {title ending} {
    set kind [dict get {
        .png "PNG pictures" .html "Pages" .mp4 "Films" .qom "Recordings"
    } $ending]
    set failed [catch {
        tk_getSaveFile -parent . -title $title -defaultextension $ending \
            -filetypes [list [list $kind $ending]] -initialfile [first_name $ending]
    } name details]
    if {!$failed} {return $name}
    if {[is_open .stage]} {return -options $details $name}
    return ""
}

# Also where the whole window is gone, and Tk with it.
proc qomplay::pictures::is_open {window} {return [expr {[info commands $window] ne ""}]}

# The recording's name and the time of the frame, short enough for any file system and without what
# means something to the dialog.
proc qomplay::pictures::first_name {{ending .png}} {
    set stem [::qomplay::texts::line [file rootname [::qomplay::names::tail $::qomplay::window::file]] 50]
    return [string map {: "" " " - / _ ~ _ * _ ? _ [ _ ] _} $stem-[::qomplay::actions::shown_time]]$ending
}

proc qomplay::pictures::is_there {name} {return [expr {![catch {file lstat $name facts}]}]}

# `lossy` are the areas of the picture that are; `unreliable` are words for damage, or empty.
proc qomplay::pictures::write {photo name replace {lossy {}} {unreliable ""}} {
    set shown [::qomplay::texts::path $name]
    try {
        set data [$photo data -format png]
        if {$lossy ne ""} {set data [marked $data $lossy]}
        if {$unreliable ne ""} {set data [told $data [text qom:unreliable "the picture is $unreliable"]]}
        write_file $name $data $replace
        ::qomplay::panels::say "Saved $shown[expr {$lossy eq "" ? "" : "; a part of it\
            [::qomplay::trouble::is_lossy]"}][expr {$unreliable eq "" ? "" : "; it is $unreliable"}]"
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
    return [told $png [text qom:lossy $areas][text Warning \
        "a part of the picture [::qomplay::trouble::is_lossy]"]]
}

# A PNG file with texts behind its head.
proc qomplay::pictures::told {png texts} {
    return [string replace $png 0 32 [string range $png 0 32]$texts]
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
