# SPDX-License-Identifier: Apache-2.0
"""scripts/measure-evidence, with a program that answers what a test wants."""

import os
import stat
import subprocess
import sys
import tempfile
import unittest

SCRIPT = os.path.join(os.path.dirname(__file__), "..", "..", "scripts", "measure-evidence")

# Knows vendors by the first option; a host name makes a phone of any terminal, and of what the
# rules called a PC too when CHANGE is set.
PROGRAM = """#!{python}
import sys
kinds = sys.argv[sys.argv.index("--evidence") + 1].split(",")
lines = sys.stdin.read().rstrip("\\n").split("\\n")
header = lines[0].split("\\t")
print("category\\tvendor\\tos\\tfilled")
for line in lines[1:]:
    row = dict(zip(header, line.split("\\t")))
    category, filled = ("PC" if row["options"] == "1" else ""), ""
    if "host-name" in kinds and row["host_name"] and ({change} or not category):
        category, filled = "Mobile", "category=host-name"
    print(f"{{category}}\\t\\t\\t{{filled}}")
"""


class Measuring(unittest.TestCase):
    def run_script(self, terminals, change=False):
        with tempfile.TemporaryDirectory() as folder:
            program = os.path.join(folder, "byodctl")
            self.write(program, PROGRAM.format(python=sys.executable, change=change))
            os.chmod(program, stat.S_IRWXU)
            columns = "mac\toptions\tuser_agent\tlabel\tvendor\tos\tcategory\thostname\tvendor_class\tsource"
            self.write(os.path.join(folder, "terminals.tsv"),
                       "".join(line + "\n" for line in [columns, *terminals]))
            self.write(os.path.join(folder, "dhcp55.tsv"),
                       "options\tlabel\tvendor\tos\tcategory\tsource\n")
            self.write(os.path.join(folder, "vendor_class.tsv"),
                       "vendor_class\tmatch\tlabel\tvendor\tos\tcategory\tsource\n")
            done = subprocess.run([sys.executable, SCRIPT, "--byodctl", program, "--folds", "2",
                                   "--ieee", "", folder], capture_output=True, text=True, check=False)
            self.assertEqual(done.stderr, "")
            return done.returncode, done.stdout

    @staticmethod
    def write(path, text):
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    PHONES = ["\t9\t\ta\t\t\tmobile\tx\t\ts", "\t9\t\tb\t\t\tpc\ty\t\ts", "\t1\t\tc\t\t\tpc\tz\t\ts",
              "\t9\t\td\t\t\tmobile\t\t\ts"]

    def test_what_each_kind_fills_and_what_is_right_is_counted(self):
        status, out = self.run_script(self.PHONES)
        self.assertEqual(status, 0)
        self.assertRegex(out, r"\n  off +25\.0 +100\.0 ")
        self.assertRegex(out, r"\n  host-name +50\.0 +66\.7 ")
        self.assertRegex(out, r"\n  all +50\.0 +66\.7 ")
        self.assertIn("host-name alone was right: category 1 of 2\n", out)
        self.assertIn("confidence: host-name category 40 (3 filled)\n", out)
        self.assertIn("fields that the rules answered and evidence changed: 0\n", out)

    def test_a_field_that_evidence_changes_fails_the_measurement(self):
        status, out = self.run_script(self.PHONES, change=True)
        self.assertEqual(status, 1)
        self.assertIn("fields that the rules answered and evidence changed: 2\n", out)


if __name__ == "__main__":
    unittest.main()
