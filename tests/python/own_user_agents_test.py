# SPDX-License-Identifier: Apache-2.0
"""An administrator's User-Agent rules win, by whichever front end they are set.

own_user_agents_test.py LAUTHD BYODCTL SOURCE
"""

import csv
import json
import os
import pathlib
import random
import re
import shutil
import sys
import unittest

LAUTHD, BYODCTL, SOURCE = sys.argv[1:4]
del sys.argv[1:4]
sys.path[:0] = [str(pathlib.Path(SOURCE, "python")), str(pathlib.Path(SOURCE, "tests", "byodctl"))]

# pylint: disable=wrong-import-position
import byod
from byod import Kind, band, codes
from byod.message import message, number, text
from running_daemon import Daemon

UA = Kind.USER_AGENT
CORPUS = pathlib.Path(os.environ.get("BYOD_CORPUS") or pathlib.Path(SOURCE).parent / "shared/corpus")
HEADER = "expression,name,vendor,category,os,priority\n"


class BandTest(unittest.TestCase):
    def test_places_are_those_of_every_front_end(self):
        rules = band.Band()
        checked = 0
        cases = pathlib.Path(SOURCE, "tests/byodctl/rules/user_agent_band.txt")
        for line in cases.read_text(encoding="utf-8").splitlines():
            word, *fields = line.split("\t")
            if word == "remove":
                rules.remove(rules.find(fields[0]))
            elif word == "place":
                rules.place(fields[0], None if fields[1] == "-" else int(fields[1]))
            elif word == "key":
                expected = fields[0] + "&" * int(fields[2])
                self.assertEqual(rules.find(fields[0]), expected.ljust(int(fields[1]), "|"))
                checked += 1
        self.assertGreater(checked, 500)


class WithDaemon(unittest.TestCase):
    def setUp(self):
        self.daemon = Daemon(LAUTHD, BYODCTL)
        self.addCleanup(self.daemon.close)
        self.prepare()
        self.daemon.start()
        self.client = byod.Client(str(self.daemon.socket))
        self.addCleanup(self.client.close)

    def prepare(self):
        """Before the daemon starts."""

    def restart(self):
        self.client.close()
        self.assertEqual(self.daemon.stop(), 0)
        self.daemon.start()

    def ctl(self, *arguments, expect=0, stdin=""):
        status, out, self.err = self.daemon.run(*arguments, stdin=stdin)
        self.assertEqual(status, expect, f"{arguments}: {out}{self.err}")
        return out

    def json(self, *arguments):
        return [json.loads(line) for line in self.ctl(*arguments, "--json").splitlines()]

    def keys(self):
        """The custom rules as a plain client of the messages sees them."""
        return sorted(rule.stored for rule in self.client.rules(UA, configured=True) if rule.custom)

    def names(self, *user_agents):
        return [self.client.identify(user_agent=one).name for one in user_agents]

    def plainly(self, operation, kind, *elements):
        """A request of a client that knows nothing but the form of messages. @return its code"""
        request = message(number(codes.OPERATION, operation), number(codes.KIND, kind), *elements)
        return self.client._ask(request).number(codes.CODE)  # pylint: disable=protected-access


LONG = "Mozilla&&Linux&&Android&&AppleWebKit&&Chrome&&Mobile&&Safari"
PHONE = "Mozilla/5.0 (Linux; Android 10; SM-G960F) AppleWebKit/537.36 Chrome/96 Mobile Safari/537.36"


