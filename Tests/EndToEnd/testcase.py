"""What every end-to-end test does: a desktop of its own, and everybody's output when it fails."""

import contextlib
import sys
import tempfile
import unittest

from desktop import Desktop, Picker
from targets import gtk_target, qt_target


def argument(name):
    """Takes "--name VALUE" out of the command line, before unittest reads the rest."""
    option = f"--{name}"
    if option not in sys.argv[:-1]:
        raise SystemExit(f"{sys.argv[0]}: {option} is missing")
    position = sys.argv.index(option)
    _, value = sys.argv[position:position + 2]
    del sys.argv[position:position + 2]
    return value


class EndToEndTest(unittest.TestCase):
    """Set `picker_binary`, `qt_target_binary` and `compositor` in the subclass."""

    picker_binary = None
    qt_target_binary = None
    compositor = False

    def setUp(self):
        folder = self.enterContext(tempfile.TemporaryDirectory(prefix="glimmerwick-"))
        self.desktop = self.enterContext(Desktop(folder, compositor=self.compositor))
        # Room below the pointer for the whole panel.
        self.desktop.move_pointer(640, 200)

    def start_picker(self, *flags):
        picker = Picker(self.desktop, self.picker_binary, *flags)
        picker.wait_until_ready()
        return picker

    def start_target(self, toolkit):
        if toolkit == "gtk":
            return gtk_target(self.desktop)
        return qt_target(self.desktop, self.qt_target_binary)

    def print_output_of_programs(self):
        for program in self.desktop.programs:
            with contextlib.suppress(OSError):
                print(f"--- {program.name}:\n{program.text()}---", file=sys.stderr, flush=True)


class OutputOnFailure(unittest.TextTestResult):
    """Shows what the programs of a failed test printed, while their files are still there."""

    def addError(self, test, err):
        super().addError(test, err)
        self._explain(test)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._explain(test)

    @staticmethod
    def _explain(test):
        if isinstance(test, EndToEndTest) and hasattr(test, "desktop"):
            test.print_output_of_programs()


def main():
    unittest.main(testRunner=unittest.TextTestRunner(resultclass=OutputOnFailure, verbosity=2))
