#!/usr/bin/python3
"""Runs the programs of this folder, sets their figures beside the goals, and writes both into the report.

usage: Benchmarks/report.py --binaries FOLDER [--quick] [--write] [PROGRAM...]

Prints a table of all figures. With --write the tables of docs/performance.md are replaced, between the comments that
name them; what stands outside of them is written by hand. With --quick each program does less, which tells whether
everything runs and what a figure is roughly. A figure that other programs may have spoilt is judged only where it
reaches its goal in spite of them. The status is 0 when every program has measured; a goal may be missed then.
"""

import argparse
import dataclasses
import datetime
import json
import os
import pathlib
import platform
import re
import resource
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
FOLDER = pathlib.Path(__file__).resolve().parent
REPORT = ROOT / "docs" / "performance.md"

# What the picker may take. A figure without a goal is there to explain the others.
GOALS = {
    "show.p50": 6,
    "show.p99": 16,
    "letter.p99": 5,
    "start.armed.p50": 70,
    "start.warmed.p50": 200,
    "stretch.longest": 16,
    "memory.private-dirty": 16,
    "memory.private-dirty-fetched": 16,
    "memory.private-dirty-first": 16,
    "memory.pss-above-empty": 12,
    "memory.growth": 1,
    "idle.wake-ups": 0,
    "idle.wake-ups-used": 0,
}
# The goal is a bound that itself is too much.
BELOW = {"memory.growth"}
# Whose time, or what other programs share, is another on a machine with something else to do.
TIMES = {"ms", "µs", "us", "s"}
# So much of all processors others may have had while a program measured times.
BUSY = 0.10


@dataclasses.dataclass
class Program:
    """A program of this folder, and the table that its figures belong to. Has JSON for its options on standard
    output, or prints that of Google Benchmark."""

    name: str
    table: str
    options: tuple = ()
    quick: tuple = ()


@dataclasses.dataclass
class Taken:
    """A figure that is taken out of what a program of Google Benchmark prints."""

    identifier: str
    what: str
    program: str
    benchmark: str
    field: str = "real_time"
    factor: float = 1.0
    unit: str = "ms"


PROGRAMS = [
    Program("shows", "opening", ("--shows", "500"), ("--shows", "20", "--starts", "2")),
    Program("letters", "opening"),
    Program("starts", "opening", ("--starts", "50"), ("--starts", "3")),
    Program("stretches", "opening"),
    Program("memory", "memory", ("--cycles", "10000"), ("--cycles", "20")),
    Program("idle", "idle", ("--seconds", "60"), ("--seconds", "2")),
    Program("sizes", "sizes"),
    Program("catalogue-benchmark", "catalogue"),
    Program("support-benchmark", "catalogue"),
    Program("search-benchmark", "catalogue", ("--benchmark_filter=/1x",),
            ("--benchmark_filter=^(build|prefix|typo)/1x",)),
    Program("drawing-benchmark", "drawing", ("--benchmark_filter=/1x",),
            ("--benchmark_filter=(cached|first-show-.*)/1x",)),
    Program("scroll-benchmark", "drawing"),
]

SECONDS_IN_MICROSECONDS = 1e6

