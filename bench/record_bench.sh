#!/bin/bash
# What recording a display costs, beside ffmpeg's x11grab into x264 of the same content: lossless as
# fast as it goes (RGB, preset ultrafast), and with losses (crf 23, preset veryfast). What is grabbed
# without losses is compressed once more afterwards, by preset medium, which is too slow for a display
# that lives: its bytes can be compared, its CPU time cannot.
#
#   bench/record_bench.sh [--rounds N] [--seconds S] [--only CONTENT] [--record-options "OPTION..."]
#                         [--rows FILE] [--table FILE]
#
# CONTENT is one of quiet, typing, text (a terminal that scrolls), web (pages scrolled in a browser),
# video, drag, dragnoise, film, cinema (film on all of the screen), uhd (the same at 3840x2160, one round
# only), filmrate, filmlossy, cinemalossy (film with --film-rate 2 and --film lossy beside the same
# recorded exactly) and speed (how fast programs still draw that are recorded).
#
# Prints medians over the rounds of ratios between two runs that follow each other: CPU time, with
# that of the X server where it says so, bytes, pictures. Last comes a table in Markdown of what qom,
# the fast lossless x264, medium and crf 23 cost: CPU in hundredths of a core, what the X server
# takes for it beside what the content itself does, megabytes a minute, and pictures a second that
# differ from the one before. --table writes it to FILE as well. --rows appends what has a goal to
# FILE, in the form that ratio.h describes. QOM names the program to measure,
# build/release/tools/qom/qom otherwise.
# Packages: xvfb xterm x11-apps mpv ffmpeg, chromium and xdotool for the web
set -u
cd "$(dirname "$0")/.." || exit 1
. bench/programs.sh
qom=${QOM:-$PWD/build/release/tools/qom/qom}
contents=(quiet typing text web video drag dragnoise film cinema uhd filmrate filmlossy cinemalossy speed)
rounds=5
seconds=15
only=
rows_file=
table_file=
record_options=()
arguments=("$@")

while [ $# -gt 0 ]; do
    case $1 in
        --rounds) rounds=$2; shift 2 ;;
        --seconds) seconds=$2; shift 2 ;;
        --only) only=$2; shift 2 ;;
        --record-options) read -ra record_options <<<"$2"; shift 2 ;;
        --rows) rows_file=$(realpath "$2"); shift 2 ;;
        --table) table_file=$(realpath "$2"); shift 2 ;;
        *) sed -n '2,25s/^# \{0,1\}//p' "$0"; [ "$1" = --help ]; exit ;;
    esac
done


for program in Xvfb wish xterm x11perf mpv ffmpeg "$qom"; do
    command -v "$program" >/dev/null || { echo "record_bench: $program is missing" >&2; exit 1; }
done

screen_of() { if [ "$1" = uhd ]; then echo 3840x2160; else echo 1920x1080; fi; }

# What follows up to measure_speed runs on the display of one content. It puts what it measures into
# files, CONTENT.PROGRAM.MEASURE, a line for each round: cpu and server in seconds, bytes, pictures.
# note PROGRAM MEASURE VALUE
note() { echo "$3" >>"$work/$content.$1.$2"; }

# cpu_of COMMAND...: runs it and prints the CPU seconds it took
cpu_of() {
    local TIMEFORMAT='%U %S' times
    times=$({ time "$@" >/dev/null 2>"$work/errors"; } 2>&1) || { cat "$work/errors" >&2; exit 1; }
    awk '{ print $1 + $2 }' <<<"$times"
}
# CPU seconds of the X server since its start, and into $idle what in $seconds the content itself costs.
server_cpu() { awk -v tick="$(getconf CLK_TCK)" '{ print ($14 + $15) / tick }' "/proc/$X_SERVER_PID/stat"; }
measure_idle() {
    local before
    rewind # not in a subshell, which would keep to itself what it starts
    before=$(server_cpu)
    sleep "$seconds"
    idle=$(awk -v a="$before" -v b="$(server_cpu)" 'BEGIN { print b - a }')
    note content server "$idle"
}
# Brings a content to where it begins that does not look the same all the time.
rewind() { if declare -F "rewind_$content" >/dev/null; then "rewind_$content"; fi; }

# write_with PROGRAM: what the program makes of the display, into $work/PROGRAM. medium takes what
# ultrafast has grabbed; on a display it would come too late.
write_with() {
    local to_video=(ffmpeg -y -nostdin -v error)
    local grab=("${to_video[@]}" -f x11grab -framerate 10 -video_size "$(screen_of "$content")"
        -i "$DISPLAY" -t "$seconds" -fps_mode passthrough)
    case $1 in
        qom)
            "$qom" record --quiet --fps 10 --duration "$seconds" "${record_options[@]}" "$work/qom"
            ;;
        exact) "$qom" record --quiet --fps 10 --duration "$seconds" "$work/exact" ;;
        ultrafast) "${grab[@]}" -c:v libx264rgb -preset ultrafast -qp 0 -f matroska "$work/ultrafast" ;;
        crf23)
            "${grab[@]}" -c:v libx264 -preset veryfast -crf 23 -pix_fmt yuv420p \
                -f matroska "$work/crf23"
            ;;
        medium)
            "${to_video[@]}" -i "$work/ultrafast" -c:v libx264rgb -preset medium -qp 0 \
                -f matroska "$work/medium"
            ;;
    esac
}

