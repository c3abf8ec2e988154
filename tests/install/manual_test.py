# SPDX-License-Identifier: Apache-2.0
"""manual_test.py BYODCTL LAUTHD SOURCES [PAGES]: the manual pages know what the programs know.

PAGES is where the build has made them, if it has.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import unittest

BYODCTL, LAUTHD, SOURCES = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
PAGES = pathlib.Path(sys.argv[4]) if len(sys.argv) > 4 else None


def source(page):
    return (SOURCES / "man" / f"{page}.scd").read_text(encoding="utf-8")


def section(page, name):
    return re.search(rf"^# {name}\n(.*?)(?=^# |\Z)", source(page), re.M | re.S)[1]


def entries(text):
    """The options that have an entry in a piece of a page."""
    lines = re.findall(r"^(?:\*-\w\*, )?(?:\*--[a-z-]+\*(?: _\w+_)?(?:, )?)+$", text, re.M)
    return sorted(option for line in lines for option in re.findall(r"--[a-z-]+", line))


def help_of(*command):
    return subprocess.run([*command, "--help"], capture_output=True, text=True, check=True,
                          timeout=60).stdout


def options_of(text):
    return sorted(re.findall(r"^  (?:-\w, ?)?(--[a-z-]+)", text, re.M))


def commands():
    """All commands, with the words of their usage behind the options."""
    def listed(*words):
        text = help_of(BYODCTL, *words)
        return re.findall(r"^  ([a-z]+)(?: |$)", text.partition("Commands:")[2], re.M)
    found = {}
    for verb in listed():
        if verb == "help":
            found["help"] = "[COMMAND]"  # its help is that of the program
            continue
        for words in [(verb, noun) for noun in listed(verb)] or [(verb,)]:
            usage = re.search(r"^Usage: byodctl (.*) \[OPTIONS\] ?(.*)$",
                              help_of(BYODCTL, *words), re.M)
            found[usage[1]] = usage[2]
    return found


class Version(unittest.TestCase):
    def test_both_programs_have_the_version_of_the_headers(self):
        header = (SOURCES / "include" / "byod_version.h").read_text(encoding="utf-8")
        version = re.search(r'BYOD_VERSION_TEXT "(.*)"', header)[1]
        for name, program in (("byodctl", BYODCTL), ("lauthd", LAUTHD)):
            said = subprocess.run([program, "--version"], capture_output=True, text=True,
                                  check=True, timeout=60).stdout
            self.assertEqual(f"{name} {version}\n", said)


class Byodctl(unittest.TestCase):
    def setUp(self):
        parts = re.split(r"^## (.*)\n", section("byodctl.1", "COMMANDS"), flags=re.M)[1:]
        self.described = {}
        for heading, text in zip(parts[::2], parts[1::2]):
            command, operands = re.match(r"([a-z ]*[a-z])\s*(.*)", heading).groups()
            self.described[command] = (operands.replace("_", ""), text)

    def test_every_command_is_described_with_its_operands(self):
        self.assertLess(20, len(commands()))
        self.assertEqual(commands(), {name: it[0] for name, it in self.described.items()})

    def test_every_option_of_a_command_has_its_entry(self):
        for command in commands():
            if command == "help":
                continue
            with self.subTest(command):
                options = options_of(help_of(BYODCTL, *command.split()))
                options.remove("--help")
                self.assertEqual(options, entries(self.described[command][1]))

    def test_every_option_of_the_program_has_its_entry(self):
        self.assertEqual(options_of(help_of(BYODCTL)), entries(section("byodctl.1", "OPTIONS")))

    def test_the_exit_statuses_are_those_of_the_help(self):
        helped = re.findall(r"^  (\d)  ", help_of(BYODCTL), re.M)
        self.assertEqual(6, len(helped))
        self.assertEqual(helped, re.findall(r"^\*(\d)\*$", section("byodctl.1", "EXIT STATUS"), re.M))


class Lauthd(unittest.TestCase):
    def setUp(self):
        self.options = options_of(help_of(LAUTHD))
        self.assertLess(10, len(self.options))

    def test_every_option_has_its_entry(self):
        self.assertEqual(self.options, entries(section("lauthd.8", "OPTIONS")))

    def test_every_setting_of_the_configuration_file_has_its_entry(self):
        settings = re.findall(r"^\*([a-z-]+)\*(?: = _\w+_)?$", section("lauthd.conf.5", "OPTIONS"), re.M)
        of_the_file = {option[2:] for option in self.options} - {"help", "version", "config"}
        self.assertEqual(sorted(of_the_file), sorted(settings))


class UpdateRegistry(unittest.TestCase):
    def test_every_option_has_its_entry(self):
        options = options_of(help_of(sys.executable, SOURCES / "scripts" / "byod-update-registry"))
        self.assertLess(3, len(options))
        self.assertEqual(options, entries(section("byod-update-registry.8", "OPTIONS")))


@unittest.skipUnless(PAGES and shutil.which("mandoc"), "needs scdoc and mandoc")
class Pages(unittest.TestCase):
    def test_every_function_of_the_headers_is_described(self):
        declared = set()
        for header in (SOURCES / "include").iterdir():
            declared |= set(re.findall(r"^(?!BYOD_STATIC_ASSERT)[A-Za-z][^;{}#/]*?\b(\w+)\([^;{}]*\);$",
                                       header.read_text(encoding="utf-8"), re.M))
        self.assertLess(150, len(declared))
        described = set()
        for page in PAGES.glob("*.3"):
            for heading in re.findall(r"^\.SS (.*)$", page.read_text(encoding="utf-8"), re.M):
                described |= set(heading.replace("\\", "").split(", "))
        self.assertEqual(set(), declared - described)

    def test_mandoc_has_nothing_to_say_of_any_page(self):
        pages = [page for page in PAGES.iterdir() if re.search(r"\.[1-8]$", page.name)]
        self.assertGreaterEqual(len(pages), 4)
        done = subprocess.run(["mandoc", "-T", "lint", *pages], capture_output=True, text=True,
                              check=False, timeout=60)
        self.assertEqual((0, "", ""), (done.returncode, done.stdout, done.stderr))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
