#!/usr/bin/env python3
"""How long the viewer takes to start over a slow link, as a multiple of what plain `wish` takes.

    slow_link.py QOMPLAY_LIBRARY PACKAGES RECORDING [--delay MS] [--runs N] [--most-trips RATIO]

Starts an Xvfb of its own and a proxy before it that hands on every byte, in both directions, half
of MS milliseconds late (60 there and back at first). Prints the median time until the window with
its picture is on the screen, the same for a bare window, and their ratio; and what the viewer asked
the server and waited for. Exit status 1 when it asked more than --most-trips times as often as the
bare window, which is the same on every machine.
"""
import argparse
import asyncio
import collections
import os
import statistics
import struct
import subprocess
import sys
import tempfile
import time

PLAIN = "package require Tk; tkwait visibility .; update; exit"
VIEWER = """
source -encoding utf-8 [file join [lindex $argv 0] qomplay.tcl]
qomplay::theme::ask
package require Tk; rename ::send {}
lappend auto_path [lindex $argv 1]; package require qom::view
set status [qomplay::start [qomplay::options::parse [lrange $argv 2 end]]]
if {![winfo viewable .stage.clip.view]} {tkwait visibility .stage.clip.view}
update
exit $status
"""


class Questions:
    """Counts the requests of a client that the server answered, by their major opcode."""

    def __init__(self, asked):
        self.asked = asked
        self.opcodes = [0]
        self.sent = self.received = b""
        self.begun = [False, False]

    def request_bytes(self, data):
        self.sent += data
        if not self.begun[0]:
            if len(self.sent) < 12:
                return
            name, word = struct.unpack_from("<HH", self.sent, 6)
            self.sent = self.sent[12 + (name + 3 & ~3) + (word + 3 & ~3):]
            self.begun[0] = True
        while len(self.sent) >= 8 or len(self.sent) == 4:
            length = 4 * struct.unpack_from("<H", self.sent, 2)[0]
            if length == 0:
                length = 4 * struct.unpack_from("<I", self.sent, 4)[0]
            if len(self.sent) < length:
                return
            self.opcodes.append(self.sent[0])
            self.sent = self.sent[length:]

    def answer_bytes(self, data):
        self.received += data
        if not self.begun[1]:
            if len(self.received) < 8:
                return
            length = 8 + 4 * struct.unpack_from("<H", self.received, 6)[0]
            if len(self.received) < length:
                return
            self.received = self.received[length:]
            self.begun[1] = True
        while len(self.received) >= 32:
            kind, _, number, more = struct.unpack_from("<BBHI", self.received)
            length = 32 + (4 * more if kind in (1, 35) else 0)
            if len(self.received) < length:
                return
            if kind == 1 and number < len(self.opcodes):
                self.asked[self.opcodes[number]] += 1
            self.received = self.received[length:]


class Link:
    """A proxy before the display of a number, reached as another display over TCP."""

    def __init__(self, display, delay):
        self.display, self.delay = display, delay
        self.asked = collections.Counter()

    async def start(self):
        server = await asyncio.start_server(self.client, "127.0.0.1", 0)
        port = server.sockets[0].getsockname()[1]
        return f"127.0.0.1:{port - 6000}"

    async def client(self, reader, writer):
        questions = Questions(self.asked)
        there, back = await asyncio.open_unix_connection(f"/tmp/.X11-unix/X{self.display}")
        try:
            await asyncio.gather(self.hand_on(reader, back, questions.request_bytes),
                                 self.hand_on(there, writer, questions.answer_bytes))
        except asyncio.CancelledError:
            pass  # the measuring is over

    async def hand_on(self, source, target, look):
        queue = asyncio.Queue()

        async def deliver():
            while True:
                due, data = await queue.get()
                await asyncio.sleep(max(0, due - time.monotonic()))
                if not data:
                    target.close()
                    return
                try:
                    target.write(data)
                    await target.drain()
                except ConnectionError:
                    return

        delivery = asyncio.create_task(deliver())
        while True:
            try:
                data = await source.read(65536)
            except ConnectionError:
                data = b""
            look(data)
            queue.put_nowait((time.monotonic() + self.delay / 2, data))
            if not data:
                await delivery
                return


async def seconds_of(script, words, display):
    with tempfile.NamedTemporaryFile("w", suffix=".tcl") as file:
        file.write(script)
        file.flush()
        begin = time.monotonic()
        process = await asyncio.create_subprocess_exec(
            "tclsh8.6", file.name, *words, env={**os.environ, "DISPLAY": display})
        if await asyncio.wait_for(process.wait(), 120) != 0:
            raise SystemExit("the program failed")
        return time.monotonic() - begin


def start_server():
    """An Xvfb, and the number of its display."""
    read, write = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-ac", "-nolisten", "tcp",
                               "-screen", "0", "1280x800x24", "-noreset"], pass_fds=[write],
                              stderr=subprocess.DEVNULL)
    os.close(write)
    with os.fdopen(read) as pipe:
        return server, int(pipe.readline())


async def measure(options, display):
    link = Link(display, options.delay / 1000)
    address = await link.start()
    words = [options.library, options.packages, options.recording]
    times = {}
    trips = {}
    for name, script in (("wish", PLAIN), ("qomplay", VIEWER)):
        link.asked.clear()
        times[name] = statistics.median(
            [await seconds_of(script, words, address) for _ in range(options.runs)])
        asked = collections.Counter({key: n // options.runs for key, n in link.asked.items()})
        print(f"{name:8} {times[name]:6.2f} s  {sum(asked.values()):4} round trips: "
              + ", ".join(f"{opcode}x{count}" for opcode, count in asked.most_common(8)))
        trips[name] = sum(asked.values())
    return times["qomplay"] / times["wish"], trips["qomplay"] / trips["wish"]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for name in ("library", "packages", "recording"):
        parser.add_argument(name)
    parser.add_argument("--delay", type=float, default=60)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--most-trips", type=float, default=float("inf"))
    options = parser.parse_args()
    server, display = start_server()
    try:
        ratio, trips = asyncio.run(measure(options, display))
    finally:
        server.terminate()
        server.wait()
    print(f"ratio    {ratio:6.2f}    of round trips {trips:.2f}")
    return trips > options.most_trips


if __name__ == "__main__":
    sys.exit(main())
