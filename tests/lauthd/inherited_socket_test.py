# SPDX-License-Identifier: Apache-2.0
"""inherited_socket_test.py LAUTHD: a daemon on the listening socket that a service manager passes on."""

import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import unittest

LAUTHD = sys.argv[1]

COUNT_REQUEST = bytes.fromhex("f94c4d0100000018" "0001000400000002" "0002000400000004")


class InheritedSocket(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)
        self.path = str(self.directory / "s")
        self.listening = socket.socket(socket.AF_UNIX)
        self.addCleanup(self.listening.close)
        self.listening.bind(self.path)
        self.listening.listen()

    def start(self, passed):
        """Starts a daemon with a descriptor, as a service manager does."""
        number = passed.fileno()

        def inherit():
            os.dup2(number, 3)
            os.set_inheritable(3, True)
            os.environ.update(LISTEN_FDS="1", LISTEN_PID=str(os.getpid()))
            words = [LAUTHD, "--config", "/dev/null", "--socket", self.path, "--state-dir",
                     str(self.directory / "state"), "--rules", "", "--ieee", ""]
            os.execv(LAUTHD, words)

        daemon = subprocess.Popen(["unused"], executable="/bin/false", preexec_fn=inherit,
                                  stderr=subprocess.PIPE, close_fds=False)
        self.addCleanup(daemon.stderr.close)
        self.addCleanup(daemon.kill)
        return daemon

    def connect(self):
        client = socket.socket(socket.AF_UNIX)
        self.addCleanup(client.close)
        client.settimeout(60)
        client.connect(self.path)
        client.sendall(COUNT_REQUEST)
        return client

    def stop(self, daemon):
        daemon.terminate()
        self.assertEqual(0, daemon.wait(timeout=60), daemon.stderr.read())

    def test_clients_that_connect_while_no_daemon_runs_are_answered(self):
        early = self.connect()
        first = self.start(self.listening)
        self.assertTrue(early.recv(8))
        self.stop(first)
        between = self.connect()
        second = self.start(self.listening)
        self.assertTrue(between.recv(8))
        self.stop(second)

    def test_the_socket_stays_when_the_daemon_ends(self):
        client = self.connect()
        daemon = self.start(self.listening)
        self.assertTrue(client.recv(8))
        self.stop(daemon)
        self.assertTrue(pathlib.Path(self.path).is_socket())
        self.assertFalse(pathlib.Path(self.path + ".lock").exists())

    def test_another_kind_of_descriptor_is_refused(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as wrong:
            daemon = self.start(wrong)
            self.assertEqual(1, daemon.wait(timeout=60))
            self.assertIn(b"the service manager passes on something else", daemon.stderr.read())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
