# SPDX-License-Identifier: Apache-2.0
"""What the learning script writes, and what it leaves out."""

import importlib.machinery
import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(ROOT, "scripts"))

from byodrules import brands, catalogue, merging, models, pruning, respelling, settling  # noqa: E402
from byodrules.catalogue import Rule  # noqa: E402
from byodrules.matching import Matcher, alternatives  # noqa: E402

LEARN = importlib.machinery.SourceFileLoader(
    "learn_rules", os.path.join(ROOT, "scripts", "learn-rules")).load_module()
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


# What the learner starts from; the catalogue's own would take a while to weigh.
BASE = {
    "vocabulary.tsv": "field\tlabel\tanswer\ncategory\tmobile\tMobile\n"
    "category\ttablet\tTablet\ncategory\tpc\tPC\ncategory\tprinter\tPrinter\n",
    "base/user-agent.csv": "expression,name,vendor,category,os\n"
    "Windows NT,Windows computer,,PC,Windows\nAndroid,Android tablet,,Tablet,Android\n"
    "Mozilla/5.0&&Android&&Mobile,Android phone,,Mobile,Android\n",
    "base/brands.csv": "term,vendor,kind\n; Word,Brand,phone\n",
    "base/names.csv": "name,vendor,kind\nForeign,Foreign,phone\n",
    "base/models.csv": "term,vendor,kind\n; MQ-,Listed,both\n",
    "base/dhcp-option.csv": "options,name,vendor,category,os\n",
}