# Pictures that differ from the one before, of a recording (without its checkpoints) and of a video.
recorded_pictures() {
    "$qom" dump "$1" | awk '
        / QOM_COMPRESSED_IMAGE / && n { next }
        / QOM_(IMAGE|COMPRESSED_IMAGE|COPY_AREA)/ && $2 != last { n++; last = $2 }
        END { print n + 0 }'
}
grabbed_pictures() {
    ffmpeg -nostdin -v error -i "$1" -fps_mode passthrough -f framehash -hash adler32 - |
        awk '/^[^#]/ && $NF != last { n++; last = $NF } END { print n + 0 }'
}

# measure_run PROGRAM: what the program takes, without the server's seconds for the content itself
measure_run() {
    local before own
    rm -f "$work/$1"
    rewind
    before=$(server_cpu)
    own=$(cpu_of write_with "$1") || exit 1
    note "$1" server "$(awk -v a="$before" -v b="$(server_cpu)" -v idle="$idle" \
        'BEGIN { server = b - a - idle; print (server > 0 ? server : 0) }')"
    note "$1" cpu "$own"
    note "$1" bytes "$(stat -c %s "$work/$1")"
}
# The content beside the same recorded exactly.
measure_film() { # CONTENT OPTION...
    local round idle
    record_options+=("${@:2}")
    "play_$1"
    sleep 4
    measure_idle
    for ((round = 1; round <= rounds; round++)); do
        measure_run exact
        measure_run qom
        note qom pictures "$(recorded_pictures "$work/qom")"
    done
    stop_all
}
measure_content() {
    local round idle
    "play_$content"
    sleep 4
    measure_idle
    [ "$content" != uhd ] || rounds=1
    for ((round = 1; round <= rounds; round++)); do
        measure_run qom
        note qom pictures "$(recorded_pictures "$work/qom")"
        measure_run ultrafast
        note ultrafast pictures "$(grabbed_pictures "$work/ultrafast")"
        measure_run crf23
    done
    stop_all
    case $content in
        quiet | uhd) return ;; # nothing to compare, and minutes for it
    esac
    write_with medium || exit 1
    note medium bytes "$(stat -c %s "$work/medium")"
}

# The fastest of three, which other work on the machine disturbs least.
draw_rate() {
    x11perf -scroll500 -time 1 -repeat 3 2>/dev/null | sed -n 's/.*( *\([0-9.]*\)\/sec).*/\1/p' | sort -g | tail -n 1
}
measure_speed() {
    local round recorder
    for ((round = 1; round <= rounds; round++)); do
        note alone rate "$(draw_rate)"
        rm -f "$work/qom"
        "$qom" record --quiet "${record_options[@]}" "$work/qom" &
        recorder=$!
        until [ -s "$work/qom" ]; do sleep 0.1; done
        note recorded rate "$(draw_rate)"
        kill "$recorder"
        wait "$recorder"
    done
}

if [ -n "${RECORD_BENCH_CONTENT-}" ]; then
    content=$RECORD_BENCH_CONTENT
    work=$RECORD_BENCH_FOLDER
    programs_folder=$work
    trap stop_all EXIT
    trap 'exit 1' INT TERM
    case $content in
        speed) measure_speed ;;
        filmrate) measure_film film --film-rate 2 ;;
        filmlossy) measure_film film --film lossy ;;
        cinemalossy) measure_film cinema --film lossy ;;
        *) measure_content ;;
    esac
    exit
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM

# median: of the numbers that are read, one a line
median() {
    sort -g | awk '{ v[NR] = $1 } END { printf "%.3f\n", NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}
# ratio_of PROGRAM OTHER MEASURE...: the median of the ratios, each of what both took in one round
ratio_of() {
    local files=() program measure
    for program in "$1" "$2"; do
        for measure in "${@:3}"; do files+=("$work/$content.$program.$measure"); done
    done
    paste "${files[@]}" | awk 'NF % 2 == 0 {
        above = below = 0
        for (i = 1; i <= NF / 2; i++) { above += $i; below += $(i + NF / 2) }
        if (below) print above / below }' | median
}
# each_second PROGRAM MEASURE [FACTOR]: the median, for a second, times FACTOR; - if not measured
each_second() {
    local file=$work/$content.$1.$2
    if [ -f "$file" ]; then
        awk -v s="$seconds" -v factor="${3-1}" '{ print $1 * factor / s }' "$file" | median
    else
        echo -
    fi
}

