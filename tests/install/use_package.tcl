# tclsh use_package.tcl LIBRARY-DIRECTORY: loads the package and tells which files that brought in.

if {[catch {package require qom::view} version]} {
    puts stderr $version
    exit 1
}
puts "qom::view $version"
set maps [open /proc/self/maps]
set library ""
while {[gets $maps line] >= 0} {
    regexp {\S+/libqom\.so\S*} $line library
}
close $maps
set wanted [file normalize [lindex $argv 0]]
puts $library
if {[info commands ::qom::view] eq "" || [file dirname $library] ne $wanted} {
    puts stderr "expected the command ::qom::view and libqom from $wanted"
    exit 1
}
exit
