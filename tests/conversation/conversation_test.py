# SPDX-License-Identifier: Apache-2.0
"""What one machine writes another reads: conversation_test.py ONE OTHER

ONE and OTHER are folders with the programs byodctl, lauthd and message_forms of two builds, for two
kinds of machine or for the same. Each talks to the other's daemon, opens the database that the
other's daemon has left, restores the other's backup and reads the other's messages.
"""

import filecmp
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "byodctl"))
from running_daemon import Daemon  # noqa: E402

ONE = OTHER = pathlib.Path()


class Conversation(unittest.TestCase):
    def both_ways(self):
        return (ONE, OTHER), (OTHER, ONE)

    def daemon(self, builds, client):
        daemon = Daemon(builds / "lauthd", client / "byodctl")
        self.addCleanup(daemon.close)
        daemon.start()
        return daemon

    def ctl(self, daemon, *arguments, expect=0, stdin=""):
        status, out, err = daemon.run(*arguments, stdin=stdin)
        self.assertEqual(status, expect, f"{arguments}: {out}{err}")
        return out

    def json(self, daemon, *arguments, **options):
        return [json.loads(line)
                for line in self.ctl(daemon, *arguments, "--json", **options).splitlines()]

    def change_everything(self, daemon):
        """One change of every kind that a database keeps."""
        self.ctl(daemon, "set", "rule", "mac", "00:99:88/24", "--vendor", "Mine", "--name", "Own")
        self.ctl(daemon, "set", "rule", "mac", "00:11:22/24", "--os", "Changed")
        self.ctl(daemon, "set", "rule", "user-agent", "iPhone", "--os", "iPadOS")
        self.ctl(daemon, "set", "rule", "user-agent", "Zebra&&Print", "--category", "Printer")
        self.ctl(daemon, "set", "rule", "dhcp-option", "1,121,252", "--name", "Söme phone")
        self.ctl(daemon, "set", "order", "mac", "dhcp")
        self.ctl(daemon, "set", "authorization", "staff", "Mobile", "vlan=20", "acl=phones")

    def all_of(self, daemon):
        return {what: self.json(daemon, "show", *what.split())
                for what in ("rules", "counts", "order", "authorization")}

    def test_a_front_end_is_answered_by_the_others_daemon(self):
        for mine, theirs in self.both_ways():
            daemon = self.daemon(theirs, client=mine)
            self.change_everything(daemon)
            everything = self.all_of(daemon)
            self.assertEqual([rule["key"] for rule in everything["rules"]],
                             ["00:11:22:00:00:00/24", "00:99:88:00:00:00/24", "Android",
                              "Zebra&&Print", "iPhone", "1,121,252", "1,3,6"])
            self.assertEqual(everything["order"], [{"order": ["mac", "dhcp"]}])
            (answer,) = self.json(daemon, "identify", "--mac", "0099.8812.3456", "--group", "staff")
            self.assertEqual((answer["vendor"], answer["name"]), ("Mine", "Own"))
            self.ctl(daemon, "identify", "--mac", "0077.8812.3456", "--user-agent", "iPhone",
                     expect=3)
            # The same through the other's own front end.
            own = self.daemon(theirs, client=theirs)
            self.change_everything(own)
            self.assertEqual(self.all_of(own), everything)

    def test_a_database_is_opened_by_the_other_and_handed_back(self):
        for mine, theirs in self.both_ways():
            daemon = self.daemon(mine, client=mine)
            self.change_everything(daemon)
            before = self.all_of(daemon)
            self.assertEqual(daemon.stop(), 0)
            daemon.use(theirs / "lauthd", theirs / "byodctl")
            daemon.start()
            self.assertEqual(self.all_of(daemon), before)
            self.ctl(daemon, "set", "rule", "mac", "00:99:88/24", "--vendor", "Theirs")
            self.ctl(daemon, "unset", "rule", "user-agent", "Zebra&&Print")
            self.ctl(daemon, "set", "rule", "user-agent", "Added", "--vendor", "Theirs")
            self.ctl(daemon, "set", "order", "user-agent")
            changed = self.all_of(daemon)
            self.assertNotEqual(changed, before)
            self.assertEqual(daemon.stop(), 0)
            daemon.use(mine / "lauthd", mine / "byodctl")
            daemon.start()
            self.assertEqual(self.all_of(daemon), changed)

    def test_a_backup_is_restored_by_the_other(self):
        for mine, theirs in self.both_ways():
            daemon = self.daemon(mine, client=theirs)
            self.change_everything(daemon)
            backup = daemon.directory / "backup"
            self.ctl(daemon, "backup", str(backup))
            elsewhere = self.daemon(theirs, client=mine)
            self.ctl(elsewhere, "restore", str(backup))
            self.assertEqual(self.all_of(elsewhere), self.all_of(daemon))

    def test_messages_are_read_by_the_other_and_have_the_same_bytes(self):
        with tempfile.TemporaryDirectory() as scratch:
            folders = {}
            for name, builds in (("one", ONE), ("other", OTHER)):
                folders[name] = pathlib.Path(scratch) / name
                folders[name].mkdir()
                subprocess.run([builds / "message_forms", "write", folders[name]], check=True)
            for builds, name in ((ONE, "other"), (OTHER, "one")):
                subprocess.run([builds / "message_forms", "read", folders[name]], check=True)
            names = sorted(path.name for path in folders["one"].iterdir())
            self.assertEqual(len(names), 5)
            same, _, _ = filecmp.cmpfiles(folders["one"], folders["other"], names, shallow=False)
            self.assertEqual(sorted(same), names)


if __name__ == "__main__":
    ONE, OTHER = (pathlib.Path(folder) for folder in sys.argv[1:3])
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
