# SPDX-License-Identifier: Apache-2.0
"""byodctl identify --offline, run as a program: identify_test.py BYODCTL SOURCE_DIRECTORY

The corpus test runs where labelled terminals are at hand: in the directory that BYOD_CORPUS names,
or in ../shared/corpus beside the source tree.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

BYODCTL = ""
SOURCE = pathlib.Path()
REGISTRY = pathlib.Path("/usr/share/ieee-data")

EVIDENCE = "\thost_name\tvendor_class\tfilled"  # the last columns
UNKNOWN = {"vendor": "", "category": "", "os": "", "name": ""}
RULES = {
    "user-agent.csv": "expression,name,vendor,category,os\n"
                      "iPhone,Apple iPhone,Apple,Mobile,iOS\n"
                      "Android,,,,Android\n"
                      "\u4e2d\u6587,\u4e2d\u6587\u624b\u673a,Wide,Mobile,\n",
    "dhcp-option.csv": "options,name,vendor,category,os\n"
                       '"1,3,6",Printer of Acme,Acme,Printer,\n',
    "mac.csv": "mac,mask,name,vendor,category,os\n00:11:22/24,,,MacVendor,Tablet,MacOs\n",
}

EVIDENCE_RULES = {
    "evidence.csv": "kind,field,confidence\nhost-name,vendor,97\nhost-name,category,98\n"
                    "vendor-class,category,90\nvendor-class,os,89\n",
    "host-name.csv": "pattern,vendor,category\ngalaxy-*,Samsung,Mobile\n",
    "vendor-class.csv": "prefix,category,os\nMSFT,PC,Windows\n",
}


def write_files(directory, files):
    for name, content in files.items():
        with open(os.path.join(directory, name), "w", encoding="utf-8", newline="") as out:
            out.write(content)


def run(*arguments, stdin=b""):
    """Status, standard output and standard error of byodctl."""
    if isinstance(stdin, str):
        stdin = stdin.encode()
    done = subprocess.run([BYODCTL, *arguments], input=stdin, capture_output=True, check=False)
    return done.returncode, done.stdout.decode(errors="surrogateescape"), done.stderr.decode()


class IdentifyTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory()
        write_files(cls.directory.name, RULES)
        cls.rules = ["--offline", "--rules", cls.directory.name, "--ieee", ""]

    @classmethod
    def tearDownClass(cls):
        cls.directory.cleanup()

    def identify(self, *arguments, stdin=b""):
        return run("identify", *self.rules, *arguments, stdin=stdin)

    def one(self, *arguments):
        """The answer to a fingerprint on the command line."""
        status, out, err = self.identify("--json", *arguments)
        self.assertEqual(err, "")
        return status, json.loads(out)

    def answer(self, *arguments):
        status, answer = self.one(*arguments)
        self.assertEqual(status, 0)
        return tuple(answer[key] for key in ("vendor", "category", "os", "name"))

    # ------------------------------------------------------------------ fingerprints by argument

    def test_each_part_of_a_fingerprint_is_identified(self):
        self.assertEqual(self.answer("--mac", "00:11:22:33:44:55"),
                         ("MacVendor", "Tablet", "MacOs", ""))
        self.assertEqual(self.answer("--user-agent", "an iPhone"),
                         ("Apple", "Mobile", "iOS", "Apple iPhone"))
        self.assertEqual(self.answer("--dhcp", "1,3,6"),
                         ("Acme", "Printer", "", "Printer of Acme"))

    def test_a_method_fills_what_those_before_it_left_open(self):
        self.assertEqual(
            self.answer("--mac", "001122334455", "--user-agent", "Android", "--dhcp", "1,3,6"),
            ("Acme", "Printer", "Android", "Printer of Acme"))

    def test_the_order_decides_which_method_goes_first(self):
        parts = ("--mac", "001122334455", "--user-agent", "iPhone", "--dhcp", "1,3,6")
        self.assertEqual(self.answer(*parts, "--order", "mac,user-agent,dhcp"),
                         ("MacVendor", "Tablet", "MacOs", "Apple iPhone"))
        self.assertEqual(self.answer(*parts, "--order", "user-agent"),
                         ("Apple", "Mobile", "iOS", "Apple iPhone"))

    def test_every_usual_spelling_of_an_address_is_read(self):
        for mac in ("00:11:22:33:44:55", "00-11-22-33-44-55", "0011-2233-4455", "001122334455",
                    "0011.2233.4455", "00:11:22:AA:bb:CC"):
            self.assertEqual(self.answer("--mac", mac)[0], "MacVendor", mac)

    def test_blanks_in_an_option_list_do_not_count(self):
        self.assertEqual(self.answer("--dhcp", " 1, 3 ,6")[0], "Acme")

    def test_what_no_rule_knows_is_unknown(self):
        status, answer = self.one("--mac", "fc:00:00:00:00:01")
        self.assertEqual(status, 3)
        self.assertFalse(answer["identified"])
        self.assertEqual({key: answer[key] for key in UNKNOWN}, UNKNOWN)

    def test_a_locally_administered_address_is_flagged(self):
        self.assertTrue(self.one("--mac", "da:11:22:33:44:55")[1]["locally_administered"])
        self.assertFalse(self.one("--mac", "00:11:22:33:44:55")[1]["locally_administered"])
        _, out, _ = self.identify("--mac", "da:11:22:33:44:55")
        self.assertIn("da:11:22:33:44:55*", out)
        self.assertIn("locally administered address", out)

    def test_a_bad_argument_is_reported(self):
        for arguments, message in (
                (("--mac", "00:11"), 'byodctl: address "00:11" is malformed\n'),
                (("--dhcp", "1,,3"), 'byodctl: option list "1,,3" is malformed\n'),
                (("--dhcp", "1,x"), 'byodctl: option list "1,x" is malformed\n'),
                (("--dhcp", "256"), "byodctl: option number 256 is above 255\n"),
                (("--dhcp", ",".join(["1"] * 256)),
                 "byodctl: option list has more than 255 numbers\n")):
            status, _, err = self.identify(*arguments)
            self.assertEqual((status, err), (1, message))

    def test_255_option_numbers_are_a_fingerprint(self):
        self.assertEqual(self.one("--dhcp", ",".join(["1"] * 255))[0], 3)

    def test_bad_usage_has_status_1_and_says_why(self):
        for arguments, message in (
                ((), "missing command"),
                (("identify", "--order", "mac", "--mac", "001122334455"), "requires --offline"),
                (("identify", "--offline", "--nonsense"), "--nonsense"),
                (("identify", "--offline", "--order", "mac,wlan"),
                 '--order: unknown method "wlan"; one of dhcp, user-agent, mac'),
                (("identify", "--offline", "--order", "mac,dhcp,mac"), "--order: mac is given twice"),
                (("identify", "--offline", "--tsv", "--json"), "exclude each other"),
                (("identify", "--offline", "--tsv", "--explain"), "exclude each other"),
                (("identify", "--offline", "--input", "xml"), "--input"),
                (("identify", "--offline", "--rules", "/nonexistent"),
                 "--rules: no such directory: /nonexistent"),
                (("identify", "--offline", "--ieee", "/nonexistent"),
                 "--ieee: no such directory: /nonexistent")):
            status, out, err = run(*arguments)
            self.assertEqual((status, out), (1, ""), arguments)
            self.assertIn(message, err)

    def test_help_has_status_0(self):
        for arguments in (("--help",), ("identify", "--help")):
            status, out, err = run(*arguments)
            self.assertEqual((status, err), (0, ""))
            self.assertIn("Usage", out)

    # ------------------------------------------------------------------ tab-separated lines

    def test_tsv_columns_stand_in_any_order_and_others_are_ignored(self):
        status, out, err = self.identify(
            "--tsv",
            stdin="label\tuser_agent\tmac\nx\tiPhone\t00:11:22:33:44:55\ny\t\t0011-2200-0000\n")
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out, "mac\toptions\tuser_agent\tvendor\tcategory\tos\tname" + EVIDENCE + "\n"
                              "00:11:22:33:44:55\t\tiPhone\tApple\tMobile\tiOS\tApple iPhone\t\t\t\n"
                              "00:11:22:00:00:00\t\t\tMacVendor\tTablet\tMacOs\t\t\t\t\n")

    def test_any_column_may_be_missing(self):
        for header, row, vendor in (("mac", "001122334455", "MacVendor"),
                                    ("options", "1,3,6", "Acme"),
                                    ("user_agent", "iPhone", "Apple")):
            status, out, _ = self.identify("--tsv", stdin=f"{header}\n{row}\n")
            self.assertEqual(status, 0)
            self.assertEqual(out.splitlines()[1].split("\t")[3], vendor)

    def test_a_field_is_read_raw(self):
        user_agent = '"iPhone" \'x\' \\t, #'
        _, out, _ = self.identify("--tsv", stdin=f"user_agent\n{user_agent}\n")
        self.assertEqual(out.splitlines()[1].split("\t")[2], user_agent)

    def test_lines_may_end_with_crlf_and_the_last_without_an_end(self):
        _, out, _ = self.identify("--tsv", stdin="\ufeffmac\tuser_agent\r\n\tiPhone\r\n\tAndroid")
        self.assertEqual([line.split("\t")[5] for line in out.splitlines()[1:]],
                         ["iOS", "Android"])

    def test_a_bad_line_is_reported_with_its_number_and_keeps_its_place(self):
        status, out, err = self.identify(
            "--tsv",
            stdin="mac\toptions\n001122334455\t\nzz\t1\n001122334455\n\t1,256\n1\t2\t3\n\t1,3,6\n")
        self.assertEqual(status, 1)
        self.assertEqual(err, 'byodctl: line 3: address "zz" is malformed\n'
                              "byodctl: line 4: 1 field, the header names 2\n"
                              "byodctl: line 5: option number 256 is above 255\n"
                              "byodctl: line 6: 3 fields, the header names 2\n")
        self.assertEqual([line.removesuffix("\t\t\t") for line in out.splitlines()[1:]],
                         ["00:11:22:33:44:55\t\t\tMacVendor\tTablet\tMacOs\t",
                          "zz\t1\t\t\t\t\t",
                          "001122334455\t\t\t\t\t\t",
                          "\t1,256\t\t\t\t\t",
                          "1\t2\t\t\t\t\t",
                          "\t1,3,6\t\tAcme\tPrinter\t\tPrinter of Acme"])

    def test_an_unknown_terminal_among_known_ones_gives_status_3(self):
        self.assertEqual(self.identify("--tsv", stdin="user_agent\niPhone\nnobody\n")[0], 3)
        self.assertEqual(self.identify("--tsv", stdin="user_agent\n\n")[0], 3)

    def test_a_header_alone_gives_a_header_alone(self):
        self.assertEqual(self.identify("--tsv", stdin="mac\n"),
                         (0, "mac\toptions\tuser_agent\tvendor\tcategory\tos\tname" + EVIDENCE + "\n", ""))

    def test_input_without_a_usable_header_is_refused(self):
        for stdin, message in (
                ("", "the input is empty, without a header line"),
                ("ip\thost\n1\t2\n",
                 "line 1: the header has no column mac, options, user_agent, host_name or "
                 "vendor_class"),
                ("mac\tmac\n1\t2\n", "line 1: the header names mac twice")):
            self.assertEqual(self.identify("--tsv", stdin=stdin), (1, "", f"byodctl: {message}\n"))

    def test_a_line_above_a_mebibyte_is_reported_and_the_next_one_identified(self):
        status, out, err = self.identify(
            "--json", stdin="user_agent\n" + "x" * (1 << 20) + "x\niPhone\n")
        self.assertEqual(status, 1)
        self.assertEqual(err, "byodctl: line 2: line is longer than 1048576 bytes\n")
        self.assertEqual(json.loads(out.splitlines()[1])["vendor"], "Apple")

    def test_a_user_agent_is_identified_by_its_first_255_bytes(self):
        inside, outside = "x" * 249 + "iPhone", "x" * 250 + "iPhone"
        status, out, err = self.identify("--tsv", stdin=f"user_agent\n{inside}\n{outside}\n")
        self.assertEqual(status, 3)
        self.assertEqual(err, "byodctl: 1 User-Agent was longer than 255 bytes and cut there\n")
        lines = [line.split("\t") for line in out.splitlines()[1:]]
        self.assertEqual([line[2] for line in lines], [inside, outside])
        self.assertEqual([line[3] for line in lines], ["Apple", ""])

    def test_bytes_that_are_not_utf8_pass_through_tsv_and_are_replaced_in_json(self):
        stdin = b"user_agent\niPhone \xff\xc3\n"
        _, out, _ = self.identify("--tsv", stdin=stdin)
        self.assertIn("iPhone \udcff\udcc3\tApple", out)
        _, out, _ = self.identify("--json", stdin=stdin)
        self.assertEqual(json.loads(out)["user_agent"], "iPhone \ufffd\ufffd")

    # ------------------------------------------------------------------ JSON

    def test_json_lines_are_recognized_by_their_first_byte(self):
        status, out, err = self.identify(
            "--tsv",
            stdin='{"mac": "001122334455", "host": "x"}\n'
                  '{"options": [1, 3, 6], "mac": null}\n'
                  '{"user_agent": "iPhone", "options": ""}\n'
                  '{}\n')
        self.assertEqual((status, err), (3, ""))
        self.assertEqual([line.removesuffix("\t\t\t") for line in out.splitlines()[1:]],
                         ["00:11:22:33:44:55\t\t\tMacVendor\tTablet\tMacOs\t",
                          "\t1,3,6\t\tAcme\tPrinter\t\tPrinter of Acme",
                          "\t\tiPhone\tApple\tMobile\tiOS\tApple iPhone",
                          "\t\t\t\t\t\t"])

    def test_the_form_of_the_input_can_be_given(self):
        _, out, _ = self.identify("--tsv", "--input", "tsv", stdin="{x\tmac\n1\t001122334455\n")
        self.assertIn("MacVendor", out)
        self.assertEqual(self.identify("--json", "--input", "json", stdin=""), (0, "", ""))

    def test_a_bad_json_line_is_reported_with_its_number_and_keeps_its_place(self):
        bad = [('{"mac": "001122334455"', "not a JSON object"),
               ("[1]", "not a JSON object"),
               ("", "not a JSON object"),
               ('{"mac": 1}', "mac is not a string"),
               ('{"user_agent": ["x"]}', "user_agent is not a string"),
               ('{"options": {"a": 1}}', "options is neither a string nor an array"),
               ('{"options": [1, "3"]}', "options holds a value that is not a whole number"),
               ('{"options": [1, 256]}', "option number 256 is above 255"),
               ('{"options": [-1]}', 'option list "-1" is malformed'),
               ('{"user_agent": "a\\u0000b"}', "User-Agent holds a NUL byte")]
        stdin = "{}\n" + "".join(line + "\n" for line, _ in bad) + '{"user_agent": "iPhone"}\n'
        status, out, err = self.identify("--json", stdin=stdin)
        self.assertEqual(status, 1)
        self.assertEqual(err.splitlines(), [f"byodctl: line {i}: {reason}"
                                            for i, (_, reason) in enumerate(bad, start=2)])
        lines = [json.loads(line) for line in out.splitlines()]
        self.assertEqual([line["error"] for line in lines],
                         [None] + [reason for _, reason in bad] + [None])
        self.assertEqual(lines[-1]["vendor"], "Apple")

    def test_json_output_has_the_same_keys_for_every_line(self):
        keys = ["line", "mac", "options", "user_agent", "vendor", "category", "os", "name",
                "identified", "locally_administered", "error", "explanation",
                "authorization", "time", "address", "host_name", "vendor_class", "filled"]
        stdin = "mac\n001122334455\nzz\nfc0000000000\n"
        for arguments in ((), ("--explain",)):
            _, out, _ = self.identify("--json", *arguments, stdin=stdin)
            lines = [json.loads(line) for line in out.splitlines()]
            self.assertEqual([list(line) for line in lines], [keys] * 3)
            self.assertEqual([line["line"] for line in lines], [2, 3, 4])
        _, out, _ = self.identify("--json", "--mac", "001122334455")
        self.assertEqual(list(json.loads(out)), keys)

    def test_a_tab_or_line_end_in_a_json_text_does_not_break_tsv_output(self):
        _, out, _ = self.identify("--tsv", stdin='{"user_agent": "iPhone\\t\\r\\nx"}\n')
        self.assertEqual(out.splitlines()[1],
                         "\t\tiPhone   x\tApple\tMobile\tiOS\tApple iPhone\t\t\t")

    # ------------------------------------------------------------------ evidence

    def evidence(self, *arguments, stdin=b""):
        """@return what is answered with rules for evidence"""
        with tempfile.TemporaryDirectory() as directory:
            write_files(directory, {**RULES, **EVIDENCE_RULES})
            return run("identify", "--offline", "--rules", directory, "--ieee", "", *arguments,
                       stdin=stdin)

    def test_a_host_name_fills_what_the_rules_leave_open(self):
        status, out, err = self.evidence("--json", "--user-agent", "Android", "--host-name",
                                         "Galaxy-S21")
        self.assertEqual((status, err), (0, ""))
        answer = json.loads(out)
        self.assertEqual([answer[key] for key in ("vendor", "category", "os", "host_name")],
                         ["Samsung", "Mobile", "Android", "Galaxy-S21"])
        self.assertEqual(answer["filled"], [
            {"field": "vendor", "value": "Samsung", "evidence": "host-name", "confidence": 97,
             "rule": "galaxy-*"},
            {"field": "category", "value": "Mobile", "evidence": "host-name", "confidence": 98,
             "rule": "galaxy-*"}])

    def test_evidence_alone_identifies(self):
        status, out, _ = self.evidence("--tsv", stdin="vendor_class\thost_name\nMSFT 5.0\t\n\tgalaxy-a\n")
        self.assertEqual(status, 0)
        self.assertEqual(out.splitlines()[1:],
                         ["\t\t\t\tPC\tWindows\t\t\tMSFT 5.0\tcategory=vendor-class,os=vendor-class",
                          "\t\t\tSamsung\tMobile\t\t\tgalaxy-a\t\tvendor=host-name,category=host-name"])

    def test_a_table_marks_what_evidence_filled(self):
        _, out, _ = self.evidence("--user-agent", "Android", "--host-name", "Galaxy-S21")
        self.assertEqual(out, "MAC  VENDOR    CATEGORY  OS       NAME  DHCP OPTIONS  USER-AGENT\n"
                              "-    Samsung~  Mobile~   Android  -     -             Android\n"
                              "~ not from a rule, but from weaker evidence: --explain shows which\n")

    def test_an_explanation_says_which_pattern_matched(self):
        _, out, _ = self.evidence("--explain", "--user-agent", "Android", "--host-name", "Galaxy-S21")
        self.assertIn("user-agent Android, host-name Galaxy-S21\n", out)
        self.assertIn('  evidence:\n'
                      '    vendor: Samsung (host-name "galaxy-*", 97 of 100 are right)\n'
                      '    category: Mobile (host-name "galaxy-*", 98 of 100 are right)\n'
                      '  answer: vendor Samsung, category Mobile, os Android, name -\n', out)

    def test_evidence_can_be_turned_off_by_kind(self):
        arguments = ("--json", "--host-name", "galaxy-a", "--vendor-class", "MSFT 5.0")
        for kinds, category in (("off", ""), ("vendor-class", "PC"), ("host-name", "Mobile"),
                                ("brand,vendor-class", "PC")):
            _, out, _ = self.evidence(*arguments, "--evidence", kinds)
            self.assertEqual(json.loads(out)["category"], category)
        for kinds, reason in (("on", '"on" is not one of off, host-name, vendor-class, option-list, '
                                     'brand, dhcp-client'), ("off,brand", "off stands alone")):
            status, _, err = self.evidence(*arguments, "--evidence", kinds)
            self.assertEqual(status, 1)
            self.assertIn(f"--evidence: {reason}", err)

    def test_an_administrators_rules_for_evidence_are_tried_first(self):
        with tempfile.TemporaryDirectory() as own:
            write_files(own, {"host-name.csv": "pattern,category\ngal*,Tablet\n"})
            _, out, _ = self.evidence("--json", "--host-name", "galaxy-a", "--evidence-rules", own)
            self.assertEqual(json.loads(out)["category"], "Tablet")
            write_files(own, {"host-name.csv": "pattern,category\n,Tablet\n"})
            _, _, err = self.evidence("--json", "--host-name", "galaxy-a", "--evidence-rules", own)
            self.assertEqual(err, f"{own}/host-name.csv:2: pattern is empty\n")

    # ------------------------------------------------------------------ for people

    def test_the_table_is_aligned_by_what_a_terminal_shows(self):
        status, out, err = self.identify(stdin="user_agent\tmac\n\u4e2d\u6587\t\niPhone\t\nx\tzz\n")
        self.assertEqual(status, 1)
        self.assertIn("byodctl: 2 identified, 0 unknown, 1 bad\n", err)
        self.assertEqual(
            out,
            "MAC  VENDOR  CATEGORY  OS   NAME          DHCP OPTIONS  USER-AGENT\n"
            "-    Wide    Mobile    -    \u4e2d\u6587\u624b\u673a      -             \u4e2d\u6587\n"
            "-    Apple   Mobile    iOS  Apple iPhone  -             iPhone\n"
            "zz   -       -         -    (bad line)    -             x\n")

    def test_the_table_shows_nothing_that_a_terminal_obeys(self):
        _, out, err = self.identify(stdin=b"user_agent\tmac\niPhone \x1b[31m\xff\t\n\t\x1b[2J\n")
        self.assertNotIn("\x1b", out + err)
        self.assertIn("iPhone ?[31m\ufffd", out)

    def test_an_explanation_shows_nothing_that_a_terminal_obeys(self):
        # The reason why a line is bad was shown as it was.
        _, out, err = self.identify("--explain", stdin=b"mac\n\x1b[2J\n")
        self.assertIn("bad line: address \"?[2J\"", out)
        self.assertNotIn("\x1b", out + err)

    def test_a_long_user_agent_is_not_cut_where_no_terminal_has_to_hold_the_table(self):
        _, out, _ = self.identify("--user-agent", "iPhone" + "x" * 100)
        self.assertTrue(out.endswith("iPhone" + "x" * 100 + "\n"))

    def test_an_explanation_has_rule_source_and_reason_of_each_step(self):
        _, out, _ = self.identify("--explain", "--mac", "001122334455", "--user-agent", "Android",
                                  "--dhcp", "1,3")
        self.assertEqual(out, """\
