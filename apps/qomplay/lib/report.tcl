# A report of the marks: one page of HTML that holds everything it shows.
namespace eval qomplay::report {
    variable pipe ""     ;# of what reads the whole file for its hash; empty: no report is being made
    variable file ""     ;# what is being made
}

# Asks where to, and makes it.
proc qomplay::report::ask {} {
    variable pipe
    if {$pipe ne ""} return
    if {$::qomplay::marks::all eq ""} {
        ::qomplay::panels::say "There is no mark to report of; m sets one."
        return
    }
    set name [::qomplay::pictures::ask_name "Write a report" .html]
    if {$name ne ""} {begin $name}
}

# The hash takes as long as reading the file does.
proc qomplay::report::begin {name} {
    variable pipe
    variable file $name
    ::qomplay::panels::busy "Reading the recording for its SHA-256 (Esc stops)"
    ::qomplay::names::as_bytes {
        set recording [file normalize [::qomplay::names::plain $::qomplay::window::name]]
        set pipe [open |[list sha256sum -- $recording] r]
    }
    fconfigure $pipe -blocking 0
    fileevent $pipe readable [namespace code hashed]
}

# True when one was being made.
proc qomplay::report::stop {} {
    variable pipe
    if {$pipe eq ""} {return 0}
    foreach id [pid $pipe] {catch {exec kill $id}}
    catch {close $pipe}
    set pipe ""
    ::qomplay::panels::busy ""
    ::qomplay::panels::say "No report was made"
    return 1
}

proc qomplay::report::hashed {} {
    variable pipe
    variable file
    set line [gets $pipe]
    if {$line eq "" && ![eof $pipe]} return
    catch {close $pipe}
    set pipe ""
    # A name with a backslash or a line break has one in front.
    set hash [expr {[regexp {^\\?([0-9a-f]{64}) } $line - found] ? $found : "unknown"}]
    try {
        ::qomplay::pictures::write_file $file [encoding convertto utf-8 [page $hash]] \
            [::qomplay::pictures::is_there $file]
        ::qomplay::panels::say "Wrote [::qomplay::texts::path $file]"
    } on error message {
        ::qomplay::panels::say "The report could not be written: $message"
    } finally {
        ::qomplay::panels::busy ""
    }
}

# Texts are whatever was recorded.
proc qomplay::report::escaped {text} {
    return [string map {& &amp; < &lt; > &gt; \" &quot; ' &#39;} [::qomplay::texts::line $text 2000]]
}

proc qomplay::report::page {hash} {
    set name [escaped [::qomplay::names::tail $::qomplay::window::file]]
    set parts {}
    set number 0
    foreach mark $::qomplay::marks::all {
        ::qomplay::panels::busy "Mark [incr number] of [llength $::qomplay::marks::all]"
        update idletasks
        append parts [section $number {*}$mark]
    }
    return "<!DOCTYPE html>
<html lang=\"en\">
<head>
<meta charset=\"utf-8\">
<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; style-src 'unsafe-inline'\">
<title>Report: $name</title>
<style>
body { font-family: sans-serif; max-width: 70em; margin: 2em auto; padding: 0 1em; color: #1b1e22 }
table { border-collapse: collapse } th { text-align: left; font-weight: normal; color: #4a525b; padding-right: 2em }
th, td { vertical-align: top; overflow-wrap: anywhere } img { max-width: 100%; border: 1px solid #6f7882 }
section { margin-top: 3em; break-inside: avoid } .warning { color: #7a4b00 } .hash { font-family: monospace }
</style>
</head>
<body>
<h1>$name</h1>
[table [concat [::qomplay::panels::facts] [list SHA-256 $hash]]]
$parts
</body>
</html>
"
}

proc qomplay::report::table {rows} {
    set html "<table>\n"
    foreach {name value} $rows {
        append html "<tr><th>[escaped $name]</th><td>[escaped $value]</td></tr>\n"
    }
    return "$html</table>"
}

proc qomplay::report::section {number us note} {
    set rows [list Time [moment $us] "Since the start" [::qomplay::marks::elapsed $us]]
    foreach kind {app user host ip} {
        set text [::qomplay::happenings::text_at $kind $us]
        if {$text ne ""} {lappend rows [::qomplay::happenings::kind_name $kind] $text}
    }
    set warning [::qomplay::damage::words_at $us]
    if {$warning ne ""} {set warning "<p class=\"warning\">The picture is [escaped $warning].</p>\n"}
    return "<section>
<h2>[escaped [expr {$note eq "" ? "Mark $number" : "$number. $note"}]]</h2>
[table $rows]
$warning[picture $us]
</section>
"
}

# A moment to the microsecond, with its offset.
proc qomplay::report::moment {us} {
    lassign [::qomplay::zones::label [expr {$us / 1000}]] offset zone
    set text [::qomplay::times::clock_text [expr {$us / 1000}]]
    return "[string range $text 0 end-2].[format %06d [expr {$us % 1000000}]] $offset $zone"
}

# The screen as it was recorded, with the pointer.
proc qomplay::report::picture {us} {
    set photo [image create photo]
    try {
        ::qom::preview $::qomplay::window::view $us $photo
        set data [binary encode base64 [$photo data -format png]]
        return "<img alt=\"the screen\" src=\"data:image/png;base64,$data\">"
    } on error message {
        return "<p class=\"warning\">There is no picture: [escaped $message].</p>"
    } finally {
        image delete $photo
    }
}
