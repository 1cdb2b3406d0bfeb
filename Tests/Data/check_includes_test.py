#!/usr/bin/python3
"""Proves that dev/check-includes accepts what the layers allow and refuses each thing they forbid."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
CHECK = ROOT / "dev" / "check-includes"

HEADERS = [
    "Models/Emoji.h", "Search/Trie.h", "Managers/TypeManager.h", "HotkeyManager.h",
    "Views/EmojiCell.h", "Views/Logic/FlowLayout.h", "GlimmerwickWindow.h", "AppDelegate.h",
    "Platform/Clock.h", "Platform/Qt/Text.h", "Platform/Qt/QtMainQueue.h", "Platform/X11/X11Panel.h",
    "Platform/Wayland/Shell.h", "Platform/Curl/CurlHttpClient.h",
]

ALLOWED = [
    ("Models/Manifest.cpp", '"Models/Emoji.h"'),
    ("Models/Manifest.cpp", "<nlohmann/json.hpp>"),
    ("Models/UnicodeText.cpp", "<unicode/brkiter.h>"),
    ("Models/Manifest.h", "<unordered_map>"),
    ("Search/SearchManager.cpp", '"Platform/Clock.h"'),
    ("Managers/EmojiDataManager.cpp", '"Search/Trie.h"'),
    ("KeyEventInterceptor.cpp", '"Platform/Clock.h"'),
    ("Views/Logic/Placement.cpp", '"Models/Emoji.h"'),
    ("Views/ToastView.cpp", "<QLabel>"),
    ("Views/ToastView.cpp", '"Managers/TypeManager.h"'),
    ("Views/ToastView.cpp", '"Platform/Qt/Text.h"'),
    ("Platform/X11/X11Keys.cpp", "<xcb/xcb.h>"),
    ("Platform/X11/X11Keys.cpp", '"Platform/Qt/QtMainQueue.h"'),
    ("Platform/Curl/Fetch.cpp", "<curl/curl.h>"),
    ("AppDelegate.cpp", '"Views/EmojiCell.h"'),
    ("main.cpp", '"Platform/X11/X11Panel.h"'),
]

FORBIDDEN = [
    ("Models/Manifest.cpp", '"Platform/Clock.h"', "Models include only Models"),
    ("Models/Manifest.cpp", '"Search/Trie.h"', "Models include only Models"),
    ("Models/Manifest.h", "<nlohmann/json.hpp>", "behind the core's headers"),
    ("Models/UnicodeText.h", "<unicode/brkiter.h>", "behind the core's headers"),
    ("Models/Manifest.cpp", "<QString>", "the core uses"),
    ("Models/Manifest.cpp", "<unistd.h>", "the core uses"),
    ("Search/SearchManager.cpp", '"Managers/TypeManager.h"', "Search includes only"),
    ("Search/SearchManager.cpp", '"Views/Logic/FlowLayout.h"', "Search includes only"),
    ("Search/SearchManager.cpp", '"Platform/Qt/Text.h"', "Search includes only"),
    ("Managers/ClipboardManager.cpp", '"Views/EmojiCell.h"', "include no Views and no adapter"),
    ("Managers/ClipboardManager.cpp", '"Platform/X11/X11Panel.h"', "include no Views and no adapter"),
    ("Managers/ClipboardManager.cpp", '"GlimmerwickWindow.h"', "include no Views and no adapter"),
    ("Managers/ClipboardManager.cpp", "<QObject>", "the core uses"),
    ("Views/Logic/Placement.cpp", '"Views/EmojiCell.h"', "include no Views and no adapter"),
    ("Views/Logic/Placement.cpp", '"Platform/Qt/Text.h"', "include no Views and no adapter"),
    ("KeyEventInterceptor.cpp", '"GlimmerwickWindow.h"', "include no Views and no adapter"),
    ("PermissionManager.cpp", "<X11/Xlib.h>", "the core uses"),
    ("Platform/EventTap.h", '"Platform/X11/X11Panel.h"', "Platform interfaces include only"),
    ("Platform/EventTap.h", '"Managers/TypeManager.h"', "Platform interfaces include only"),
    ("Platform/EventTap.h", "<QObject>", "the core uses"),
    ("Platform/EventTap.h", "<xcb/xcb.h>", "the core uses"),
    ("Platform/EventTap.h", "<wayland-client.h>", "the core uses"),
    ("Platform/HttpClient.h", "<curl/curl.h>", "the core uses"),
    ("Platform/X11/X11Keys.cpp", '"Managers/TypeManager.h"', "adapters include no"),
    ("Platform/X11/X11Keys.cpp", '"Search/Trie.h"', "adapters include no"),
    ("Platform/X11/X11Keys.cpp", '"Views/EmojiCell.h"', "adapters include no"),
    ("Platform/X11/X11Keys.cpp", '"AppDelegate.h"', "adapters include no"),
    ("Platform/X11/X11Keys.cpp", '"Platform/Wayland/Shell.h"', "X11 and Wayland"),
    ("Platform/Wayland/Panel.cpp", '"Platform/X11/X11Panel.h"', "X11 and Wayland"),
    ("Views/ToastView.cpp", '"Platform/Qt/QtMainQueue.h"', "Views include no adapter"),
    ("Views/ToastView.cpp", '"Platform/Curl/CurlHttpClient.h"', "Views include no adapter"),
    ("Views/ToastView.cpp", '"AppDelegate.h"', "Views do not know the application"),
    ("GlimmerwickWindow.cpp", '"Platform/X11/X11Panel.h"', "Views include no adapter"),
    ("AppDelegate.cpp", '"Fakes/FakeTime.h"', "no tests"),
    ("Platform/X11/X11Keys.cpp", "<gtest/gtest.h>", "no tests"),
    ("Managers/ClipboardManager.cpp", '"TypeManager.h"', "written from the folder"),
    ("Managers/ClipboardManager.cpp", '"../Models/Emoji.h"', "written from the folder"),
    ("Managers/ClipboardManager.cpp", '"Models/Missing.h"', "no header of this project"),
]


class CheckIncludesTest(unittest.TestCase):
    def run_check(self, path, include):
        with tempfile.TemporaryDirectory() as root:
            product = pathlib.Path(root, "Glimmerwick")
            for header in HEADERS:
                (product / header).parent.mkdir(parents=True, exist_ok=True)
                (product / header).write_text("#pragma once\n", encoding="utf-8")
            (product / path).parent.mkdir(parents=True, exist_ok=True)
            (product / path).write_text(f"// A comment.\n#include {include}\n", encoding="utf-8")
            return subprocess.run([CHECK, root], capture_output=True, text=True, check=False)

    def test_accepts_what_the_layers_allow(self):
        for path, include in ALLOWED:
            with self.subTest(path=path, include=include):
                result = self.run_check(path, include)
                self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_refuses_and_names_what_they_forbid(self):
        for path, include, reason in FORBIDDEN:
            with self.subTest(path=path, include=include):
                result = self.run_check(path, include)
                self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
                self.assertIn(f"Glimmerwick/{path}:2: ", result.stdout)
                self.assertIn(reason, result.stdout)

    def test_a_tree_without_sources_is_no_pass(self):
        with tempfile.TemporaryDirectory() as root:
            self.assertNotEqual(subprocess.run([CHECK, root], capture_output=True, check=False).returncode, 0)


if __name__ == "__main__":
    sys.exit(unittest.main())