class Rules(WithDaemon):
    def prepare(self):
        path = self.daemon.rules / "user-agent.csv"
        path.write_text("expression,name,vendor,category,os\n" f"{LONG},By length,V,Mobile,Android\n"
                        "iPhone,Apple iPhone,Apple,Mobile,iOS\nHuawei,H,H,H,H\nHUAWEI&,H2,H,H,H\n",
                        encoding="utf-8")

    def test_a_short_rule_wins_over_a_long_predefined_one(self):
        self.assertEqual(self.names(PHONE), ["By length"])
        self.ctl("set", "rule", "user-agent", "SM-G960F", "--name", "Mine")
        self.assertEqual(self.names(PHONE), ["Mine"])
        self.ctl("unset", "rule", "user-agent", "SM-G960F")
        self.assertEqual(self.names(PHONE), ["By length"])
        self.client.set_rule(UA, "SM-G960F", name="Mine")
        self.assertEqual(self.names(PHONE), ["Mine"])
        self.client.unset_rule(UA, "SM-G960F")
        self.assertEqual(self.names(PHONE), ["By length"])

    def test_it_is_shown_found_changed_and_deleted_by_its_text(self):
        self.ctl("set", "rule", "user-agent", "SM-G960F", "--name", "Mine", "--os", "O")
        (rule,) = self.json("show", "rules", "--custom")
        self.assertEqual((rule["key"], rule["priority"]), ("SM-G960F", 8))
        (rule,) = self.json("show", "rule", "user-agent", "SM-G960F")
        self.assertEqual((rule["key"], rule["origin"], rule["priority"]), ("SM-G960F", "custom", 8))
        self.assertIn("priority  8", self.ctl("show", "rule", "user-agent", "SM-G960F"))
        self.assertEqual(self.client.rule(UA, "SM-G960F").info.name, "Mine")
        self.assertTrue(self.client.set_rule(UA, "SM-G960F", vendor="V"))
        self.assertFalse(self.client.set_rule(UA, "SM-G960F", vendor="V"))
        self.ctl("unset", "rule", "user-agent", "SM-G960F", "--os")
        self.assertEqual(self.client.rule(UA, "SM-G960F").info, byod.DeviceInfo("Mine", "V"))
        explained = self.ctl("identify", "--explain", "--user-agent", PHONE, expect=0)
        self.assertIn('custom rule "SM-G960F"', explained)
        (answer,) = self.json("identify", "--explain", "--user-agent", PHONE)
        self.assertIn("SM-G960F", [step["rule"] for step in answer["explanation"]["name"]])
        self.assertIn("SM-G960F  ", self.ctl("show", "rules", "--wins", PHONE))
        self.client.unset_rule(UA, "SM-G960F")
        self.assertIsNone(self.client.rule(UA, "SM-G960F"))
        self.assertEqual(self.keys(), [])

    def test_of_two_rules_the_more_specific_one_wins_before_and_after_a_restart(self):
        for first, second in (("SM-G960", "SM-G960F"), ("Android 10; SM", "10; SM")):
            self.ctl("set", "rule", "user-agent", first, "--name", first)
            self.client.set_rule(UA, second, name=second)
            for _ in range(2):
                self.assertEqual(self.names(PHONE), [max(first, second, key=len)])
                self.restart()
            self.ctl("unset", "rule", "user-agent", first)
            self.ctl("unset", "rule", "user-agent", second)

    def test_a_priority_decides_otherwise_and_changing_it_loses_nothing(self):
        self.ctl("set", "rule", "user-agent", "SM-G960F", "--name", "Special", "--vendor", "V")
        self.ctl("set", "rule", "user-agent", "SM", "--name", "General", "--os", "O")
        self.assertEqual(self.names(PHONE), ["Special"])
        (report,) = self.json("set", "rule", "user-agent", "SM", "--priority", "100")
        self.assertTrue(report["changed"])
        self.assertEqual(self.names(PHONE), ["General"])
        self.assertEqual(self.client.rule(UA, "SM").info, byod.DeviceInfo("General", os="O"))
        self.assertEqual(self.client.rule(UA, "SM").priority, 100)
        (report,) = self.json("set", "rule", "user-agent", "SM", "--priority", "100")
        self.assertFalse(report["changed"])
        self.client.set_rule(UA, "SM-G960F", priority=127)
        for _ in range(2):
            self.assertEqual(self.names(PHONE), ["Special"])
            self.restart()
        self.client.set_rule(UA, "SM-G960F", priority=8)
        self.assertEqual(len(self.keys()[1]), 136)
        self.ctl("set", "rule", "mac", "00:99:88/24", "--priority", "3", expect=1)
        self.assertIn("only user-agent rules", self.err)
        self.ctl("set", "rule", "user-agent", "SM", "--priority", "128", expect=1)
        self.ctl("set", "rule", "user-agent", "&&", "--priority", "3", expect=1)
        self.assertIn("matches everything", self.err)
        self.ctl("set", "rule", "user-agent", "x" * 128, "--priority", "3", expect=1)

    def test_a_predefined_rule_is_changed_where_it_is_and_overridden_with_a_priority(self):
        self.ctl("set", "rule", "user-agent", "iPhone", "--os", "iPadOS")
        (rule,) = self.json("show", "rule", "user-agent", "iPhone")
        self.assertEqual((rule["origin"], rule["modified"], rule["priority"]),
                         ("predefined", True, None))
        self.ctl("set", "rule", "user-agent", "iPhone", "--priority", "6", "--name", "Mine")
        (rule,) = self.json("show", "rule", "user-agent", "iPhone")
        self.assertEqual((rule["origin"], rule["name"], rule["priority"]), ("custom", "Mine", 6))
        self.assertEqual(self.names("an iPhone"), ["Mine"])
        exported = self.ctl("export", "user-agent")
        self.assertEqual(exported, HEADER + "iPhone,,,,iPadOS,\niPhone,Mine,,,,6\n")
        self.assertIn("0 added, 0 changed, 2 unchanged", self.ctl("import", "-", stdin=exported))
        self.ctl("import", "-", "--replace", stdin=HEADER)
        self.assertEqual(self.ctl("export", "user-agent"), HEADER)
        self.assertIn("1 added, 1 changed", self.ctl("import", "-", "--replace", stdin=exported))
        self.assertEqual(self.ctl("export", "user-agent"), exported)
        self.ctl("unset", "rule", "user-agent", "iPhone")
        self.assertEqual(self.names("an iPhone"), ["Apple iPhone"])
        self.ctl("unset", "rule", "user-agent", "iPhone")
        self.assertEqual(self.ctl("export", "user-agent"), HEADER)

    def test_another_case_of_letters_is_another_expression(self):
        self.ctl("set", "rule", "user-agent", "HUAWEI", "--name", "Mine")
        self.client.set_rule(UA, "huawei", name="Small")
        self.assertEqual(self.names("a HUAWEI", "a huawei", "a Huawei"), ["Mine", "Small", "H"])
        self.ctl("set", "rule", "user-agent", "HUAWEI&", "--name", "Theirs")
        self.assertEqual(self.client.rule(UA, "HUAWEI").info.name, "Theirs")
        self.ctl("unset", "rule", "user-agent", "HUAWEI")
        self.assertEqual(self.names("a HUAWEI", "a huawei"), ["H2", "Small"])

    def test_exports_write_the_text_and_the_priority_and_imports_read_them(self):
        rows = "Nokia,N,,,,5\nNokia&&Lumia||Pad,L,,,,90\n"
        self.ctl("import", "-", stdin=HEADER + rows)
        self.ctl("import", "-", stdin="expression,os\nNokia,O\nNew,P\n")
        self.assertEqual(self.ctl("export", "user-agent"),
                         HEADER + "New,,,,P,3\nNokia&&Lumia||Pad,L,,,,90\nNokia,N,,,O,5\n")
        self.assertEqual([len(key) for key in self.keys()], [131, 218, 133])
        out = self.ctl("import", "-", stdin="expression,priority\nNokia,128\nNew,x\nNew,200\n",
                       expect=1)
        self.assertIn("3 bad", out)
        self.assertIn('priority "128" is not 0 to 127', self.err)
        (rule,) = [rule for rule in self.json("export", "user-agent") if rule["key"] == "New"]
        self.assertEqual(rule["priority"], 3)

    def test_many_rules_in_one_import_all_win_and_the_longer_before_the_shorter(self):
        texts = [f"SM-G{number}" for number in range(1000, 1300)] + ["SM-", "SM-G1000 Build", "S"]
        rows = "".join(f"{one},{one}\n" for one in texts)
        self.ctl("import", "-", stdin="expression,name\n" + rows)
        self.restart()
        phones = [PHONE.replace("SM-G960F", one) for one in texts]
        self.assertEqual(self.names(*phones), texts)
        self.assertTrue(all(128 <= len(key) <= 255 for key in self.keys()))
        exported = self.ctl("export", "user-agent")
        self.assertIn("0 added, 0 changed, 303 unchanged",
                      self.ctl("import", "-", "--replace", stdin=exported))

    def test_no_two_rules_share_a_length_while_lengths_are_free(self):
        for number in range(40):
            self.client.set_rule(UA, f"Model{number:02}", name="x")
        self.ctl("set", "rule", "user-agent", "Model40", "--name", "x")
        self.assertEqual(len({len(key) for key in self.keys()}), 41)
        self.ctl("set", "rule", "user-agent", "Some", "--priority", "3")
        self.ctl("set", "rule", "user-agent", "Other", "--priority", "3")
        self.assertIn('the rule "Other" has the same place as "Some"; where both match, "Other" '
                      "wins, the first in byte order", self.err)

    # ------------------------------------------------------------ other clients

    def test_a_client_that_knows_nothing_of_it_sees_the_longer_key_and_deletes_by_it(self):
        self.ctl("set", "rule", "user-agent", "SM-G960F", "--name", "Mine")
        (key,) = self.keys()
        self.assertEqual(key, "SM-G960F" + "|" * 128)
        undo = (codes.UNDO, codes.VALUE + UA)
        self.assertEqual(self.plainly(*undo, text(codes.USER_AGENT, "SM-G960F")), codes.FAILED)
        self.assertEqual(self.plainly(*undo, text(codes.USER_AGENT, key)), 0)
        self.assertEqual(self.keys(), [])
        self.assertEqual(self.names(PHONE), ["By length"])

    def test_a_rule_that_such_a_client_stored_is_found_and_moves_when_it_is_set_again(self):
        self.plainly(codes.SET, codes.RULE + UA, text(codes.USER_AGENT, "SM-G960F&&"),
                     text(codes.NAME, "Theirs"))
        self.assertEqual(self.names(PHONE), ["By length"])
        (rule,) = self.json("show", "rules", "--custom")
        self.assertEqual((rule["key"], rule["priority"]), ("SM-G960F", None))
        self.assertEqual(self.ctl("export", "user-agent"), HEADER + "SM-G960F,Theirs,,,,\n")
        self.ctl("set", "rule", "user-agent", "SM-G960F", "--os", "O")
        self.assertIn('the rule "SM-G960F" was stored without a priority, and has one now', self.err)
        self.assertEqual(self.client.rule(UA, "SM-G960F").info, byod.DeviceInfo("Theirs", os="O"))
        self.assertEqual(len(self.keys()), 1)
        self.assertEqual(self.names(PHONE), ["Theirs"])
        self.ctl("unset", "rule", "user-agent", "SM-G960F")
        self.plainly(codes.SET, codes.RULE + UA, text(codes.USER_AGENT, "SM-G960F"),
                     text(codes.NAME, "Theirs"))
        self.assertIn("0 added, 1 changed",
                      self.ctl("import", "-", stdin="expression\nSM-G960F\n"))
        self.assertEqual(self.names(PHONE), ["Theirs"])
        self.ctl("unset", "rule", "user-agent", "SM-G960F")
        self.plainly(codes.SET, codes.RULE + UA, text(codes.USER_AGENT, "SM-G960F"),
                     text(codes.NAME, "Theirs"))
        self.client.unset_rule(UA, "SM-G960F")
        self.assertEqual(self.keys(), [])

    def test_a_place_that_cannot_be_given_changes_nothing(self):
        self.client.close()
        self.daemon.stop()
        self.daemon.start("--rule-limit", "1")
        self.ctl("set", "rule", "user-agent", "SM-G960F", "--name", "Mine")
        before = self.keys()
        self.ctl("set", "rule", "user-agent", "Other", "--priority", "8", expect=5)
        with self.assertRaises(byod.LimitReached):
            self.client.set_rule(UA, "Other", priority=8)
        self.assertEqual(self.keys(), before)
        self.ctl("set", "rule", "user-agent", "SM-G960F", "--priority", "9")
        self.assertEqual(self.names(PHONE), ["Mine"])

    def test_in_a_bulk_of_the_client_rules_are_set_moved_and_deleted(self):
        with self.client.bulk():
            for number in range(300):
                self.client.set_rule(UA, f"Model{number:03}", name=f"M{number}")
            self.client.unset_rule(UA, "Model000")
            self.client.unset_rule(UA, "Model001", "name")
            self.client.set_rule(UA, "Model002", priority=127)
            with self.assertRaises(byod.Refused):
                self.client.set_rule(UA, "Bad", vendor="v" * 64)
            self.client.set_rule(UA, "Model003", os="O")
        rules = {rule.key: rule for rule in self.client.rules(UA, configured=True)}
        self.assertEqual(len(rules), 299)
        self.assertEqual(rules["Model002"].priority, 127)
        self.assertEqual(rules["Model003"].info, byod.DeviceInfo("M3", os="O"))
        self.assertEqual(self.names("Model004", "Model299"), ["M4", "M299"])