def learn(folder, text, *arguments):
    source = os.path.join(folder, "labelled.tsv")
    output = os.path.join(folder, "rules.csv")
    files = {os.path.join("rules", name): held for name, held in BASE.items()}
    files["labelled.tsv"] = text
    os.makedirs(os.path.join(folder, "rules", "base"), exist_ok=True)
    for name, held in files.items():
        with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
            file.write(held)
    subprocess.run(
        [sys.executable, os.path.join(ROOT, "scripts", "learn-rules"), "--output", output,
         "--rules", os.path.join(folder, "rules"), *arguments, source],
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

    def test_a_hand_written_word_needs_no_row_and_one_that_the_rows_contradict_is_left_out(self):
        text = HEADER + "".join(labelled_lines())
        text += "".join(
            f"{browser(f'Foreign {n}')}\tmobile\tAcme\tAndroid\tuap-core\n" for n in range(10, 30)
        )
        output, _ = learn(self.folder, text)
        rules = catalogue.read_rules(output, "expression")
        matcher = Matcher([rule.key for rule in rules])
        answer = rules[matcher.winner(browser("Word 5"))].answer()
        self.assertEqual(answer, ("Mobile", "Brand", "Android"))
        answer = rules[matcher.winner(browser("Foreign 77"))].answer()
        self.assertEqual(answer, ("Mobile", "Acme", "Android"))

    def test_a_listed_model_needs_no_row_either(self):
        output, _ = learn(self.folder, HEADER + "".join(labelled_lines()))
        rules = catalogue.read_rules(output, "expression")
        matcher = Matcher([rule.key for rule in rules])
        self.assertEqual(rules[matcher.winner(browser("MQ-7"))].answer(),
                         ("Mobile", "Listed", "Android"))
        self.assertEqual(rules[matcher.winner(browser("MQ-7", False))].answer(),
                         ("Tablet", "Listed", "Android"))

    def test_no_expression_is_longer_than_asked_for(self):
        for limit in (60, 127):
            output, _ = learn(self.folder, HEADER + "".join(labelled_lines()), "--max-length",
                              str(limit))
            rules = catalogue.read_rules(output, "expression")
            self.assertLessEqual(max(len(rule.key) for rule in rules), limit)

    def test_rows_cannot_take_a_hand_written_rule_s_own_example_from_it(self):
        example = browser("Sure-1")
        phone = Rule("Mozilla/5.0&&Android&&Mobile", "", "", "Mobile", "Android")
        sure = Rule("Sure-1", "Watch", "Tick", "Other", "Tock", example)
        rows = [(browser(f"Sure-{n}"), ("Mobile", "Acme", "Android")) for n in range(50)]
        learned = LEARN.user_agent_rules(rows, {}, [sure])
        matcher = Matcher([rule.key for rule in learned])
        self.assertEqual(learned[matcher.winner(example)].answer(), sure.answer())
        self.assertEqual(list(LEARN.lost_examples(learned, [sure])), [])
        self.assertEqual(len(list(LEARN.lost_examples([phone, sure], [sure]))), 1)

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

    def test_a_list_that_repeats_itself_was_never_sent(self):
        text = "options\tlabel\tvendor\tos\tcategory\tsource\n"
        written = ",".join(str(ord(c)) for c in "[1, 28, 2, 3]")
        for options in (written, "1,3,6,121,15,121"):
            text += f"{options}\ta\tAcme\tLinux\tpc\tkyd\n"
        output, _ = learn(self.folder, text, "--no-base")
        self.assertEqual([r.key for r in catalogue.read_rules(output, "options")],
                         ["1,3,6,121,15,121"])

    def test_few_rows_do_not_overrule_what_is_known_of_a_family(self):
        speaker = Rule("Android&&; SPK", "Speaker", "Acme", "Other", "Android")
        rows = [(browser(f"SPK{n} Build/1"), ("Console", "Acme", "Android")) for n in (1, 2)]
        learned = LEARN.user_agent_rules(rows, {}, [speaker])
        self.assertEqual([rule.answer() for rule in learned], [speaker.answer()])
        rows = [(browser(f"SPK{n} Build/1"), ("Console", "Acme", "Android")) for n in range(9)]
        learned = LEARN.user_agent_rules(rows, {}, [speaker])
        self.assertIn(("Console", "Acme", "Android"), [rule.answer() for rule in learned])


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

    def test_an_alternative_that_never_decides_is_left_out_and_the_order_stays(self):
        rules = [Rule(key, vendor="V") for key in ("abcd||xyz", "bcd&&&&&&&&", "c")]
        left = [rule.key for rule in pruning.without_dead_alternatives(rules)]
        self.assertEqual(left, ["xyz&&&&&&", "bcd&&&&&&&&", "c"])

    def test_of_two_alternatives_that_cover_each_other_one_stays(self):
        rules = [Rule("ab||xy", vendor="V"), Rule("ab||uv", vendor="V")]
        left = [rule.key for rule in pruning.without_dead_alternatives(rules)]
        self.assertEqual(left, ["xy&&&&", "ab||uv"])

    def test_examples_that_another_rule_wins_are_not_kept(self):
        rules = [Rule("abc", vendor="A", example="abcdef"), Rule("abcd", vendor="B")]
        shown = pruning.with_examples(rules, ["xabcdx", "abc"], 10)
        self.assertEqual([rule.example for rule in shown], ["abc", "xabcdx"])


class Merging(unittest.TestCase):
    PHONE, TABLET = ("Mobile", "A"), ("Tablet", "A")

    def merged(self, rules, texts=(), fixed=(), limit=127):
        rules = [Rule(key, category=c, vendor=v) for key, (c, v) in rules]
        return sorted(rule.key for rule in merging.merge(rules, list(texts), set(fixed), limit))

    def test_rules_of_one_answer_become_alternatives(self):
        self.assertEqual(
            self.merged([("abc", self.PHONE), ("xyz", self.PHONE), ("other", self.TABLET)]),
            ["abc||xyz", "other"],
        )

    def test_a_general_rule_stays_shorter_than_its_special_case_of_another_answer(self):
        general = [("abc", self.TABLET), ("xyz", self.TABLET)]
        self.assertEqual(
            self.merged([*general, ("abc&&Mob", self.PHONE)]), ["abc", "abc&&Mob", "xyz"]
        )
        self.assertEqual(
            self.merged([*general, ("abc&&Mobile", self.PHONE)]), ["abc&&Mobile", "abc||xyz"]
        )

    def test_special_cases_grow_first_and_make_room_below(self):
        found = self.merged(
            [
                ("abc", self.TABLET),
                ("xyz", self.TABLET),
                ("abc&&Mob", self.PHONE),
                ("xyz&&Mob", self.PHONE),
            ]
        )
        self.assertEqual(found, ["abc&&Mob||xyz&&Mob", "abc||xyz"])

    def test_a_rule_does_not_outgrow_the_winner_of_a_text_both_match(self):
        rules = [("abc", self.TABLET), ("def", self.TABLET), ("Mobile", self.PHONE)]
        self.assertEqual(self.merged(rules), ["Mobile", "abc||def"])
        self.assertEqual(self.merged(rules, ["abc Mobile"]), ["Mobile", "abc", "def"])

    def test_what_a_long_expression_of_the_same_answer_covers_is_not_said_again(self):
        self.assertEqual(
            self.merged([("abc", self.PHONE), ("uvw", self.PHONE), ("abc&&d", self.PHONE)]),
            ["abc||uvw"],
        )

    def test_an_alternative_does_not_stand_beside_one_that_covers_it(self):
        rules = [("abc", self.TABLET), ("abc&&defg", self.TABLET), ("uvwx", self.TABLET),
                 ("bc", self.PHONE), ("c&&d", self.PHONE)]
        for key in self.merged(rules, ["abc d", "abcdefg"]):
            terms = key.split("||")
            self.assertFalse({"abc", "abc&&defg"} <= set(terms), key)

    def test_fixed_rules_stay_alone(self):
        self.assertEqual(
            self.merged([("abc", self.PHONE), ("xyz", self.PHONE)], fixed=["abc"]), ["abc", "xyz"]
        )

    def test_no_expression_outgrows_its_limit(self):
        keys = [f"word-{i:03}" for i in range(100)]
        for limit in (127, 255):
            found = self.merged([(key, self.PHONE) for key in keys], limit=limit)
            self.assertEqual(max(len(key) for key in found), limit // 10 * 10 - 2)
            self.assertEqual(sorted("||".join(found).split("||")), keys)


class Respelling(unittest.TestCase):
    def distinct(self, *keys, most=127):
        return [rule.key for rule in respelling.distinct([Rule(key) for key in keys], most)]

    def test_expressions_that_are_equal_but_for_case_all_stay_and_match_what_they_did(self):
        keys = ["Huawei", "HUAWEI", "huawei", "Android&&Redmi", "Android&&REDMI", "a||B", "A||b"]
        found = self.distinct(*keys)
        self.assertEqual(len({key.lower() for key in found}), len(keys))
        for key, respelt in zip(keys, found):
            self.assertEqual(
                sorted(map(sorted, alternatives(respelt))), sorted(map(sorted, alternatives(key)))
            )

    def test_the_first_keeps_its_spelling_and_terms_are_exchanged_before_anything_grows(self):
        self.assertEqual(self.distinct("Android&&X", "Android&&x"), ["Android&&X", "x&&Android"])
        self.assertEqual(self.distinct("Huawei", "HUAWEI"), ["Huawei", "HUAWEI&"])

    def test_one_that_would_grow_beyond_the_limit_keeps_its_text(self):
        self.assertEqual(self.distinct("Huawei", "HUAWEI", most=6), ["Huawei", "HUAWEI"])


class Settling(unittest.TestCase):
    A, B = ("", "A", ""), ("", "B", "")

    def settled(self, keys, facts, limit=127):
        rules = [Rule(key, vendor=vendor) for key, vendor in keys]
        return [rule.key for rule in settling.settle(rules, facts, limit)]

    def test_of_two_that_tie_the_one_that_is_right_more_often_gets_longer(self):
        facts = [("abc", self.B), ("xabc", self.B), ("abcx", self.A)]
        self.assertEqual(self.settled([("ab", "A"), ("bc", "B")], facts), ["ab", "bc&"])

    def test_two_that_answer_alike_or_match_no_text_together_stay(self):
        keys = [("ab", "A"), ("bc", "A"), ("xy", "B")]
        self.assertEqual(self.settled(keys, [("abc", self.B), ("xy", self.B)]), ["ab", "bc", "xy"])

    def test_one_that_cannot_grow_stays_and_the_other_is_left_out(self):
        self.assertEqual(self.settled([("ab", "A"), ("bc", "B")], [("abc", self.B)], 2), ["bc"])

    def test_one_that_grows_into_another_tie_goes_on(self):
        keys = [("ab", "A"), ("bc", "B"), ("abc", "A")]
        found = self.settled(keys, [("abc", self.B), ("xbcab", self.B), ("zabc", self.A)])
        rules = [Rule(key, vendor="B" if key.startswith("bc") else "A") for key in found]
        self.assertEqual(list(settling.ties(rules, ["abc", "xbcab", "zabc"])), [])


class Models(unittest.TestCase):
    def beginnings(self, *rows):
        return models.beginnings(rows)

    def test_the_shortest_beginning_of_one_brand_is_found(self):
        found = self.beginnings(
            ("SM-G960F", "Samsung", "Galaxy S9"), ("SM-G965F", "Samsung", "Galaxy S9+"),
            ("SM-X1", "Other", "X1"), ("SM-X2", "Other", "X2"))
        self.assertEqual(found, {"SM-G": ("Samsung", "both"), "SM-X": ("Other", "both")})

    def test_one_model_alone_says_nothing_of_its_beginning(self):
        self.assertEqual(self.beginnings(("SM-G960F", "Samsung", "Galaxy S9")), {})
        self.assertEqual(self.beginnings(("AB-1", "A", "One"), ("AB-1", "A", "Uno")), {})

    def test_brands_that_share_a_beginning_are_told_apart_or_left_out(self):
        found = self.beginnings(("X100", "A", "a"), ("X101", "A", "a"), ("X102", "B", "b"))
        self.assertEqual(found, {})

    def test_the_marketing_name_tells_tablets_and_television_from_phones(self):
        self.assertEqual(models.kind_of("Galaxy Tab S9"), "tablet")
        self.assertEqual(models.kind_of("MatePad 11"), "tablet")
        self.assertEqual(models.kind_of("Mi TV Stick"), "tv")
        self.assertEqual(models.kind_of("Galaxy Watch4"), "")
        self.assertEqual(models.kind_of("Galaxy S9"), "both")
        found = self.beginnings(
            ("TBA-1", "L", "Tab 1"), ("TBA-2", "L", "Tab 2"), ("TBX", "L", "Phone"), ("TBX2", "L", "P"))
        self.assertEqual(found, {"TBA": ("L", "tablet"), "TBX": ("L", "both")})

    def test_short_beginnings_and_codes_that_no_expression_can_hold_are_left_out(self):
        self.assertEqual(self.beginnings(("G2", "LG", "G2"), ("G3", "LG", "G3")), {})
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "models.tsv")
            with open(path, "w", encoding="utf-8") as file:
                file.write("model\tbrand\tvendor\tname\nA|B\ta\tA\tn\nC&D\ta\tA\tn\nEFG\ta\tRedmi\tn\n")
            self.assertEqual(list(models.read(path)), [("EFG", "Xiaomi", "n")])


class HandWritten(unittest.TestCase):
    def rules(self, words="", names=""):
        with tempfile.TemporaryDirectory() as folder:
            paths = [os.path.join(folder, name) for name in ("brands.csv", "names.csv")]
            for path, text in zip(paths, ("term,vendor,kind\n" + words, "name,vendor,kind\n" + names)):
                with open(path, "w", encoding="utf-8") as file:
                    file.write(text)
            return {rule.key: rule.answer() for rule in brands.rules(*paths)}

    def test_a_brand_of_phones_and_tablets_is_told_apart_by_mobile(self):
        self.assertEqual(
            self.rules("; AB-,Acme,both\n"),
            {
                "Android&&; AB-": ("Tablet", "Acme", "Android"),
                "Mozilla/5.0&&Android&&Mobile&&; AB-": ("Mobile", "Acme", "Android"),
            },
        )

    def test_a_long_word_of_a_tablet_outweighs_mobile_and_a_short_one_does_not(self):
        self.assertEqual(set(self.rules("; AB1,Acme,tablet\n")), {"Android&&; AB1"})
        answers = self.rules("; AB12,Acme,tablet\n")
        self.assertEqual(
            answers["Mozilla/5.0&&Android&&Mobile&&; AB12"], ("Tablet", "Acme", "Android")
        )

    def test_a_name_is_tried_in_its_usual_spellings(self):
        self.assertEqual(brands.spellings("Acme"), ["Acme", "ACME"])
        self.assertEqual(
            brands.spellings("be Well"),
            ["be Well", "BE WELL", "Be Well", "be_Well", "BE_WELL", "Be_Well", "beWell", "BEWELL",
             "Bewell"],
        )

    def test_a_common_word_is_a_name_only_where_a_model_begins(self):
        keys = self.rules(names="Sky,Sky,tv!\n")
        self.assertIn("Android&&; SKY ", keys)
        self.assertNotIn("Android&&Sky", keys)

    def test_a_word_goes_before_a_name(self):
        answers = self.rules("Acme,Own,phone\n", "Acme,Acme,phone\n")
        self.assertEqual(answers["Android&&Acme"][1], "Own")
        self.assertEqual(answers["Android&&ACME"][1], "Acme")

    def test_an_unknown_kind_is_refused(self):
        with self.assertRaises(ValueError):
            self.rules("; AB-,Acme,phones\n")


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