TAKEN = [
    Taken("catalogue.decode", "Decoding the bundled catalogue", "catalogue-benchmark", "decode"),
    Taken("catalogue.encode", "Encoding it for the cache", "catalogue-benchmark", "encode"),
    Taken("catalogue.index", "Building the search index", "catalogue-benchmark", "makeSearchable"),
    Taken("support.new-process", "Finding the emoji font and what of the catalogue it draws, in a new process",
          "support-benchmark", "newProcess"),
    Taken("support.first", "The same, the font found", "support-benchmark", "firstPass", "p50", 1000),
    *(Taken(f"search.{kind}.{share}", f"Search for {words}, {text} of the queries", "search-benchmark", f"{kind}/1x",
            share, SECONDS_IN_MICROSECONDS, "µs")
      for kind, words in (("one-letter", "one letter"), ("prefix", "the beginning of a word"), ("word", "a word"),
                          ("typo", "a word with a typing error"), ("no-match", "what is not there"))
      for share, text in (("p50", "median"), ("p99", "99 %"))),
    Taken("search.index-bytes", "Memory of the index, without the emoji", "search-benchmark", "build/1x", "bytes",
          2 ** -20, "MiB"),
    Taken("drawing.cached", "60 emoji from kept pictures, median", "drawing-benchmark", "cached/1x", "p50"),
    Taken("drawing.uncached", "60 emoji drawn anew, median", "drawing-benchmark", "uncached/1x", "p50"),
    Taken("layout.first", "First layout and painting of the grid with the whole catalogue, its pictures drawn ahead, "
          "median", "drawing-benchmark", "first-show-warm/1x", "p50"),
    Taken("layout.first-cold", "The same without pictures drawn ahead, median", "drawing-benchmark",
          "first-show-cold/1x", "p50"),
    Taken("warming", "Drawing ahead, all of it", "drawing-benchmark", "first-show-warm/1x", "warming"),
    Taken("warming.longest-turn", "Drawing ahead, longest turn", "drawing-benchmark", "first-show-warm/1x",
          "longest_turn"),
    *(Taken(f"scroll.{kind}.{share}", f"Step of a {words} at a device pixel ratio of 2, processor time, {text}",
            "scroll-benchmark", kind, f"cpu_{share}")
      for kind, words in (("wheel", "quickly turned wheel"), ("fling", "fling"))
      for share, text in (("p50", "median"), ("p99", "99 %"))),
]


@dataclasses.dataclass
class Outcome:
    """What a program came to: figures, or a problem; and how busy others kept the machine meanwhile."""

    program: Program
    figures: list = dataclasses.field(default_factory=list)
    notes: list = dataclasses.field(default_factory=list)
    problem: str = ""
    others: float = 0.0


def taken_figures(program, document):
    """The figures that are wanted of a program of Google Benchmark. One that is not there, as after another choice
    of benchmarks, is left out."""
    results = {result["name"].split("/iterations:")[0]: result for result in document["benchmarks"]}
    figures = []
    for taken in TAKEN:
        result = results.get(taken.benchmark, {}) if taken.program == program.name else {}
        if "error_message" in result:
            raise ValueError(f"{taken.benchmark}: {result['error_message']}")
        if taken.field in result:
            figures.append({"id": taken.identifier, "what": taken.what, "value": result[taken.field] * taken.factor,
                            "unit": taken.unit})
    if not figures:
        raise ValueError("it printed none of the figures that are wanted")
    return figures


def read_output(program, text):
    """The figures and notes in a program's output."""
    document = json.loads(text)
    if "benchmarks" in document:
        return taken_figures(program, document), []
    return document["figures"], document.get("notes", [])


# Running

class Processors:
    """How much of the machine's time others have had since this was made."""

    def __init__(self):
        self._busy, self._own, self._time = self._busy_seconds(), self._own_seconds(), time.monotonic()

    def others(self):
        """The share of all processors."""
        elapsed = (time.monotonic() - self._time) * (os.cpu_count() or 1)
        others = self._busy_seconds() - self._busy - (self._own_seconds() - self._own)
        # The kernel counts in hundredths of a second.
        return min(1.0, max(0.0, others / elapsed)) if elapsed > 0 else 0.0

    @staticmethod
    def _busy_seconds():
        words = pathlib.Path("/proc/stat").read_text(encoding="ascii").splitlines()[0].split()
        user, nice, system, _, _, interrupts, soft_interrupts = (int(word) for word in words[1:8])
        return (user + nice + system + interrupts + soft_interrupts) / os.sysconf("SC_CLK_TCK")

    @staticmethod
    def _own_seconds():
        """Of this process and all that it has waited for, and those had."""
        uses = [resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)]
        return sum(use.ru_utime + use.ru_stime for use in uses)


