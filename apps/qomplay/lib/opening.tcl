# Opening another recording. The page without one gives way to it; a window that shows one starts the
# program anew for it, so that nothing of the old one is left, and closes.
namespace eval qomplay::opening {}

proc qomplay::opening::ask {} {
    set name [tk_getOpenFile -parent . -title "Open a recording" \
        -filetypes {{Recordings .qom} {"All files" *}}]
    if {$name ne "" && [info commands .] ne ""} {open [::qomplay::names::bytes $name]}
}

# The name is bytes.
proc qomplay::opening::open {name} {
    if {[winfo exists .start]} {
        ::qomplay::start_page::open $name 0
    } elseif {[catch {start $name} message]} {
        ::qomplay::panels::say "[::qomplay::texts::path [::qomplay::names::text $name]] could not be\
            opened: $message"
    } else {
        destroy .
    }
}

proc qomplay::opening::start {name} {
    ::qomplay::names::as_bytes {
        exec [info nameofexecutable] [file normalize $::argv0] --theme $::qomplay::theme::name \
            --text-size $::qomplay::theme::text_size -- $name >@stdout 2>@stderr &
    }
}
