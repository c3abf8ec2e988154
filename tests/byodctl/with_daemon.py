# SPDX-License-Identifier: Apache-2.0
"""Test cases with a running lauthd, and the main function of their files: FILE BYODCTL LAUTHD"""

import json
import sys
import unittest

from running_daemon import Daemon


class Programs:
    """The programs under test, from the command line."""
    byodctl = lauthd = ""


class CommandCase(unittest.TestCase):
    """Runs byodctl with self.daemon."""

    daemon = None
    err = ""  # standard error of the last command

    @staticmethod
    def new_daemon():
        return Daemon(Programs.lauthd, Programs.byodctl)

    def command(self, *arguments):
        """The words of a command, for tests that start it themselves."""
        return [Programs.byodctl, "--socket", str(self.daemon.socket), *arguments]

    def ctl(self, *arguments, expect=0, **options):
        """@return standard output"""
        status, out, self.err = self.daemon.run(*arguments, **options)
        self.assertEqual(status, expect, f"{arguments}: {out}{self.err}")
        return out

    def json(self, *arguments, **options):
        return [json.loads(line) for line in self.ctl(*arguments, "--json", **options).splitlines()]


class WithDaemon(CommandCase):
    """A daemon for each test."""

    def setUp(self):
        self.daemon = self.new_daemon()
        self.addCleanup(self.daemon.close)
        self.daemon.start()


class WithSharedDaemon(CommandCase):
    """One daemon for all tests of a class, which leave it as they found it."""

    @classmethod
    def setUpClass(cls):
        cls.daemon = cls.new_daemon()
        cls.addClassCleanup(cls.daemon.close)
        cls.daemon.start()


def main(verbosity=1):
    Programs.byodctl, Programs.lauthd = sys.argv[1:3]
    unittest.main(module="__main__", argv=[sys.argv[0], *sys.argv[3:]], verbosity=verbosity)
