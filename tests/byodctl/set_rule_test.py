# SPDX-License-Identifier: Apache-2.0
"""What byodctl set rule says about the rule that it sets: set_rule_test.py BYODCTL LAUTHD"""

import json

from with_daemon import WithDaemon, WithSharedDaemon, main

ALL = ("--name", "N", "--vendor", "V", "--category", "C", "--os", "O")


class SetRule(WithSharedDaemon):
    def warnings(self, kind, key, *arguments):
        """The warnings about a rule, which is removed again."""
        self.addCleanup(self.daemon.run, "unset", "rule", kind, key)
        status, out, err = self.daemon.run("set", "rule", kind, key, *arguments)
        self.assertEqual(status, 0, err)
        self.out = out
        lines = err.splitlines()
        for line in lines:
            self.assertTrue(line.startswith("byodctl: warning: the rule "), line)
        return [line.removeprefix("byodctl: warning: the rule ") for line in lines]

    def test_a_rule_that_does_what_it_looks_like_is_set_without_a_word(self):
        self.assertEqual(self.warnings("user-agent", "Nokia&&Mobile||Lumia", *ALL), [])
        self.assertEqual(self.warnings("dhcp-option", "1,2,3", *ALL), [])
        self.assertEqual(self.warnings("mac", "00:99:88/24", *ALL), [])
        self.assertEqual(self.warnings("mac", "00:99:87:66:55:44", *ALL), [])

    def test_an_expression_that_matches_everything(self):
        for key in ("iPhone||&&", "&&", "|"):
            said = self.warnings("user-agent", key, *ALL)
            self.assertEqual(said,
                             [f'"{key}" matches every User-Agent: an alternative has no term'])
            self.daemon.run("unset", "rule", "user-agent", key)

    def test_a_rule_without_any_field(self):
        self.assertEqual(self.warnings("mac", "00:99:88/24"),
                         ['"00:99:88:00:00:00/24" says nothing of a device, and keeps other rules '
                          "from it"])

    def test_a_missing_field_is_named_and_one_of_the_predefined_rule_is_not_missing(self):
        self.assertEqual(self.warnings("user-agent", "Nokia", "--vendor", "V", "--os", "O"),
                         ['"Nokia" leaves name, category open, for the methods after it'])
        self.assertEqual(self.warnings("user-agent", "iPhone", "--os", "iPadOS"), [])

    def test_an_expression_that_another_rule_wins(self):
        self.daemon.run("set", "rule", "user-agent", "Phone||Windows&&Phone||x", *ALL)
        self.addCleanup(self.daemon.run, "unset", "rule", "user-agent", "Phone||Windows&&Phone||x")
        self.assertEqual(self.warnings("user-agent", "A Phone", *ALL),
                         ['"A Phone" never wins on "A Phone": the rule "Phone||Windows&&Phone||x" '
                          "is tried before it"])
        self.assertEqual(self.warnings("user-agent", "Nokia||My Phone", *ALL),
                         ['"Nokia||My Phone" never wins on "My Phone": the rule '
                          '"Phone||Windows&&Phone||x" is tried before it'])

    def test_an_example_that_another_rule_wins(self):
        self.addCleanup(self.daemon.run, "unset", "rule", "user-agent", "an iPhone")
        self.daemon.run("set", "rule", "user-agent", "an iPhone", *ALL)
        self.assertEqual(
            self.warnings("user-agent", "Ph", *ALL, "--example", "an iPhone"),
            ['"Ph" does not win on the example "an iPhone": the rule "an iPhone" does'])
        self.assertEqual(self.out, "")
        self.assertEqual(self.warnings("user-agent", "Phone OS", *ALL, "--example", "iPhone OS"),
                         [])
        self.assertEqual(self.out, 'wins on the example over 1 predefined rule: "iPhone"\n')
        self.assertEqual(
            self.warnings("dhcp-option", "1,2", *ALL, "--example", "7,7"),
            ['"1,2" does not match the example "7,7", and no other rule does'])
        self.assertEqual(
            self.warnings("mac", "00:99:88/24", *ALL, "--example", "00:11:22:33:44:55"),
            ['"00:99:88:00:00:00/24" does not win on the example "00:11:22:33:44:55": the rule '
             '"00:11:22:00:00:00/24" does'])

    def test_a_custom_rule_of_the_same_priority_that_wins_is_named_as_a_tie(self):
        self.addCleanup(self.daemon.run, "unset", "rule", "user-agent", "AAAA")
        self.daemon.run("set", "rule", "user-agent", "AAAA", *ALL, "--priority", "9")
        self.assertEqual(
            self.warnings("user-agent", "BBBB", *ALL, "--example", "AAAA BBBB", "--priority", "9"),
            ['"BBBB" has the same place as "AAAA"; where both match, "AAAA" wins, the first in byte '
             'order', '"BBBB" does not win on the example "AAAA BBBB": the rule "AAAA", of the same length '
             "and first in byte order, does"])

    def test_an_invalid_example_changes_nothing(self):
        status, _, err = self.daemon.run("set", "rule", "mac", "00:66/16", "--example", "zz")
        self.assertEqual((status, err), (1, 'byodctl: --example: address "zz" is malformed\n'))
        self.assertEqual(self.daemon.run("show", "rule", "mac", "00:66/16")[0], 3)

    def test_what_no_terminal_sends_and_separators_that_are_read_otherwise(self):
        self.assertIn("never wins: block 01:00:00:00:00:00/8 is of group addresses",
                      self.warnings("mac", "01/8", *ALL)[0])
        self.assertIn("never wins: term \"a?b\" holds a control character",
                      self.warnings("user-agent", "a\x01b", *ALL)[0])
        self.assertIn('"AT&T" is read as "AT&&T"', self.warnings("user-agent", "AT&T", *ALL)[0])
        self.assertIn('"a&b" is read as "a&&b"', self.warnings("user-agent", "a&b||", *ALL)[0])

    def test_a_method_that_the_order_leaves_out(self):
        self.daemon.run("set", "order", "mac")
        self.addCleanup(self.daemon.run, "unset", "order")
        self.assertEqual(self.warnings("user-agent", "Nokia", *ALL),
                         ['"Nokia" is not tried: the order leaves user-agent out'])

    def test_in_json_the_warnings_are_an_array_and_the_status_stays_0(self):
        self.addCleanup(self.daemon.run, "unset", "rule", "user-agent", "Kindle&Fire||")
        for changed in (True, False):
            status, out, err = self.daemon.run("set", "rule", "user-agent", "Kindle&Fire||", *ALL,
                                               "--json")
            report = json.loads(out)
            self.assertEqual((status, err, list(report)), (0, "", ["changed", "warnings", "gain"]))
            self.assertEqual(report["changed"], changed)
            self.assertIn('is read as "Kindle&&Fire"', report["warnings"][0])
        _, out, _ = self.daemon.run("set", "rule", "user-agent", "Lumia", *ALL, "--json")
        self.addCleanup(self.daemon.run, "unset", "rule", "user-agent", "Lumia")
        nothing = {"matched": 0, "won": 0, "lost_to": {}}
        self.assertEqual(json.loads(out),
                         {"changed": True, "warnings": [],
                          "gain": {"unknown": nothing, "examples": nothing, "taken_from": {},
                                   "over": []}})


