"""What the learning script writes, and what it leaves out."""

import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(ROOT, "scripts"))

from byodrules import catalogue, pruning  # noqa: E402
from byodrules.catalogue import Rule  # noqa: E402
from byodrules.matching import Matcher  # noqa: E402

HEADER = "user_agent\ttype\tvendor\tos\tsource\n"


def browser(model, mobile=True):
    return (
        f"Mozilla/5.0 (Linux; Android 9; {model}) AppleWebKit/537.36 (KHTML, like Gecko) "
        f"Chrome/90.0.4430.91 {'Mobile ' if mobile else ''}Safari/537.36"
    )


def labelled_lines():
    for number in range(20, 40):
        yield f"{browser(f'AB-{number}')}\tmobile\tAcme\tAndroid\tuap-core\n"
        yield f"{browser(f'ZQ-{number}', False)}\ttablet\tZenith\tAndroid\tbrowscap\n"
        yield f"{browser(f'XY-{number}')}\tmobile\tForeign\tAndroid\tdevice-detector\n"


def learn(folder, text, *arguments):
    source = os.path.join(folder, "labelled.tsv")
    output = os.path.join(folder, "rules.csv")
    with open(source, "w", encoding="utf-8") as file:
        file.write(text)
    subprocess.run(
        [sys.executable, os.path.join(ROOT, "scripts", "learn-rules"), "--output", output,
         *arguments, source],
        check=True,
        stdout=subprocess.DEVNULL,
    )
    with open(output, "rb") as file:
        return output, file.read()


class LearnRules(unittest.TestCase):
    def setUp(self):
        held = tempfile.TemporaryDirectory()
        self.addCleanup(held.cleanup)
        self.folder = held.name

    def test_a_model_never_seen_is_known_by_its_series(self):
        output, _ = learn(self.folder, HEADER + "".join(labelled_lines()), "--no-base")
        rules = catalogue.read_rules(output, "expression")
        matcher = Matcher([rule.key for rule in rules])
        answer = rules[matcher.winner(browser("AB-77"))].answer()
        self.assertEqual(answer, ("Mobile", "Acme", "Android"))
        answer = rules[matcher.winner(browser("ZQ-77", False))].answer()
        self.assertEqual(answer, ("Tablet", "Zenith", "Android"))

    def test_rows_of_sources_that_are_not_accepted_teach_nothing(self):
        _, text = learn(self.folder, HEADER + "".join(labelled_lines()), "--no-base")
        self.assertIn(b"Acme", text)
        self.assertNotIn(b"Foreign", text)
        _, text = learn(
            self.folder, HEADER + "".join(labelled_lines()), "--no-base", "--sources", "all"
        )
        self.assertIn(b"Foreign", text)

    def test_one_source_that_is_not_accepted_spoils_a_row(self):
        row = f"{browser('AB-1')}\tmobile\tAcme\tAndroid\tuap-core,device-detector\n"
        row += f"{browser('Cedro-1')}\tmobile\tCedar\tAndroid\tuap-core\n"
        row += f"{browser('Cedro-2')}\tmobile\tCedar\tAndroid\tuap-core\n"
        _, text = learn(self.folder, HEADER + row, "--no-base")
        self.assertNotIn(b"Acme", text)
        self.assertIn(b"Cedar", text)

    def test_a_vendor_of_few_rows_is_not_given_to_the_many_that_name_none(self):
        windows = "Mozilla/5.0 (Windows NT 10.0; rv:{}.0) Gecko/20100101 Acme Firefox/{}.0"
        rows = [(windows.format(n, n), "", "") for n in range(10, 40)]
        rows += [(windows.format(90, 90), "Acme", "")]
        text = HEADER + "".join(f"{ua}\tpc\t{v}\tWindows\tyauaa\n" for ua, v, _ in rows)
        output, _ = learn(self.folder, text)
        rules = catalogue.read_rules(output, "expression")
        matcher = Matcher([rule.key for rule in rules])
        answer = rules[matcher.winner(windows.format(55, 55))].answer()
        self.assertEqual(answer, ("PC", "", "Windows"))

    def test_the_same_rows_in_any_order_give_the_same_bytes(self):
        lines = list(labelled_lines())
        _, first = learn(self.folder, HEADER + "".join(lines))
        _, second = learn(self.folder, HEADER + "".join(reversed(lines)))
        self.assertEqual(first, second)

    def test_the_rule_count_is_bounded(self):
        output, _ = learn(
            self.folder, HEADER + "".join(labelled_lines()), "--no-base", "--max-rules", "1"
        )
        self.assertEqual(len(catalogue.read_rules(output, "expression")), 1)

    def test_option_lists_are_answered_by_what_their_labels_agree_on(self):
        text = "options\tlabel\tvendor\tos\tcategory\tsource\n"
        text += "1,3,6\ta\tAcme\tLinux\tprinter\tkyd\n"
        text += "1,3,6\tb\tBolt\tLinux\tprinter\tkyd\n"
        output, _ = learn(self.folder, text, "--no-base")
        (rule,) = catalogue.read_rules(output, "options")
        self.assertEqual((rule.key, rule.answer()), ("1,3,6", ("Printer", "", "Linux")))


class Pruning(unittest.TestCase):
    def lost(self, *keys):
        return pruning.never_winning([Rule(key, vendor="V") for key in keys])

    def test_a_rule_shadowed_by_a_longer_general_one_is_dropped(self):
        self.assertEqual(self.lost("SM-G9", "M-G&&SM-"), {0})

    def test_a_rule_shadowed_by_one_of_equal_length_is_dropped(self):
        self.assertEqual(self.lost("abcdef", "abc&de"), {0})

    def test_a_special_rule_that_is_longer_stays(self):
        self.assertEqual(self.lost("Android", "Android&&SM-G9"), set())

    def test_duplicates_but_for_case_are_dropped(self):
        self.assertEqual(self.lost("Android", "ANDROID"), {1})

    def test_a_shadowed_rule_of_alternatives_is_dropped(self):
        self.assertEqual(self.lost("ab1||ab2", "ab&&ab&&ab&&ab"), {0})

    def test_a_rule_that_several_leave_nothing_to_match_is_dropped(self):
        self.assertEqual(self.lost("ax||by", "x||nobody sends it", "y||nobody sends it too"), {0})
        self.assertEqual(self.lost("ax||bz", "x||nobody sends it", "y||nobody sends it too"), set())

    def test_a_rule_that_says_nothing_is_dropped(self):
        self.assertEqual(pruning.never_winning([Rule("Android", name="only a name")]), {0})

    def test_examples_that_another_rule_wins_are_not_kept(self):
        rules = [Rule("abc", vendor="A", example="abcdef"), Rule("abcd", vendor="B")]
        shown = pruning.with_examples(rules, ["xabcdx", "abc"], 10)
        self.assertEqual([rule.example for rule in shown], ["abc", "xabcdx"])


class Quoting(unittest.TestCase):
    def test_blanks_at_the_ends_of_an_expression_survive(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "rules.csv")
            rules = [Rule(" SM-", vendor='say "V"', example="a,b"), Rule("#x", os="Linux")]
            catalogue.write_rules(path, "expression", rules, ["a comment"])
            with open(path, encoding="utf-8") as file:
                text = file.read()
            self.assertIn('" SM-"', text)
            self.assertEqual(catalogue.read_rules(path, "expression"), rules)


if __name__ == "__main__":
    unittest.main()