def command_for(program, binaries, quick):
    options = program.quick if quick and program.quick else program.options
    if program.name.endswith("-benchmark"):
        return [binaries / program.name, "--benchmark_format=json", *options]
    return [FOLDER / program.name, "--picker", binaries / "glimmerwick", "--json", *options]


def run(program, command):
    """Runs a program to its end. It tells a person on standard error what it does."""
    outcome = Outcome(program)
    processors = Processors()
    try:
        # What is drawn without a picker needs no screen.
        environment = {"QT_QPA_PLATFORM": "offscreen", **os.environ}
        ended = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, env=environment, check=False,
                               encoding="utf-8")
        if ended.returncode != 0:
            outcome.problem = f"ended with status {ended.returncode}"
        else:
            outcome.figures, outcome.notes = read_output(program, ended.stdout)
    except FileNotFoundError:
        outcome.problem = "is not there"
    except (OSError, ValueError, KeyError, TypeError) as error:
        outcome.problem = f"cannot be read: {error}"
    outcome.others = processors.others()
    return outcome


# Judging

def number(value, unit):
    """As many digits as mean something."""
    if isinstance(value, int) or unit in ("", "KiB"):
        text = f"{value:,.0f}"
    else:
        text = f"{value:.1f}" if abs(value) >= 10 else f"{value:.2f}"
    return f"{text} {unit}".strip()


def goal_text(identifier, unit):
    if identifier not in GOALS:
        return ""
    return ("less than " if identifier in BELOW else "at most ") + f"{GOALS[identifier]} {unit}".strip()


def verdict(figure, others):
    """Whether a figure's goal is met. What others did can spoil times, and only for the worse."""
    identifier = figure["id"]
    if identifier not in GOALS:
        return ""
    goal, value = GOALS[identifier], figure["value"]
    is_met = value < goal if identifier in BELOW else value <= goal
    if figure.get("doubt"):
        return f"not judged: {figure['doubt']}"
    if is_met:
        return "met"
    if figure["unit"] in TIMES and others > BUSY:
        return f"not judged: others kept the machine {others:.0%} busy"
    return "missed"


def without_figure(outcomes):
    """The goals that nothing was measured for, as after a figure was renamed."""
    return sorted(set(GOALS) - {figure["id"] for outcome in outcomes for figure in outcome.figures})


def rows(outcome):
    """A row for each figure: what, value, goal, verdict."""
    if outcome.problem:
        return [(f"`{outcome.program.name}` {outcome.problem}", "", "", "not measured")]
    return [(figure["what"], number(figure["value"], figure["unit"]), goal_text(figure["id"], figure["unit"]),
             verdict(figure, outcome.others)) for figure in outcome.figures]


# Printing and writing

HEAD = ("what", "value", "goal", "")


def plain_table(outcomes):
    """For a terminal."""
    lines = [HEAD] + [row for outcome in outcomes for row in rows(outcome)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEAD))]
    return "\n".join("  ".join(cell.rjust(width) if column == 1 else cell.ljust(width)
                               for column, (cell, width) in enumerate(zip(line, widths))).rstrip() for line in lines)


def written_table(outcomes):
    """For the report, with what the programs note below it."""
    lines = ["| " + " | ".join(HEAD) + " |", "|---|---:|---|---|"]
    lines += ["| " + " | ".join(cell.replace("|", "\\|") for cell in row) + " |"
              for outcome in outcomes for row in rows(outcome)]
    notes = [note for outcome in outcomes for note in outcome.notes]
    if notes:
        lines += ["", *(f"- {note}" for note in notes)]
    return "\n".join(lines)


def processor_name():
    text = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    found = re.search(r"^model name\s*: (.*)$", text, re.MULTILINE)
    return found[1].strip() if found else platform.machine()


