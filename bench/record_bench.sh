#!/bin/bash
# What recording a display costs, beside ffmpeg's x11grab into lossless x264 of the same content.
#
#   bench/record_bench.sh [--rounds N] [--seconds S] [--rows FILE]
#                         [--only quiet|text|video|drag|dragnoise|film|cinema|
#                         filmrate|filmlossy|cinemalossy|speed]
#
# Prints medians over the rounds of ratios between two runs that follow each other: CPU time, with
# that of the X server where it says so, bytes, pictures a second where the encoder keeps 10, and,
# for the programs that are recorded, how fast they still draw. QOM names the program to
# measure, build/release/tools/qom/qom otherwise. --rows appends what has a goal to FILE, in the form
# that ratio.h describes.
# Packages: xvfb xterm x11-apps mpv ffmpeg
set -u
cd "$(dirname "$0")/.." || exit 1
. bench/programs.sh
qom=${QOM:-$PWD/build/release/tools/qom/qom}
rounds=5
seconds=15
only=
rows_file=
record_options=()
arguments=("$@")

while [ $# -gt 0 ]; do
    case $1 in
        --rounds) rounds=$2; shift 2 ;;
        --seconds) seconds=$2; shift 2 ;;
        --only) only=$2; shift 2 ;;
        --rows) rows_file=$(realpath "$2"); shift 2 ;;
        *) sed -n '2,14s/^# \{0,1\}//p' "$0"; [ "$1" = --help ]; exit ;;
    esac
done

for program in Xvfb wish xterm x11perf mpv ffmpeg "$qom"; do
    command -v "$program" >/dev/null || { echo "record_bench: $program is missing" >&2; exit 1; }
done

# All of it happens on a display of its own.
if [ -z "${RECORD_BENCH_DISPLAY-}" ]; then
    RECORD_BENCH_DISPLAY=own exec scripts/with-xserver --screen 1920x1080 xvfb24 \
        bench/record_bench.sh "${arguments[@]}"
fi

