# SPDX-License-Identifier: Apache-2.0
"""Captures read by byodctl and by tshark: compare_captures_test.py BYODCTL SCRIPT"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from captures import RANDOM, RAW, capture, dhcp, ethernet, http

BYODCTL = SCRIPT = ""

AGENTS = ["Mozilla/5.0 (Linux; Android 9; SM-G960F) Mobile", "a \\ and a\ttab", "\"quoted\", and",
          "one && two || three", "ONE && two", "Ü is not of ASCII", "x" * 300, "  blanks around  "]
STATIONS = {
    "lists.pcap": capture([ethernet(dhcp([1, 3, 6])), ethernet(dhcp([6, 3, 1])),
                           ethernet(dhcp([9] * 40, RANDOM), RANDOM),
                           ethernet(dhcp([1, 3, 6]), tags=b"\x81\x00\x00\x07")]),
    "agents.pcap": capture([ethernet(http(agent, port=40000 + n))
                            for n, agent in enumerate(AGENTS)] +
                           [ethernet(http(AGENTS[0], port=50000), RANDOM)]),
    "raw.pcap": capture([http("an iPhone"), http("an iPhone", "192.0.2.11")], RAW),
    "both.pcap": capture([ethernet(dhcp([1, 3])), ethernet(http("an iPhone")),
                          ethernet(dhcp([1, 6])), ethernet(http("another", port=50000))]),
}


class Comparison(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)
        self.captures = self.directory / "captures"
        self.captures.mkdir()

    def compare(self, *files, byodctl=None):
        for name in files:
            (self.captures / name).write_bytes(STATIONS[name])
        done = subprocess.run([sys.executable, SCRIPT, "--byodctl", byodctl or BYODCTL, "--jobs", "2",
                               self.captures], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout.replace(f"{self.captures}/", ""), done.stderr

    def wrong_byodctl(self, change):
        """A program that changes a line or two of what byodctl writes, by a command of sed."""
        path = self.directory / "wrong"
        path.write_text(f'#!/bin/bash\n"{BYODCTL}" "$@" | sed "{change}"\nexit ${{PIPESTATUS[0]}}\n')
        path.chmod(0o755)
        return path

    def test_both_read_the_same_of_lists_user_agents_and_stations(self):
        status, out, err = self.compare(*STATIONS)
        self.assertEqual((status, out), (0, "captures read by both: 4; packets that byodctl calls "
                                            "malformed: 0\n"
                                            "option lists of stations that both read: 5\n"
                                            "User-Agents of stations that both read: 13\n"
                                            "no difference\n"), err)

    def test_what_byodctl_misses_is_a_difference(self):
        status, out, _ = self.compare("both.pcap", byodctl=self.wrong_byodctl("s/another//; s/1,6//"))
        self.assertEqual(status, 1)
        self.assertIn("     1  option list that only tshark reads, in a plain packet\n"
                      "        both.pcap: packet 3: 00:11:22:33:44:55 1,6\n", out)
        self.assertIn("     1  User-Agent that only tshark reads, in a plain packet\n"
                      "        both.pcap: packet 4: 00:11:22:33:44:55 another\n", out)

    def test_what_only_byodctl_reads_is_a_difference(self):
        status, out, _ = self.compare("both.pcap", byodctl=self.wrong_byodctl("2 s/1,3/7,8/"))
        self.assertEqual(status, 1)
        self.assertIn("     1  option list that only byodctl reads\n"
                      "        both.pcap: 00:11:22:33:44:55 7,8\n", out)

    def test_evidence_of_another_station_is_a_difference(self):
        status, out, _ = self.compare("both.pcap", byodctl=self.wrong_byodctl("s/55/66/"))
        self.assertEqual(status, 1)
        self.assertIn("     2  User-Agent of another station\n"
                      "        both.pcap: packet 2: 00:11:22:33:44:55 an iPhone "
                      "(byodctl: 00:11:22:33:44:66)\n", out)
        self.assertIn("     2  option list that only byodctl reads\n", out)

    def test_a_file_that_one_program_refuses_is_a_difference(self):
        lacking = self.directory / "lacking"
        lacking.write_text('#!/bin/sh\n[ "$1" != --version ] || exit 0\n'
                           'echo "byodctl: $3: no" >&2\nexit 1\n')
        lacking.chmod(0o755)
        status, out, _ = self.compare("raw.pcap", byodctl=lacking)
        self.assertEqual(status, 1)
        self.assertIn("     1  file that only tshark reads: FILE: no\n"
                      "        raw.pcap: 2 packets with evidence\n", out)

    def test_a_folder_without_captures_is_a_mistake(self):
        (self.captures / "notes.txt").write_text("none")
        status, out, err = self.compare()
        self.assertEqual((status, out), (2, ""))
        self.assertIn("no capture in", err)


if __name__ == "__main__":
    if not shutil.which("tshark"):
        print("skipped: tshark is not installed (scripts/setup.sh captures)")
        sys.exit(0)
    if "BYOD_EMULATED" in os.environ:
        print("skipped: a wrapper cannot start the program on this machine")
        sys.exit(0)
    BYODCTL, SCRIPT = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