def commit():
    """The commit that is checked out, and whether the sources are as in it."""
    def git(*arguments):
        command = ["git", "--no-optional-locks", "-c", f"safe.directory={ROOT}", *arguments]
        return subprocess.run(command, cwd=ROOT, capture_output=True, encoding="utf-8", check=True).stdout.strip()
    try:
        changed = git("status", "--porcelain", "--untracked-files=no", "--", ":!docs")
        return git("rev-parse", "--short", "HEAD") + (" with changes" if changed else "")
    except (OSError, subprocess.CalledProcessError):
        return "unknown"


def busiest(outcomes):
    """The one during which others did most. One that could not be run was over too soon to tell."""
    return max(outcomes, key=lambda outcome: (not outcome.problem, outcome.others))


def run_table(outcomes, loads, date):
    """What a reader has to know about the whole run."""
    busy = busiest(outcomes)
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2 ** 30
    return "\n".join([
        "| | |", "|---|---|",
        f"| machine | {os.cpu_count()} processors ({processor_name()}), {memory:.0f} GiB |",
        f"| date | {date} |",
        f"| commit | {commit()} |",
        f"| load average | {min(loads):.1f} to {max(loads):.1f}, the programs that measure included |",
        f"| processor time of others | at most {busy.others:.0%}, during `{busy.program.name}` |"])


def with_tables(text, tables):
    """The report with its tables replaced. Each table has its place there, and each place its table."""
    places = re.findall(r"<!-- table: (\S+) -->\n", text)
    if sorted(places) != sorted(tables):
        raise ValueError(f"the report has places for {sorted(places)}, and there are {sorted(tables)}")
    for name, table in tables.items():
        place = re.compile(rf"(<!-- table: {re.escape(name)} -->\n).*?(<!-- end -->)", re.DOTALL)
        text, count = place.subn(lambda found, table=table: f"{found[1]}{table}\n{found[2]}", text)
        if count != 1:
            raise ValueError(f"the table {name} has no end")
    return text


def tables_of(outcomes, loads, date):
    tables = {"run": run_table(outcomes, loads, date)}
    for outcome in outcomes:
        tables.setdefault(outcome.program.table, None)
    return {name: table or written_table([outcome for outcome in outcomes if outcome.program.table == name])
            for name, table in tables.items()}


def parsed_arguments():
    parser = argparse.ArgumentParser(description="sets the figures of all programs beside the goals")
    parser.add_argument("--binaries", type=pathlib.Path, required=True, help="where the built programs are")
    parser.add_argument("--quick", action="store_true", help="do less of everything")
    parser.add_argument("--write", action="store_true", help="write docs/performance.md, too")
    parser.add_argument("programs", nargs="*", help="by default all; none but all can be written")
    options = parser.parse_args()
    if unknown := set(options.programs) - {program.name for program in PROGRAMS}:
        parser.error(f"there is no program {', '.join(sorted(unknown))}")
    if options.write and (options.programs or options.quick):
        parser.error("the report is written of a whole run")
    return options


def main():
    options = parsed_arguments()
    binaries = options.binaries.resolve()
    outcomes, loads = [], [os.getloadavg()[0]]
    for program in PROGRAMS:
        if options.programs and program.name not in options.programs:
            continue
        print(f"== {program.name}", file=sys.stderr, flush=True)
        outcomes.append(run(program, command_for(program, binaries, options.quick)))
        loads.append(os.getloadavg()[0])
    print(plain_table(outcomes))
    for note in (note for outcome in outcomes for note in outcome.notes):
        print(f"- {note}")
    print(f"load average {min(loads):.1f} to {max(loads):.1f}; others had at most "
          f"{busiest(outcomes).others:.0%} of the processors")
    missing = [] if options.programs else without_figure(outcomes)
    for identifier in missing:
        print(f"nothing was measured for the goal of {identifier}")
    if options.write:
        text = REPORT.read_text(encoding="utf-8")
        date = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d")
        REPORT.write_text(with_tables(text, tables_of(outcomes, loads, date)), encoding="utf-8")
    return 1 if missing or any(outcome.problem for outcome in outcomes) else 0


if __name__ == "__main__":
    sys.exit(main())
