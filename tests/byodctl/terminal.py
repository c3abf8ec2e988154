# SPDX-License-Identifier: Apache-2.0
"""Runs a program at a terminal of its own."""

import contextlib
import fcntl
import os
import pty
import struct
import subprocess
import termios
import threading


class Terminal:
    """A pseudo-terminal of a width; what is written to it is kept."""

    def __init__(self, width):
        self._reader, self.descriptor = pty.openpty()
        fcntl.ioctl(self.descriptor, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))
        self._written = bytearray()
        self._thread = threading.Thread(target=self._read)
        self._thread.start()

    def _read(self):
        with contextlib.suppress(OSError):  # which is how a terminal ends
            while data := os.read(self._reader, 65536):
                self._written += data

    def close(self):
        """@return all that was written"""
        os.close(self.descriptor)
        self._thread.join()
        os.close(self._reader)
        return self._written.decode().replace("\r\n", "\n")


def run_at_terminal(command, width, environment=None):
    """@return exit status, what standard output and standard error showed, each a terminal"""
    out, err = Terminal(width), Terminal(width)
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=out.descriptor,
                              stderr=err.descriptor, check=False, timeout=120,
                              env={**os.environ, "NO_COLOR": "1", **(environment or {})})
    finally:
        shown, reported = out.close(), err.close()
    return done.returncode, shown, reported
