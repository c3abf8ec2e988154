# SPDX-License-Identifier: Apache-2.0
"""completion_test.py BYODCTL LAUTHD SOURCES: the completions of the command line, by the
shells that are there."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BYODCTL, LAUTHD, SOURCES = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
sys.path.insert(0, str(SOURCES / "tests" / "byodctl"))

import running_daemon  # noqa: E402

COMPLETION = SOURCES / "integrations" / "completion"


def help_of(*command):
    return subprocess.run([BYODCTL, *command, "--help"], capture_output=True, text=True, check=True,
                          timeout=60).stdout


def listed(*words):
    return re.findall(r"^  ([a-z]+)(?: |$)", help_of(*words).partition("Commands:")[2], re.M)


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.scratch.name)
        (cls.root / "byod").mkdir()
        (cls.root / "byod" / "byodctl-complete").symlink_to(COMPLETION / "byodctl-complete")
        for shell in ("bash", "zsh", "fish"):
            text = (COMPLETION / f"byodctl.{shell}.in").read_text(encoding="utf-8")
            (cls.root / f"byodctl.{shell}").write_text(text.replace("@libexecdir@", str(cls.root)),
                                                       encoding="utf-8")
        programs = cls.root / "bin"
        programs.mkdir()
        (programs / "byodctl").symlink_to(pathlib.Path(BYODCTL).resolve())
        cls.daemon = running_daemon.Daemon(LAUTHD, BYODCTL)
        cls.daemon.start()
        for change in (("rule", "user-agent", 'Nokia&&Mo"bile', "--vendor", "Nokia"),
                       ("rule", "mac", "02:11:22/24", "--name", "Reader"),
                       ("authorization", "staff", "Mobile", "vlan=20", "x-own=1"),
                       ("authorization", "guests", "*", "acl=web")):
            status, _, errors = cls.daemon.run("set", *change)
            assert status == 0, errors
        cls.environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}", "HOME": str(cls.root),
                           "LAUTHD_SOCKET": str(cls.daemon.socket), "LC_ALL": "C.UTF-8"}

    @classmethod
    def tearDownClass(cls):
        cls.daemon.close()
        cls.scratch.cleanup()

    def run_it(self, *command):
        done = subprocess.run(command, capture_output=True, text=True, check=True, timeout=60,
                              env=self.environment, cwd=self.root)
        self.assertEqual("", done.stderr)
        return done.stdout.splitlines()

    def complete(self, *words):
        """The choices, without what they mean."""
        lines = self.run_it(COMPLETION / "byodctl-complete", *words)
        return [line.split("\t")[0] for line in lines]

    def test_the_commands_are_those_of_the_help(self):
        self.assertLess(10, len(listed()))
        self.assertEqual(listed(), self.complete(""))
        for verb in ("show", "set", "unset", "check"):
            self.assertEqual(listed(verb), self.complete(verb, ""))

    def test_the_options_are_those_of_the_help(self):
        for verb in listed():
            for command in [(verb, noun) for noun in listed(verb)] if verb != "help" else []:
                self.compare_options(command)
            if verb not in ("help", "show", "set", "unset", "check"):
                self.compare_options((verb,))

    def compare_options(self, command):
        options = re.findall(r"^  (?:-h,)?(--[a-z-]+)", help_of(*command) + help_of(), re.M)
        self.assertEqual(sorted(set(options)), sorted(self.complete(*command, "--")), command)

    def test_every_command_and_option_is_explained(self):
        for words in (("",), ("--",), ("show", ""), ("identify", "--"), ("show", "rules", "--")):
            for line in self.run_it(COMPLETION / "byodctl-complete", *words):
                self.assertRegex(line, r"^\S+\t[A-Za-z;]")
                self.assertNotRegex(line, "Needs:|Excludes:")

    def test_values_are_those_of_the_daemon(self):
        self.assertEqual(["mac", "user-agent", "dhcp-option"], self.complete("show", "rule", ""))
        self.assertEqual(['Nokia&&Mo"bile'], self.complete("set", "rule", "user-agent", ""))
        self.assertEqual(["02:11:22:00:00:00/24"], self.complete("sh", "rule", "mac", ""))
        self.assertEqual(["guests", "staff"], sorted(self.complete("show", "authorization", "")))
        self.assertIn("Mobile", self.complete("set", "authorization", "staff", ""))
        self.assertEqual(["vlan", "x-own"], self.complete("unset", "authorization", "staff", "Mobile", ""))
        self.assertIn("x-own=", self.complete("set", "authorization", "staff", "Mobile", ""))
        self.assertIn("vlan=", self.complete("set", "authorization", "staff", "Mobile", "a=1", ""))
        self.assertIn("Nokia", self.complete("set", "rule", "mac", "02:33/16", "--vendor", "No"))

    def test_words_of_fixed_lists(self):
        self.assertEqual(["auto", "tsv", "json"], self.complete("identify", "--input", ""))
        self.assertEqual(["mac,dhcp", "mac,user-agent"], self.complete("set", "order", "mac,"))
        self.assertEqual(["brand,off", "brand,host-name", "brand,vendor-class", "brand,option-list",
                          "brand,dhcp-client"], self.complete("identify", "--evidence", "brand,"))
        self.assertEqual([":files"], self.complete("import", ""))
        self.assertEqual([":directories"], self.complete("check", "rules", ""))
        self.assertEqual([":files"], self.complete("--socket", ""))
        self.assertEqual(listed("show"), self.complete("--socket", "/nowhere", "show", "c"))
        self.assertEqual([], self.complete("identify", "--mac", ""))

    def test_without_a_daemon_commands_and_options_are_completed(self):
        self.assertEqual([], self.complete("--socket", "/nowhere", "set", "rule", "mac", ""))
        self.assertIn("--vendor", self.complete("--socket", "/nowhere", "set", "rule", "--"))

    def test_bash(self):
        def complete(*words):
            line = " ".join(f"'{word}'" for word in ("byodctl", *words))
            return self.run_it("bash", "-uc", f"source byodctl.bash; COMP_WORDS=({line}); "
                               f"COMP_CWORD={len(words)}; _byodctl; printf '%s\\n' \"${{COMPREPLY[@]}}\"")
        self.assertEqual(["counts"], complete("show", "cou"))
        self.assertEqual(["mac"], complete("show", "rules", "ma"))
        self.assertEqual(["byodctl.bash"], complete("import", "byodctl.b"))
        self.assertEqual(['Nokia&&Mo"bile'], complete("set", "rule", "user-agent", ""))

    @unittest.skipUnless(shutil.which("fish"), "needs fish")
    def test_fish(self):
        def complete(line):
            words = self.run_it("fish", "--no-config", "-c",
                                f"source byodctl.fish; complete -C '{line}'")
            return [word.split("\t")[0] for word in words]
        self.assertEqual(["counts"], complete("byodctl show cou"))
        self.assertEqual(["02:11:22:00:00:00/24"], complete("byodctl set rule mac 02"))
        self.assertEqual(["byodctl.bash"], complete("byodctl import byodctl.b"))

    @unittest.skipUnless(shutil.which("zsh"), "needs zsh")
    def test_zsh(self):
        (self.root / "_byodctl").write_text((self.root / "byodctl.zsh").read_text(encoding="utf-8"),
                                            encoding="utf-8")
        # What the completion hands to zsh is written in place of shown.
        script = ("fpath=(. $fpath); _describe() { print -rl -- ${(P)2} }; _files() { print files $@ }; "
                  "autoload -Uz _byodctl; words=(byodctl {}); CURRENT={}; _byodctl")

        def complete(*given):
            line = " ".join(f"'{word}'" for word in given)
            return self.run_it("zsh", "-fc", script.replace("{}", line, 1).replace("{}", str(len(given) + 1)))
        self.assertIn("counts:Show the number of rules of each kind", complete("show", ""))
        self.assertEqual(["02\\:11\\:22\\:00\\:00\\:00/24:"], complete("set", "rule", "mac", ""))
        self.assertEqual(["files -/"], complete("check", "rules", ""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
