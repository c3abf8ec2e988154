# SPDX-License-Identifier: Apache-2.0
"""What the evaluation counts, on files small enough to count by hand."""

import json
import os
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(ROOT, "scripts"))

from byodrules import labelled  # noqa: E402
from byodrules.engines import ProgramEngine, PythonEngine  # noqa: E402
from byodrules.registry import Registry  # noqa: E402
from byodrules.scoring import score  # noqa: E402
from byodrules.vocabulary import Vocabulary  # noqa: E402

FILES = {
    "user-agent.csv": "expression,name,vendor,category,os\nAndroid,,,Mobile,Android\n"
    "Android&&SM-,,Samsung,Mobile,Android\nNever,,X,,\n",
    "dhcp-option.csv": 'options,name,vendor,category,os\n"1,3,6",,HP,Printer,\n',
    "mac.csv": "mac,mask,name,vendor,category,os\n00:11:22/24,,,Special,,\n",
    "vendor-alias.csv": "organisation,vendor,module\nAcme Works Ltd,Acme,\nParts Co,Parts,yes\n",
    "vocabulary.tsv": "field\tlabel\tanswer\ncategory\tmobile\tMobile\n"
    "category\tother\tCamera\ncategory\tother\tOther\n",
}
OUI = "Registry,Assignment,Organization Name,Organization Address\n"
REGISTRY = {
    "oui.csv": OUI + "MA-L,001122,Someone Else,\nMA-L,AABBCC,Acme Works Ltd,\n"
    "MA-L,70B3D5,IEEE Registration Authority,\nMA-L,123456,Private,\n",
    "mam.csv": OUI + "MA-M,AABBCD1,Medium Co,\nMA-M,AABBCD2,Parts Co,\n",
    "oui36.csv": OUI + "MA-S,70B3D5ABC,Small Co,\n",
    "iab.csv": OUI,
}
LABELLED = (
    "mac\toptions\tuser_agent\tlabel\tvendor\tos\tcategory\tsource\n"
    "\t\tAndroid SM-G9\tphone\tSamsung\tAndroid\tmobile\t\n"  # all right
    "\t\tAndroid LG\tphone\tLG\tAndroid\tmobile\t\n"  # vendor open
    "\t1,3,6\t\tprinter\tCanon\t\tunknown\t\n"  # vendor wrong, category not labelled
    "aa-bb-cc-00-00-01\t\t\tcamera\tAcme\t\tother\t\n"  # vendor right, category open
)


