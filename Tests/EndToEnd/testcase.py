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


def desktop_in(context, **options):
    """A desktop that the context ends, with the pointer where the whole panel has room below it."""
    folder = context(tempfile.TemporaryDirectory(prefix="glimmerwick-", ignore_cleanup_errors=True))
    desktop = context(Desktop(folder, **options))
    desktop.move_pointer(640, 200)
    return desktop


class EndToEndTest(unittest.TestCase):
    """Set `picker_binary`, `qt_target_binary` and `compositor` in the subclass."""

    picker_binary = None
    qt_target_binary = None
    compositor = False

    def setUp(self):
        self.desktop = desktop_in(self.enterContext, compositor=self.compositor)

    def use_address(self, address):
        """Has the picker that is started next load its catalogue from there."""
        keys = self.desktop.folder / "home" / ".config" / "Glimmerwick" / "secrets.txt"
        keys.parent.mkdir(parents=True)
        keys.write_text(f"PRODUCTION_BASE_URL={address}\n", encoding="utf-8")

    def start_picker(self, *flags):
        picker = Picker(self.desktop, self.picker_binary, *flags)
        picker.wait_until_ready()
        return picker

    def start_target(self, toolkit):
        if toolkit == "gtk":
            return gtk_target(self.desktop)
        return qt_target(self.desktop, self.qt_target_binary)



class OutputOnFailure(unittest.TextTestResult):
    """Shows what the programs of a failed test printed, while their files are still there."""

    def addError(self, test, err):
        super().addError(test, err)
        self._explain(test, self.errors)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._explain(test, self.failures)

    @staticmethod
    def _explain(test, problems):
        # At once: a run that is ended for taking too long never comes to its list of problems.
        print(f"--- problem:\n{problems[-1][1]}---", file=sys.stderr, flush=True)
        desktop = getattr(test, "desktop", None)
        for program in desktop.programs if desktop else ():
            with contextlib.suppress(OSError):
                print(f"--- {program.name}:\n{program.end_of_text()}---", file=sys.stderr, flush=True)


def main():
    unittest.main(testRunner=unittest.TextTestRunner(resultclass=OutputOnFailure, verbosity=2))
