# SPDX-License-Identifier: Apache-2.0
"""The catalogue beside public parsers of User-Agents: how their words are compared."""

import contextlib
import importlib.machinery
import importlib.util
import io
import os
import pathlib
import sys
import tempfile
import unittest

SCRIPTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts")
sys.path.insert(0, SCRIPTS)

from byodrules import public_parsers  # noqa: E402

# Answers with what the User-Agent says: "category/vendor/system".
ECHO = ["/bin/sh", "-c", "echo 0.5; tr / '\\t'"]
ROWS = (
    "user_agent\ttype\tvendor\tos\tsource\n"
    "smartphone/samsung/Android\tmobile\tSamsung\tAndroid\tbrowscap\n"
    "desktop//Ubuntu\tpc\t\tLinux\tyauaa\n"
    "tablet/L.G./Windows 10\ttablet\tLG\tWindows\tuap-core\n"
    "tv/Generic/Tizen\ttv\tSony\tLinux\tbrowscap\n"
)


def script():
    path = os.path.join(SCRIPTS, "compare-parsers")
    loader = importlib.machinery.SourceFileLoader("compare_parsers", path)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("compare_parsers", loader))
    loader.exec_module(module)
    return module


class CompareParsers(unittest.TestCase):
    def setUp(self):
        held = tempfile.TemporaryDirectory()
        self.addCleanup(held.cleanup)
        self.folder = pathlib.Path(held.name)
        (self.folder / "rows.tsv").write_text(ROWS, encoding="utf-8")
        self.addCleanup(public_parsers.PARSERS.update, dict(public_parsers.PARSERS))
        public_parsers.PARSERS["echo"] = ECHO

    def run_script(self, *arguments):
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            status = script().main(["--parsers", "echo", *arguments, str(self.folder / "rows.tsv")])
        self.assertEqual(status, 0)
        return out.getvalue()

    def test_words_of_a_parser_count_in_any_spelling_and_finer_ones_as_the_coarser(self):
        self.assertEqual(
            self.run_script(),
            "all rows: 4 rows; correct (where answered)\n"
            "  echo                         category 100.0% (100.0%)  vendor  66.7% (100.0%)  "
            "os  75.0% (75.0%)\n"
            "rows of no parser's project: 3 rows; correct (where answered)\n"
            "  echo                         category 100.0% (100.0%)  vendor  50.0% (100.0%)  "
            "os  66.7% (66.7%)\n"
            "seconds of processor time for 4 User-Agents:\n"
            "  echo                            0.500\n")

    def test_only_rows_that_the_catalogue_answered_are_compared(self):
        (self.folder / "answers.tsv").write_text(
            "user_agent\tcategory\tvendor\tos\ndesktop//Ubuntu\tMobile\t\tLinux\n", encoding="utf-8")
        out = self.run_script("--answers", str(self.folder / "answers.tsv"))
        self.assertIn("all rows: 1 rows", out)
        self.assertIn("this catalogue               category   0.0% (0.0%)  os 100.0% (100.0%)", out)

    def test_a_parser_that_loses_an_answer_is_an_error(self):
        public_parsers.PARSERS["echo"] = ["/bin/sh", "-c", "echo 0; head -n 1 | tr / '\\t'"]
        with self.assertRaisesRegex(ValueError, "1 answers to 4"):
            self.run_script()


if __name__ == "__main__":
    unittest.main()
