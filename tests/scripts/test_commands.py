# SPDX-License-Identifier: Apache-2.0
"""The scripts that a person runs: their --help, what they say when something is missing, and how
scripts/test.sh goes on."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPTS = sorted(path for path in (ROOT / "scripts").iterdir()
                 if path.is_file() and os.access(path, os.X_OK))


class Commands(unittest.TestCase):
    """In a copy of the tree's head, at a path with blanks, called from elsewhere."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.elsewhere = pathlib.Path(scratch.name)
        self.tree = self.elsewhere / "a tree"
        self.programs = self.elsewhere / "programs"
        self.programs.mkdir()
        shutil.copytree(ROOT / "scripts", self.tree / "scripts",
                        ignore=shutil.ignore_patterns("__pycache__"))

    def fake(self, name, script):
        """Puts a program in front of all others."""
        path = self.programs / name
        path.write_text("#!/bin/sh\n" + script, encoding="utf-8")
        path.chmod(0o755)

    def run_script(self, name, *arguments, seconds=60):
        done = subprocess.run(
            [self.tree / "scripts" / name, *arguments], cwd=self.elsewhere, text=True,
            env={**os.environ, "PATH": f"{self.programs}:{os.environ['PATH']}",
                 "TMPDIR": str(self.elsewhere), "PYTHONDONTWRITEBYTECODE": "1"},
            stdin=subprocess.DEVNULL, capture_output=True, check=False, timeout=seconds)
        return done.returncode, done.stdout, done.stderr

    def files(self):
        return sorted(self.elsewhere.rglob("*"))


class Help(Commands):
    def test_of_every_script_prints_its_head_and_does_nothing(self):
        self.assertGreater(len(SCRIPTS), 15)
        # Whatever a script would do first fails.
        for program in ("apt-get", "cmake", "dpkg-query", "mktemp", "mkdir", "unshare"):
            self.fake(program, "echo must not run >&2; exit 99\n")
        before = self.files()
        for path in SCRIPTS:
            for arguments in (["--help"], ["-h"]):
                with self.subTest(path.name, arguments=arguments):
                    status, out, err = self.run_script(path.name, *arguments)
                    self.assertEqual((status, err), (0, ""))
                    self.assertIn(self.second_line(path), " ".join(out.split()))
        self.assertEqual(self.files(), before)

    def test_also_stands_behind_other_arguments(self):
        status, out, _ = self.run_script("test.sh", "release", "--help")
        self.assertEqual((status, out.splitlines()[0][:7]), (0, "Sets up"))

    @staticmethod
    def second_line(path):
        """The first words of a head, a comment or a docstring under the lines of program and licence."""
        return " ".join(path.read_text(encoding="utf-8").splitlines()[2].strip('#" ').split())


class Setup(Commands):
    def setUp(self):
        super().setUp()
        self.fake("dpkg-query", "exit 1\n")  # nothing is installed
        self.fake("id", "echo 0\n")

    def test_of_another_user_says_in_one_line_what_to_install(self):
        self.fake("id", "echo 1000\n")
        status, out, err = self.run_script("setup.sh", "run")
        self.assertEqual((status, out, err.count("\n")), (1, "", 1))
        self.assertIn("apt-get install", err)
        self.assertIn(" g++ ", err)

    def test_without_a_network_fails_by_one_line_with_the_reason(self):
        self.fake("apt-get", "echo \"Err:1 http://x  Temporary failure resolving 'x'\"\n"
                             "echo 'W: Some index files failed to download.'\n"
                             "[ \"$1\" = update ] || { echo 'E: Unable to locate package g++'; exit 100; }\n")
        status, out, err = self.run_script("setup.sh", "run")
        self.assertEqual((status, out.count("\n"), err.count("\n")), (1, 1, 1))
        self.assertIn("Temporary failure resolving 'x'", err)

    def test_goes_on_when_one_archive_of_several_is_out_of_reach(self):
        self.fake("apt-get", "[ \"$1\" = install ]\n")
        self.assertEqual(self.run_script("setup.sh", "run")[0], 0)

    def test_of_what_is_there_needs_no_rights(self):
        self.fake("dpkg-query", "echo install ok installed\n")
        self.fake("id", "echo 1000\n")
        self.assertEqual(self.run_script("setup.sh", "run", "test"), (0, "", ""))

    def test_of_run_takes_no_second_compiler_test_library_or_client(self):
        self.fake("id", "echo 1000\n")
        _, _, err = self.run_script("setup.sh", "run")
        for word in ("clang", "gtest", "gmock", "dhcp", "busybox"):
            self.assertNotIn(word, err)

    def test_of_an_unknown_group_names_those_there_are(self):
        status, _, err = self.run_script("setup.sh", "everything")
        self.assertEqual(status, 2)
        self.assertIn("everything (run, test, bench", err)

    def test_that_fails_ends_run_and_test_by_its_one_line(self):
        self.fake("id", "echo 1000\n")
        for script in ("run.sh", "test.sh"):
            status, out, err = self.run_script(script)
            self.assertEqual((status, out, err.count("\n")), (1, "", 1), script)


