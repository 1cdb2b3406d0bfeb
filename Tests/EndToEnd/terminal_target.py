#!/usr/bin/python3
"""Runs in a terminal and writes every byte that the terminal sends to a file, as it comes: keys and pasted text
alike, nothing interpreted.

usage: terminal_target.py FILE
"""

import os
import sys
import tty


def main():
    path = sys.argv[1]
    tty.setraw(sys.stdin.fileno())
    received = bytearray()
    while True:
        with open(f"{path}.new", "wb") as file:
            file.write(received)
        os.replace(f"{path}.new", path)
        piece = os.read(sys.stdin.fileno(), 65536)
        if not piece:
            return
        received += piece


if __name__ == "__main__":
    main()
