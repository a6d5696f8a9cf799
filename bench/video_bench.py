#!/usr/bin/env python3
"""Moves and playing beside mpv and a video of the same pictures.

    scripts/with-xserver xvfb24 bench/video_bench.py [--seconds N] [--moves N] [--play N]
        [--folder FOLDER] [--rows FILE]

Makes recordings of a desktop (text, and text with a film) and, of the same pictures, videos:
x264 crf 23 for moves, lossless x264 for playing. Then it moves both to the same random moments,
mpv with exact seeks, and prints the median and the worst ratio of wall times; and plays both,
and prints the ratio of the CPU time of the two programs. What is found in FOLDER of an earlier run
is not made again. --rows appends the ratios to FILE, in the form that ratio.h describes.
Packages: mpv ffmpeg. The program clip_bench has to be built (release).
"""

import argparse
import contextlib
import json
import os
import random
import socket
import statistics
import subprocess
import tempfile
import time

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CLIP = os.environ.get("CLIP_BENCH", os.path.join(TOP, "build/release/bench/clip_bench"))
MPV = ["mpv", "--no-config", "--no-terminal", "--vo=x11", "--hwdec=no", "--no-audio", "--no-osc",
       "--osd-level=0", "--no-border", "--geometry=1920x1080+0+0"]


def write_clip(kind, seconds, recording, video, quality):
    """A recording and a video of the same pictures, unless both are there."""
    done = f"{video}.{seconds}s"
    if os.path.exists(done):
        return
    with contextlib.suppress(FileNotFoundError):
        os.remove(recording)
    writer = subprocess.Popen([CLIP, "write", kind, str(seconds), recording],
                              stdout=subprocess.PIPE)
    subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-f", "rawvideo", "-pixel_format", "bgr0",
                    "-video_size", "1920x1080", "-framerate", "10", "-i", "pipe:0", "-y", *quality,
                    video], stdin=writer.stdout, check=True)
    if writer.wait() != 0:
        raise SystemExit("clip_bench write failed")
    open(done, "w", encoding="ascii").close()


def add_row(file, work, yardstick, ratio, goal=None):
    """A line for bench/run; a figure without a goal is shown and not judged."""
    if file:
        with open(file, "a", encoding="utf-8") as rows:
            rows.write(f"{work}\t{yardstick}\t{ratio:.6g}\t{'<=' if goal else ''}\t"
                       f"{goal or ''}\t\t\n")


class Player:
    """mpv, paused, driven by its socket."""

    def __init__(self, video, folder):
        path = os.path.join(folder, "mpv")
        self.process = subprocess.Popen(
            [*MPV, "--pause", "--hr-seek=yes", "--keep-open=yes", "--input-ipc-server=" + path,
             video])
        self.socket = socket.socket(socket.AF_UNIX)
        deadline = time.monotonic() + 20
        while True:
            try:
                self.socket.connect(path)
                break
            except OSError:
                if time.monotonic() > deadline:
                    raise
                time.sleep(0.05)
        self.lines = self.socket.makefile("r")
        self.seek(0)

    def seek(self, seconds):
        """Milliseconds from the command to the picture."""
        start = time.monotonic()
        command = {"command": ["seek", seconds, "absolute+exact"]}
        self.socket.sendall(json.dumps(command).encode() + b"\n")
        for line in self.lines:
            if json.loads(line).get("event") == "playback-restart":
                return 1e3 * (time.monotonic() - start)
        raise SystemExit("mpv ended")

    def close(self):
        self.process.terminate()
        self.process.wait()


def compare_moves(kind, goal, options, folder):
    seconds = options.seconds
    recording, video = os.path.join(folder, kind + ".qom"), os.path.join(folder, kind + ".mkv")
    write_clip(kind, seconds, recording, video, ["-c:v", "libx264", "-crf", "23"])
    print(f"{kind}: recording {os.path.getsize(recording) / 1e6:.1f} MB, "
          f"video {os.path.getsize(video) / 1e6:.1f} MB, {seconds} s", flush=True)
    chance = random.Random(1)
    frames = [chance.randrange(seconds * 10) for _ in range(options.moves)]
    player = Player(video, folder)
    theirs = [player.seek(frame / 10) for frame in frames]
    player.close()
    # First in a view that jumps about from the start on, then one that has passed every place.
    for name, command in (("places not passed before", "move"), ("passed before", "passed")):
        output = subprocess.run([CLIP, command, recording, *map(str, frames)], check=True,
                                stdout=subprocess.PIPE, text=True).stdout
        ours = [float(line) for line in output.split()]
        median, worst = statistics.median(ours), max(ours)
        print(f"  {name}: median {median:.1f} ms beside {statistics.median(theirs):.1f} ms = "
              f"{median / statistics.median(theirs):.3f} (goal {goal}), "
              f"worst {worst:.1f} beside {max(theirs):.1f} ms = {worst / max(theirs):.3f}",
              flush=True)
        add_row(options.rows, f"move in {kind}, {name}", "mpv's exact seek",
                median / statistics.median(theirs), goal)


def cpu_seconds(command):
    process = subprocess.Popen(command)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        raise SystemExit(f"{command[0]} failed")
    return usage.ru_utime + usage.ru_stime


def compare_playing(options, folder):
    seconds = options.play
    recording, video = os.path.join(folder, "busy.qom"), os.path.join(folder, "busy.mkv")
    write_clip("busy", seconds + 2, recording, video,
               ["-c:v", "libx264rgb", "-qp", "0", "-preset", "medium"])
    ratios = []
    for _ in range(3):
        ours = cpu_seconds([CLIP, "play", recording, str(seconds)])
        theirs = cpu_seconds([*MPV, f"--length={seconds}", video])
        ratios.append(ours / theirs)
        print(f"  playing: {ours / seconds:.3f} CPU seconds a second, mpv {theirs / seconds:.3f}",
              flush=True)
    print(f"busy text, 10 pictures a second: CPU of playing / mpv, lossless "
          f"{statistics.median(ratios):.3f}", flush=True)
    add_row(options.rows, "CPU of playing busy text", "mpv and lossless video",
            statistics.median(ratios))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=600, help="length of the clips")
    parser.add_argument("--moves", type=int, default=100)
    parser.add_argument("--play", type=int, default=20, help="seconds of playing")
    parser.add_argument("--folder", help="where the clips are, or are put and stay")
    parser.add_argument("--rows", help="file to which the ratios are appended")
    options = parser.parse_args()
    with contextlib.ExitStack() as stack:
        folder = options.folder or stack.enter_context(tempfile.TemporaryDirectory())
        compare_playing(options, folder)
        compare_moves("text", 0.1, options, folder)
        compare_moves("film", 0.2, options, folder)


if __name__ == "__main__":
    main()
