# SPDX-License-Identifier: Apache-2.0
"""stored_state_test.py BYODCTL LAUTHD: what lauthd stores, read from its files by a program that
knows only docs/database.md, is what byodctl shows."""

import contextlib
import csv
import json
import pathlib
import shutil
import sqlite3
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "byodctl"))

import read_database  # noqa: E402
import running_daemon  # noqa: E402

BYODCTL, LAUTHD = sys.argv[1], sys.argv[2]

KINDS = {"mac": "mac", "expression": "user-agent", "options": "dhcp-option"}

RULES = """\
mac,mask,name,vendor,category,os
00:11:22/24,,Reader,,,
00:50:56:12:34:56,,Desk,Acme,PC,Linux
00:99:88:77:66:55/28,,,Acme,,
expression,name,vendor,category,os
iphone,,,,iPadOS
Nokia&&Mobile||Lumia,,Nokia,Mobile,
{longest},{name},{attribute},{attribute},{attribute}
Ünicode,Gerät,Größe,,
options,name,vendor,category,os
"1,3,6",Plotter,,,
"1,3,6,15,119",,,,Linux
""".format(longest="a" * 255, name="n" * 127, attribute="x" * 63)


class StoredState(unittest.TestCase):
    def setUp(self):
        self.daemon = running_daemon.Daemon(LAUTHD, BYODCTL)
        self.addCleanup(self.daemon.close)
        self.file = self.daemon.directory / "state" / "eBYOD.db"
        self.daemon.start()

    def run_ok(self, *arguments, stdin=""):
        status, output, errors = self.daemon.run(*arguments, stdin=stdin)
        self.assertEqual(0, status, errors)
        return output

    def json_lines(self, *arguments):
        return [json.loads(line) for line in self.run_ok(*arguments, "--json").splitlines()]

    def configure(self):
        self.run_ok("import", "-", stdin=RULES)
        self.run_ok("set", "order", "mac,dhcp")
        self.run_ok("set", "authorization", "staff", "Mobile", "vlan=20", "acl=phones", "note=",
                    "acl=guests")
        self.run_ok("set", "authorization", "staff", "*", "vlan=30")
        self.run_ok("set", "authorization", "g" * 32, "PC", "note=" + "v" * 255)

    def shown(self):
        """What byodctl shows, in the reader's form. A modification counts with what was set alone:
        as it is exported."""
        rules = []
        kind = None
        for fields in csv.reader(self.run_ok("export").splitlines()):
            if fields[0] in KINDS:
                kind = KINDS[fields[0]]
            else:
                rules.append(self.exported_rule(kind, fields))
        return {
            "rules": sorted(rules, key=str),
            "order": self.json_lines("show", "order")[0]["order"],
            "authorization": [
                {**line, "attributes": [(name, value) for name, values in line["attributes"].items()
                                        for value in (values if isinstance(values, list) else [values])]}
                for line in self.json_lines("show", "authorization")],
        }

    @staticmethod
    def exported_rule(kind, fields):
        if kind == "mac":
            address, mask, *texts = fields
            assert mask == "", fields
            fields = [address if "/" in address else address + "/48", *texts]
        return dict(zip(("kind", "key", "name", "vendor", "category", "os"), [kind, *fields]))

    @staticmethod
    def sorted_rules(stored):
        """As an export shows them: without what puts an administrator's expression before others."""
        rules = []
        for rule in stored["rules"]:
            rule = dict(rule)
            if rule["kind"] == "user-agent":
                rule["key"] = rule["key"].rstrip("|&")
            rules.append(rule)
        return sorted(rules, key=str)

    def compare(self, stored):
        stored["rules"] = self.sorted_rules(stored)
        self.assertEqual(self.shown(), stored)

    def test_a_program_that_knows_only_the_document_reads_a_running_daemons_database(self):
        self.configure()
        self.compare(read_database.read(self.file))

    def test_every_kind_of_thing_is_there_to_be_compared(self):
        self.configure()
        stored = read_database.read(self.file)
        self.assertEqual(9, len(stored["rules"]))
        self.assertEqual(["mac", "dhcp"], stored["order"])
        self.assertEqual(3, len(stored["authorization"]))

    def test_a_backup_needs_no_other_file(self):
        self.configure()
        backup = self.daemon.directory / "backup.db"
        self.run_ok("backup", str(backup))
        self.compare(read_database.read(backup, immutable=True))
        self.assertEqual([], list(self.daemon.directory.glob("backup.db-*")))

    def test_what_is_removed_is_not_stored_any_more(self):
        self.configure()
        self.run_ok("unset", "rule", "mac", "00:11:22/24")
        self.run_ok("unset", "rule", "user-agent", "iphone")
        self.run_ok("unset", "rule", "dhcp-option", "1,3,6,15,119")
        self.run_ok("unset", "order")
        self.run_ok("unset", "authorization", "staff")
        stored = read_database.read(self.file)
        self.assertEqual(6, len(stored["rules"]))
        self.compare(stored)

    def test_a_stopped_daemons_files_are_read_together(self):
        self.configure()
        shown = self.shown()
        self.assertEqual(0, self.daemon.stop())
        copy = self.daemon.directory / "copy"
        shutil.copytree(self.daemon.directory / "state", copy)
        stored = read_database.read(copy / "eBYOD.db")
        stored["rules"] = self.sorted_rules(stored)
        self.assertEqual(shown, stored)

    def test_the_reader_notices_a_byte_that_has_changed(self):
        self.configure()
        self.assertEqual(0, self.daemon.stop())
        with contextlib.closing(sqlite3.connect(self.file)) as database, database:
            rows = database.execute("SELECT list, sort_key, data FROM record").fetchall()
            (row,) = [row for row in rows if b"Desk" in row[2]]
            database.execute("UPDATE record SET data = ? WHERE list = ? AND sort_key = ?",
                             (row[2].replace(b"Desk", b"Disk"), row[0], row[1]))
        with self.assertRaisesRegex(read_database.Damaged, "the sum of a record"):
            read_database.read(self.file)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
