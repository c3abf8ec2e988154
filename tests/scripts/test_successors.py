# SPDX-License-Identifier: Apache-2.0
"""Which rule is named as the successor of one that is gone."""

import os
import sys
import tempfile
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(ROOT, "scripts"))

from byodrules import successors  # noqa: E402
from byodrules.catalogue import Rule  # noqa: E402


def phone(key, vendor="Acme", example=""):
    return Rule(key, f"{vendor} phone", vendor, "Mobile", "Android", example)


GENERAL = phone("Android", vendor="")


class Find(unittest.TestCase):
    def test_a_merged_rule_is_followed_by_the_one_that_wins_on_its_example(self):
        old = [GENERAL, phone("; AB-1", example="Android; AB-1"), phone("; AB-2")]
        new = [GENERAL, phone("; AB-1||; AB-2||; AB-3")]
        self.assertEqual(successors.find(old, new, []),
                         {"; AB-1": new[1].key, "; AB-2": new[1].key})

    def test_a_split_rule_is_followed_by_the_part_that_wins_on_most_of_its_texts(self):
        old = [phone("; AB-")]
        new = [phone("; AB-1"), phone("; AB-2")]
        texts = ["Android; AB-10", "Android; AB-20", "Android; AB-21", "Android; XY"]
        self.assertEqual(successors.find(old, new, texts), {"; AB-": "; AB-2"})
        self.assertEqual(successors.find(old, new, texts[:1]), {"; AB-": "; AB-1"})

    def test_the_example_counts_before_the_texts(self):
        old = [phone("; AB-", example="Android; AB-10")]
        new = [phone("; AB-1"), phone("; AB-2")]
        self.assertEqual(successors.find(old, new, ["; AB-20", "; AB-21"]), {"; AB-": "; AB-1"})

    def test_a_rule_with_another_answer_is_not_a_successor(self):
        old = [GENERAL, phone("Android; AB-1", example="Android; AB-1")]
        self.assertEqual(successors.find(old, [GENERAL], ["Android; AB-1"]), {})
        self.assertEqual(successors.find(old, [GENERAL, phone("; AB", vendor="Else")], []), {})

    def test_a_rule_that_is_still_there_has_no_successor(self):
        old = [phone("; ab-1")]
        self.assertEqual(successors.find(old, [phone("; AB-1"), phone("; ab-1 ")], ["; ab-1 "]), {})


class Update(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, successors.FILE)

    def update(self, old, new):
        successors.update(self.path, successors.USER_AGENT, old, new, [])
        return self.rows()

    def rows(self):
        if not os.path.exists(self.path):
            return None
        with open(self.path, encoding="utf-8") as file:
            return [line.strip() for line in file if not line.startswith("#")][1:]

    def test_a_chain_of_editions_names_the_last_successor(self):
        first = [phone("; AB-1")]
        second = [phone("; AB-1||; AB-2")]
        third = [phone("; AB-1||; AB-2||; AB-3")]
        self.assertIsNone(self.update(first, first))
        self.assertEqual(self.update(first, second), ["user-agent,; AB-1,; AB-1||; AB-2"])
        self.assertEqual(self.update(second, third),
                         ["user-agent,; AB-1,; AB-1||; AB-2||; AB-3",
                          "user-agent,; AB-1||; AB-2,; AB-1||; AB-2||; AB-3"])
        self.assertEqual(self.update(third, third), self.rows())

    def test_a_rule_that_comes_back_and_one_without_a_successor_leave_the_file(self):
        first, second = [phone("; AB-1")], [phone("; AB-1||; AB-2")]
        self.update(first, second)
        self.assertEqual(self.update(second, [phone("; XY")]), [])
        self.update(first, second)
        self.assertEqual(self.update(second, first), ["user-agent,; AB-1||; AB-2,; AB-1"])

    def test_rows_of_other_kinds_stay(self):
        with open(self.path, "w", encoding="utf-8") as file:
            file.write("kind,rule,successor\nmac,00:11:22/24,00:11:22:00/28\n")
        self.assertEqual(self.update([phone("; AB-1")], [phone("; AB-1||; AB-2")]),
                         ["mac,00:11:22/24,00:11:22:00/28",
                          "user-agent,; AB-1,; AB-1||; AB-2"])


if __name__ == "__main__":
    unittest.main()
