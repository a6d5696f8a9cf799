#!/bin/bash
# Records a desktop session with several programs, for a few minutes, without anybody at the keyboard.
#
#   samples/make_sample.sh [OUT]
#
# OUT is samples/session.qom when not given; a file that is there is replaced. The session runs on a
# display of its own and takes a good two minutes. QOM names the program that records,
# build/release/tools/qom/qom otherwise.
# Packages: xvfb openbox xterm x11-apps xdotool tk
set -eu
cd "$(dirname "$0")/.."
top=$PWD
qom=${QOM:-$top/build/release/tools/qom/qom}
out=$(realpath -m "${1:-$top/samples/session.qom}")

for program in Xvfb openbox xterm xclock xeyes xcalc xlogo xdotool wish "$qom"; do
    command -v "$program" >/dev/null || { echo "make_sample: $program is missing" >&2; exit 1; }
done

# All of it happens on a display of its own.
if [ -z "${MAKE_SAMPLE_DISPLAY-}" ]; then
    MAKE_SAMPLE_DISPLAY=own exec scripts/with-xserver --screen 1280x800 xvfb24 \
        samples/make_sample.sh "$out"
fi

work=$(mktemp -d)
started=()
finish() {
    local pid
    for pid in "${started[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait || true
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 1' INT TERM

start() {
    "$@" >/dev/null 2>&1 &
    started+=($!)
}

export HOME="$work"

# type_in WINDOW TEXT: as a person types, with Return at the end
type_in() {
    xdotool windowactivate --sync "$1" type --window 0 --delay 90 "$2"
    xdotool key Return
}
# glide X Y: the pointer on a straight way, so that one sees it go
glide() {
    local X Y i
    eval "$(xdotool getmouselocation --shell 2>/dev/null | grep -E '^[XY]=')"
    for ((i = 1; i <= 15; i++)); do
        xdotool mousemove $((X + ($1 - X) * i / 15)) $((Y + ($2 - Y) * i / 15))
        sleep 0.04
    done
}
# drag X1 Y1 X2 Y2
drag() {
    glide "$1" "$2"
    xdotool mousedown 1
    glide "$3" "$4"
    xdotool mouseup 1
}
window() { xdotool search --sync --onlyvisible --class "$1" | tail -n 1; }

cat >"$work/notes.tcl" <<'NOTES'
wm title . "Notes"
wm geometry . 420x300+820+60
pack [frame .bar] -fill x
foreach {name text} {new New save Save count Count} {
    pack [button .bar.$name -text $text] -side left
}
.bar.count configure -command {.status configure -text "[string length [.text get 1.0 end]] characters"}
pack [label .status -anchor w] -side bottom -fill x
pack [text .text -wrap word -width 10 -height 5] -fill both -expand 1
focus .text
NOTES
cat >"$work/chart.tcl" <<'CHART'
wm title . "Load"
wm geometry . 400x220+840+440
pack [canvas .c -background black -highlightthickness 0] -fill both -expand 1
set values [lrepeat 40 50]
proc step {} {
    global values
    set last [lindex $values end]
    set values [lreplace $values 0 0]
    lappend values [expr {max(10, min(190, $last + int(rand() * 41) - 20))}]
    .c delete all
    set points {}
    set x 0
    foreach value $values { lappend points $x $value; incr x 10 }
    .c create line $points -fill green -width 2
    after 2000 step
}
expr {srand(4)}
step
CHART
cat >"$work/hello.c" <<'HELLO'
#include <stdio.h>

int main(void) {
  for (int i = 0; i < 10; i++) printf("hello, number %d\n", i);
  return 0;
}
HELLO

xsetroot -solid '#35586c' 2>/dev/null || true
start openbox
start "$qom" record --user ada --tfn 'Ada Example' --host workstation --ip 192.0.2.17 \
    --sid 42 --tid 7 --quiet "$work/session.qom"
recorder=$!
until [ -s "$work/session.qom" ]; do sleep 0.1; done

sleep 2
start xterm -title 'Terminal' -geometry 100x30+30+40 -fa '' -e sh
terminal=$(window XTerm)
type_in "$terminal" "cd /usr/share && ls -l | head -24"
sleep 3
type_in "$terminal" "ls -l /usr/bin | head -40"
sleep 4
type_in "$terminal" "cat $work/hello.c"
sleep 3
start xclock -geometry 160x160+1080+600 -update 1
start wish "$work/chart.tcl"
sleep 4
start wish "$work/notes.tcl"
notes=$(xdotool search --sync --onlyvisible --name '^Notes$' | tail -n 1)
sleep 2
type_in "$notes" 'A recording holds what was on the screen,'
type_in "$notes" 'the pointer, and who was there.'
sleep 2
glide 990 100
sleep 1
glide 962 96
xdotool click 1
sleep 3
type_in "$terminal" 'ls -R /usr/include/X11 | head -200'
sleep 5
drag 300 50 420 190
sleep 2
start xcalc -geometry +60+380
calculator=$(window XCalc)
sleep 2
glide 170 450
for key in 1 2 asterisk 3 4 equal; do
    xdotool windowactivate --sync "$calculator" key --window 0 "$key"
    sleep 0.6
done
sleep 3
start xeyes -geometry 200x140+560+620
sleep 2
for spot in '200 200' '1100 150' '700 700' '1150 690' '640 400'; do
    # shellcheck disable=SC2086 # two numbers
    glide $spot
    sleep 1
done
type_in "$terminal" 'for i in 1 2 3 4 5 6 7 8 9 10; do date; sleep 1; done'
sleep 12
type_in "$terminal" 'clear; grep -n define /usr/include/stdio.h | head -60'
sleep 6
drag 1000 75 500 300
sleep 3
type_in "$notes" 'Nothing moves for a while now.'
sleep 25
type_in "$terminal" 'exit'
sleep 3
xdotool windowclose "$calculator"
sleep 4
start xlogo -geometry 260x260+300+100
sleep 6

kill "$recorder"
wait "$recorder"
mv -f "$work/session.qom" "$out"
echo "$out: $(stat -c %s "$out") bytes"
