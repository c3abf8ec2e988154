# SPDX-License-Identifier: Apache-2.0
"""byodctl import --replace and its progress: import_test.py BYODCTL LAUTHD"""

import json
import os
import signal
import threading
import time

from terminal import run_at_terminal
from with_daemon import WithDaemon, main

HEADERS = ("mac,mask,name,vendor,category,os\n" "expression,name,vendor,category,os,priority\n"
           "options,name,vendor,category,os\n")


class Import(WithDaemon):
    def replace(self, file, *arguments, **options):
        """@return what became of each rule, by its key"""
        out = self.ctl("import", "-", "--replace", "--json", *arguments, stdin=file, **options)
        rows = [json.loads(line) for line in out.splitlines()]
        for row in rows:
            self.assertEqual(list(row), ["line", "kind", "key", "action", "reason"])
        return {row["key"]: row["action"] for row in rows}


class Export(Import):
    def test_for_a_spreadsheet_no_field_is_a_formula(self):
        file = ('expression,name,vendor,category,os\n'
                '=cmd|a,+1,-1,@x,"a=b"\n')
        self.ctl("import", "-", stdin=file)
        self.assertEqual(self.ctl("export", "user-agent"),
                         "expression,name,vendor,category,os,priority\n=cmd|a,+1,-1,@x,a=b,6\n")
        self.assertEqual(self.ctl("export", "user-agent", "--spreadsheet"),
                         "expression,name,vendor,category,os,priority\n"
                         "'=cmd|a,'+1,'-1,'@x,a=b,6\n")


class Replace(Import):
    def setUp(self):
        super().setUp()
        self.ctl("set", "rule", "user-agent", "Kept", "--vendor", "K", "--os", "O")
        self.ctl("set", "rule", "user-agent", "Gone", "--vendor", "G")
        self.ctl("set", "rule", "user-agent", "iPhone", "--os", "iPadOS")
        self.ctl("set", "rule", "mac", "00:99:88/24", "--vendor", "M")

    def test_the_configuration_is_exactly_what_the_file_says(self):
        file = "expression,name,vendor,category,os,priority\nKept,,K,,,4\nNew,N,,,,3\n"
        self.assertEqual(self.replace(file), {"Gone": "removed", "iPhone": "removed",
                                              "Kept": "changed", "New": "added"})
        self.assertEqual(self.ctl("export", "user-agent"), file)
        (rule,) = map(json.loads, self.ctl("show", "rules", "user-agent", "--name", "Apple",
                                           "--json").splitlines())
        self.assertEqual((rule["os"], rule["modified"]), ("iOS", False))
        self.assertEqual(set(self.replace(file).values()), {"unchanged"})

    def test_kinds_without_a_header_in_the_file_stay(self):
        before = self.ctl("export", "mac")
        self.replace("expression,name\n")
        self.assertEqual(self.ctl("export", "user-agent"),
                         "expression,name,vendor,category,os,priority\n")
        self.assertEqual(self.ctl("export", "mac"), before)

    def test_headers_alone_remove_everything_and_an_export_brings_it_back(self):
        exported = self.ctl("export")
        self.assertEqual(set(self.replace(HEADERS).values()), {"removed"})
        self.assertEqual(self.ctl("export"), HEADERS)
        self.assertIn("3 added, 1 changed, 0 unchanged, 0 refused, 0 bad, 0 removed",
                      self.ctl("import", "-", "--replace", stdin=exported))
        self.assertEqual(self.ctl("export"), exported)
        self.daemon.stop()
        self.daemon.start()
        self.assertEqual(self.ctl("export"), exported)

    def test_a_block_makes_room_for_one_inside_it(self):
        self.assertEqual(self.replace("mac,vendor\n00:99:88:77/32,Inside\n"),
                         {"00:99:88:00:00:00/24": "removed", "00:99:88:77:00:00/32": "added"})

    def test_a_rule_that_is_to_say_nothing_stays_without_a_field(self):
        self.assertEqual(self.replace("expression,vendor\nKept,\nGone,G\niPhone,\n"),
                         {"Kept": "changed", "Gone": "unchanged", "iPhone": "changed"})
        self.assertEqual(self.ctl("export", "user-agent"),
                         "expression,name,vendor,category,os,priority\nGone,,G,,,4\nKept,,,,,4\n")

    def test_another_spelling_is_taken_over(self):
        self.assertEqual(self.replace("expression,vendor\nKEPT,K\n"),
                         {"Gone": "removed", "iPhone": "removed", "Kept": "removed",
                          "KEPT": "added"})

    def test_a_dry_run_says_it_all_and_changes_nothing(self):
        before = self.ctl("export")
        file = "expression,vendor\nKept,New\n"
        self.assertEqual(self.replace(file, "--dry-run"),
                         {"Gone": "removed", "iPhone": "removed", "Kept": "changed"})
        out = self.ctl("import", "-", "--replace", "--dry-run", stdin=file)
        self.assertIn("-     removed  user-agent  Gone", out)
        self.assertIn("would be 0 added, 1 changed, 0 unchanged, 0 refused, 0 bad, 2 removed", out)
        self.assertEqual(self.ctl("export"), before)

    def test_a_bad_or_refused_row_leaves_everything_as_it_was(self):
        before = self.ctl("export")
        for row, status in (("zz,V", 1), ("00:11:22/24,V\n00:11:22:00:00:00,V", 5), ("00:99:87/24,V,x", 1)):
            file = "mac,vendor\n00:77:77/24,New\n" + row + "\n"
            out = self.ctl("import", "-", "--replace", stdin=file, expect=status)
            self.assertIn("would be", out)
            self.assertIn("nothing changed", self.err)
            self.assertEqual(self.ctl("export"), before)

    def test_a_rule_that_stands_twice_in_the_file_is_bad(self):
        file = "expression,vendor\nTwice,A\nTwice,B\n"
        out = self.ctl("import", "-", stdin=file, expect=1)
        self.assertEqual(self.err, '-:3: "Twice" is also that of -:2\n')
        self.assertIn("1 added, 0 changed, 0 unchanged, 0 refused, 1 bad", out)


class Progress(Import):
    FILE = "options,name\n" + "".join(f'"{i // 250},{i % 250}",N{i}\n' for i in range(1000))

    def run_slowly(self, seconds, *arguments):
        """The daemon sleeps for a while after the import has begun."""
        path = self.daemon.directory / "rules.csv"
        path.write_text(self.FILE)
        process = self.daemon._process.pid
        os.kill(process, signal.SIGSTOP)
        threading.Timer(seconds, os.kill, (process, signal.SIGCONT)).start()
        command = self.command("--timeout", "60", "import", str(path), *arguments)
        return run_at_terminal(command, 80)

    def test_what_takes_over_a_second_shows_how_far_it_is_and_clears_the_line(self):
        status, out, err = self.run_slowly(1.5)
        self.assertEqual((status, out.split(",")[0]), (0, "1000 added"))
        self.assertIn(" of 1000 rules", err)
        self.assertTrue(err.endswith("\r\x1b[K"))

    def test_what_is_done_at_once_shows_nothing(self):
        started = time.monotonic()
        status, _, err = self.run_slowly(0)
        self.assertEqual(status, 0)
        if time.monotonic() - started < 1:
            self.assertEqual(err, "")


if __name__ == "__main__":
    main()
