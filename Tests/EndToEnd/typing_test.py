#!/usr/bin/python3
"""Picks into the applications that people use: each emoji arrives, nothing else does, and the clipboard's text is
as before.

usage: typing_test.py --picker BINARY --qt-target BINARY --window-manager openbox|xfwm4 --picks N
"""

from picking import COPIED, PickingTest
from testcase import argument, main

COUNT = int(argument("picks"))


class TypingTest(PickingTest):
    picker_binary = argument("picker")
    qt_target_binary = argument("qt-target")
    desktop_options = {"window_manager": argument("window-manager")}

    def test_every_pick_arrives_and_leaves_no_trace(self):
        self.desktop.copy(COPIED)

        for target in self.each_target():
            self.assert_picked(target, self.searched(COUNT))


if __name__ == "__main__":
    main()