class Gain(WithDaemon):
    """What a User-Agent rule wins is said when it is set."""

    def setUp(self):
        super().setUp()
        self.daemon.stop()
        (self.daemon.rules / "user-agent.csv").write_text(
            "expression,vendor,category,os,name,example\n"
            "Phone&&Android,A,Mobile,Android,An Android,Phone 5 with Android\n"
            "Tablet,B,Tablet,Android,A tablet,Tablet 5 with Android\n"
            "Other,C,Other,O,Other,\n", encoding="utf-8")
        self.daemon.start()

    def test_examples_of_predefined_rules_are_counted_by_the_rule_that_they_are_taken_from(self):
        out = self.ctl("set", "rule", "user-agent", "with Android", *ALL)
        self.assertEqual(out, "wins on 2 of 2 examples that it matches; taken over: "
                              '1 of "Phone&&Android", 1 of "Tablet"\n')
        out = self.ctl("set", "rule", "user-agent", "5", *ALL)
        self.assertEqual(out, 'wins on 0 of 2 examples that it matches; others win: "with Android" '
                              "on 2\n")
        (report,) = self.json("set", "rule", "user-agent", "5 with Android", *ALL)
        self.assertEqual(report["gain"]["taken_from"], {"Phone&&Android": 1, "Tablet": 1})

    def test_a_changed_predefined_rule_shows_what_wins_over_it(self):
        self.assertEqual(self.ctl("set", "rule", "user-agent", "Tablet", "--os", "O"), "")
        self.ctl("set", "rule", "user-agent", "Tab", *ALL)
        self.ctl("set", "rule", "user-agent", "Tablet", "--os", "P")
        self.assertIn('the rule "Tablet" never wins on "Tablet": the rule "Tab" is tried before it',
                      self.err)

    def test_terminals_that_nothing_matched_are_counted(self):
        for number in range(3):
            self.ctl("identify", "--user-agent", f"Toaster/{number}", expect=3)
        out = self.ctl("set", "rule", "user-agent", "Toaster", *ALL)
        self.assertEqual(out, "wins on 3 of 3 unknown terminals that it matches\n")

    def test_where_user_agents_are_not_tried_there_is_no_gain(self):
        self.ctl("set", "order", "mac")
        (report,) = self.json("set", "rule", "user-agent", "with Android", *ALL)
        self.assertIsNone(report["gain"])
        (report,) = self.json("set", "rule", "mac", "00:99:88/24", *ALL)
        self.assertIsNone(report["gain"])


if __name__ == "__main__":
    main()
