# Sourced: programs that draw on the display, to be recorded.
# shellcheck shell=bash

programs_folder=/tmp # where what they need is put
started=()

# start PROGRAM ARGUMENTS...: in the background until stop_all
start() {
    "$@" >/dev/null 2>&1 &
    started+=($!)
}
stop_all() {
    local pid
    for pid in "${started[@]}"; do
        kill "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null || true # how a program ends that was told to end
    done
    started=()
}

play_quiet() {
    start xterm -geometry 100x40+20+20 -e sh -c 'ls -l /usr/bin | head -40; sleep 10000'
    start xclock -geometry 200x200+1200+40
    start xlogo -geometry 300x300+1200+400
}

# Lines of text that come at the pace of a compiler at work.
play_text() {
    cat >"$programs_folder/lines.sh" <<'LINES'
while :; do
    ls -lR /usr/include /usr/share/doc 2>/dev/null | awk -v pause="$1" '
        { print } NR % 8 == 0 { fflush(); system("sleep " pause) }'
done
LINES
    start xterm -geometry 150x60+10+10 -e sh "$programs_folder/lines.sh" 0.2
    start xterm -geometry 120x50+1000+200 -e sh "$programs_folder/lines.sh" 0.8
}

# play_source NAME SOURCE [OPTION...]: the source of ffmpeg's, as a video file, in a window
play_source() {
    local file=$programs_folder/$1.mp4
    [ -f "$file" ] || ffmpeg -y -nostdin -v error -f lavfi -i "$2" -t 5 -c:v libx264 -crf 23 \
        -pix_fmt yuv420p "$file"
    start mpv --no-config --vo=x11 --hwdec=no --no-audio --loop=inf --no-osc --osd-level=0 \
        --geometry=640x360+1000+200 "${@:3}" "$file"
}
play_terminal() {
    start xterm -geometry 100x40+20+20 -e sh -c 'ls -l /usr/bin | head -40; sleep 10000'
}

# Drawn shapes that move, and smooth colours that all change in every frame, beside a terminal.
play_video() {
    play_terminal
    play_source shapes testsrc2=size=640x360:rate=25
}
play_film() {
    play_terminal
    play_source smooth mandelbrot=size=640x360:rate=25:start_scale=2:end_pts=300
}
# The same on all of the screen, at rest nowhere.
play_cinema() {
    play_source large mandelbrot=size=1920x1080:rate=25:start_scale=2:end_pts=300 --fs
}
# A window of text dragged over a wallpaper.
play_drag() { start wish bench/drag.tcl plain; }
play_dragnoise() { start wish bench/drag.tcl noise; }