line 1: mac 00:11:22:33:44:55, options 1,3, user-agent Android
  vendor, category and os:
    1. dhcp: no rule matches
       vendor, category, os open: next method
    2. user-agent: predefined rule "Android"
         vendor: - (not in the rule)
         category: - (not in the rule)
         os: Android (predefined)
       vendor, category open: next method
    3. mac: predefined rule "00:11:22:00:00:00/24"
         vendor: MacVendor (predefined)
         category: Tablet (predefined)
         os: MacOs (predefined, already known)
       all known: the search stops
  name:
    1. dhcp: no rule matches
       name open: next method
    2. user-agent: predefined rule "Android"
         name: - (not in the rule)
       name open: next method
    3. mac: predefined rule "00:11:22:00:00:00/24"
         name: - (not in the rule)
       name open, no method left: the search stops
  answer: vendor MacVendor, category Tablet, os Android, name -
""")

    def test_an_explanation_in_json_names_the_same_steps(self):
        _, answer = self.one("--explain", "--user-agent", "iPhone")
        self.assertEqual(answer["explanation"]["attributes"], [
            {"method": "dhcp", "lookup": "no-value", "rule": None, "origin": None, "fields": {},
             "next": "continue"},
            {"method": "user-agent", "lookup": "rule", "rule": "iPhone", "origin": "predefined",
             "fields": {
                 "vendor": {"value": "Apple", "source": "predefined", "used": True},
                 "category": {"value": "Mobile", "source": "predefined", "used": True},
                 "os": {"value": "iOS", "source": "predefined", "used": True}},
             "next": "complete"}])
        self.assertEqual(answer["explanation"]["name"][1]["fields"],
                         {"name": {"value": "Apple iPhone", "source": "predefined", "used": True}})

    # ------------------------------------------------------------------ rules

    def test_a_bad_rule_is_reported_with_its_place_and_the_rest_is_used(self):
        with tempfile.TemporaryDirectory() as directory:
            write_files(directory, {"user-agent.csv": "expression,name,vendor,category,os\n"
                                                      ",,,,\niPhone,,Apple,,\n"})
            status, out, err = run("identify", "--offline", "--rules", directory, "--ieee", "",
                                   "--tsv", stdin="user_agent\niPhone\n")
            self.assertEqual(status, 0)
            self.assertEqual(err, f"{directory}/user-agent.csv:2: expression is empty\n")
            self.assertIn("Apple", out)

    def test_without_any_rules_everything_is_unknown(self):
        status, _, err = run("identify", "--offline", "--rules", "", "--ieee", "", "--tsv",
                             stdin="user_agent\niPhone\n")
        self.assertEqual((status, err), (3, ""))

    @unittest.skipUnless((REGISTRY / "oui.csv").exists(), "no registry here")
    def test_the_registry_names_the_vendor_of_an_address(self):
        status, out, err = run("identify", "--offline", "--rules", "", "--ieee", str(REGISTRY),
                               "--json", "--mac", "00:00:0c:01:02:03")
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(json.loads(out)["vendor"], "Cisco Systems, Inc")

    def test_output_that_cannot_be_written_is_an_error(self):
        if not os.path.exists("/dev/full"):
            self.skipTest("no /dev/full here")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([BYODCTL, "identify", *self.rules, "--mac", "001122334455"],
                                  stdout=full, stderr=subprocess.PIPE, check=False)
        self.assertEqual((done.returncode, done.stderr),
                         (1, b"byodctl: cannot write the output\n"))

    # ------------------------------------------------------------------ real terminals

    def test_every_terminal_of_the_corpus_gets_its_line(self):
        corpus = pathlib.Path(os.environ.get("BYOD_CORPUS", SOURCE.parent / "shared" / "corpus"))
        terminals = corpus / "terminals.tsv"
        if not terminals.exists() or not (REGISTRY / "oui.csv").exists():
            self.skipTest("no corpus or no registry here")
        rules = SOURCE / "rules" if (SOURCE / "rules").is_dir() else ""
        status, out, err = run("identify", "--offline", "--rules", str(rules), "--ieee",
                               str(REGISTRY), "--tsv", stdin=terminals.read_bytes())
        self.assertIn(status, (0, 3), err)
        header, *rows = [line.split("\t")
                         for line in terminals.read_text(encoding="utf-8").splitlines()]
        columns = [header.index(name) for name in ("mac", "options", "user_agent")]
        lines = [line.split("\t") for line in out.splitlines()[1:]]
        self.assertEqual([line[:3] for line in lines],
                         [[row[column] for column in columns] for row in rows])
        self.assertTrue(all(len(line) == 10 for line in lines))
        self.assertGreater(sum(line[3] != "" for line in lines), len(lines) // 2)


if __name__ == "__main__":
    BYODCTL = sys.argv[1]
    SOURCE = pathlib.Path(sys.argv[2])
    unittest.main(argv=[sys.argv[0]], verbosity=2)
