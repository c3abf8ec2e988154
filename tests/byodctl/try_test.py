# SPDX-License-Identifier: Apache-2.0
"""byodctl try and import --dry-run, which change a copy of the daemon: try_test.py BYODCTL LAUTHD"""

import json
import os
import random
import subprocess
import tempfile
import time

from with_daemon import Programs, WithDaemon, main

IPHONES = [f"Mozilla/5.0 (iPhone; number {number})" for number in range(5)]


class Trial(WithDaemon):
    def tried(self, *command, expect=0, terminals=None, stdin=""):
        """What try reports. The daemon's configuration and counters of changes stay as they are."""
        before = self.state()
        options = ["--terminals", str(terminals)] if terminals else []
        out = self.ctl("--json", "try", *options, *command, expect=expect, stdin=stdin)
        self.assertEqual(self.state(), before)
        return json.loads(out) if out else None

    def state(self):
        (status,) = self.json("show", "status")
        return [self.ctl("export"), self.ctl("show", "authorization"), self.ctl("show", "order"),
                self.ctl("show", "unknown"), status["changes"], status["identifications"]]

    def file(self, name, text):
        path = self.daemon.directory / name
        path.write_text(text, encoding="utf-8")
        return path

    def terminals(self):
        return self.file("terminals", "user_agent\n" + "".join(f"{one}\n" for one in IPHONES))


class Try(Trial):
    def test_it_shows_which_terminals_would_be_answered_otherwise(self):
        report = self.tried("set", "rule", "user-agent", "number", "--vendor", "V", "--name", "N",
                            "--category", "C", "--os", "O", terminals=self.terminals())
        apple = {"vendor": "Apple", "category": "Mobile", "os": "iOS", "name": "Apple iPhone"}
        mine = {"vendor": "V", "category": "C", "os": "O", "name": "N"}
        self.assertEqual(report, {
            "terminals": 5, "terminals_otherwise": 5, "other_authorization": 0, "examples": 0,
            "examples_otherwise": 0, "changes": [{"from": apple, "to": mine, "terminals": 5,
                                                  "examples": 0, "other_authorization": 0}]})
        report = self.tried("set", "rule", "user-agent", "number 3", "--os", "iPadOS",
                            "--category", "Mobile", terminals=self.terminals())
        self.assertEqual((report["terminals_otherwise"], len(report["changes"])), (1, 1))
        out = self.ctl("try", "--terminals", str(self.terminals()), "unset", "order")
        self.assertEqual(out, "would be answered otherwise: 0 of 5 known terminals, 0 of 0 examples\n")

    def test_terminals_that_nothing_matched_are_known(self):
        self.ctl("identify", "--user-agent", "Toaster/1.0", expect=3)
        report = self.tried("set", "rule", "user-agent", "Toaster", "--category", "Kitchen")
        self.assertEqual((report["terminals"], report["terminals_otherwise"]), (1, 1))
        self.assertEqual(report["changes"][0]["from"],
                         {"vendor": "", "category": "", "os": "", "name": ""})
        out = self.ctl("try", "set", "rule", "user-agent", "Toaster", "--category", "Kitchen")
        self.assertIn("unknown  -, Kitchen, -, -", out)
        self.assertIn("would be answered otherwise: 1 of 1 known terminal, 0 of 0 examples\n", out)

    def test_the_examples_of_the_rule_files_are_asked_about(self):
        self.daemon.stop()
        (self.daemon.rules / "user-agent.csv").write_text(
            "expression,vendor,example\niPhone,Apple,an iPhone 5\nAndroid,A,an Android\n")
        (self.daemon.rules / "dhcp-option.csv").write_text('options,vendor,example\n"1,3",A,"1,3"\n')
        self.daemon.start()
        report = self.tried("set", "rule", "user-agent", "5", "--vendor", "V")
        self.assertEqual((report["examples"], report["examples_otherwise"]), (3, 1))
        report = self.tried("set", "order", "dhcp")
        self.assertEqual(report["examples_otherwise"], 2)

    def test_another_authorization_is_counted_also_where_the_answer_stays(self):
        self.ctl("set", "authorization", "staff", "Mobile", "vlan=20")
        self.ctl("set", "authorization", "staff", "*", "vlan=99")
        report = self.tried("set", "rule", "user-agent", "number 1", "--category", "Watch",
                            "--os", "iOS", terminals=self.terminals())
        self.assertEqual((report["terminals_otherwise"], report["other_authorization"]), (1, 1))
        report = self.tried("set", "rule", "user-agent", "iPhone", "--os", "iPadOS",
                            terminals=self.terminals())
        self.assertEqual((report["terminals_otherwise"], report["other_authorization"]), (5, 0))
        report = self.tried("unset", "authorization", "staff", "Mobile", terminals=self.terminals())
        self.assertEqual((report["terminals_otherwise"], report["other_authorization"]), (0, 5))
        out = self.ctl("try", "--terminals", str(self.terminals()), "unset", "authorization", "staff")
        self.assertIn("would get another authorization: 5 terminals\n", out)

    def test_what_is_configured_is_part_of_both_answers(self):
        self.ctl("set", "rule", "user-agent", "iPhone", "--name", "Renamed")
        self.ctl("set", "rule", "mac", "00:11:22:33:44:55", "--vendor", "Inside")
        report = self.tried("unset", "rule", "user-agent", "iPhone", terminals=self.terminals())
        (change,) = report["changes"]
        self.assertEqual((change["from"]["name"], change["to"]["name"]), ("Renamed", "Apple iPhone"))
        macs = self.file("macs", "mac\n00:11:22:33:44:55\n00:11:22:33:44:56\n")
        report = self.tried("unset", "rule", "mac", "00:11:22:33:44:55", terminals=macs)
        (change,) = report["changes"]
        self.assertEqual((change["from"]["vendor"], change["to"]["vendor"], change["terminals"]),
                         ("Inside", "MacVendor", 1))

    def test_imports_restores_and_catalogues_can_be_tried(self):
        rules = self.file("rules.csv", "expression,os\niPhone,iPadOS\n")
        report = self.tried("import", str(rules), terminals=self.terminals())
        self.assertEqual(report["terminals_otherwise"], 5)
        report = self.tried("import", "-", terminals=self.terminals(), stdin="expression,os\nnumber,O\n")
        self.assertEqual(report["terminals_otherwise"], 5)
        backup = str(self.daemon.directory / "backup")
        self.ctl("set", "rule", "user-agent", "number 4", "--name", "Four")
        self.ctl("backup", backup)
        self.ctl("unset", "rule", "user-agent", "number 4")
        report = self.tried("restore", backup, terminals=self.terminals())
        self.assertEqual(report["terminals_otherwise"], 1)
        other = self.daemon.directory / "other"
        other.mkdir()
        (other / "user-agent.csv").write_text("expression,name\nnumber,Other\n")
        report = self.tried("catalogue", str(other), terminals=self.terminals())
        self.assertEqual([change["to"]["name"] for change in report["changes"]], ["Other"])
        relative = self.daemon.run("--json", "try", "cat", str(other))
        self.assertEqual(relative[0], 0, relative[2])

    def test_what_cannot_be_tried_is_refused(self):
        self.ctl("try", "show", "rules", expect=1)
        self.assertIn('try: "show" changes no answers; try one of: set, unset, import, restore, '
                      "catalogue", self.err)
        self.ctl("try", expect=1)
        self.ctl("try", "set", "rule", "user-agent", "", "--os", "O", expect=1)
        self.assertIn("expression is empty", self.err)
        self.ctl("try", "unset", "rule", "user-agent", "Nokia", expect=3)
        self.ctl("try", "catalogue", "/nonexistent", expect=2)
        self.assertIn("cannot start a daemon", self.err)
        self.ctl("try", "--terminals", "/nonexistent", "unset", "order", expect=1)
        status, _, err = self.daemon.run("try", "unset", "order", socket_path="/nonexistent")
        self.assertEqual(status, 2, err)

    def test_a_daemon_that_cannot_be_run_is_named(self):
        environment = {**os.environ, "LAUTHD_PROGRAM": "/nonexistent/lauthd"}
        done = subprocess.run(self.command("try", "unset", "order"), env=environment, check=False,
                              capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, 2)
        self.assertIn("/nonexistent/lauthd: No such file or directory", done.stderr)

    def test_nothing_of_it_is_left(self):
        with tempfile.TemporaryDirectory() as scratch:
            environment = {**os.environ, "LAUTHD_PROGRAM": Programs.lauthd, "TMPDIR": scratch}
            subprocess.run(self.command("try", "unset", "order"), env=environment, check=True,
                           capture_output=True, timeout=60)
            self.assertEqual(os.listdir(scratch), [])

    def test_the_limit_of_custom_rules_holds_in_the_copy(self):
        self.daemon.stop()
        self.daemon.start("--rule-limit", "1")
        self.ctl("set", "rule", "user-agent", "One", "--os", "O")
        self.ctl("try", "set", "rule", "user-agent", "Two", "--os", "O", expect=5)
        self.assertIn("limit", self.err)


