# SPDX-License-Identifier: Apache-2.0
"""A rule for each of many terminals, among the blocks of the registry: terminals_test.py BYODCTL LAUTHD

BYOD_CORPUS names a folder with terminals.tsv, the addresses of real terminals; without it, and
without one beside the source tree, only made-up addresses are tried.
"""

import csv
import io
import json
import os
import pathlib
import unittest

from with_daemon import CommandCase, main

HEAD = "mac,mask,name,vendor,category,os\n"
EDITIONS = 5


def corpus():
    """@return the folder with real terminals, or None"""
    beside = pathlib.Path(__file__).resolve().parents[2].parent / "shared" / "corpus"
    for folder in (os.environ.get("BYOD_CORPUS"), beside):
        if folder and (pathlib.Path(folder) / "terminals.tsv").exists():
            return pathlib.Path(folder)
    return None


def number(mac):
    return int(mac.replace(":", ""), 16)


def address(value):
    digits = f"{value % (1 << 48):012x}"
    return ":".join(digits[i:i + 2] for i in range(0, 12, 2))


def real_terminals():
    """@return name by address"""
    with open(corpus() / "terminals.tsv", encoding="utf-8") as file:
        rows = csv.DictReader(file, delimiter="\t", quoting=csv.QUOTE_NONE)
        labels = {row["mac"]: row["label"] for row in rows if row["mac"]}
    # Several terminals have the same label: with its address each has its own name.
    return {mac: f"{label[:100]} {mac}" for mac, label in labels.items()}


def made_up_terminals():
    """Addresses at both ends of blocks, beside each other, alone, and in blocks beside each other."""
    macs = []
    for block in range(20):
        first = (0x001100 + block * 3 - block % 2) << 24
        macs += [first, first + 1, first + 0xFFFFFF, first + 0x123456, first + 0x123457 + block]
    return {address(mac): f"terminal {address(mac)}" for mac in macs}


def blocks_of(vendor, edition, index, is_alone):
    """The rows that an edition of the registry has for a vendor's 24 bits: one block, none, smaller
    ones, or one around it."""
    form = (edition + index) % EDITIONS
    first = vendor << 24
    if form == 1:
        return []
    if form == 2:
        return [(first + (i << 20), 28) for i in range(16) if i % 5 != 4]
    if form == 3:
        return [(first, 25), (first + 0x800000, 26), (first + 0xC00000, 36), (first + 0xC01000, 36)]
    if form == 4 and is_alone:
        return [(first & ~0x3FFFFFF, 22)]
    return [(first, 24)]


def registry(terminals, edition):
    """@return an edition of the predefined MAC rules"""
    vendors = sorted({number(mac) >> 24 for mac in terminals})
    rows = []
    for index, vendor in enumerate(vendors):
        is_alone = sum(other >> 2 == vendor >> 2 for other in vendors) == 1
        for first, bits in blocks_of(vendor, edition, index, is_alone):
            rows.append(f"{address(first)}/{bits},,,Vendor {index} of {edition}/{bits},,\n")
    return HEAD + "".join(rows)


def neighbours(terminals):
    """Addresses beside the terminals and elsewhere in their blocks, which are no terminal's."""
    found = set()
    for mac in map(number, terminals):
        found |= {mac - 1, mac + 1, mac ^ 0x10, mac ^ 0x1000, mac ^ 0x800000, mac | 0xFFFFFF,
                  (mac | 0xFFFFFF) + 1, mac >> 24 << 24}
    return sorted(set(map(address, found)) - set(terminals) - {address(0)})


class Terminals(CommandCase):
    """Two daemons with the same rule files; only one has rules of an administrator."""

    def setUp(self):
        self.plain = self.new_daemon()
        self.addCleanup(self.plain.close)
        self.daemon = self.new_daemon()
        self.addCleanup(self.daemon.close)

    def publish(self, terminals, edition):
        for daemon in (self.plain, self.daemon):
            (daemon.rules / "mac.csv").write_text(registry(terminals, edition), encoding="utf-8")

    def answers(self, daemon, macs):
        """@return (name, vendor) by address"""
        status, out, err = daemon.run("identify", "--json", stdin="mac\n" + "\n".join(macs) + "\n")
        self.assertIn(status, (0, 3), err)
        found = [json.loads(line) for line in out.splitlines()]
        return {answer["mac"]: (answer["name"], answer["vendor"]) for answer in found}

    def check(self, terminals):
        named = {mac: name for mac, (name, _) in self.answers(self.daemon, terminals).items()}
        self.assertEqual(named, terminals)
        beside = neighbours(terminals)
        expected = self.answers(self.plain, beside)
        self.assertEqual(len(expected), len(beside))
        self.assertEqual(self.answers(self.daemon, beside), expected)

    def kill(self):
        self.daemon.kill()
        self.daemon.start()

    def try_all(self, terminals):
        self.publish(terminals, 0)
        self.plain.start()
        self.daemon.start()
        predefined = self.ctl("show", "rules", "--json")
        table = io.StringIO()
        csv.writer(table, lineterminator="\n").writerows(
            (mac, "", name, "", "", "") for mac, name in terminals.items())
        actions = [row["action"] for row in
                   self.json("import", "-", stdin=HEAD + table.getvalue())]
        self.assertEqual(actions, ["added"] * len(terminals))
        self.check(terminals)
        backup = str(self.daemon.directory / "backup")
        self.ctl("backup", backup)
        self.kill()
        self.check(terminals)
        for edition in range(1, EDITIONS):
            self.publish(terminals, edition)
            self.assertEqual(self.plain.run("reload")[0], 0)
            self.ctl("reload")
            self.check(terminals)
            self.kill()
            self.check(terminals)
        changed = HEAD + "".join(f"{mac},,changed,,,\n" for mac in list(terminals)[::2])
        self.ctl("import", "-", "--replace", stdin=changed)
        self.ctl("restore", backup)
        self.check(terminals)
        self.publish(terminals, 0)
        self.assertEqual(self.plain.run("reload")[0], 0)
        self.ctl("reload")
        self.check(terminals)
        some = list(terminals)[:20]
        for mac in some:
            self.ctl("unset", "rule", "mac", mac)
        self.check({mac: name for mac, name in terminals.items() if mac not in some})
        self.ctl("import", "-", "--replace", stdin=HEAD)
        self.assertEqual(self.ctl("show", "rules", "--json"), predefined)

    def test_made_up_terminals_answer_with_their_names_and_all_beside_them_as_before(self):
        self.try_all(made_up_terminals())

    @unittest.skipUnless(corpus(), "without the corpus")
    def test_real_terminals_answer_with_their_names_and_all_beside_them_as_before(self):
        terminals = real_terminals()
        self.assertGreater(len(terminals), 200)
        self.try_all(terminals)


if __name__ == "__main__":
    main()
