"""The module qom beside the program qom, which QOM_PROGRAM names; in the folder of the samples."""

import datetime
import doctest
import json
import os
import pathlib
import pickle
import random
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import warnings

import numpy
import qom

PROGRAM = os.environ["QOM_PROGRAM"]
SAMPLE = "session.qom"
PRELOADED = os.environ.pop("LD_PRELOAD", "")  # the sanitizers are for the module


def load_tests(_loader, tests, _pattern):
    tests.addTests(doctest.DocTestSuite(qom, extraglobs={"qom": qom}))
    return tests


def run(*command):
    return subprocess.run([PROGRAM, *map(str, command)], check=True, stdout=subprocess.PIPE).stdout


def picture(file, t, *options):
    """What the program shows."""
    png = run("picture", "--at", f"{t:.6f}", *options, file, "-")
    rgb = subprocess.run(["convert", "png:-", "-depth", "8", "rgb:-"], input=png, check=True,
                         stdout=subprocess.PIPE).stdout
    height, width = (int.from_bytes(png[at:at + 4], "big") for at in (20, 16))
    return numpy.frombuffer(rgb, numpy.uint8).reshape(height, width, 3)


LOSSY = """qom-text 1
screen 64x48
format xRGB8888
compressed-image +0 64x48 0,0 fill 00000000
compressed-image-blocks +1
  lossy 20x10 3,4
  block 20x10 3,4 random 1
end
debug +1
"""


def session(pixel_format, chance):
    """The text of a random recording, whose checkpoints do not even restate what was there."""
    lines = ["qom-text 1", "start 2026-03-02T08:30:00Z", "screen 64x48", f"format {pixel_format}"]
    if pixel_format == "PALETTE8":
        lines += [f"palette {i * 257:04x} {0xffff - i * 257:04x} 8080" for i in range(200)]
    number = iter(range(10**6))
    width, height, cursor = 64, 48, ""
    lines.append(f"compressed-image +0.000123 {width}x{height} 0,0 random 0")
    for _ in range(60):
        time = chance.choice(["+0", "+0.000001", "+0.1", "+86400.25"])
        kind = chance.randrange(8)
        if kind == 0:
            width, height = chance.randrange(1, 90), chance.randrange(1, 70)
            lines.append(f"screen-change {time} {width}x{height}")
        elif kind == 1:
            cursor = f"9x7 {chance.randrange(64)},{chance.randrange(48)} hot 2,3 serial 1 random 5"
            lines.append(f"cursor-image {time} {cursor}")
        elif kind == 2:
            lines += ["checkpoint-begin", f"screen-change {time} {width}x{height}",
                      f"compressed-image +0 {width}x{height} 0,0 random {next(number)}",
                      f"cursor-image +0 {cursor}" if cursor else "", "checkpoint-end"]
        elif kind == 3:
            lines.append(f"cursor-position {time} {chance.randrange(64)},{chance.randrange(48)}")
        else:
            lines += [f"compressed-image-blocks {time}",
                      f" block 7x5 {chance.randrange(80)},{chance.randrange(60)} random {next(number)}",
                      " block 1x1 0,0 random 1", "end"]
    return "\n".join(lines)


class ModuleTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.chance = random.Random(self.id())
        warnings.simplefilter("error")

    def make(self, name, text=None):
        file, source = self.folder / f"{name}.qom", self.folder / "text"
        source.write_text(text or session(name, self.chance), "ascii")
        run("make", source, file)
        return file

    def moments(self, rec, count):
        return [round(self.chance.uniform(0, rec.duration), 6) for _ in range(count)]

    def test_pictures_are_those_of_the_program(self):
        files = [self.make(name) for name in ("PALETTE8", "RGB332", "BGR565", "xRGB8888", "BGRx8888")]
        for file in [*files, SAMPLE]:
            rec = qom.open(file)
            in_memory = qom.open(bytearray(pathlib.Path(file).read_bytes()))
            for t in [0, rec.duration, *self.moments(rec, 3)]:
                with self.subTest(file=file, t=t):
                    shown = rec.at(t)
                    numpy.testing.assert_array_equal(shown, picture(file, t))
                    plain = picture(file, t, "--no-cursor")
                    shown[:] = 0  # which is nobody else's
                    numpy.testing.assert_array_equal(in_memory.at(t, cursor=False), plain)
                    self.assertTrue(shown.flags.c_contiguous and shown.flags.owndata)
        self.assertEqual(list(rec.changes(rec.duration, float("inf"))), list(rec.changes(rec.duration)))
        for early, late in ((-5, 1e300), (datetime.timedelta.min, datetime.timedelta.max)):
            numpy.testing.assert_array_equal(rec.at(early), rec.at(0))
            numpy.testing.assert_array_equal(rec.at(late), rec.at(rec.duration))

    def test_changes_are_all_that_changes(self):
        for file, begin, end in ((self.make("xRGB8888"), 0, None), (SAMPLE, 60, 64)):
            rec = qom.open(file)
            known = rec.at(begin, cursor=False) if begin else numpy.zeros((0, 0, 3))
            other = rec.changes()
            last = begin - 1e-6
            for t, rectangles in rec.changes(begin, end):
                rec.at(self.moments(rec, 1)[0])
                next(other, None)
                self.assertEqual(rec.next_change(last), t)
                self.assertEqual(rec.previous_change(t + 1e-6), t)
                shown = rec.at(t, cursor=False)
                if shown.shape != known.shape:
                    known = numpy.zeros_like(shown)
                    self.assertIn((0, 0, shown.shape[1], shown.shape[0]), rectangles)
                for r in rectangles:
                    area = numpy.s_[r.y:r.y + r.height, r.x:r.x + r.width]
                    known[area] = shown[area]
                numpy.testing.assert_array_equal(known, shown, f"at {t}")
                last = t
            self.assertEqual(rec.next_change(last), None if end is None else rec.next_change(end))
            numpy.testing.assert_array_equal(known, rec.at(end or rec.duration, cursor=False))
        first = (0, 0, 1, 1)
        self.assertEqual(qom.open(SAMPLE).next_change(-1, first), 0)
        self.assertIsNone(qom.open(SAMPLE).next_change(0, first))
        self.assertIsNone(qom.open(SAMPLE).next_change(0, (2**31 - 1,) * 4))

    def test_what_only_restates_is_no_change(self):
        text = ("qom-text 1\nscreen 64x48\nformat RGB332\ncompressed-image +1 64x48 0,0 fill 00\n"
                "checkpoint-begin\nscreen-change +1 64x48\ncompressed-image +0 64x48 0,0 fill 00\n"
                "checkpoint-end\ncompressed-image-blocks +1\nblock 7x5 3,4 fill ff\n"
                "block 2x2 60,9 fill 00\nblock 1x1 62,46 fill ff\nend")
        changes = list(qom.open(self.make("restated", text)).changes())
        self.assertEqual(changes, [(0, [(0, 0, 64, 48)]), (2, [(3, 4, 7, 5), (62, 46, 1, 1)])])

    def test_moments_are_exact_over_years(self):
        rec = qom.open(self.make("years", "qom-text 1\nstart 2026-03-02T08:30:00Z\nscreen 1x1\n"
                                 "format RGB332\ncompressed-image +0.000007 1x1 0,0 fill 00\n"
                                 "compressed-image +300000000.123457 1x1 0,0 fill ff"))
        step = datetime.timedelta(microseconds=1)
        self.assertEqual(rec.start.isoformat(), "2026-03-02T08:30:00.000007+00:00")
        self.assertEqual(rec.next_change(0), 300000000.123457)
        length = datetime.timedelta(seconds=rec.duration)
        zone = datetime.timezone(datetime.timedelta(hours=-7))
        for late, early in ((rec.duration, rec.duration - 1e-6), (length, length - step),
                            (rec.start + length, (rec.start + length - step).astimezone(zone))):
            self.assertEqual([rec.at(late)[0, 0, 0], rec.at(early)[0, 0, 0]], [255, 0])

    def test_what_is_told(self):
        rec = qom.open(SAMPLE)
        told = json.loads(run("info", "--json", SAMPLE))
        del told["file"]
        self.assertEqual(rec.info, told)
        whole = pathlib.Path(SAMPLE).read_bytes()
        self.assertEqual(qom.open(memoryview(whole)[:300000]).info["state"], "unfinished")
        rec.close()
        self.assertIn("session.qom, closed", repr(rec))

    def test_errors_say_what_is_wrong(self):
        rec = qom.open(SAMPLE)
        naive = datetime.datetime(2026, 3, 2)
        for kind, words, call, *arguments in (
                (FileNotFoundError, "'/none'", qom.open, "/none"),
                (IsADirectoryError, "'.'", qom.open, "."),
                (qom.NotARecording, "tour.txt: not a recording", qom.open, "tour.txt"),
                (qom.NotARecording, "<bytes>: not a recording: too short", qom.open, b""),
                (TypeError, "path or from bytes, not int", qom.open, 5),
                (ValueError, "null byte", qom.open, "a\0b"),
                (TypeError, "not str", rec.at, "1"), (ValueError, "NaN", rec.at, float("nan")),
                (ValueError, "time zone", rec.at, naive), (ValueError, "end behind", rec.changes, 2, 1),
                (TypeError, "four whole numbers", rec.next_change, 0, (1, 2, 3)),
                (ValueError, "out of range", rec.next_change, 0, (0, 0, 1, 2**31)),
                (ValueError, "above 0", rec.next_change, 0, (1, 2, 0, 4)),
                (TypeError, "pickle", pickle.dumps, qom.open(pathlib.Path(SAMPLE).read_bytes()))):
            with self.subTest(words=words), self.assertRaisesRegex(kind, words):
                call(*arguments)
        self.assertEqual(pickle.loads(pickle.dumps(rec)).texts(60), rec.texts(60))
        changes = rec.changes()
        next(changes)
        with rec:
            pass
        for call in (lambda: next(changes), lambda: rec.at(0), lambda: rec.info):
            self.assertRaisesRegex(ValueError, "closed", call)

    def test_numpy_is_missed(self):
        script = "import sys; sys.modules['numpy'] = None; import qom"
        imported = subprocess.run([sys.executable, "-c", script], stderr=subprocess.PIPE, text=True,
                                  env={**os.environ, "LD_PRELOAD": PRELOADED})
        self.assertIn("ImportError: numpy is missing", imported.stderr)

    def test_an_object_that_was_not_initialised_is_none(self):
        for call in (lambda new: new(qom.Recording).at(0), lambda new: new(qom.Recording).close(),
                     lambda new: new(qom.Recording).duration, lambda new: next(new(qom.Changes))):
            self.assertRaises(TypeError, call, lambda kind: kind.__new__(kind))

    def test_damage_is_told(self):
        data = bytearray(pathlib.Path(SAMPLE).read_bytes())
        data[200000:200100] = bytes(100)
        rec, strict = qom.open(data), qom.open(data, strict=True)
        (begin, end), = rec.untrusted
        rec.at(begin - 0.01), strict.at(begin - 0.01)
        with self.assertRaisesRegex(qom.DamageWarning, "<bytes>: the recording is damaged"):
            rec.at(begin)
        with self.assertRaisesRegex(qom.Damaged, f"the picture at {begin + 1:.6f} s"):
            strict.at(begin + 1)
        self.assertEqual(end, float("inf"))

    def test_lossy_areas_are_told(self):
        rec = qom.open(self.make("lossy", LOSSY), strict=True)
        rec.at(0.5)
        with self.assertRaisesRegex(qom.LossyWarning, "the picture at 1.500000 s has lossy areas"):
            rec.at(1.5)
        self.assertEqual([rec.lossy(t) for t in (0.5, 1.5)], [[], [(3, 4, 20, 10)]])

    def test_damage_is_told_of_texts_and_changes(self):
        whole = pathlib.Path(SAMPLE).read_bytes()
        lost = bytearray(whole[:400000])  # without an index
        lost[200000:240000] = bytes(40000)
        flipped = bytearray(whole)
        flipped[200000:200100] = bytes(100)
        for data, state in ((flipped, "finished"), (lost, "damaged")):
            rec = qom.open(data)
            (begin, _), = rec.untrusted
            self.assertEqual(rec.info["state"], state)
            # A new one each time: what one call has come to know is no help to the next.
            for call in (lambda rec: rec.texts(begin + 1), lambda rec: rec.next_change(begin - 1e-6),
                         lambda rec: rec.next_change(begin + 1), lambda rec: rec.next_change(1e9),
                         lambda rec: rec.next_change(0, (1279, 799, 1, 1)),
                         lambda rec: rec.previous_change(begin + 5, (0, 0, 1280, 800)),
                         lambda rec: list(rec.changes(begin - 1, begin + 9))):
                self.assertRaisesRegex(qom.Damaged, "damaged", call, qom.open(data, strict=True))
                with warnings.catch_warnings(record=True) as told:
                    warnings.simplefilter("always")
                    call(qom.open(data))
                self.assertEqual([w.category for w in told], [qom.DamageWarning])
            for call in (lambda rec: rec.texts(begin - 1), lambda rec: rec.next_change(0),
                         lambda rec: rec.previous_change(begin),
                         lambda rec: list(rec.changes(0, begin - 1e-6)),
                         lambda rec: list(rec.changes(0, rec.previous_change(begin)))):
                call(qom.open(data, strict=True))

    def test_threads_take_turns_and_leave_the_interpreter_alone(self):
        rec = qom.open(SAMPLE)
        moments = self.moments(rec, 40)
        expected = [rec.at(t).tobytes() for t in moments]
        shown, stories, seen = {}, [], set()

        def show():
            for t in moments:
                shown.setdefault(t, []).append(rec.at(t).tobytes())

        threads = [threading.Thread(target=show) for _ in range(3)]
        threads += [threading.Thread(target=lambda: stories.append(list(rec.changes())))] * 1
        interval = sys.getswitchinterval()
        sys.setswitchinterval(1000)  # nobody is made to leave the interpreter to others
        self.addCleanup(sys.setswitchinterval, interval)
        for thread in threads:
            thread.start()
        while any(thread.is_alive() for thread in threads):
            seen.add(len(shown))
            time.sleep(0.001)
        self.assertTrue(seen - {0, len(moments)}, "the interpreter waited for the pictures")
        self.assertEqual(stories, [list(rec.changes())])
        for t, picture_of_t in zip(moments, expected):
            self.assertEqual(shown[t], [picture_of_t] * 3)


if __name__ == "__main__":
    unittest.main()
