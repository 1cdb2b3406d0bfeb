"""What the programs that measure the picker from outside have in common: options, and what is to be said of figures."""

import argparse
import os
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
PICKER = ROOT / "build" / "benchmarks-all" / "bin" / "glimmerwick"

sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "Tests" / "EndToEnd"))

from desktop import PANEL_FOOT, PANEL_HEAD, PANEL_SIZE  # noqa: E402  (the path comes first)

# What an event has for Ctrl and Super.
CHORD_MODIFIERS = 0x44
# The panel below its search field, whose caret blinks.
PAINTED_ROWS = (PANEL_HEAD, PANEL_SIZE[1])
GRID_ROWS = (PANEL_HEAD, PANEL_SIZE[1] - PANEL_FOOT)
# Nothing listens there, so that nobody waits for the network.
NO_SERVER = "https://127.0.0.1:1"


def parser_for(description):
    """With the options that all have. The programs that measure stand beside the picker."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--picker", type=pathlib.Path, default=PICKER, help="a release build")
    parser.add_argument("--json", action="store_true", help="print the figures for another program")
    return parser


def percentile(values, share):
    """The smallest value that so many per cent of all do not exceed."""
    ordered = sorted(values)
    return ordered[max(0, -(-len(ordered) * share // 100) - 1)]


def percentile_name(share):
    return {50: "median", 100: "longest"}.get(share, f"{share}th percentile")


def note_load(figures, when):
    figures.note(f"Load average {when}: {os.getloadavg()[0]:.1f} on {os.cpu_count()} processors")


def load_from(desktop, address):
    """Has pickers that are started from now on ask there for their catalogue."""
    keys = desktop.folder / "home" / ".config" / "Glimmerwick" / "secrets.txt"
    keys.parent.mkdir(parents=True, exist_ok=True)
    keys.write_text(f"PRODUCTION_BASE_URL={address}\n", encoding="utf-8")


def milliseconds(nanoseconds):
    return nanoseconds / 1e6
