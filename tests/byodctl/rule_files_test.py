# SPDX-License-Identifier: Apache-2.0
"""Rule files as start, reload, check and import read them: rule_files_test.py BYODCTL LAUTHD"""

import json
import shutil

from with_daemon import WithDaemon, main


class OneReading(WithDaemon):
    """The same file with everything that reads it."""

    def setUp(self):
        super().setUp()
        self.file = self.daemon.rules / "user-agent.csv"

    def reload(self):
        """@return whether the file was taken, and what was said"""
        status, out, err = self.daemon.run("reload")
        self.assertIn(status, (0, 5), out + err)
        return status == 0, err.removeprefix("byodctl: ")

    def check(self):
        status, out, _ = self.daemon.run("check", "rules", str(self.daemon.rules), "--json")
        report = json.loads(out)
        return status == 0, [(p["line"], p["severity"], p["check"], p["reason"])
                             for p in report["problems"] if p["file"] == str(self.file)]

    def start(self):
        """@return the log of a start"""
        self.daemon.stop()
        self.daemon.log.write_text("")
        self.daemon.start()
        self.assertEqual(self.daemon.run("show", "counts")[0], 0)  # once the rules are loaded
        return self.daemon.log.read_text()

    def run_import(self):
        status, out, err = self.daemon.run("import", str(self.file), "--json", "--dry-run")
        rows = [json.loads(line) for line in out.splitlines()]
        return status, rows, err

    def test_a_missing_optional_column_is_nothing_to_speak_of(self):
        self.file.write_text("expression,vendor\niPhone,Apple\n")
        self.assertEqual(self.reload(), (True, ""))
        self.assertEqual(self.check(), (True, []))
        self.assertNotIn("user-agent.csv", self.start())
        status, rows, err = self.run_import()
        self.assertEqual((status, err, [row["action"] for row in rows]), (0, "", ["changed"]))

    def test_an_unknown_column_is_a_warning_that_names_the_nearest_one(self):
        self.file.write_text("expression,vender,name\niPhone,Apple,N\n")
        reason = 'column "vender" is unknown, it is ignored; did you mean "vendor"?'
        said = f"{self.file}:1: warning: {reason}"
        self.assertEqual(self.reload(), (True, ""))
        self.assertIn(said, self.daemon.log.read_text())
        self.assertEqual(self.check(), (True, [(1, "warning", "unknown-column", reason)]))
        self.assertIn(said, self.start())
        status, rows, err = self.run_import()
        self.assertEqual((status, err), (0, said + "\n"))
        self.assertEqual([row["action"] for row in rows], ["warning", "changed"])

    def test_a_misspelt_key_column_is_an_error_that_names_the_right_one(self):
        self.file.write_text("expresion,vendor\niPhone,Apple\n")
        hint = 'is "expresion" meant to be expression?'
        self.assertEqual(self.reload()[0], False)
        self.assertIn(f"{self.file}:1: column expression is missing", self.reload()[1])
        self.assertIn(hint, self.reload()[1])
        passed, problems = self.check()
        self.assertEqual((passed, problems[0][:3]), (False, (1, "error", "header")))
        self.assertIn(hint, self.start())
        status, _, err = self.run_import()
        self.assertEqual(status, 1)
        self.assertIn(f"{self.file}:1: no header", err)
        self.assertIn(hint, err)

    def test_a_bad_row_is_an_error_and_the_others_are_read(self):
        self.file.write_text("expression,vendor\niPhone,Apple,x\nAndroid,Google\n")
        reason = "3 fields, the header names 2"
        self.assertEqual(self.reload(), (False, f"{self.file}:2: {reason}\n"))
        self.assertEqual(self.check(), (False, [(2, "error", "unusable", reason)]))
        self.assertIn(f"{self.file}:2: {reason}", self.start())
        status, rows, err = self.run_import()
        self.assertEqual((status, err), (1, f"{self.file}:2: {reason}\n"))
        self.assertEqual([row["action"] for row in rows], ["bad", "changed"])

    def test_a_refused_reload_names_the_fault_and_not_a_warning_before_it(self):
        self.file.write_text("expression,colour,vendor\niPhone,,Apple\nx,,\ny\nz\n")
        self.assertEqual(self.reload(),
                         (False, f"{self.file}:4: 1 field, the header names 3 (and 1 more)\n"))

    def test_a_reload_without_the_directory_says_so(self):
        shutil.rmtree(self.daemon.rules)
        self.assertEqual(self.reload(),
                         (False, f"{self.daemon.rules}: No such file or directory\n"))

    def test_sections_without_optional_columns_are_imported_one_after_the_other(self):
        file = self.daemon.directory / "sections.csv"
        file.write_text("mac,vendor\n00:99:88/24,M\nexpression,os\nSection,O\n"
                        'options,name,os\n"7,8",N,O\n')
        status, out, err = self.daemon.run("import", str(file))
        self.assertEqual((status, err), (0, ""))
        self.assertIn("3 added", out)


if __name__ == "__main__":
    main()
