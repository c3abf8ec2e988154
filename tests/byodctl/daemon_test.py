# SPDX-License-Identifier: Apache-2.0
"""byodctl with a running lauthd: daemon_test.py BYODCTL LAUTHD"""

import json
import os
import shutil
import subprocess
import time
import unittest

from running_daemon import copy_for_every_user
from with_daemon import CommandCase, Programs, WithDaemon, main

RULE_KEYS = ["kind", "key", "origin", "modified", "name", "vendor", "category", "os",
             "not_in_effect", "except", "priority"]


class Identify(WithDaemon):
    def test_asks_the_daemon_and_exits_with_3_when_nothing_is_known(self):
        (answer,) = self.json("identify", "--user-agent", "iPhone")
        self.assertEqual([answer[key] for key in ("vendor", "category", "os", "name")],
                         ["Apple", "Mobile", "iOS", "Apple iPhone"])
        self.assertEqual(answer["authorization"], None)
        (answer,) = self.json("identify", "--user-agent", "nobody", expect=3)
        self.assertFalse(answer["identified"])

    def test_a_change_shows_in_the_next_answer(self):
        self.ctl("set", "rule", "dhcp-option", "1,2", "--vendor", "New")
        self.assertEqual(self.json("identify", "--dhcp", "1,2")[0]["vendor"], "New")

    def test_the_daemons_explanation_is_that_of_the_files(self):
        fingerprints = [("--mac", "001122334455", "--user-agent", "Android", "--dhcp", "1,3"),
                        ("--user-agent", "iPhone"), ("--dhcp", "1,3,6"), ("--mac", "009988776655"),
                        ("--dhcp", ",".join(["200"] * 255))]
        for fingerprint in fingerprints:
            arguments = ("identify", "--explain", "--json", *fingerprint)
            _, online, _ = self.daemon.run(*arguments)
            _, offline, _ = self.daemon.run(*arguments, "--offline", "--rules",
                                            str(self.daemon.rules), "--ieee", "")
            self.assertEqual(json.loads(online), json.loads(offline))

    def test_terminals_may_come_more_slowly_than_the_daemon_drops_idle_clients(self):
        # The second one met a connection that the daemon had closed.
        self.daemon.stop()
        self.daemon.start("--idle-timeout", "1")
        with subprocess.Popen(self.command("identify", "--tsv"),
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as identify:
            identify.stdin.write("user_agent\n")
            for user_agent, name in (("iPhone", "Apple iPhone"), ("an iPhone", "Apple iPhone")):
                identify.stdin.write(user_agent + "\n")
                identify.stdin.flush()
                line = identify.stdout.readline()
                if line.startswith("mac\t"):
                    line = identify.stdout.readline()
                self.assertEqual(line.rstrip("\n").split("\t")[2:7],
                                 [user_agent, "Apple", "Mobile", "iOS", name])
                time.sleep(2.5)
            identify.stdin.close()
            self.assertEqual(identify.wait(timeout=60), 0)

    def test_a_modified_rule_is_explained_by_what_was_configured(self):
        self.ctl("set", "rule", "user-agent", "iPhone", "--os", "iPadOS")
        (answer,) = self.json("identify", "--explain", "--user-agent", "iPhone")
        fields = [step for step in answer["explanation"]["attributes"]
                  if step["method"] == "user-agent"][0]["fields"]
        self.assertEqual(fields["os"]["source"], "configured")
        self.assertEqual(fields["vendor"]["source"], "predefined")

    def test_a_group_gets_the_set_for_the_type_or_for_any(self):
        self.ctl("set", "authorization", "staff", "Mobile", "vlan=20", "acl=phones")
        self.ctl("set", "authorization", "staff", "*", "vlan=99")
        (answer,) = self.json("identify", "--group", "staff", "--user-agent", "iPhone")
        self.assertEqual(answer["authorization"],
                         {"group": "staff", "type": "Mobile",
                          "attributes": {"vlan": "20", "acl": "phones"}})
        (answer,) = self.json("identify", "--group", "staff", "--user-agent", "x", expect=3)
        self.assertEqual(answer["authorization"]["attributes"], {"vlan": "99"})
        out = self.ctl("identify", "--group", "staff", "--tsv", "--user-agent", "iPhone")
        self.assertEqual(out.splitlines()[0].split("\t")[7], "authorization")
        self.assertEqual(out.splitlines()[1].split("\t")[7], "vlan=20 acl=phones")


class Rules(WithDaemon):
    def test_rules_are_listed_by_kind_and_filtered(self):
        self.ctl("set", "rule", "mac", "00:99:88/24", "--vendor", "Mine")
        self.ctl("set", "rule", "user-agent", "iPhone", "--name", "Phone")
        rules = self.json("show", "rules")
        self.assertEqual([list(rule) for rule in rules], [RULE_KEYS] * 5)
        self.assertEqual([rule["key"] for rule in self.json("show", "rules", "mac")],
                         ["00:11:22:00:00:00/24", "00:99:88:00:00:00/24"])
        self.assertEqual([rule["key"] for rule in self.json("show", "rules", "--custom")],
                         ["00:99:88:00:00:00/24"])
        self.assertEqual([rule["key"] for rule in self.json("show", "rules", "--modified")],
                         ["iPhone"])
        self.assertEqual(len(self.json("show", "rules", "--modified", "--custom")), 2)
        self.assertEqual(self.json("show", "rules", "dhcp-option", "--custom"), [])
        self.assertIn("custom", self.ctl("show", "rules"))
        self.assertNotIn("\x1b", self.ctl("show", "rules"))

    def test_one_rule_and_the_next(self):
        self.ctl("set", "rule", "user-agent", "iPhone", "--os", "iPadOS")
        (rule,) = self.json("show", "rule", "user-agent", "iPhone")
        self.assertEqual(list(rule), RULE_KEYS + ["configured"])
        self.assertEqual(rule["configured"],
                         {"name": "", "vendor": "", "category": "", "os": "iPadOS"})
        self.assertEqual(rule["vendor"], "Apple")
        (rule,) = self.json("show", "rule", "user-agent", "Android", "--next")
        self.assertEqual(rule["key"], "iPhone")
        self.assertIn("iPadOS (configured)", self.ctl("show", "rule", "user-agent", "iPhone"))
        self.ctl("show", "rule", "user-agent", "iPhone", "--next", expect=3)
        self.assertEqual(self.err, "byodctl: no such rule\n")

    def test_a_whole_address_shows_the_rule_that_covers_it(self):
        (rule,) = self.json("show", "rule", "mac", "0011.22aa.bbcc")
        self.assertEqual(rule["key"], "00:11:22:00:00:00/24")

    def test_fields_are_set_and_reverted_one_by_one(self):
        self.ctl("set", "rule", "mac", "00:99:88:00:00:00/ff:ff:ff:00:00:00", "--name", "N",
                 "--vendor", "V", "--category", "C", "--os", "O")
        (rule,) = self.json("show", "rule", "mac", "00:99:88/24")
        self.assertEqual([rule[key] for key in ("name", "vendor", "category", "os")],
                         ["N", "V", "C", "O"])
        self.ctl("unset", "rule", "mac", "00:99:88/24", "--name", "--os")
        (rule,) = self.json("show", "rule", "mac", "00:99:88/24")
        self.assertEqual([rule[key] for key in ("name", "vendor", "category", "os")],
                         ["", "V", "C", ""])
        self.ctl("unset", "rule", "mac", "00:99:88/24")
        self.ctl("show", "rule", "mac", "00:99:88/24", expect=3)
        self.ctl("unset", "rule", "mac", "00:99:88/24", expect=3)

    def test_a_rule_without_fields_and_a_change_of_nothing(self):
        for changed in (True, False):
            (report,) = self.json("set", "rule", "user-agent", "bare")
            self.assertEqual(report["changed"], changed)
        self.ctl("set", "rule", "user-agent", "bare")
        self.assertIn("byodctl: unchanged\n", self.err)

    def test_a_rule_within_another_answers_for_its_block_and_is_listed_once(self):
        self.ctl("set", "rule", "mac", "00:11:22:33:44:55", "--vendor", "Desk")
        self.ctl("set", "rule", "mac", "00:11/16", "--vendor", "Around")
        rules = self.json("show", "rules", "mac")
        self.assertEqual([(rule["key"], rule["except"]) for rule in rules],
                         [("00:11:00:00:00:00/16", 1), ("00:11:22:00:00:00/24", 1),
                          ("00:11:22:33:44:55", 0)])
        for address, vendor in [("00:11:22:33:44:55", "Desk"), ("00:11:22:33:44:56", "MacVendor"),
                                ("00:11:99:00:00:01", "Around")]:
            (answer,) = self.json("identify", "--mac", address)
            self.assertEqual(answer["vendor"], vendor)
        self.assertIn("predefined; except 1\n", self.ctl("show", "rules", "mac"))
        self.assertIn("predefined; except 1\n", self.ctl("show", "rule", "mac", "00:11:22/24"))
        self.assertIn("00:11:22:00:00:00/24",
                      self.ctl("identify", "--mac", "00:11:22:33:44:56", "--explain"))
        self.ctl("unset", "rule", "mac", "00:11:22:33:44:55")
        self.ctl("unset", "rule", "mac", "00:11/16")
        (rule,) = self.json("show", "rules", "mac")
        self.assertEqual((rule["key"], rule["except"]), ("00:11:22:00:00:00/24", 0))

    def test_a_rule_that_cannot_be_stored_beside_another_is_refused_with_its_name(self):
        self.ctl("set", "rule", "mac", "00:11:22/24", "--name", "changed")
        self.ctl("set", "rule", "mac", "00:11:22:00:00:00", "--vendor", "V", "--os", "O", expect=5)
        self.assertIn("the rule 00:11:22:00:00:00/24 is stored under this address", self.err)
        self.assertEqual(len(self.json("show", "rules", "mac")), 1)

    def test_bad_keys_and_fields_are_bad_usage(self):
        for arguments, reason in [(("mac", "zz"), "malformed"),
                                  (("dhcp-option", "1,,2"), "malformed"),
                                  (("user-agent", ""), "empty"),
                                  (("color", "x"), "unknown kind of rule"),
                                  (("user-agent", "x" * 256), "256 bytes long"),
                                  (("user-agent", "x", "--vendor", "v" * 64), "64 bytes long"),
                                  (("user-agent", "x", "--vendor", ""), "is empty")]:
            self.ctl("set", "rule", *arguments, expect=1)
            self.assertIn(reason, self.err)
        self.assertEqual(self.json("show", "rules", "--custom"), [])


class RulesNotInEffect(WithDaemon):
    """The registry has gained a block around a rule of the administrator's, and the daemon may cut
    none out."""

    def setUp(self):
        super().setUp()
        self.daemon.stop()
        self.daemon.start("--carved-limit", "0")
        self.ctl("set", "rule", "mac", "02:02:02:10/28", "--vendor", "Mine")
        (self.daemon.rules / "mac.csv").write_text(
            "mac,mask,name,vendor,category,os\n02:02:02/24,,,Registry,,\n", encoding="utf-8")
        self.ctl("reload")

    def test_are_listed_with_the_reason(self):
        reason = "the rules within the blocks of others have reached their limit"
        (rule,) = self.json("show", "rules", "--custom")
        self.assertEqual([rule["key"], rule["vendor"], rule["not_in_effect"]],
                         ["02:02:02:10:00:00/28", "Mine", reason])
        self.assertIn("custom; not in effect: " + reason, self.ctl("show", "rules", "mac"))
        self.assertEqual(self.json("show", "rules", "--modified"), [])

    def test_are_shown_with_the_reason(self):
        reason = "the rules within the blocks of others have reached their limit"
        self.assertIn("custom; not in effect: " + reason,
                      self.ctl("show", "rule", "mac", "02:02:02:10/28"))
        (rule,) = self.json("show", "rule", "mac", "02-02-02-10/28")
        self.assertEqual([rule["vendor"], rule["not_in_effect"], rule["configured"]["vendor"]],
                         ["Mine", reason, "Mine"])
        self.ctl("show", "rule", "mac", "02:02:02:20/28", expect=3)

    def test_can_be_changed(self):
        self.ctl("set", "rule", "mac", "02:02:02:10/28", "--name", "N")
        self.assertEqual(self.err, 'byodctl: warning: the rule "02:02:02:10:00:00/28" is not in '
                         "effect: the rules within the blocks of others have reached their limit\n")
        (rule,) = self.json("show", "rules", "--custom")
        self.assertEqual([rule["name"], rule["vendor"]], ["N", "Mine"])

    def test_are_counted(self):
        (status,) = self.json("show", "status")
        self.assertEqual(status["rules"]["mac"]["not_in_effect"], 1)
        self.assertIn("; 1 not in effect)", self.ctl("show", "status"))

    def test_are_exported_and_importing_that_changes_nothing(self):
        rules = self.ctl("export", "mac")
        self.assertIn("02:02:02:10:00:00/28,,,Mine,,", rules)
        self.ctl("import", "-", stdin=rules)
        self.assertEqual(self.ctl("export", "mac"), rules)

    def test_can_be_deleted(self):
        self.ctl("unset", "rule", "mac", "02:02:02:10/28")
        self.assertEqual(self.json("show", "rules", "--custom"), [])


class OrderAndState(WithDaemon):
    def test_the_order_is_set_shown_and_unset(self):
        self.ctl("set", "order", "mac,dhcp")
        self.assertEqual(self.json("show", "order"), [{"order": ["mac", "dhcp"]}])
        self.assertEqual(self.json("set", "order", "mac,dhcp"), [{"changed": False}])
        self.ctl("unset", "order")
        self.assertEqual(self.json("show", "order"), [{"order": ["dhcp", "user-agent", "mac"]}])
        self.ctl("set", "order", "mac,mac", expect=1)
        self.ctl("set", "order", "x", expect=1)

    def test_counts_and_status(self):
        self.assertEqual(self.json("show", "counts"),
                         [{"mac": 1, "user-agent": 2, "dhcp-option": 1, "total": 4}])
        self.ctl("set", "rule", "mac", "00:99:88/24")
        (status,) = self.json("show", "status")
        self.assertEqual(status["rules"]["mac"], {"rules": 2, "custom": 1, "modified": 0,
                                                  "not_in_effect": 0})
        self.assertEqual((status["rule_limit"], status["database"], status["reload_failure"]),
                         (None, "open", None))
        self.assertEqual(status["changes"], 1)
        self.assertIn("custom rules allowed", self.ctl("show", "status"))
        self.assertIn("total", self.ctl("show", "counts"))

    def test_the_status_has_the_age_of_the_registry_and_warns_above_a_year(self):
        (status,) = self.json("show", "status")
        self.assertEqual((status["registry_time"], status["registry_age_days"]), (None, None))
        self.assertNotIn("registry", self.ctl("show", "status"))
        registry = self.daemon.directory / "registry"
        registry.mkdir()
        now = time.time()
        for days, warning in ((365, ""), (366, "; byod-update-registry replaces it"), (-2, "")):
            for name in ("oui.csv", "mam.csv", "oui36.csv", "iab.csv"):
                (registry / name).write_text("Assignment,Organization Name\n", encoding="utf-8")
                os.utime(registry / name, (now, now - 3600 - days * 86400))
            self.daemon.stop()
            self.daemon.registry = registry
            self.daemon.start()
            (status,) = self.json("show", "status")
            date = status["registry_time"][:10]
            age = max(days, 0)
            self.assertEqual(status["registry_age_days"], age)
            self.assertEqual(date, time.strftime("%Y-%m-%d", time.gmtime(now - 3600 - days * 86400)))
            self.assertRegex(self.ctl("show", "status"),
                             rf"(?m)^address registry +of {date}, {age} days old{warning}$")

    def test_unknown_fingerprints_are_kept_and_forgotten(self):
        for _ in range(2):
            self.ctl("identify", "--user-agent", "nobody", "--mac", "0099887766aa", expect=3)
        (unknown,) = self.json("show", "unknown")
        self.assertEqual((unknown["mac"], unknown["user_agent"], unknown["seen"]),
                         ("00:99:88:77:66:aa", "nobody", 2))
        self.assertRegex(unknown["last"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
        self.assertEqual(unknown["unmatched"], ["user-agent", "mac"])
        again = self.ctl("show", "unknown", "--json")
        self.assertEqual(self.json("identify", expect=3, stdin=again)[0]["user_agent"], "nobody")
        self.ctl("unset", "unknown")
        self.assertEqual(self.json("show", "unknown"), [])

    def test_an_unknown_part_of_a_known_terminal_is_named(self):
        self.ctl("identify", "--user-agent", "iPhone", "--dhcp", "1,99")
        (unknown,) = self.json("show", "unknown")
        self.assertEqual((unknown["options"], unknown["unmatched"]), ("1,99", ["dhcp"]))
        self.assertRegex(self.ctl("show", "unknown"), r"(?m) 1 +dhcp +- +1,99 +iPhone$")

    def test_a_locally_administered_address_is_flagged_wherever_it_is_shown(self):
        for mac, flag in (("0099887766aa", False), ("da99887766aa", True)):
            self.ctl("unset", "unknown")
            command = self.command("watch", "--count", "1")
            with subprocess.Popen([*command, "--json"], stdout=subprocess.PIPE) as watch, \
                    subprocess.Popen(command, stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL) as plain:
                deadline = time.monotonic() + 20
                while self.json("show", "status")[0]["watchers"] < 2 and \
                        time.monotonic() < deadline:
                    time.sleep(0.02)
                self.ctl("identify", "--mac", mac, expect=3)
                self.assertEqual(json.loads(watch.stdout.read())["locally_administered"], flag)
                self.assertEqual(b'" (locally administered)' in plain.stdout.read(), flag)
            (unknown,) = self.json("show", "unknown")
            self.assertEqual(unknown["locally_administered"], flag)
            self.assertEqual("aa*" in self.ctl("show", "unknown"), flag)

    def test_reload_reads_the_files_again_and_a_bad_one_is_refused(self):
        path = self.daemon.rules / "user-agent.csv"
        path.write_text(path.read_text() + "New,,V,,\n")
        self.ctl("reload")
        self.assertEqual(self.json("show", "counts")[0]["user-agent"], 3)
        shutil.rmtree(self.daemon.rules)
        self.ctl("reload", expect=5)
        self.assertNotEqual(self.err, "")
        self.assertEqual(self.json("show", "counts")[0]["user-agent"], 3)

    def test_watch_shows_identifications_as_they_happen(self):
        process = subprocess.Popen(
            self.command("watch", "--count", "2", "--json"),
            stdout=subprocess.PIPE)
        deadline = time.monotonic() + 30
        while self.json("show", "status")[0]["watchers"] == 0 and time.monotonic() < deadline:
            time.sleep(0.05)
        self.ctl("identify", "--user-agent", "iPhone")
        self.ctl("identify", "--dhcp", "9", expect=3)
        out, _ = process.communicate(timeout=30)
        first, second = [json.loads(line) for line in out.splitlines()]
        self.assertEqual(list(first), list(second))
        self.assertEqual((first["user_agent"], first["vendor"], first["identified"]),
                         ("iPhone", "Apple", True))
        self.assertEqual((second["options"], second["identified"]), ("9", False))
        self.assertEqual(process.returncode, 0)


class Authorization(WithDaemon):
    def test_sets_are_shown_changed_and_unset(self):
        self.assertEqual(self.json("show", "authorization"), [])
        self.ctl("set", "authorization", "staff", "Mobile", "vlan=20", "acl=a=b")
        self.ctl("set", "authorization", "staff", "Mobile", "vlan=21")
        self.ctl("set", "authorization", "guests", "*", "vlan=30")
        mobile = {"group": "staff", "type": "Mobile", "attributes": {"vlan": "21", "acl": "a=b"}}
        self.assertEqual(self.json("show", "authorization", "staff", "Mobile"), [mobile])
        self.assertEqual(len(self.json("show", "authorization")), 2)
        self.assertIn("vlan=21 acl=a=b", self.ctl("show", "authorization"))
        self.ctl("unset", "authorization", "staff", "Mobile", "acl")
        self.assertEqual(self.json("show", "authorization", "staff")[0]["attributes"],
                         {"vlan": "21"})
        self.ctl("unset", "authorization", "staff")
        self.ctl("show", "authorization", "staff", expect=3)
        self.ctl("unset", "authorization", "staff", expect=3)
        self.ctl("set", "authorization", "staff", "Mobile", "vlan", expect=1)

    def test_all_values_of_a_name_are_kept_in_their_order(self):
        self.ctl("set", "authorization", "staff", "Mobile", "vlan=20", "Cisco-AVPair=b",
                 "acl=x", "Cisco-AVPair=a")
        pairs = {"vlan": "20", "Cisco-AVPair": ["b", "a"], "acl": "x"}
        (shown,) = self.json("show", "authorization")
        self.assertEqual(list(shown["attributes"].items()), list(pairs.items()))
        self.assertIn("vlan=20 Cisco-AVPair=b Cisco-AVPair=a acl=x", self.ctl("show", "authorization"))
        (answer,) = self.json("identify", "--group", "staff", "--user-agent", "iPhone")
        self.assertEqual(answer["authorization"]["attributes"], pairs)
        self.ctl("set", "authorization", "staff", "Mobile", "vlan=21")
        self.assertEqual(self.json("show", "authorization")[0]["attributes"],
                         {**pairs, "vlan": "21"})
        self.ctl("set", "authorization", "staff", "Mobile", "Cisco-AVPair=c")
        self.assertIn("vlan=21 Cisco-AVPair=c acl=x", self.ctl("show", "authorization"))
        self.ctl("set", "authorization", "staff", "Mobile", "Cisco-AVPair=c", "Cisco-AVPair=d")
        self.ctl("unset", "authorization", "staff", "Mobile", "Cisco-AVPair")
        self.assertEqual(self.json("show", "authorization")[0]["attributes"],
                         {"vlan": "21", "acl": "x"})

    def test_a_category_that_no_rule_answers_is_set_with_a_warning(self):
        said = {"Mobile": "", "*": "",
                "mobile": ': the rules spell it "Mobile"',
                "Tabelt": '; did you mean "Tablet"?',
                "Kitchen": ""}
        for category, end in said.items():
            answered = category in ("Mobile", "*")
            warnings = [] if answered else [f'no rule answers the category "{category}"{end}']
            with self.subTest(category):
                self.ctl("set", "authorization", "staff", category, "vlan=20")
                self.assertEqual(self.err, "".join(f"byodctl: warning: {warning}\n"
                                                   for warning in warnings))
                (report,) = self.json("set", "authorization", "staff", category, "vlan=21")
                self.assertEqual(report, {"changed": True, "warnings": warnings})
                self.assertEqual(len(self.json("show", "authorization", "staff", category)), 1)
        self.ctl("set", "rule", "user-agent", "Toaster", "--category", "Kitchen")
        (report,) = self.json("set", "authorization", "staff", "Kitchen", "vlan=21")
        self.assertEqual(report, {"changed": False, "warnings": []})

    def test_a_backup_brings_everything_back(self):
        backup = self.daemon.directory / "backup"
        self.ctl("set", "authorization", "staff", "*", "vlan=20")
        self.ctl("set", "rule", "user-agent", "Kept", "--vendor", "K")
        self.ctl("set", "order", "mac")
        (report,) = self.json("backup", str(backup))
        self.assertEqual(report["bytes"], backup.stat().st_size)
        self.assertEqual(backup.stat().st_mode & 0o777, 0o600)
        before = self.ctl("show", "rules", "--json")
        self.ctl("unset", "authorization", "staff")
        self.ctl("unset", "rule", "user-agent", "Kept")
        self.ctl("unset", "order")
        self.ctl("restore", str(backup))
        self.assertEqual(self.ctl("show", "rules", "--json"), before)
        self.assertEqual(self.json("show", "order"), [{"order": ["mac"]}])
        self.assertEqual(len(self.json("show", "authorization")), 1)

    def test_a_file_that_is_not_a_backup_is_refused_and_changes_nothing(self):
        backup = self.daemon.directory / "backup"
        self.ctl("set", "rule", "user-agent", "Kept", "--vendor", "K")
        backup.write_bytes(b"this is no database" * 100)
        self.ctl("restore", str(backup), expect=1)
        self.assertEqual(self.err, f"byodctl: {backup}: not a backup\n")
        backup.unlink()
        self.ctl("backup", str(backup))
        backup.write_bytes(backup.read_bytes()[:5000])
        self.ctl("restore", str(backup), expect=5)
        self.assertTrue(self.err.startswith(f"byodctl: {backup}: "), self.err)
        self.assertEqual(len(self.json("show", "rules", "--custom")), 1)
        self.ctl("restore", str(backup) + "-absent", expect=1)
        self.ctl("backup", "/nonexistent/backup", expect=1)


class ImportExport(WithDaemon):
    FILE = ("expression,name,vendor,category,os\n"
            '"A, ""b""",N,V,C,O\n'
            '"#x",,V2,,\n'
            "iPhone,,,,iPadOS\n")

    def test_an_export_is_imported_without_a_change_and_elsewhere_as_it_was(self):
        self.ctl("import", "-", stdin=self.FILE)
        self.ctl("set", "rule", "mac", "00:99:88/24")
        self.ctl("set", "rule", "mac", "00:99:87:66:55:44", "--name", "One")
        self.ctl("set", "rule", "dhcp-option", "1,2", "--vendor", "V")
        exported = self.ctl("export")
        rows = self.json("import", "-", stdin=exported)
        self.assertEqual({row["action"] for row in rows}, {"unchanged"})
        self.assertEqual(len(rows), 6)
        for rule in self.json("show", "rules", "--custom", "--modified"):
            self.ctl("unset", "rule", rule["kind"], rule["key"])
        self.assertEqual(self.json("show", "rules", "--custom", "--modified"), [])
        self.assertIn("5 added, 1 changed, 0 unchanged", self.ctl("import", "-", stdin=exported))
        self.assertEqual(self.ctl("export"), exported)

    def test_an_export_of_one_kind_is_a_rule_file(self):
        self.ctl("import", "-", stdin=self.FILE)
        directory = self.daemon.directory / "exported"
        directory.mkdir()
        (directory / "user-agent.csv").write_text(self.ctl("export", "user-agent"))
        self.assertEqual(self.json("check", "rules", str(directory)),
                         [{"mac": 0, "user-agent": 3, "dhcp-option": 0, "evidence": 0, "errors": 0,
                           "warnings": 0, "problems": []}])
        self.assertEqual([rule["key"] for rule in self.json("export", "user-agent")],
                         ["#x", 'A, "b"', "iPhone"])

    def test_a_dry_run_reports_the_result_of_each_row_and_changes_nothing(self):
        file = ("mac,name,vendor,category,os\n"
                "00:11:22/24,Changed,,,\n"
                "00:11:22:00:00:00,Inside,,,\n"
                "zz,,,,\n"
                "00:99:88/24,New,,,\n")
        rows = self.json("import", "-", "--dry-run", stdin=file, expect=1)
        self.assertEqual([list(row) for row in rows],
                         [["line", "kind", "key", "action", "reason"]] * 4)
        self.assertEqual({row["line"]: row["action"] for row in rows},
                         {2: "changed", 3: "refused", 4: "bad", 5: "added"})
        refused = next(row for row in rows if row["line"] == 3)
        self.assertIn("00:11:22:00:00:00/24", refused["reason"])
        self.assertIn("-:4: address", self.err)
        self.assertEqual(self.json("show", "rules", "--custom", "--modified"), [])
        out = self.ctl("import", "-", "--dry-run", stdin=file, expect=1)
        self.assertIn("would be 1 added, 1 changed, 0 unchanged, 1 refused, 1 bad", out)
        self.ctl("import", "-", stdin=file.replace("zz,,,,\n", ""), expect=5)
        self.assertEqual(len(self.json("show", "rules", "--custom", "--modified")), 2)

    def test_thousands_of_rules_are_imported_and_survive_a_restart(self):
        file = "options,name,vendor,category,os\n" + "".join(
            f'"{i // 250},{i % 250}",N{i},V,C,O\n' for i in range(5000))
        path = self.daemon.directory / "many.csv"
        path.write_text(file)
        self.assertIn("5000 added", self.ctl("--timeout", "60", "import", str(path)))
        self.assertEqual(self.daemon.stop(), 0)
        self.daemon.start()
        self.assertEqual(len(self.json("show", "rules", "dhcp-option", "--custom")), 5000)

    def test_an_import_that_cannot_be_kept_changes_nothing_and_reports_nothing_added(self):
        file = "options,name,vendor,category,os\n" + "".join(
            f'"{i // 250},{i % 250}",N{i},V,C,O\n' for i in range(2000))
        self.ctl("set", "rule", "dhcp-option", "1,1", "--name", "Before")
        before = self.ctl("show", "rules", "--json")
        self.daemon.limit_file_size(300_000)
        self.assertEqual(self.ctl("import", "-", "--json", stdin=file, expect=5), "")
        self.assertIn("eBYOD.db", self.err)
        self.assertIn("File too large", self.err)
        self.assertEqual(self.ctl("show", "rules", "--json"), before)
        self.daemon.limit_file_size()
        self.assertIn("1999 added, 1 changed", self.ctl("import", "-", stdin=file))

    def test_a_file_without_a_header_or_that_is_not_there_is_bad_input(self):
        self.ctl("import", "-", stdin="x,y\n", expect=1)
        self.assertIn("-:1: no header", self.err)
        self.ctl("import", "-", stdin="", expect=1)
        self.ctl("import", "/nonexistent", expect=1)

    def test_problems_of_rule_files_are_reported_with_their_lines(self):
        (self.daemon.rules / "mac.csv").write_text("mac,name,vendor,category,os\nzz,,,,\n")
        (report,) = self.json("check", "rules", str(self.daemon.rules), expect=1)
        self.assertEqual([problem["line"] for problem in report["problems"]], [2])
        self.assertIn("mac.csv:2: error: ",
                      self.ctl("check", "rules", str(self.daemon.rules), expect=1))


class Limits(CommandCase):
    def test_the_limit_of_rules_is_given_as_the_reason(self):
        daemon = self.new_daemon()
        self.addCleanup(daemon.close)
        daemon.start("--rule-limit", "1")
        self.assertEqual(daemon.run("set", "rule", "user-agent", "a")[0], 0)
        status, _, err = daemon.run("set", "rule", "user-agent", "b")
        self.assertEqual((status, "limit" in err), (5, True))

    @unittest.skipUnless(os.geteuid() == 0 and shutil.which("setpriv"), "needs root and setpriv")
    def test_another_user_may_read_and_not_change(self):
        daemon = self.new_daemon()
        self.addCleanup(daemon.close)
        daemon.start()
        daemon.directory.chmod(0o755)
        daemon.socket.parent.chmod(0o755)
        daemon.socket.chmod(0o666)
        *environment, program = copy_for_every_user(Programs.byodctl, daemon.directory / "programs")
        daemon.use(Programs.lauthd, program)
        other = ("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", *environment)
        if daemon.run("--version", prefix=other)[0] in (126, 127):
            self.skipTest("another user cannot run the program here")
        self.assertEqual(daemon.run("show", "order", prefix=other)[0], 0)
        status, _, err = daemon.run("set", "order", "mac", prefix=other)
        self.assertEqual((status, "may not change" in err), (4, True))
        self.assertEqual(daemon.run("backup", "/dev/null", prefix=other)[0] in (1, 4), True)


if __name__ == "__main__":
    main(verbosity=2)
