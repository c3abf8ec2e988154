# SPDX-License-Identifier: Apache-2.0
"""What byodctl answers to commands that people type: transcript_test.py BYODCTL LAUTHD [FILE...]

Runs the commands of transcript/*.txt (or of the files given) and compares everything they write and
their exit status. Each file starts with a new lauthd that has the rules of transcript/rules.

  # a comment
  $ byodctl show ruels        a command, for bash in the directory of the daemon
  | a line of standard output
  ! a line of standard error
  = 1                         the exit status
  % restart                   restarts the daemon; % stop and % start do half of it

To write the output of the commands into the files instead, after a change or with new commands:

  transcript_test.py --write BYODCTL LAUTHD [FILE...]

then read `git diff`. Only what differs from run to run is replaced by a word, see VARYING.
"""

import contextlib
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).parent
BYODCTL = LAUTHD = ""
FILES = []

VARYING = [
    (re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z"), "TIME"),
    (re.compile(r'"uptime_s":\d+'), '"uptime_s":SECONDS'),
    (re.compile(r"^(up for +)\d\d:\d\d:\d\d$", re.MULTILINE), r"\1TIME"),
    (re.compile(r'"bytes":\d+'), '"bytes":NUMBER'),
    (re.compile(r"\bpid \d+"), "pid NUMBER"),
    # The last client may not be gone yet.
    (re.compile(r'"connections":\d+'), '"connections":NUMBER'),
    (re.compile(r"^(connections +)\d+$", re.MULTILINE), r"\1NUMBER"),
    (re.compile(r'"user_id":\d+'), '"user_id":NUMBER'),
    (re.compile(r"^(byodctl |version +)\d+\.\d+\.\d+$", re.MULTILINE), r"\1VERSION"),
    (re.compile(r'"version":"\d+\.\d+\.\d+"'), '"version":"VERSION"'),
    # In the order in which the options lie in memory.
    (re.compile(r"(?<=Excludes: )--\S+(?: --\S+)*"), lambda it: " ".join(sorted(it[0].split()))),
]


class Place:
    """A directory with a daemon, in which commands run: every path they show is relative."""

    def __init__(self):
        self._scratch = tempfile.TemporaryDirectory()
        self.directory = pathlib.Path(self._scratch.name)
        shutil.copytree(HERE / "transcript" / "rules", self.directory / "rules")
        commands = self.directory / "bin"
        commands.mkdir()
        patience = os.environ.get("BYOD_TEST_PATIENCE")  # seconds, where programs are emulated
        options = f"--timeout {patience}" if patience else ""
        wrapper = commands / "byodctl"
        wrapper.write_text(f'#!/bin/sh\nexec "{BYODCTL}" {options} "$@"\n', encoding="utf-8")
        wrapper.chmod(0o755)
        self._environment = {"PATH": f"{commands}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8",
                             "TERM": "dumb", "HOME": str(self.directory), "LAUTHD_PROGRAM": LAUTHD,
                             "LAUTHD_SOCKET": "lauthd.sock"}
        for name in ("LD_LIBRARY_PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS",
                     "LSAN_OPTIONS", "GCOV_PREFIX", "GCOV_PREFIX_STRIP"):
            if name in os.environ:
                self._environment[name] = os.environ[name]
        self._daemon = None

    def start(self):
        with open(self.directory / "log", "ab") as log:
            self._daemon = subprocess.Popen(
                [LAUTHD, "--socket", "lauthd.sock", "--state-dir", "state", "--rules", "rules",
                 "--ieee", ""],
                cwd=self.directory, env=self._environment, stdout=log, stderr=log)
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline and self._daemon.poll() is None:
            with contextlib.closing(socket.socket(socket.AF_UNIX)) as probe:
                with contextlib.suppress(OSError):
                    probe.connect(str(self.directory / "lauthd.sock"))
                    return
            time.sleep(0.02)
        raise RuntimeError("lauthd does not start: " + (self.directory / "log").read_text())

    def stop(self):
        if self._daemon is not None:
            self._daemon.terminate()
            self._daemon.wait(timeout=60)
            self._daemon = None

    def control(self, word):
        if word in ("stop", "restart"):
            self.stop()
        if word in ("start", "restart"):
            self.start()

    def close(self):
        self.stop()
        self._scratch.cleanup()

    def run(self, command):
        """@return what a transcript has below the command"""
        done = subprocess.run(["bash", "-c", command], cwd=self.directory, env=self._environment,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False,
                              timeout=120)
        return (marked("|", done.stdout) + marked("!", done.stderr) + [f"= {done.returncode}"])


def marked(mark, output):
    text = output.decode(errors="backslashreplace")
    for pattern, word in VARYING:
        text = pattern.sub(word, text)
    lines = text.split("\n")
    if lines[-1] == "":
        lines.pop()
    else:
        lines[-1] += "\\"  # no line end
    return [f"{mark} {line}".rstrip(" ") if line == "" else f"{mark} {line}" for line in lines]


def play(path):
    """@return the lines of a transcript as they are, and as they should be by the programs"""
    lines = path.read_text(encoding="utf-8").splitlines()
    place = Place()
    played = []
    try:
        place.start()
        for line in lines:
            if line.startswith("$ "):
                played += [line, *place.run(line[2:])]
            elif line.startswith("% "):
                place.control(line[2:])
                played.append(line)
            elif line[:1] not in ("|", "!", "="):
                played.append(line)
    finally:
        place.close()
    return lines, played


class Transcripts(unittest.TestCase):
    maxDiff = None

    def test_every_command_answers_as_written(self):
        commands = 0
        for path in FILES:
            with self.subTest(path.name):
                lines, played = play(path)
                commands += sum(line.startswith("$ ") for line in lines)
                self.assertEqual("\n".join(lines), "\n".join(played))
        if len(FILES) > 1:
            self.assertGreaterEqual(commands, 60)


def write():
    for path in FILES:
        path.write_text("\n".join(play(path)[1]) + "\n", encoding="utf-8")


if __name__ == "__main__":
    arguments = sys.argv[1:]
    writes = "--write" in arguments
    arguments = [argument for argument in arguments if argument != "--write"]
    BYODCTL, LAUTHD = (os.path.abspath(program) for program in arguments[:2])
    FILES = [pathlib.Path(name) for name in arguments[2:]] or \
        sorted((HERE / "transcript").glob("*.txt"))
    if writes:
        write()
    else:
        unittest.main(argv=sys.argv[:1])
