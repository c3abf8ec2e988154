# SPDX-License-Identifier: Apache-2.0
"""configuration_file_test.py LAUTHD: what lauthd makes of its configuration file, and how it reports
what is wrong in it."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

LAUTHD = sys.argv[1]


class ConfigurationFile(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)
        self.file = self.directory / "lauthd.conf"

    def check(self, content, *arguments):
        """@return exit status, and the lines of standard error without the file's name. What is
        installed on this machine is not read."""
        for source in ("rules", "ieee"):
            if f"{source} " not in content and f"--{source}" not in arguments:
                arguments += (f"--{source}", "")
        self.file.write_bytes(content.encode())
        return self.run_lauthd("--config", str(self.file), "--check", *arguments)

    def run_lauthd(self, *arguments):
        done = subprocess.run([LAUTHD, *arguments], capture_output=True, check=False, timeout=60)
        errors = done.stderr.decode().replace(str(self.file), "FILE").splitlines()
        return done.returncode, errors

    def rules(self, name, row="iPhone,,Apple,Mobile,iOS"):
        directory = self.directory / name
        directory.mkdir()
        header = "expression,name,vendor,category,os"
        (directory / "user-agent.csv").write_text(f"{header}\n{row}\n", encoding="utf-8")
        return directory

    def assert_fault(self, content, *lines):
        self.assertEqual((2, [f"lauthd: FILE:{line}" for line in lines]), self.check(content))

    def test_an_unknown_option_is_named_with_its_line_and_the_nearest_one(self):
        self.assert_fault("# the daemon\n\nsockett = /run/s\n",
                          '3: unknown option "sockett"; did you mean "socket"?')
        self.assert_fault("rulelimit = 3\n",
                          '1: unknown option "rulelimit"; did you mean "rule-limit"?')

    def test_an_unknown_option_that_is_near_to_none_is_named_alone(self):
        self.assert_fault("xyzzy = 3\n", '1: unknown option "xyzzy"')

    def test_options_of_the_command_line_alone_are_not_options_of_the_file(self):
        self.assert_fault("config = other\n", '1: unknown option "config"')
        self.assert_fault("help = true\n", '1: unknown option "help"')

    def test_an_empty_directory_of_rules_or_registry_stands_for_none(self):
        for empty in ("", '""', "''"):
            self.assertEqual((0, []), self.check(f"rules = {empty}\nieee = {empty}\n"))

    def test_a_directory_that_is_set_must_exist(self):
        for source in ("rules", "ieee"):
            self.assert_fault(f"{source} = /nonexistent\n",
                              f"1: {source}: Directory does not exist: /nonexistent")

    def test_a_default_directory_that_is_missing_is_a_warning(self):
        defaults = dict(re.findall(r"^  --(rules|ieee) DIR=(\S+)$", self.help(), re.M))
        self.assertEqual(["ieee", "rules"], sorted(defaults))
        self.file.write_bytes(b"")
        for source, what in (("rules", "predefined rules"), ("ieee", "registry of address prefixes")):
            if pathlib.Path(defaults[source]).exists():
                continue
            other = "--ieee" if source == "rules" else "--rules"
            self.assertEqual((0, [f"lauthd: no {what}: {defaults[source]} does not exist"]),
                             self.run_lauthd("--config", str(self.file), "--check", other, ""))

    def help(self):
        return subprocess.run([LAUTHD, "--help"], capture_output=True, check=True, text=True,
                              timeout=60).stdout

    def test_a_wrong_word_is_named_with_the_nearest_one(self):
        self.assert_fault("log-level = debgu\n",
                          '1: log-level: unknown level "debgu"; did you mean "debug"?')
        self.assert_fault("module-makers = marked\n",
                          '1: module-makers: unknown way to report makers of modules "marked"; did '
                          'you mean "mark"?')

    def test_a_number_out_of_range_is_reported_with_its_range(self):
        for wrong in ("0", "65537", "-1", "many", "3 4", "4294967297"):
            self.assert_fault(
                f"max-connections = '{wrong}'\n",
                f'1: max-connections: expected a number from 1 to 65536, not "{wrong}"')
        for right in ("1", "65536"):
            self.assertEqual((0, []), self.check(f"max-connections = {right}\n"))

    def test_a_value_that_is_missing_is_reported(self):
        self.assert_fault("socket =\n", "1: socket: the value is missing")
        self.assert_fault("admin-group = ''\n", "1: admin-group: the value is missing")

    def test_a_rule_limit_is_a_number_or_none(self):
        self.assertEqual((0, []), self.check("rule-limit = none\n"))
        self.assertEqual((0, []), self.check("rule-limit = 0\n"))
        self.assert_fault("rule-limit = some\n",
                          '1: rule-limit: expected a number or "none", not "some"')

    def test_an_option_without_a_value_is_true_or_false(self):
        for right in ("timing", "timing = true", "timing = false", "timing # yes"):
            self.assertEqual((0, []), self.check(right + "\n"))
        self.assert_fault("timing = perhaps\n",
                          '1: timing: expected true or false, not "perhaps"')

    def test_every_fault_is_reported_at_once(self):
        self.assert_fault("sockett = 1\nlog-level = info\nidle-timeout = 0\n",
                          '1: unknown option "sockett"; did you mean "socket"?',
                          '3: idle-timeout: expected a number from 1 to 86400, not "0"')

    def test_an_option_that_is_set_twice_is_reported_with_both_lines(self):
        self.assert_fault("idle-timeout = 5\n\nidle-timeout = 6\n",
                          '3: "idle-timeout" is already set on line 1')

    def test_lines_that_are_not_settings_are_reported(self):
        self.assert_fault("[main]\n", "1: sections are not supported")
        self.assert_fault("= 3\n", '1: the name before "=" is missing')
        self.assert_fault("socket = \"/run\n", "1: the closing quote is missing")
        self.assert_fault("socket = '/run' s\n", "1: text after the closing quote")

    def test_comments_quotes_and_blanks_are_read(self):
        rules = self.rules("rules #1")
        self.assertEqual((0, []), self.check(
            f'; old style\r\n  # indented\r\n\trules\t=\t"{rules}" # quoted\r\n'
            "log-level=info # a comment\r\nidle-timeout = '7'"))

    def test_a_hash_within_a_word_belongs_to_it(self):
        rules = self.rules("rules#1")
        self.assertEqual((0, []), self.check(f"rules = {rules}\n"))

    def test_a_directory_that_is_missing_is_named(self):
        self.assert_fault("rules = /nowhere\n", "1: rules: Directory does not exist: /nowhere")

    def test_the_command_line_wins(self):
        bad = f"rules = '{self.rules('bad', 'x')}'\n"
        self.assertEqual(1, self.check(bad)[0])
        self.assertEqual((0, []), self.check(bad, "--rules", str(self.rules("good"))))
        status, errors = self.check("no-database = true\n", "--state-dir", str(self.directory))
        self.assertEqual((2, "lauthd: --state-dir excludes --no-database"), (status, errors[0]))

    def test_a_file_that_was_asked_for_must_be_there(self):
        self.assertEqual("lauthd: cannot read FILE: No such file or directory",
                         self.run_lauthd("--config", str(self.file), "--check")[1][0])
        self.file.mkdir()
        self.assertEqual("lauthd: cannot read FILE: not a file",
                         self.run_lauthd("--config", str(self.file), "--check")[1][0])


class CommandLine(unittest.TestCase):
    def errors(self, *arguments):
        done = subprocess.run([LAUTHD, *arguments], capture_output=True, check=False, timeout=60)
        self.assertEqual(2, done.returncode)
        self.assertEqual(b"", done.stdout)
        first, second = done.stderr.decode().splitlines()
        self.assertEqual('lauthd: "lauthd --help" lists the options', second)
        return first

    def test_an_unknown_option_is_named_with_the_nearest_one(self):
        self.assertEqual('lauthd: unknown option "--sockett"; did you mean "--socket"?',
                         self.errors("--sockett", "/run/s"))
        self.assertEqual('lauthd: unknown option "--staet-dir"; did you mean "--state-dir"?',
                         self.errors("--staet-dir=/var"))

    def test_an_argument_too_many_is_named(self):
        self.assertEqual('lauthd: unexpected argument "start"', self.errors("start"))

    def test_a_wrong_word_is_named_with_the_nearest_one(self):
        self.assertEqual(
            'lauthd: --log-level: unknown level "inof"; did you mean "info"?',
            self.errors("--log-level", "inof"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
