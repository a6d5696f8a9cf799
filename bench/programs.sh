# Sourced: programs that draw on the display, to be recorded.
# shellcheck shell=bash

programs_folder=/tmp # where what they need is put
started=()

# start PROGRAM ARGUMENTS...: in the background until stop_all
start() {
    "$@" >/dev/null 2>&1 &
    started+=($!)
}
stop_one() {
    kill "$1" 2>/dev/null
    wait "$1" 2>/dev/null || true # how a program ends that was told to end
}
stop_all() {
    local pid
    for pid in "${started[@]}"; do stop_one "$pid"; done
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

# The same lines at rest, in letters with soft edges.
play_smooth() {
    start xterm -fa 'DejaVu Sans Mono' -fs 11 -geometry 120x50+20+20 \
        -e sh -c 'ls -lR /usr/include | head -600; sleep 10000'
}

# Somebody writes, eight letters a second.
play_typing() {
    cat >"$programs_folder/letters.sh" <<'LETTERS'
text='It was noted that the last of the letters came in with the evening train, and that nobody asked'
while :; do
    rest=$text
    while [ -n "$rest" ]; do
        printf %s "${rest%"${rest#?}"}"
        rest=${rest#?}
        sleep 0.125
    done
    echo
done
LETTERS
    start xterm -geometry 100x40+20+20 -e sh "$programs_folder/letters.sh"
}

# A browser that shows the pages of bench/pages and nothing else: it is told of no other host and asks
# nobody anything.
play_web() {
    local quiet=(
        --user-data-dir="$programs_folder/browser" --no-first-run --no-default-browser-check
        --disable-background-networking --disable-component-update --disable-sync
        --disable-extensions --disable-default-apps --disable-domain-reliability
        --disable-search-engine-choice-screen
        "--disable-features=Translate,OptimizationHints,MediaRouter"
        --metrics-recording-only --password-store=basic --host-resolver-rules='MAP * ~NOTFOUND'
        --no-sandbox --test-type # as root, without being told so on the screen
    )
    start chromium "${quiet[@]}" --disable-gpu --window-position=0,0 --window-size=1920,1080 \
        bench/pages/article.html bench/pages/manual.html bench/pages/shop.html
    sleep 8
    xdotool mousemove 960 600
}
# A reader at the wheel: three strokes with a pause behind each on every page, down and then up.
# Begins at the top of the first page each time.
rewind_web() {
    local page
    if [ ${#started[@]} -gt 1 ]; then # the reader comes after the browser
        stop_one "${started[1]}"
        unset 'started[1]'
    fi
    for page in 3 2 1; do
        xdotool key "ctrl+$page"
        sleep 0.7
        xdotool key Home
        sleep 0.7
    done
    start read_pages
}
read_pages() {
    local wheel page
    while :; do
        for wheel in 5 4; do # down, up
            for page in 1 2 3; do
                xdotool key "ctrl+$page" || return # the display has gone
                sleep 0.8
                for _ in 1 2 3; do
                    xdotool click --repeat 5 --delay 80 "$wheel"
                    sleep 1
                done
            done
        done
    done
}

# play_source NAME SOURCE SECONDS [OPTION...]: the source of ffmpeg's, as a video file, in a window. A
# few seconds that come again, so that who records first and who does later see the same.
play_source() {
    local file=$programs_folder/$1.mp4
    [ -f "$file" ] || ffmpeg -y -nostdin -v error -f lavfi -i "$2" -t "$3" -c:v libx264 -crf 23 \
        -pix_fmt yuv420p "$file"
    start mpv --no-config --vo=x11 --hwdec=no --no-audio --loop=inf --no-osc --osd-level=0 \
        --geometry=640x360+1000+200 "${@:4}" "$file"
}
play_terminal() {
    start xterm -geometry 100x40+20+20 -e sh -c 'ls -l /usr/bin | head -40; sleep 10000'
}

# Drawn shapes that move, and smooth colours that all change in every frame, beside a terminal.
play_video() {
    play_terminal
    play_source shapes testsrc2=size=640x360:rate=25 30
}
play_film() {
    play_terminal
    play_source smooth mandelbrot=size=640x360:rate=25:start_scale=2:end_pts=300 5
}
# The same on all of the screen, at rest nowhere.
play_cinema() {
    play_source large mandelbrot=size=1920x1080:rate=25:start_scale=2:end_pts=300 5 --fs
}
play_uhd() {
    play_source uhd mandelbrot=size=3840x2160:rate=25:start_scale=2:end_pts=300 5 --fs
}
# A window of text dragged over a wallpaper.
play_drag() { start wish bench/drag.tcl plain; }
play_dragnoise() { start wish bench/drag.tcl noise; }
