# SPDX-License-Identifier: Apache-2.0
"""What the shipped catalogue answers: strings that were once answered wrongly, and its own examples."""

import os
import sys
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(ROOT, "scripts"))

from byodrules import catalogue, labelled  # noqa: E402
from byodrules.engines import PythonEngine  # noqa: E402
from byodrules.option_learner import plausible  # noqa: E402

RULES = os.path.join(ROOT, "rules")
WINDOWS = "1,3,6,15,31,33,43,44,46,47,119,121,249,252"


class Catalogue(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.engine = PythonEngine(RULES, "")

    def answer(self, user_agent="", options=""):
        row = labelled.Fingerprint("", options, user_agent, "", "", "", "", ())
        return self.engine.answers([row], ["user-agent" if user_agent else "dhcp"])[0]

    def test_each_listed_string_gets_its_answer(self):
        path = os.path.join(ROOT, "tests", "scripts", "answers.tsv")
        rows = labelled.read(path)
        self.assertGreater(len(rows), 50)
        for row in rows:
            with self.subTest(row.user_agent):
                self.assertEqual(self.answer(row.user_agent), (row.category, row.vendor, row.os))
        self.assertEqual(self.engine.ties, 0)

    def test_every_example_of_the_rules_is_won_by_its_rule_alone(self):
        shown = 0
        for place, rule in enumerate(self.engine.agent_rules):
            if rule.example:
                shown += 1
                self.assertEqual(self.engine._matcher.winners(rule.example), [place], rule.key)
        self.assertGreater(shown, 500)

    def test_what_was_written_by_hand_is_answered_on_its_examples(self):
        base = catalogue.read_rules(os.path.join(RULES, "base", "user-agent.csv"), "expression")
        for rule in base:
            if rule.example:
                with self.subTest(rule.key):
                    given = self.answer(rule.example)
                    self.assertEqual(given, tuple(a or b for a, b in zip(rule.answer(), given)))

    def test_windows_is_known_by_its_list_with_and_without_the_captive_portal_s_option(self):
        self.assertEqual(self.answer(options=WINDOWS), ("PC", "", "Windows"))
        self.assertEqual(self.answer(options=WINDOWS + ",114"), ("PC", "", "Windows"))

    def test_no_option_list_is_text_taken_for_numbers(self):
        for rule in self.engine.option_rules:
            self.assertTrue(plausible(rule.key), rule.key)


if __name__ == "__main__":
    unittest.main()