class DryRun(Trial):
    def test_a_dry_run_changes_the_copy_alone(self):
        rows = "mac,vendor\n00:99:88/24,New\n00:11:22/24,V\n00:11:22:00:00:00,W\n"
        before = self.state()
        out = self.ctl("import", "-", "--dry-run", stdin=rows, expect=5)
        self.assertIn("would be 1 added, 1 changed, 0 unchanged, 1 refused, 0 bad", out)
        self.assertEqual(self.state(), before)


class Speed(Trial):
    def test_many_terminals_take_a_moment(self):
        chosen = random.Random(3)
        lines = ["mac\toptions\tuser_agent\n"]
        for number in range(65536):
            options = ",".join(str(chosen.randrange(1, 250)) for _ in range(9))
            lines.append(f"00:11:{chosen.randrange(40):02x}:{number >> 8:02x}:{number & 255:02x}:01\t"
                         f"{options}\tMozilla/5.0 (Linux; Android {number % 14}; M{number}) Mobile\n")
        terminals = self.file("many", "".join(lines))
        started = time.monotonic()
        report = self.tried("set", "rule", "user-agent", "Android 7", "--vendor", "V", "--os", "A",
                            terminals=terminals)
        self.assertEqual(report["terminals"], 65536)
        self.assertEqual(report["terminals_otherwise"], sum(number % 14 == 7 for number in range(65536)))
        # Only finds what is out of proportion: machines differ.
        self.assertLess(time.monotonic() - started, 60)


if __name__ == "__main__":
    main()