class Evaluation(unittest.TestCase):
    def setUp(self):
        held = tempfile.TemporaryDirectory()
        self.addCleanup(held.cleanup)
        self.folder = held.name
        self.rules = os.path.join(held.name, "rules")
        self.ieee = os.path.join(held.name, "ieee")
        for folder, files in ((self.rules, FILES), (self.ieee, REGISTRY)):
            os.mkdir(folder)
            for name, text in files.items():
                with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
                    file.write(text)
        self.labelled = os.path.join(held.name, "some.tsv")
        with open(self.labelled, "w", encoding="utf-8") as file:
            file.write(LABELLED)

    def figures(self, methods):
        engine = PythonEngine(self.rules, self.ieee)
        rows = labelled.read(self.labelled)
        vocabulary = Vocabulary.load(os.path.join(self.rules, "vocabulary.tsv"))
        return score(rows, engine.answers(rows, methods), vocabulary).figures()

    def counts(self, methods):
        return {
            field: (f["labelled"], f["answered"], f["correct"])
            for field, f in self.figures(methods).items()
        }

    def test_labelled_answered_and_correct_are_counted_apart(self):
        self.assertEqual(
            self.counts(["dhcp", "user-agent", "mac"]),
            {"category": (3, 2, 2), "vendor": (4, 3, 2), "os": (2, 2, 2)},
        )

    def test_a_method_alone_answers_from_its_part_alone(self):
        self.assertEqual(self.counts(["dhcp"])["vendor"], (4, 1, 0))
        self.assertEqual(self.counts(["mac"])["vendor"], (4, 1, 1))

    def test_an_unknown_label_is_not_scored(self):
        rows = labelled.read(self.labelled)
        self.assertEqual(rows[2].category, "")

    def test_a_coarse_label_accepts_each_answer_of_the_table_and_no_other(self):
        vocabulary = Vocabulary.load(os.path.join(self.rules, "vocabulary.tsv"))
        self.assertTrue(vocabulary.right("category", "other", "Camera"))
        self.assertTrue(vocabulary.right("category", "other", "Other"))
        self.assertFalse(vocabulary.right("category", "other", "Mobile"))
        self.assertFalse(vocabulary.right("vendor", "LG", "lg"))

    def test_the_longest_registered_prefix_answers_and_own_rules_replace_it(self):
        registry = Registry(self.ieee, self.rules)
        vendor = lambda mac: (registry.find(mac) or ("", None, ""))[1]  # noqa: E731
        self.assertEqual(vendor("00:11:22:33:44:55"), "Special")
        self.assertEqual(vendor("aabb.cc00.0001"), "Acme")
        self.assertEqual(vendor("AA:BB:CD:1F:FF:FF"), "Medium Co")
        self.assertEqual(vendor("70:B3:D5:AB:C0:00"), "Small Co")
        self.assertEqual(vendor("AA:BB:CD:20:00:00"), "module made by Parts")
        self.assertIsNone(vendor("70:B3:D5:00:00:00"))
        self.assertIsNone(vendor("12:34:56:00:00:00"))

    def run_script(self, *arguments):
        command = [sys.executable, os.path.join(ROOT, "scripts", "evaluate"), "--rules", self.rules]
        command += ["--ieee", self.ieee, *arguments, self.labelled]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def test_a_fall_against_the_baseline_fails_the_run(self):
        saved = os.path.join(self.folder, "quality.json")
        done = self.run_script("--engine", "python", "--save", saved)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("user-agent: 1 of 3, such as 'Never'", done.stdout)
        self.assertIn("mac: 1 of 1, such as '00:11:22/24'", done.stdout)
        self.assertIn("worst of vendor, wanted > given:\n      Canon > HP 1", done.stdout)
        self.assertEqual(self.run_script("--engine", "python", "--baseline", saved).returncode, 0)
        with open(saved, encoding="utf-8") as file:
            figures = json.load(file)
        figures["some.tsv"]["mac"]["vendor"]["correctness"] = 0.9999999
        figures["some.tsv"]["dhcp"]["vendor"]["correctness"] = 0.5
        with open(saved, "w", encoding="utf-8") as file:
            json.dump(figures, file)
        done = self.run_script("--engine", "python", "--baseline", saved)
        self.assertEqual(done.returncode, 1)
        self.assertIn("some.tsv dhcp vendor: 50.00% -> 0.00%", done.stdout)

    def test_a_folder_stands_for_its_labelled_files(self):
        for name, header in (("other.tsv", "model\tbrand"), ("lists.tsv", "user_agent\tvalues")):
            with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
                file.write(header + "\n")
        self.labelled = self.folder
        done = self.run_script("--engine", "python")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("some.tsv: 4 rows", done.stdout)
        self.assertNotIn("other.tsv", done.stdout)
        self.assertNotIn("lists.tsv", done.stdout)
        self.labelled = self.rules
        self.assertEqual(self.run_script("--engine", "python").returncode, 2)

    def test_two_catalogues_are_compared_row_by_row(self):
        other = os.path.join(self.folder, "other")
        shutil.copytree(self.rules, other)
        with open(os.path.join(other, "user-agent.csv"), "w", encoding="utf-8") as file:
            file.write("expression,name,vendor,category,os\nAndroid,,LG,PC,Android\n")
        done = self.run_script("--engine", "python", "--against", other)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("category  against: 2 better, 0 worse, 0 neither", done.stdout)
        self.assertIn("vendor    against: 1 better, 1 worse, 0 neither", done.stdout)
        self.assertIn("worse: LG -> (open): Android LG", done.stdout)

    def test_the_program_gets_only_the_parts_its_methods_use(self):
        program = os.path.join(self.folder, "program")
        with open(program, "w", encoding="utf-8") as file:
            # Answers every line with what it was handed.
            file.write(
                "#!/bin/sh\necho 'mac\toptions\tuser_agent\tvendor\tcategory\tos\tname'\n"
                "tail -n +2 | awk -F'\\t' '{print \"\\t\\t\\t\" $1 \"\\t\" $2 \"\\t\" $3 \"\\t\"}'\n"
                "exit 3\n"
            )
        os.chmod(program, os.stat(program).st_mode | stat.S_IXUSR)
        engine = ProgramEngine(program, self.rules, self.ieee)
        rows = labelled.read(self.labelled)
        answers = engine.answers(rows, ["user-agent"])
        self.assertEqual(answers[0], ("", "", "Android SM-G9"))
        self.assertEqual(answers[3], ("", "", ""))
        self.assertEqual(engine.answers(rows, ["mac"])[3], ("", "aa-bb-cc-00-00-01", ""))


if __name__ == "__main__":
    unittest.main()
