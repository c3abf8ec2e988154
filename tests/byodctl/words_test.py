# SPDX-License-Identifier: Apache-2.0
"""The words of byodctl's command line: words_test.py BYODCTL COMPLETION"""

import re
import subprocess
import sys
import unittest

BYODCTL = COMPLETION = ""


def commands_of_help():
    """All commands, as the help lists them."""
    def listed(*arguments):
        out = subprocess.run([BYODCTL, *arguments, "--help"], capture_output=True, text=True,
                             check=True).stdout
        return re.findall(r"^  ([a-z]+)(?: |$)", out.partition("Commands:")[2], re.MULTILINE)
    commands = []
    for verb in listed():
        if verb in ("show", "set", "unset", "check"):
            commands += [f"{verb} {noun}" for noun in listed(verb)]
        else:
            commands.append(verb)
    return commands


class Words(unittest.TestCase):
    def run_ctl(self, *arguments):
        return subprocess.run([BYODCTL, "--socket", "/nonexistent/socket", *arguments],
                              capture_output=True, text=True, check=False)

    def test_words_may_be_cut_short_while_they_are_clear(self):
        for command in (("sh", "o"), ("sho", "stat"), ("un", "o"), ("rel",), ("exp", "m")):
            self.assertEqual(self.run_ctl(*command).returncode, 2, command)
        self.assertEqual(self.run_ctl("show", "rule", "mac", "00:11:22/24").returncode, 2)
        for command, choices in ((("s", "order"), '"s" is ambiguous: set, show'),
                                 (("show", "ru"), '"ru" is ambiguous: rule, rules'),
                                 (("re",), '"re" is ambiguous: reload, restore')):
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

    def complete(self, *words):
        line = " ".join(f"'{word}'" for word in ("byodctl", *words))
        script = (f"source '{COMPLETION}'; COMP_WORDS=({line}); COMP_CWORD={len(words)}; "
                  "_byodctl; printf '%s\\n' \"${COMPREPLY[@]}\"")
        done = subprocess.run(["bash", "-uc", script], capture_output=True, text=True, check=True)
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    def test_completion_knows_every_command_and_no_other(self):
        subprocess.run(["bash", "-n", COMPLETION], check=True)
        completed = []
        for verb in self.complete(""):
            if verb.startswith("-"):
                continue
            nouns = [noun for noun in self.complete(verb, "") if not noun.startswith("-")]
            if verb in ("show", "set", "unset", "check"):
                completed += [f"{verb} {noun}" for noun in nouns]
            else:
                completed.append(verb)
        self.assertGreater(len(completed), 20)
        self.assertEqual(sorted(completed), sorted(commands_of_help()))

    def test_completion_knows_the_options_of_every_command(self):
        for command in commands_of_help():
            out = subprocess.run([BYODCTL, *command.split(), "--help"], capture_output=True,
                                 text=True, check=True).stdout
            options = set(re.findall(r"^  (?:-h,)?(--[a-z-]+)", out, re.MULTILINE))
            self.assertTrue(options)
            self.assertLessEqual(options, set(self.complete(*command.split(), "--")), command)
        self.assertEqual(self.complete("show", "rules", "ma"), ["mac"])
        self.assertEqual(self.complete("--socket", "x", "show", "cou"), ["counts"])


if __name__ == "__main__":
    BYODCTL, COMPLETION = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
