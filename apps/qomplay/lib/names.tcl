# Names of files. A name is bytes, whatever the locale takes text to be; Tcl would make other bytes
# of those that are no text in it. Here a name is a string of bytes, one character for each of them,
# until `text` makes what people read of it.
namespace eval qomplay::names {}

# The words of the command line as bytes. `argv` is what Tcl made of them, and says how many of the
# process's words are the program's own.
proc qomplay::names::words {argv} {
    set own [llength $argv]
    if {[catch {command_line} words] || [llength $words] < $own} {
        return [lmap word $argv {encoding convertto [encoding system] $word}]
    }
    return [lrange $words [expr {[llength $words] - $own}] end]
}

proc qomplay::names::command_line {} {
    set channel [open /proc/self/cmdline rb]
    try {
        return [lrange [split [read $channel] \0] 0 end-1]
    } finally {
        close $channel
    }
}

# The bytes of a text that names a file.
proc qomplay::names::bytes {text} {return [encoding convertto [encoding system] $text]}

proc qomplay::names::text {bytes} {return [encoding convertfrom [encoding system] $bytes]}

# Runs a script in which Tcl takes file names as bytes.
proc qomplay::names::as_bytes {script} {
    set before [encoding system]
    encoding system iso8859-1
    try {
        uplevel 1 $script
    } finally {
        encoding system $before
    }
}

# The name as Tcl has to be told it: a tilde at the beginning is no one's home.
proc qomplay::names::plain {name} {return [expr {[string match ~* $name] ? "./$name" : $name}]}

# The last part of a path.
proc qomplay::names::tail {path} {return [string range $path [string last / $path]+1 end]}
