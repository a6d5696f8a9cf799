#!/usr/bin/python3
"""Pictures for Python beside the moves of the engine that it calls.

    bench/python_bench.py [--seconds N] [--moves N] [--rows FILE]

Makes recordings of a desktop (text, and text with a film), 1920x1080. Then rec.at() and the engine,
called without the module, take turns at going to the same random moments, cursor included. Prints
the ratio of the medians of their CPU times; --rows appends them to FILE, in the form that ratio.h
describes. The module and the program clip_bench have to be built (release).
"""

import argparse
import ctypes
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time

BUILD = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "build/release")
sys.path.insert(0, os.path.join(BUILD, "python"))
import qom  # noqa: E402

GOAL = 1.3


class Picture(ctypes.Structure):
    """QomPicture of qom/picture.h."""

    _fields_ = [("width", ctypes.c_uint16), ("height", ctypes.c_uint16),
                ("pixel_format", ctypes.c_int), ("stride", ctypes.c_size_t),
                ("pixels", ctypes.c_void_p)]


class Engine:
    """The recorded screen as qom/screen.h has it, with its usual options."""

    def __init__(self, file):
        self.library = ctypes.CDLL(os.path.join(BUILD, "libqom/libqom.so.0"))
        for name in ("qom_reader_open", "qom_screen_open"):
            getattr(self.library, name).restype = ctypes.c_void_p
        reader = ctypes.c_void_p(self.library.qom_reader_open(os.fsencode(file)))
        self.screen = ctypes.c_void_p(self.library.qom_screen_open(reader, None))
        self.picture = Picture()

    def go(self, microseconds):
        if (self.library.qom_screen_go_to_time(self.screen, ctypes.c_uint64(microseconds)) != 0
                or self.library.qom_screen_picture(self.screen, 1, ctypes.byref(self.picture)) != 0):
            raise SystemExit("the engine failed")


def seconds_of(work, *arguments):
    start = time.thread_time()
    work(*arguments)
    return time.thread_time() - start


def compare(kind, options, folder):
    file = os.path.join(folder, kind + ".qom")
    subprocess.run([os.path.join(BUILD, "bench/clip_bench"), "write", kind, str(options.seconds),
                    file], check=True, stdout=subprocess.DEVNULL)
    rec, engine = qom.open(file), Engine(file)
    first = rec.info["header"]["start_us"]  # which is that of the first picture
    assert rec.start.timestamp() * 1e6 == first
    chance = random.Random(1)
    theirs, ours = [], []
    for _ in range(options.moves):
        moment = chance.randrange(round(rec.duration * 1e6))
        theirs.append(seconds_of(engine.go, first + moment))
        ours.append(seconds_of(rec.at, moment / 1e6))
    ratio = statistics.median(ours) / statistics.median(theirs)
    print(f"{kind}: rec.at() {1e3 * statistics.median(ours):.2f} ms, the engine's move "
          f"{1e3 * statistics.median(theirs):.2f} ms = {ratio:.3f} (goal {GOAL})", flush=True)
    if options.rows:
        with open(options.rows, "a", encoding="utf-8") as rows:
            rows.write(f"a picture for Python, {kind}\tthe engine's move\t{ratio:.6g}\t<=\t{GOAL}\t\t\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=120, help="length of the recordings")
    parser.add_argument("--moves", type=int, default=300)
    parser.add_argument("--rows", help="file to which the ratios are appended")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        for kind in ("text", "film"):
            compare(kind, options, folder)


if __name__ == "__main__":
    main()
