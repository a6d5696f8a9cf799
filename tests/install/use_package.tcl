# tclsh use_package.tcl LIBRARY-DIRECTORY: loads the package, which has to bring libqom from there.

puts "qom::view [package require qom::view]"
set maps [open /proc/self/maps]
if {![regexp {\S+/libqom\.so\S*} [read $maps] library]} {set library none}
puts "libqom: $library"
close $maps
set wanted [file normalize [lindex $argv 0]]
if {[info commands ::qom::view] eq "" || [file dirname $library] ne $wanted} {
    puts stderr "expected the command ::qom::view and libqom from $wanted"
    exit 1
}
exit