# row WORK YARDSTICK RATIO [SIGN GOAL]
row() {
    printf '%-44s %-18s %8s   %s %s\n' "$1" "$2" "$3" "${4-}" "${5-}"
    [ -z "$rows_file" ] || [ -z "${5-}" ] || printf '%s\t%s\t%s\t%s\t%s\t\t\n' "$@" >>"$rows_file"
}
row_of_cpu() {
    row "recording $content: CPU" "x264 ultrafast" "$(ratio_of qom ultrafast cpu)" "<=" "$1"
}
row_of_all_cpu() {
    row "recording $content: CPU with the server's" "x264 ultrafast" \
        "$(ratio_of qom ultrafast cpu server)" "<=" "$1"
}
row_of_bytes() { # PROGRAM GOAL
    row "recording $content: bytes" "x264 $1" "$(ratio_of qom "$1" bytes)" "<=" "$2"
}
# The rows of the content; only those that have a goal are kept.
rows_of_content() {
    case $content in
        quiet) row_of_cpu 0.05 ;;
        typing) row_of_cpu "" && row_of_bytes ultrafast "" ;;
        text) row_of_cpu 0.25 && row_of_bytes ultrafast 0.12 && row_of_bytes medium 0.5 ;;
        web) row_of_all_cpu 0.5 && row_of_bytes ultrafast 0.15 ;;
        video) row_of_cpu 0.65 && row_of_bytes ultrafast 0.6 ;;
        drag) row_of_all_cpu 0.3 && row_of_bytes ultrafast 0.1 ;;
        dragnoise) row_of_all_cpu 0.3 && row_of_bytes ultrafast 0.25 ;;
        film) row_of_all_cpu 1 && row_of_bytes ultrafast 1.1 ;;
        cinema)
            row_of_all_cpu 1
            row_of_bytes ultrafast 1.1
            row "recording $content: pictures a second" "" "$(each_second qom pictures)" ">=" 9.5
            ;;
        uhd)
            row_of_all_cpu ""
            row_of_bytes ultrafast ""
            row "recording $content: pictures" "x264 ultrafast" "$(ratio_of qom ultrafast pictures)" ">=" 1
            ;;
        film?* | cinemalossy)
            row "recording $content: CPU with the server's" "exact" "$(ratio_of qom exact cpu server)"
            row "recording $content: bytes" "exact" "$(ratio_of qom exact bytes)" "<=" \
                "$([ "$content" != cinemalossy ] || echo 0.1)"
            row "recording $content: pictures a second" "" "$(each_second qom pictures)"
            ;;
        speed)
            row "speed of x11perf -scroll500, recorded" "the same alone" \
                "$(ratio_of recorded alone rate)" ">=" 0.9
            ;;
    esac
}

# What a content's runs took, as a line of the table: its cells stand under those of the head.
table_head() {
    cat <<'HEAD'
| Content    |  qom CPU % | X server % |     MB/min | pictures/s | fast CPU % | X server % |     MB/min | pictures/s | medium: MB | crf23 CPU% | X server % |     MB/min |
|------------|-----------:|-----------:|-----------:|-----------:|-----------:|-----------:|-----------:|-----------:|-----------:|-----------:|-----------:|-----------:|
HEAD
}
table_line() {
    local program measure
    case $content in film?* | cinemalossy | speed) return ;; esac
    printf '| %-10s ' "$content"
    for program in qom ultrafast medium crf23; do
        for measure in 'cpu 100' 'server 100' 'bytes 60e-6' pictures; do
            case $program-$measure in medium-[cs]* | medium-p* | crf23-p*) continue ;; esac
            # shellcheck disable=SC2086 # a measure and perhaps its factor
            each_second $program $measure |
                awk '{ printf $1 == "-" ? "| %10s " : $1 < 100 ? "| %10.3g " : "| %10.0f ", $1 }'
        done
    done
    echo '|'
}

table_head >"$work/table"
status=0
for content in "${contents[@]}"; do
    [ -z "$only" ] || [ "$only" = "$content" ] || continue
    if [ "$content" = web ] && ! { command -v chromium && command -v xdotool; } >/dev/null; then
        echo "record_bench: web is left out, chromium or xdotool is missing" >&2
        continue
    fi
    if RECORD_BENCH_CONTENT=$content RECORD_BENCH_FOLDER=$work \
        scripts/with-xserver --screen "$(screen_of "$content")" xvfb24 \
        bench/record_bench.sh "${arguments[@]}"; then
        rows_of_content
        table_line >>"$work/table"
    else
        echo "record_bench: $content failed" >&2
        status=1
    fi
done
echo
tee ${table_file:+"$table_file"} <"$work/table"
exit $status