class Catalogue(WithDaemon):
    """With the catalogue as it is shipped, and the strings of many terminals."""

    def prepare(self):
        shutil.copy(pathlib.Path(SOURCE, "rules", "user-agent.csv"), self.daemon.rules)

    def setUp(self):
        path = CORPUS / "useragents.tsv"
        if not path.exists():
            self.skipTest(f"no {path}")
        with open(path, encoding="utf-8", newline="") as file:
            rows = csv.DictReader(file, delimiter="\t", quoting=csv.QUOTE_NONE)
            strings = {row["user_agent"] for row in rows}
        self.strings = sorted({one.encode()[:255].decode(errors="ignore") for one in strings})
        super().setUp()

    def decided(self, word):
        """How many of the strings that hold a word the rule named "Mine" decides, and of how many."""
        holding = [one for one in self.strings if word in one]
        return self.names(*holding).count("Mine"), len(holding)

    def test_a_model_code_decides_every_string_that_holds_it(self):
        self.ctl("set", "rule", "user-agent", "SM-G960F", "--name", "Mine")
        won, of = self.decided("SM-G960F")
        self.assertEqual(won, of)
        self.assertGreater(of, 0)
        self.ctl("unset", "rule", "user-agent", "SM-G960F")
        self.assertEqual(self.decided("SM-G960F")[0], 0)
        self.client.set_rule(UA, "SM-G960F", name="Mine")
        self.assertEqual(self.decided("SM-G960F"), (won, of))

    def test_any_short_word_decides_every_string_that_holds_it(self):
        chosen = random.Random(17)
        words = set()
        while len(words) < 500:
            pieces = re.findall(r"[^\s;()|&]{3,}", chosen.choice(self.strings))
            if pieces:
                words.add(chosen.choice(pieces))
        predefined = {rule.key for rule in self.client.rules(UA)}
        for number, word in enumerate(sorted(words)):
            # A text that is also the catalogue's needs a priority to be the administrator's own.
            priority = len(word.encode()) if word in predefined else None
            if number % 10 == 0:
                given = [] if priority is None else ["--priority", str(priority)]
                self.ctl("set", "rule", "user-agent", word, "--name", "Mine", *given)
            else:
                self.client.set_rule(UA, word, name="Mine", priority=priority)
            holding = [one for one in self.strings if word in one]
            tried = holding if len(holding) < 300 else chosen.sample(holding, 300)
            self.assertEqual(set(self.names(*tried)), {"Mine"}, word)
            self.client.unset_rule(UA, word)


if __name__ == "__main__":
    unittest.main(verbosity=1)
