# SPDX-License-Identifier: Apache-2.0
"""The reading of User-Agent expressions and the order in which rules are tried."""

import os
import random
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "scripts"))

from byodrules.matching import Matcher, implies, matches  # noqa: E402


class Expression(unittest.TestCase):
    def test_every_term_of_one_alternative_must_occur(self):
        expression = "iPhone&&Mobile||iPad"
        self.assertTrue(matches(expression, "an iPhone that is Mobile"))
        self.assertTrue(matches(expression, "iPad"))
        self.assertFalse(matches(expression, "iPhone"))

    def test_terms_are_case_sensitive(self):
        self.assertFalse(matches("Android&&Mobile", "android mobile"))

    def test_an_expression_without_alternatives_matches_everything(self):
        for expression in ("", "|", "||||"):
            self.assertTrue(matches(expression, "anything"), expression)

    def test_an_alternative_without_terms_matches_everything(self):
        self.assertTrue(matches("iPhone||&&", "Nokia"))
        self.assertFalse(matches("iPhone||iPad", "Nokia"))

    def test_runs_of_separators_separate_once(self):
        self.assertTrue(matches("a&b", "b a"))
        self.assertTrue(matches("a&&&b|||c", "c"))
        self.assertFalse(matches("&a&&b&", "a"))


class Order(unittest.TestCase):
    def test_the_longest_expression_decides(self):
        rules = ["Android", "iPhone OS&&Mobile", "iPhone"]
        matcher = Matcher(rules)
        self.assertEqual(matcher.winner("iPhone OS Mobile"), 1)
        self.assertEqual(matcher.winner("iPhone OS"), 2)
        self.assertIsNone(matcher.winner("Nokia"))

    def test_length_is_counted_in_bytes(self):
        self.assertEqual(Matcher(["abc", "éé"]).winner("abc éé"), 1)

    def test_rules_of_one_length_are_all_reported(self):
        self.assertEqual(Matcher(["ab", "bc", "a"]).winners("abc"), [0, 1])

    def test_the_index_agrees_with_trying_every_rule(self):
        random.seed(7)
        letters = "abAB &|"
        rules = ["".join(random.choices(letters, k=random.randint(0, 9))) for _ in range(300)]
        matcher = Matcher(rules)
        by_length = sorted(range(len(rules)), key=lambda i: (-len(rules[i]), i))
        for _ in range(2000):
            text = "".join(random.choices("abAB ", k=random.randint(0, 14)))
            plain = [i for i in by_length if matches(rules[i], text)]
            self.assertEqual(matcher.winner(text), plain[0] if plain else None)
            self.assertEqual(matcher.all_matching(text), plain)


class Implication(unittest.TestCase):
    def test_a_special_case_implies_the_general_rule(self):
        self.assertTrue(implies("Android&&SM-G9&&Mobile", "Android&&SM-"))
        self.assertFalse(implies("Android&&SM-", "Android&&SM-G9"))
        self.assertTrue(implies("a1&&b||c2", "c||a"))
        self.assertFalse(implies("a1||d", "c||a"))

    def test_what_matches_everything_is_implied_by_all(self):
        self.assertTrue(implies("Android", ""))
        self.assertFalse(implies("", "Android"))


if __name__ == "__main__":
    unittest.main()
