# SPDX-License-Identifier: Apache-2.0
"""Tables and listings of byodctl with a running lauthd: listing_test.py BYODCTL LAUTHD"""

import json

from terminal import run_at_terminal
from with_daemon import WithSharedDaemon, main

LONG = "Mozilla/5.0 (Linux&&Android 9&&SM-G960F)&&" + "AppleWebKit/537.36" * 4
MAC = "00:11:22:00:00:00/24"


class WithRules(WithSharedDaemon):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.daemon.run("set", "rule", "user-agent", LONG, "--vendor", "Samsung Electronics",
                       "--name", "Galaxy")
        cls.daemon.run("set", "rule", "user-agent", "bare")
        cls.daemon.run("set", "rule", "mac", "00:99:88/24", "--vendor", "Apple, Inc.")
        cls.daemon.run("set", "rule", "mac", "00-99-87-66-55-44", "--os", "iOS")
        cls.daemon.run("set", "rule", "user-agent", "iPhone", "--os", "iPadOS")

    def at_terminal(self, width, *arguments):
        status, out, err = run_at_terminal(self.command(*arguments), width)
        self.assertEqual((status, err), (0, ""))
        return out


class Tables(WithRules):
    def test_keys_are_written_in_full_without_a_terminal(self):
        self.assertIn(LONG, self.ctl("show", "rules"))
        self.assertIn(LONG, self.ctl("show", "rule", "user-agent", LONG))
        agent = "iPhone" + "x" * 200
        self.assertIn(agent, self.ctl("identify", "--user-agent", agent))

    def test_a_table_fits_the_width_of_the_terminal(self):
        for width in (80, 100, 120):
            lines = self.at_terminal(width, "show", "rules").splitlines()
            self.assertEqual(len(lines), 9)
            self.assertLessEqual(max(map(len, lines)), width)
            self.assertIn("\u2026", "".join(lines))
            self.assertIn("user-agent", "".join(lines))

    def test_only_the_widest_column_is_cut(self):
        out = self.at_terminal(130, "show", "rules")
        self.assertIn(MAC, out)
        self.assertIn("Samsung Electronics", out)
        self.assertNotIn(LONG, out)

    def test_a_wide_terminal_shows_all(self):
        self.assertEqual(self.at_terminal(300, "show", "rules"), self.ctl("show", "rules"))

    def test_a_terminal_without_a_size_has_80_columns(self):
        lines = self.at_terminal(0, "show", "rules").splitlines()
        self.assertLessEqual(max(map(len, lines)), 80)

    def test_a_narrow_terminal_leaves_something_of_each_column(self):
        for line in self.at_terminal(20, "show", "rules").splitlines()[1:]:
            self.assertGreaterEqual(len(line.split()), 7)

    def test_the_properties_of_one_rule_are_never_cut(self):
        self.assertIn(LONG, self.at_terminal(40, "show", "rule", "user-agent", LONG))