JUNIT = """<?xml version="1.0" encoding="UTF-8"?>
<testsuite>
<testcase name="plain_test" status="run"><system-out>fine</system-out></testcase>
<testcase name="googletest_test" status="run"><system-out>[ RUN      ] Start.IsQuick
/a tree/start_test.cpp:12: Skipped
no clock
 here

[  SKIPPED ] Start.IsQuick (0 ms)
</system-out></testcase>
<testcase name="python_test" status="run"><system-out>test_a (a.A.test_a) ... ok
test_b (a.A.test_b)
What it is about. ... skipped 'no /dev/full here'
</system-out></testcase>
<testcase name="whole_test" status="notrun"><system-out>skipped: no namespaces
</system-out></testcase>
%s</testsuite>
"""
FAILED = '<testcase name="bad_test" status="fail"><system-out>x</system-out></testcase>'


class Presets(Commands):
    """scripts/test.sh with a cmake and a ctest that only say what they are asked to do."""

    def setUp(self):
        super().setUp()
        self.fake("dpkg-query", "echo install ok installed\n")
        self.fake("cmake", "case $* in *--build*unbuilt | *unknown) exit 1 ;; esac\n")
        good = self.elsewhere / "good.xml"
        good.write_text(JUNIT % "", encoding="utf-8")
        bad = self.elsewhere / "bad.xml"
        bad.write_text(JUNIT % FAILED, encoding="utf-8")
        self.fake("ctest", "mkdir -p \"build/$2\"\n"
                           f"case $2 in failing) cp '{bad}' \"$6\"; exit 8 ;; crashing) exit 1 ;; esac\n"
                           f"cp '{good}' \"$6\"\n")

    def results(self, *presets):
        status, out, err = self.run_script("test.sh", *presets)
        lines = out.splitlines()
        start = next((at for at, line in enumerate(lines) if line.startswith("PRESET")), None)
        self.assertIsNotNone(start, out + err)
        return status, out, {line.split()[0]: " ".join(line.split()[1:])
                             for line in lines[start + 1:start + 1 + len(presets)]}

    def test_go_on_after_one_that_fails(self):
        status, out, rows = self.results("unknown", "unbuilt", "failing", "crashing", "good")
        self.assertEqual(status, 1)
        self.assertEqual([row.rsplit(" ", 2)[0] for row in rows.values()],
                         ["not configured 0 0 0", "not built 0 0 0", "failed 5 1 3", "failed 0 0 0",
                          "passed 4 0 3"])
        self.assertIn("\nFailed:\n  failing: bad_test\n", out)

    def test_that_all_pass_end_with_0_and_the_reasons_of_what_was_skipped(self):
        status, out, _ = self.results("good", "better")
        self.assertEqual(status, 0)
        self.assertTrue(out.endswith("\nSkipped:\n"
                                     "  googletest_test: Start.IsQuick: no clock here\n"
                                     "  python_test: What it is about.: no /dev/full here\n"
                                     "  whole_test: skipped: no namespaces\n"), out)

    def test_are_named_where_only_some_skip(self):
        _, out, _ = self.results("good", "unbuilt")
        self.assertIn("whole_test: skipped: no namespaces (good)", out)


if __name__ == "__main__":
    unittest.main()
