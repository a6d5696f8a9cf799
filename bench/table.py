#!/usr/bin/env python3
"""Prints the figures that the benchmarks appended to a file as one table.

    bench/table.py [--form text|markdown] [--repetitions N] [--unjudged] [--desktops TABLE] FILE

The lines of the file are described in ratio.h. Figures of several runs become their median. What
record_bench.sh wrote as its table is put behind. Ends with status 1 when a goal is missed, unless
--unjudged.
"""

import argparse
import datetime
import os
import platform
import statistics
import subprocess
import sys

TOLERANCE = 0.05  # what equal programs differ by, as in ratio.cpp

PAGE = """\
# Performance

Every figure that qom promises, each measured as a ratio to a yardstick of the same run: the work
and its yardstick take turns, so that the table means the same on every machine. `bench/run` prints
it; this page is `bench/run --markdown > docs/performance.md`.

- Date: {date}
- Processor: {processor}, {cores} cores
- System: {system}
- Source: {commit}
- {runs}

{table}

{met}

A figure without a yardstick is a plain number. Where a goal names another program too, that one's
figure in the same run must not be better by more than a twentieth. The benchmarks stand in `bench/`;
the head of each source says what it does.
{desktops}"""

DESKTOPS = """
## What recording costs

Desktops of 1920x1080, `uhd` of 3840x2160, recorded with 10 pictures a second at most, beside ffmpeg's
x11grab of the same content into x264: lossless as fast as it goes (RGB, preset ultrafast, here
*fast*), and with losses (crf 23, preset veryfast). *medium* is what that preset makes of *fast*
afterwards; it does not keep up with a display, so there is no CPU to compare. CPU is in hundredths
of a core, the X server's is what recording adds to that of the content. Pictures are those that
differ from the one before. `bench/record_bench.sh` says what the contents are.

{table}
"""


class Figure:
    """One row of the table."""

    def __init__(self, measurements):
        work, yardstick, _, sign, goal, rival, _ = measurements[0]
        self.work = work
        self.yardstick = yardstick or "-"
        self.ratio = statistics.median(float(fields[2]) for fields in measurements)
        self.goal = "-"
        self.met = "-"
        if not goal:
            return
        least = sign == ">="
        met = self.ratio >= float(goal) if least else self.ratio <= float(goal)
        self.goal = f"at {'least' if least else 'most'} {float(goal):.3g}"
        if rival:
            other = statistics.median(float(fields[6]) for fields in measurements)
            beaten = (self.ratio < other * (1 - TOLERANCE) if least
                      else self.ratio > other * (1 + TOLERANCE))
            self.goal += f" and {rival}'s {other:.3g}"
            met = met and not beaten
        self.met = "yes" if met else "no"

    def cells(self):
        return [self.work, self.yardstick, f"{self.ratio:.3g}", self.goal, self.met]


def figures_read(path):
    """The figures of the file in the order of their first measurements."""
    measurements = {}
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            fields = line.rstrip("\n").split("\t")
            if len(fields) != 7:
                raise SystemExit(f"{path}: not a row of figures: {line!r}")
            measurements.setdefault((fields[0], fields[1]), []).append(fields)
    return [Figure(rows) for rows in measurements.values()]


def table_text(rows, markdown):
    widths = [max(map(len, column)) for column in zip(*rows)]
    rows.insert(1, ["-" * width for width in widths])
    lines = (" | ".join(cell.ljust(width) for cell, width in zip(row, widths)) for row in rows)
    return "\n".join(f"| {line} |" if markdown else line.rstrip() for line in lines)


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as lines:
        for line in lines:
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    return platform.machine()


def system():
    name = platform.freedesktop_os_release()["PRETTY_NAME"]
    return f"{name}, Linux {platform.release()}, {output_of('g++', '--version').splitlines()[0]}"


def source():
    """The commit, and whether it is what was measured; this page is being written meanwhile."""
    try:
        changed = output_of("git", "status", "--porcelain", "--", ".", ":!docs/performance.md")
        return output_of("git", "describe", "--always") + (", changed" if changed else "")
    except (OSError, subprocess.CalledProcessError):
        return "unknown"


def page(table, met, desktops, options):
    runs = (f"Medians of {options.repetitions} runs of each benchmark" if not options.unjudged
            else "One short run of each benchmark, which says little (`--quick`)")
    return PAGE.format(date=datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d"),
                       processor=processor(), cores=os.cpu_count(), system=system(),
                       commit=source(), runs=runs, table=table, met=met,
                       desktops=DESKTOPS.format(table=desktops) if desktops else "")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--form", choices=["text", "markdown"], default="text")
    parser.add_argument("--repetitions", default="1", help="said in the page")
    parser.add_argument("--unjudged", action="store_true", help="missed goals are no failure")
    parser.add_argument("--desktops", help="a file with the table of what recording costs")
    parser.add_argument("file")
    options = parser.parse_args()
    figures = figures_read(options.file)
    judged = [figure for figure in figures if figure.met != "-"]
    missed = [figure for figure in judged if figure.met == "no"]
    rows = [["Figure", "Yardstick", "Ratio", "Goal", "Met"], *(figure.cells() for figure in figures)]
    met = f"{len(judged) - len(missed)} of {len(judged)} goals met."
    markdown = options.form == "markdown"
    table = table_text(rows, markdown)
    desktops = ""
    if options.desktops:
        with open(options.desktops, encoding="utf-8") as file:
            desktops = file.read().rstrip("\n")
    print(page(table, met, desktops, options) if markdown
          else f"{table}\n\n{met}" + (f"\n\n{desktops}" if desktops else ""),
          end="" if markdown else "\n")
    return 1 if missed and not options.unjudged else 0


if __name__ == "__main__":
    sys.exit(main())
