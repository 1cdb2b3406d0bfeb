"""The figures that a measuring program comes to: lines for people on standard error, and one JSON object for another
program on standard output.
"""

import json
import sys


class Figures:
    def __init__(self):
        self._figures = []
        self._notes = []

    def add(self, identifier, what, value, unit, doubt=None):
        """`value` is a number that counts as it is; what it means for a goal is not judged here. `doubt` tells why it
        would be another where the figure ought to be taken."""
        figure = {"id": identifier, "what": what, "value": value, "unit": unit}
        self._figures.append(figure if doubt is None else {**figure, "doubt": doubt})
        say(f"{value:10.2f} {unit:9} {what}" if isinstance(value, float) else f"{value:10} {unit:9} {what}")

    def note(self, text):
        """What a reader has to know about the figures."""
        self._notes.append(text)
        say(text)

    def print_json(self):
        json.dump({"figures": self._figures, "notes": self._notes}, sys.stdout, ensure_ascii=False)
        print()


def say(text):
    """Tells a person who waits for the figures."""
    print(text, file=sys.stderr, flush=True)
