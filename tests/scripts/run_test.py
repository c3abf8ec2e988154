# SPDX-License-Identifier: Apache-2.0
"""What scripts/run.sh shows, with the programs of a build: run_test.py BUILD"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = ""


def steps(text):
    """@return the commands that a text shows behind "$ ", each with what follows up to the next"""
    for shown in re.split(r"^\$ ", text, flags=re.M)[1:]:
        command, output = re.match(r"((?:[^\n]*\\\n)*[^\n]*\n)(.*)\Z", shown, re.S).groups()
        yield command, output


class Run(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as elsewhere:
            cls.done = subprocess.run(
                [ROOT / "scripts" / "run.sh", "--build", BUILD], cwd=elsewhere, text=True,
                env={**os.environ, "TMPDIR": elsewhere}, capture_output=True, check=False, timeout=200)
            cls.left = os.listdir(elsewhere)

    def test_ends_well_and_leaves_nothing(self):
        self.assertEqual(self.done.returncode, 0, self.done.stderr)
        self.assertEqual(self.left, [])
        self.assertIn("byodctl: 40 identified, 0 unknown, 0 bad", self.done.stderr)

    def test_shows_commands_that_do_the_same_when_they_are_pasted(self):
        shown = list(steps(self.done.stdout))
        self.assertGreater(len(shown), 10)
        status, out, err = self.paste("".join(command for command, _ in shown))
        self.assertEqual(status, 0, err)
        self.assertEqual(out, "".join(output.rstrip("\n") + "\n" for _, output in shown
                                                if output.strip()))

    @staticmethod
    def paste(commands):
        """Runs them in a shell whose temporary files are at a path with a blank. Whatever fails, the
        daemon ends with the shell's trap."""
        with tempfile.TemporaryDirectory(prefix="a folder ") as directory:
            done = subprocess.run(
                ["bash", "-e"], cwd=ROOT, env={**os.environ, "TMPDIR": directory}, text=True,
                input="trap 'kill $(jobs -p) 2>/dev/null || true' EXIT\n" + commands + "wait $!\n",
                capture_output=True, check=False, timeout=200)
        return done.returncode, done.stdout, done.stderr

    def test_shows_the_commands_of_the_readme(self):
        readme = (ROOT / "README.md").read_text(encoding="utf-8")
        section = readme.split("## Build, run, test", 1)[1].split("\n## ", 1)[0]
        listing = section.split("\n```\n$ ", 1)[1].split("\n```\n", 1)[0]
        commands = [command for command, _ in steps(f"$ {listing}\n")]
        self.assertGreater(len(commands), 5)
        shown = [command for command, _ in steps(self.done.stdout)]
        # They start with the path of the programs, which are in another build there.
        self.assertEqual(commands[0], "PATH=$PWD/build/run/lauthd:$PWD/build/run/byodctl:$PATH\n")
        self.assertEqual(commands[1:], shown[1:])


if __name__ == "__main__":
    BUILD = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