work=$(mktemp -d)
programs_folder=$work
finish() {
    stop_all
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 1' INT TERM

# median FILE: of the numbers in it, one a line
median() {
    sort -g "$1" | awk '{ v[NR] = $1 } END { printf "%.3f", NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { print a / b }'; }

# cpu_of COMMAND...: runs it and prints the CPU seconds it took
cpu_of() {
    local TIMEFORMAT='%U %S' times
    times=$({ time "$@" >/dev/null 2>"$work/errors"; } 2>&1) || { cat "$work/errors" >&2; exit 1; }
    awk '{ print $1 + $2 }' <<<"$times"
}

record() { rm -f "$work/r.qom"; cpu_of "$qom" record --quiet --fps 10 --duration "$seconds" \
    "${record_options[@]}" "$work/r.qom"; }
grab() {
    cpu_of ffmpeg -y -nostdin -v error -f x11grab -framerate 10 -video_size 1920x1080 -i "$DISPLAY" \
        -t "$seconds" -c:v libx264rgb -qp 0 -preset ultrafast "$work/u.mkv"
}
to_medium() {
    ffmpeg -y -nostdin -v error -i "$work/u.mkv" -c:v libx264rgb -qp 0 -preset medium "$work/m.mkv"
}
size() { stat -c %s "$1"; }

# CPU seconds of the X server since its start, and what of that in $seconds the content itself costs.
server_cpu() { awk -v tick="$(getconf CLK_TCK)" '{ print ($14 + $15) / tick }' "/proc/$X_SERVER_PID/stat"; }
content_cpu() {
    local before
    before=$(server_cpu)
    sleep "$seconds"
    awk -v a="$before" -v b="$(server_cpu)" 'BEGIN { print b - a }'
}
# with_server CONTENT-SECONDS COMMAND...: CPU seconds of the command and of the server for it
with_server() {
    local before own
    before=$(server_cpu)
    own=$("${@:2}")
    awk -v a="$before" -v b="$(server_cpu)" -v content="$1" -v own="$own" \
        'BEGIN { server = b - a - content; print own + (server > 0 ? server : 0) }'
}
pictures() {
    "$qom" info "$work/r.qom" | awk '/pictures a second|^pictures/ { print $2 }'
}

# compare_both CONTENT: the same with the server's CPU, and the pictures a second
compare_both() {
    local content=$1 round cpu other idle
    "play_$content"
    sleep 4
    idle=$(content_cpu)
    for ((round = 0; round < rounds; round++)); do
        cpu=$(with_server "$idle" record)
        other=$(with_server "$idle" grab)
        ratio "$cpu" "$other" >>"$work/$content.cpu"
        ratio "$(size "$work/r.qom")" "$(size "$work/u.mkv")" >>"$work/$content.bytes"
        pictures >>"$work/$content.pictures"
    done
    stop_all
}

# compare CONTENT: rounds of recorder and grabber on it, one after the other
compare() {
    local content=$1 round cpu other
    "play_$content"
    sleep 2
    for ((round = 0; round < rounds; round++)); do
        cpu=$(record)
        other=$(grab)
        ratio "$cpu" "$other" >>"$work/$content.cpu"
        awk -v c="$cpu" -v s="$seconds" 'BEGIN { print c / s }' >>"$work/$content.seconds"
        ratio "$(size "$work/r.qom")" "$(size "$work/u.mkv")" >>"$work/$content.bytes"
        ratio "$(size "$work/r.qom")" $((seconds * 1000000 / 60)) >>"$work/$content.minute"
        [ "$content" = quiet ] && continue
        to_medium
        ratio "$(size "$work/r.qom")" "$(size "$work/m.mkv")" >>"$work/$content.medium"
    done
    stop_all
}

# The fastest of three, which other work on the machine disturbs least.
draw_rate() {
    x11perf -scroll500 -time 1 -repeat 3 2>/dev/null | sed -n 's/.*( *\([0-9.]*\)\/sec).*/\1/p' | sort -g | tail -n 1
}
# compare_exact CONTENT NAME OPTION...: recording with these options beside recording without them
compare_exact() {
    local content=$1 name=$2 round exact exact_bytes with idle
    "play_$content"
    sleep 4
    idle=$(content_cpu)
    for ((round = 0; round < rounds; round++)); do
        record_options=()
        exact=$(with_server "$idle" record)
        exact_bytes=$(size "$work/r.qom")
        record_options=("${@:3}")
        with=$(with_server "$idle" record)
        ratio "$with" "$exact" >>"$work/$name.cpu"
        ratio "$(size "$work/r.qom")" "$exact_bytes" >>"$work/$name.bytes"
        pictures >>"$work/$name.pictures"
    done
    record_options=()
    stop_all
}
rows_exact() {
    row "recording $1, ${*:3}: CPU with the server's" "exact" "$(median "$work/$2.cpu")"
    row "recording $1, ${*:3}: bytes" "exact" "$(median "$work/$2.bytes")"
    row "recording $1, ${*:3}: pictures a second" "" "$(median "$work/$2.pictures")"
}
both_exact() { compare_exact "$@" && rows_exact "$@"; }

compare_speed() {
    local round alone recorded recorder
    for ((round = 0; round < rounds; round++)); do
        alone=$(draw_rate)
        rm -f "$work/s.qom"
        "$qom" record --quiet "$work/s.qom" &
        recorder=$!
        until [ -s "$work/s.qom" ]; do sleep 0.1; done
        recorded=$(draw_rate)
        kill "$recorder"
        wait "$recorder"
        ratio "$recorded" "$alone" >>"$work/speed"
    done
}

# row WORK YARDSTICK RATIO [SIGN GOAL]
row() {
    printf '%-44s %-18s %8s   %s %s\n' "$1" "$2" "$3" "${4-}" "${5-}"
    [ -z "$rows_file" ] || [ -z "${5-}" ] || printf '%s\t%s\t%s\t%s\t%s\t\t\n' "$@" >>"$rows_file"
}
# rows CONTENT [CPU-GOAL [BYTES-GOAL [BYTES-GOAL-BESIDE-MEDIUM]]]: each of them at most
rows() {
    local content=$1
    row "recording $content: CPU" "x264 ultrafast" "$(median "$work/$content.cpu")" "<=" "${2-}"
    row "recording $content: CPU seconds a second" "" "$(median "$work/$content.seconds")"
    row "recording $content: bytes" "x264 ultrafast" "$(median "$work/$content.bytes")" "<=" "${3-}"
    [ "$content" = quiet ] ||
        row "recording $content: bytes" "x264 medium" "$(median "$work/$content.medium")" "<=" "${4-}"
    row "recording $content: megabytes a minute" "" "$(median "$work/$content.minute")"
}

# rows_both CONTENT [CPU-GOAL [BYTES-GOAL [PICTURES-GOAL]]]
rows_both() {
    local content=$1
    row "recording $content: CPU with the server's" "x264 ultrafast" "$(median "$work/$content.cpu")" "<=" "${2-}"
    row "recording $content: bytes" "x264 ultrafast" "$(median "$work/$content.bytes")" "<=" "${3-}"
    row "recording $content: pictures a second" "" "$(median "$work/$content.pictures")" ">=" "${4-}"
}

wanted() { [ -z "$only" ] || [ "$only" = "$1" ]; }
if wanted quiet; then compare quiet; rows quiet 0.05; fi
if wanted text; then compare text; rows text 0.25 0.12 0.5; fi
if wanted video; then compare video; rows video 0.65 0.6; fi
if wanted drag; then compare_both drag; rows_both drag 0.3 0.1; fi
if wanted dragnoise; then compare_both dragnoise; rows_both dragnoise 0.3 0.25; fi
if wanted film; then compare_both film; rows_both film 1 1.1; fi
if wanted cinema; then compare_both cinema; rows_both cinema 1 1.1 9.5; fi
if wanted filmrate; then both_exact film filmrate --film-rate 2; fi
if wanted filmlossy; then both_exact film filmlossy --film lossy; fi
if wanted cinemalossy; then both_exact cinema cinemalossy --film lossy; fi
if wanted speed; then
    compare_speed
    row "speed of x11perf -scroll500, recorded" "the same alone" "$(median "$work/speed")" ">=" 0.9
fi
