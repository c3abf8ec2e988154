# SPDX-License-Identifier: Apache-2.0
"""byodctl check rules, run as a program: check_rules_test.py BYODCTL SOURCE_DIRECTORY"""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

BYODCTL = ""
SOURCE = pathlib.Path()

HEADER = "expression,name,vendor,category,os,example\n"


class CheckRules(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)

    def check(self, rows, *arguments):
        """Status and standard output; nothing may stand on standard error."""
        (self.directory / "user-agent.csv").write_text(HEADER + rows, encoding="utf-8")
        done = subprocess.run([BYODCTL, "check", "rules", str(self.directory), *arguments],
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout.replace(f"{self.directory}/", "")

    def test_good_rules_have_status_0(self):
        self.assertEqual(self.check("iPhone,,Apple,Mobile,iOS,an iPhone\n"),
                         (0, "0 mac, 1 user-agent, 0 dhcp-option rules, 0 errors, 0 warnings\n"))

    def test_an_error_has_status_1_and_names_file_line_and_the_other_rule(self):
        status, out = self.check("Phone,,P,,,an iPhone\niPhone,,Apple,,,\n")
        self.assertEqual(status, 1)
        self.assertEqual(out, 'user-agent.csv:2: error: on the example "an iPhone" wins the rule '
                              '"iPhone" of user-agent.csv:3\n'
                              "0 mac, 2 user-agent, 0 dhcp-option rules, 1 error, 0 warnings\n")

    def test_a_warning_has_status_1_only_when_it_is_asked_for(self):
        self.assertEqual(self.check("AT&T,,V,,,\n")[0], 0)
        self.assertEqual(self.check("AT&T,,V,,,\n", "--strict")[0], 1)
        self.assertEqual(self.check("AT&&T,,V,,,\n", "--strict")[0], 0)

    def test_json_is_one_object_of_one_shape(self):
        keys = ["mac", "user-agent", "dhcp-option", "evidence", "errors", "warnings", "problems"]
        problem_keys = ["severity", "check", "file", "line", "rule", "reason", "other"]
        for rows, status, checks in (("iPhone,,A,,,\n", 0, []),
                                     ("iPhone,,A,,,\nIPHONE,,A,,,\nA&B,,C,,,\n", 1,
                                      ["duplicate", "separators"]),
                                     (",,,,,\n", 1, ["unusable"])):
            done, out = self.check(rows, "--json")
            report = json.loads(out)
            self.assertEqual((done, list(report)), (status, keys))
            self.assertEqual([problem["check"] for problem in report["problems"]], checks)
            for problem in report["problems"]:
                self.assertEqual(list(problem), problem_keys)
        report = json.loads(self.check("iPhone,,A,,,\nIPHONE,,A,,,\n", "--json")[1])
        self.assertEqual(report["problems"][0]["rule"], "IPHONE")
        self.assertEqual(report["problems"][0]["other"],
                         {"file": "user-agent.csv", "line": 2, "rule": "iPhone"})

    def test_rules_for_evidence_are_checked_too(self):
        (self.directory / "host-name.csv").write_text(
            "pattern,category,example\ndesk*,PC,desktop-1\ndesktop-*,PC,\n,PC,\n", encoding="utf-8")
        status, out = self.check("iPhone,,Apple,Mobile,iOS,an iPhone\n")
        self.assertEqual(status, 1)
        self.assertEqual(out, 'host-name.csv:2: error: its example is decided by "desktop-*" of '
                              "host-name.csv:3\n"
                              "host-name.csv:4: error: pattern is empty\n"
                              "0 mac, 1 user-agent, 0 dhcp-option, 2 evidence rules, 2 errors, "
                              "0 warnings\n")

    def test_a_directory_may_hold_rules_for_evidence_alone(self):
        (self.directory / "brand-category.csv").write_text("brand,category\nAcme,PC\n",
                                                           encoding="utf-8")
        done = subprocess.run([BYODCTL, "check", "rules", str(self.directory)], capture_output=True,
                              text=True, check=False)
        self.assertEqual((done.returncode, done.stdout),
                         (0, "0 mac, 0 user-agent, 0 dhcp-option, 1 evidence rules, 0 errors, "
                             "0 warnings\n"))

    def test_the_shipped_catalogue_passes_together_with_the_registry(self):
        registry = pathlib.Path("/usr/share/ieee-data")
        if not (registry / "oui.csv").exists():
            self.skipTest("no registry here")
        done = subprocess.run([BYODCTL, "check", "rules", str(SOURCE / "rules"), "--ieee",
                               str(registry)], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn(" 0 errors, ", done.stdout.splitlines()[-1])


if __name__ == "__main__":
    BYODCTL = sys.argv[1]
    SOURCE = pathlib.Path(sys.argv[2])
    unittest.main(argv=[sys.argv[0]], verbosity=2)
