#!/bin/bash
# What full pictures of text take: terminals, a browser with pages of text, the same at two sizes.
#
#   bench/text_bench.sh [--repetitions N] [--rows FILE]
#
# Shows the contents on displays of their own, takes a picture of each, and hands them to text_bench.
# Packages: xvfb xterm imagemagick, chromium and xdotool for the web
set -u
cd "$(dirname "$0")/.." || exit 1
bench=${TEXT_BENCH:-$PWD/build/release/bench/text_bench}

if [ "${1-}" = --show ]; then # CONTENT PAGE FILE
    . bench/programs.sh
    programs_folder=$(mktemp -d)
    trap 'stop_all; rm -rf "$programs_folder"' EXIT
    "play_$2"
    sleep 5
    [ "$2" != web ] || { xdotool key "ctrl+$3"; sleep 3; xdotool mousemove 0 0; }
    import -window root "png24:$4"
    exit
fi

pictures=$(mktemp -d)
trap 'rm -rf "$pictures"' EXIT
take() { # CONTENT PAGE SIZE
    scripts/with-xserver --screen "$3" xvfb24 "$0" --show "$1" "$2" "$pictures/$1$2-$3.png" >/dev/null
}
for size in 1280x800 1920x1080; do
    for content in quiet typing text smooth; do take "$content" "" "$size"; done
done
if command -v chromium >/dev/null && command -v xdotool >/dev/null; then
    take web 1 1920x1080
    take web 2 1920x1080
else
    echo "text_bench: chromium or xdotool is missing, pages of the web are left out" >&2
fi
"$bench" "$@" "$pictures"/*.png
