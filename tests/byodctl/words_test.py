# SPDX-License-Identifier: Apache-2.0
"""The words of byodctl's command line: words_test.py BYODCTL"""

import subprocess
import sys
import unittest

BYODCTL = ""


class Words(unittest.TestCase):
    def run_ctl(self, *arguments):
        return subprocess.run([BYODCTL, "--socket", "/nonexistent/socket", *arguments],
                              capture_output=True, text=True, check=False)

    def test_words_may_be_cut_short_while_they_are_clear(self):
        for command in (("sh", "o"), ("sho", "statu"), ("un", "o"), ("rel",), ("exp", "m")):
            self.assertEqual(self.run_ctl(*command).returncode, 2, command)
        self.assertEqual(self.run_ctl("show", "rule", "mac", "00:11:22/24").returncode, 2)
        for command, choices in ((("s", "order"), '"s" is ambiguous: set, show'),
                                 (("show", "ru"), '"ru" is ambiguous: rule, rules'),
                                 (("re",), '"re" is ambiguous: rebind, reload, restore')):
            done = self.run_ctl(*command)
            self.assertEqual((done.returncode, choices in done.stderr), (1, True), done.stderr)

    def test_bad_usage_is_1(self):
        for command in ((), ("nothing",), ("show",), ("show", "nothing"), ("show", "order", "x"),
                        ("--timeout", "0", "show", "order"), ("identify", "--rules", "/"),
                        ("identify", "--offline", "--group", "g")):
            self.assertEqual(self.run_ctl(*command).returncode, 1, command)

    def test_the_help_lists_every_exit_status(self):
        out = subprocess.run([BYODCTL, "--help"], capture_output=True, text=True, check=True).stdout
        for status in range(6):
            self.assertRegex(out, rf"(?m)^ *{status}  ")


if __name__ == "__main__":
    BYODCTL = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