class Narrowed(WithRules):
    def keys(self, *arguments):
        lines = self.ctl("show", "rules", "--json", *arguments).splitlines()
        return [json.loads(line)["key"] for line in lines]

    def test_by_a_part_of_a_field_in_any_case(self):
        self.assertEqual(self.keys("--vendor", "apple"), ["00:99:88:00:00:00/24", "iPhone"])
        self.assertEqual(self.keys("--vendor", "apple", "--os", "ipad"), ["iPhone"])
        self.assertEqual(self.keys("--category", "tablet"), [MAC])
        self.assertEqual(self.keys("--name", "printer"), ["1,3,6"])
        self.assertEqual(self.keys("--vendor", "nobody"), [])

    def test_by_a_field_that_is_empty(self):
        self.assertEqual(self.keys("--vendor", "", "--os", "", "--name", ""), ["bare"])

    def test_by_the_kind_and_by_the_origin(self):
        self.assertEqual(self.keys("mac", "--vendor", "apple"), ["00:99:88:00:00:00/24"])
        self.assertEqual(self.keys("--custom", "--os", "ios"), ["00:99:87:66:55:44"])
        self.assertEqual(self.keys("--modified", "--vendor", "apple"), ["iPhone"])

    def test_by_a_text_that_the_rule_is_for(self):
        self.assertEqual(self.keys("--match", "an iPhone 4, bare"), ["bare", "iPhone"])
        self.assertEqual(self.keys("--match", "an IPHONE"), [])
        self.assertEqual(self.keys("--match", "0011.22aa.bbcc"), [MAC])
        self.assertEqual(self.keys("--match", "00:99/16"),
                         ["00:99:87:66:55:44", "00:99:88:00:00:00/24"])
        self.assertEqual(self.keys("--match", "1, 3, 6"), ["1,3,6"])
        self.assertEqual(self.keys("user-agent", "--match", "1,3,6"), [])

    def test_by_the_fingerprint_that_the_rules_win(self):
        self.assertEqual(self.keys("--wins", "mac=001122334455,user-agent=Android, mac=x"),
                         ["Android", MAC])
        # The list decides name, vendor and category, the User-Agent the OS that is open.
        self.assertEqual(
            self.keys("--wins", "mac=00:11:22:33:44:55,dhcp=1,3,6,user-agent=Android"),
            ["1,3,6", "Android"])
        # The longer rule wins, and no rule leaves its place to another for what it leaves open.
        self.assertEqual(self.keys("--wins", "iPhone or Android"), ["Android"])
        self.assertEqual(self.keys("--wins", "1,3,6"), ["1,3,6"])
        self.assertEqual(self.keys("--wins", "00-99-87-66-55-44"), ["00:99:87:66:55:44"])
        self.assertEqual(self.keys("mac", "--wins", "iPhone"), [])
        self.assertEqual(self.keys("--wins", "nobody"), [])

    def test_what_is_not_a_fingerprint_is_bad_usage(self):
        self.ctl("show", "rules", "--wins", "mac=zz", expect=1)
        self.assertEqual(self.err, 'byodctl: --wins: address "zz" is malformed\n')


class OneSpelling(WithRules):
    def test_a_block_is_spelt_with_its_length_wherever_it_is_written(self):
        self.assertIn(MAC, self.ctl("show", "rules"))
        self.assertIn(MAC, self.ctl("show", "rule", "mac", "00-11-22-33-44-55"))
        self.assertIn(MAC, self.ctl("identify", "--explain", "--mac", "001122334455"))
        self.ctl("set", "rule", "mac", MAC, "--name", "changed")
        self.addCleanup(self.daemon.run, "unset", "rule", "mac", MAC)
        self.ctl("set", "rule", "mac", "00:11:22:00:00:00", expect=5)
        self.assertIn("the rule " + MAC, self.err)

    def test_an_address_is_written_in_one_form_however_it_was_given(self):
        for option in ("--json", "--tsv", "--explain"):
            out = self.ctl("identify", option, "--mac", "0011.22AA.BBCC")
            self.assertIn("00:11:22:aa:bb:cc", out)
            self.assertNotIn("0011.22", out)

    def test_no_output_but_json_holds_a_control_character(self):
        evil = "\x1b[2J\u009b\x7f"
        self.ctl("set", "rule", "user-agent", "evil" + evil, "--name", "N" + evil)
        self.addCleanup(self.daemon.run, "unset", "rule", "user-agent", "evil" + evil)
        self.ctl("set", "authorization", "g", "Mobile", "acl=" + evil)
        agent = ("--user-agent", "evil" + evil)
        command = self.command()
        for arguments in (("show", "rules"), ("show", "rule", "user-agent", "evil" + evil),
                          ("identify", *agent), ("identify", "--tsv", *agent),
                          ("identify", "--explain", *agent), ("show", "authorization"),
                          ("show", "rule", "user-agent", "absent" + evil), ("export",),
                          ("import", "/absent" + evil), ("show", "rules", evil), ("identify", "--mac", evil)):
            _, out, err = run_at_terminal([*command, *arguments], 200)
            for text in (out, err):
                self.assertEqual([c for c in text if c in evil[0] + evil[4:]], [],
                                 f"{arguments}: {text!r}")
        self.assertIn("evil" + evil, self.ctl("export", "user-agent"))


if __name__ == "__main__":
    main()
