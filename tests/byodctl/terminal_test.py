# SPDX-License-Identifier: Apache-2.0
"""byodctl where a person sits: at a terminal, and over a restart of the daemon.

terminal_test.py BYODCTL LAUTHD
"""

import contextlib
import json
import os
import pty
import queue
import subprocess
import threading
import time

from with_daemon import WithDaemon, main


class WithProcesses(WithDaemon):
    def spawn(self, *arguments, **options):
        process = subprocess.Popen(self.command(*arguments),
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                   **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        for stream in (process.stdout, process.stderr):
            self.addCleanup(stream.close)
        return process


class Watch(WithProcesses):
    def watch(self, *options):
        """@return the process, and its lines of standard error as they come"""
        process = self.spawn("watch", *options)
        lines = queue.Queue()

        def read():
            with contextlib.suppress(ValueError):
                for line in process.stderr:
                    lines.put(line)
        threading.Thread(target=read, daemon=True).start()
        return process, lines

    def test_goes_on_when_the_daemon_comes_back(self):
        process, messages = self.watch("--count", "2")
        self.assertEqual(messages.get(timeout=60), "byodctl: watching\n")
        self.daemon.run("identify", "--user-agent", "iPhone")
        self.assertIn('name="Apple iPhone"', process.stdout.readline())
        self.daemon.stop()
        self.assertEqual(messages.get(timeout=60),
                         "byodctl: lost the daemon, waiting for it to come back\n")
        time.sleep(1)  # several attempts, one message
        self.assertTrue(messages.empty())
        self.assertEqual(process.poll(), None)
        self.daemon.start()
        self.assertEqual(messages.get(timeout=60), "byodctl: watching\n")
        self.daemon.run("identify", "--user-agent", "Android")
        self.assertIn('os="Android"', process.stdout.readline())
        self.assertEqual(process.wait(timeout=60), 0)

    def test_writes_nothing_but_json_to_standard_output_over_a_restart(self):
        process, messages = self.watch("--count", "1", "--json")
        deadline = time.monotonic() + 60
        while json.loads(self.daemon.run("show", "status", "--json")[1])["watchers"] == 0:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)
        self.daemon.stop()
        self.assertIn("lost the daemon", messages.get(timeout=60))
        self.daemon.start()
        self.assertIn("watching", messages.get(timeout=60))
        self.daemon.run("identify", "--user-agent", "iPhone")
        (line,) = process.stdout.readlines()
        self.assertEqual(json.loads(line)["name"], "Apple iPhone")
        self.assertEqual(process.wait(timeout=60), 0)

    def test_of_nothing_ends_at_once(self):
        for options in ((), ("--json",)):
            process = self.spawn("watch", "--count", "0", *options)
            self.assertEqual(process.wait(timeout=60), 0)
            self.assertEqual(process.stdout.read(), "")

    def test_without_a_daemon_at_the_start_ends_with_2(self):
        self.daemon.stop()
        self.assertEqual(self.spawn("watch", "--count", "0").wait(timeout=60), 2)


class AtATerminal(WithProcesses):
    def test_identify_says_what_it_waits_for(self):
        keyboard, terminal = pty.openpty()
        self.addCleanup(os.close, keyboard)
        process = self.spawn("identify", stdin=terminal)
        os.close(terminal)
        message = process.stderr.readline()
        self.assertEqual(message, "byodctl: reading fingerprints from the terminal until Ctrl-D; "
                                  "see byodctl identify --help\n")
        self.assertEqual(process.poll(), None)
        os.write(keyboard, b"user_agent\niPhone\n\x04")
        out, _ = process.communicate(timeout=60)
        self.assertIn("Apple iPhone", out)
        self.assertEqual(process.returncode, 0)

    def test_identify_says_nothing_of_it_elsewhere(self):
        _, _, err = self.daemon.run("identify", stdin="user_agent\niPhone\n")
        self.assertNotIn("terminal", err)


if __name__ == "__main__":
    main()
