# SPDX-License-Identifier: Apache-2.0
"""byodctl without a daemon that answers: no_daemon_test.py BYODCTL"""

import os
import socket
import sys
import threading
import time
import unittest

from running_daemon import Daemon

BYODCTL = ""

DAEMON_COMMANDS = [
    ("identify", "--user-agent", "x"), ("show", "rules"), ("show", "rule", "mac", "00:11:22/24"),
    ("show", "order"), ("show", "counts"), ("show", "status"), ("show", "unknown"),
    ("show", "authorization"), ("set", "rule", "mac", "00:11:22/24"), ("set", "order", "mac"),
    ("set", "authorization", "g", "t", "a=b"), ("unset", "rule", "mac", "00:11:22/24"),
    ("unset", "order"), ("unset", "authorization", "g"), ("unset", "unknown"), ("import", "-"),
    ("export",), ("watch",), ("backup", "/dev/null"), ("restore", "/bin/sh"),
    ("reload",)]


# What a backup begins with.
BACKUP = b"SQLite format 3\0".ljust(68, b"\0") + b"LADB"


class WithoutDaemon(unittest.TestCase):
    def setUp(self):
        self.daemon = Daemon("", BYODCTL)
        self.addCleanup(self.daemon.close)
        self.peer = self.daemon.directory / "peer"

    def test_every_command_names_the_socket_and_the_reason(self):
        for command in DAEMON_COMMANDS:
            status, out, err = self.daemon.run(*command)
            self.assertEqual((status, out), (2, ""), command)
            self.assertIn(f"{self.daemon.socket}: No such file or directory", err)

    def test_a_socket_without_a_listener(self):
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(str(self.peer))
        status, _, err = self.daemon.run("show", "order", socket_path=self.peer)
        self.assertEqual((status, "Connection refused" in err), (2, True))

    def serve(self, answer):
        """Calls answer(connection) for each client."""
        listener = socket.socket(socket.AF_UNIX)
        self.addCleanup(listener.close)
        listener.bind(str(self.peer))
        listener.listen(64)

        def run():
            while True:
                try:
                    connection, _ = listener.accept()
                except OSError:
                    return
                self.kept.append(connection)
                answer(connection)
        self.kept = []
        self.addCleanup(lambda: [connection.close() for connection in self.kept])
        threading.Thread(target=run, daemon=True).start()

    def test_no_command_waits_longer_than_it_may_for_a_silent_peer(self):
        self.serve(lambda connection: None)
        file = self.daemon.directory / "file"
        file.write_bytes(BACKUP)
        for command in DAEMON_COMMANDS:
            if command[0] == "restore":
                command = ("restore", str(file))
            if command[0] == "backup":
                command = ("backup", str(self.daemon.directory / "b"))
            start = time.monotonic()
            status, _, err = self.daemon.run("--timeout", "0.2", *command, socket_path=self.peer,
                                             stdin="expression,name,vendor,category,os\nx,,,,\n")
            self.assertEqual((status, "did not answer within 0.2 s" in err), (2, True),
                             f"{command} {err}")
            self.assertLess(time.monotonic() - start, 20)
        self.assertFalse((self.daemon.directory / "b").exists())

    def test_a_change_without_an_answer_says_what_may_have_become_of_it(self):
        self.serve(lambda connection: None)
        for command in (("set", "order", "mac"), ("reload",)):
            status, _, err = self.daemon.run("--timeout", "0.2", *command, socket_path=self.peer)
            self.assertEqual(status, 2)
            self.assertIn("the change was made only if the daemon had begun it", err)
        status, _, err = self.daemon.run("--timeout", "0.2", "show", "order", socket_path=self.peer)
        self.assertEqual(status, 2)
        self.assertNotIn("change", err)

    def test_a_peer_that_sends_byte_by_byte_gets_no_longer(self):
        def drip(connection):
            try:
                for byte in b"TLV1" * 100:
                    connection.send(bytes([byte]))
                    time.sleep(0.05)
            except OSError:
                pass
        self.serve(drip)
        start = time.monotonic()
        status, _, _ = self.daemon.run("--timeout", "0.5", "show", "order", socket_path=self.peer)
        self.assertEqual(status, 2)
        self.assertLess(time.monotonic() - start, 15)

    def test_a_peer_that_closes_or_sends_nonsense_is_not_a_daemon(self):
        self.serve(lambda connection: connection.close())
        self.assertEqual(self.daemon.run("show", "order", socket_path=self.peer)[0], 2)
        os.unlink(self.peer)
        self.serve(lambda connection: connection.send(b"HTTP/1.1 200 OK\r\n\r\n"))
        status, _, err = self.daemon.run("show", "order", socket_path=self.peer)
        self.assertEqual((status, "not a message" in err), (2, True))

    def test_a_peer_that_does_not_accept_is_given_up(self):
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(str(self.peer))
            listener.listen(0)
            waiting = []
            self.addCleanup(lambda: [client.close() for client in waiting])
            for _ in range(8):
                client = socket.socket(socket.AF_UNIX)
                client.setblocking(False)
                waiting.append(client)
                if client.connect_ex(str(self.peer)) != 0:
                    break
            status, _, err = self.daemon.run("--timeout", "0.3", "show", "order",
                                             socket_path=self.peer)
        self.assertEqual((status, "Connection timed out" in err), (2, True), err)


if __name__ == "__main__":
    BYODCTL = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
