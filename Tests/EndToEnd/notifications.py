"""The notification service of a desktop, and what it was asked to show."""

import json
import pathlib

from desktop import wait_until
from targets import PYTHON

HERE = pathlib.Path(__file__).resolve().parent


class Notifications:
    def __init__(self, desktop):
        self._service = desktop.run("notifications", PYTHON, HERE / "notification_service.py")
        wait_until(lambda: "ready" in self._service.lines(), "the notification service runs")

    def all(self):
        """The notices so far, in order."""
        return [json.loads(line) for line in self._service.lines()[1:]]

    def wait_for(self, summary):
        """Waits for a notice with this summary, and returns the text of the first one."""
        def found():
            return next((notice["body"] for notice in self.all() if notice["summary"] == summary), None)
        return wait_until(found, f"a notice is shown: {summary}")
