# SPDX-License-Identifier: Apache-2.0
"""The JSON of every command against its help, and what it says of changes: json_test.py BYODCTL LAUTHD"""

import json
import re
import socket
import subprocess
import sys
import time
import unittest

from running_daemon import Daemon

BYODCTL = LAUTHD = ""

MAC = "00:11:22:33:44:55"
ANY = "(any)"  # stands for keys that are not fixed


def keys_of_help(paragraph):
    """{key: {key: ...}} from "a, b (a remark) {c, d}". Behind "(by ...)" the keys are not fixed."""
    tokens = re.findall(r"\([^)]*\)|[{},]|[^\s{},()]+", paragraph)

    def read(position):
        keys, last = {}, None
        while position < len(tokens):
            token = tokens[position]
            if token == "}":
                return keys, position
            if token == "{":
                inner, position = read(position + 1)
                target = keys[last]
                (target[ANY] if ANY in target else target).update(inner)
            elif token.startswith("(by "):
                keys[last][ANY] = {}
            elif not token.startswith("(") and token != ",":
                keys[token], last = {}, token
            position += 1
        return keys, position
    return read(0)[0]


def keys_of(value, known):
    """The same of real output; what of it is not fixed is known from the help."""
    if isinstance(value, list):
        merged = {}
        for element in value:
            merge(merged, keys_of(element, known))
        return merged
    if not isinstance(value, dict):
        return {}
    if ANY in known:
        inner = {}
        for element in value.values():
            merge(inner, keys_of(element, known[ANY]))
        return {ANY: inner}
    return {key: keys_of(element, known.get(key, {})) for key, element in value.items()}


def merge(into, more):
    for key, inner in more.items():
        merge(into.setdefault(key, {}), inner)


class WithDaemon(unittest.TestCase):
    def setUp(self):
        self.daemon = Daemon(LAUTHD, BYODCTL)
        self.addCleanup(self.daemon.close)
        self.sightings = self.daemon.directory / "run" / "sightings.sock"
        self.daemon.start("--sightings", self.sightings)

    def objects(self, *arguments, stdin=""):
        """The JSON objects that a command writes to standard output."""
        _, out, err = self.daemon.run(*arguments, "--json", stdin=stdin)
        lines = [json.loads(line) for line in out.splitlines()]
        self.assertTrue(lines, f"{arguments}: {err}")
        return lines

    def report_terminal(self):
        """Reports all that may be known of one, twice, so that its answer changes."""
        place = {"access_device": "s1", "port": "p1", "session": "1"}
        sightings = ({"options": "1,3,6", "ip": "192.0.2.1", "lease_end": 4102444800,
                      "vendor_class": "c", "host_name": "h", **place}, {"user_agent": "iPhone"})
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as feed:
            for sighting in sightings:
                feed.sendto(json.dumps({"feed": "dnsmasq", "mac": MAC, **sighting}).encode(),
                            str(self.sightings))
        deadline = time.monotonic() + 60
        while self.daemon.run("show", "feeds", "--json")[1].count('"sightings":2') == 0:
            self.assertLess(time.monotonic(), deadline, self.daemon.run("show", "feeds", "--json"))
            time.sleep(0.02)

    def changed(self, *arguments):
        (report,) = self.objects(*arguments)
        keys = {("set", "rule"): ["changed", "warnings", "gain"],
                ("set", "authorization"): ["changed", "warnings"],
                ("reload",): ["changed", "warnings"]}
        self.assertEqual(list(report), keys.get(arguments[:2], ["changed"]))
        return report["changed"]


class Keys(WithDaemon):
    def help_of(self, command, title="JSON keys"):
        _, out, _ = self.daemon.run(*command.split(), "--help")
        found = re.search(rf"^{title}:(.*?)\.$", out, re.MULTILINE | re.DOTALL)
        self.assertIsNotNone(found, f"{command} does not list its JSON keys")
        return found[1]

    def assert_keys(self, command, lines):
        known = keys_of_help(self.help_of(command))
        self.assertEqual(keys_of(lines, known), known, command)
        for line in lines:  # in the order of the help, whatever they hold
            self.assertEqual(list(line), list(known), command)

    def commands(self):
        def listed(*words):
            out = self.daemon.run(*words, "--help")[1]
            return re.findall(r"^  ([a-z]+)(?: |$)", out.partition("Commands:")[2], re.MULTILINE)
        verbs = [verb for verb in listed() if verb != "help"]
        return [" ".join(filter(None, (verb, noun)))
                for verb in verbs for noun in listed(verb) or [""]]

    def test_every_command_writes_the_keys_that_its_help_lists(self):
        self.daemon.run("set", "rule", "user-agent", "iPhone", "--os", "iPadOS")
        self.daemon.run("set", "authorization", "staff", "*", "vlan=20")
        self.daemon.run("identify", "--user-agent", "nobody")
        self.report_terminal()
        rules = str(self.daemon.rules)
        copy = self.daemon.directory / "copy"
        copy.mkdir()
        (copy / "user-agent.csv").write_text("expression,name,vendor,category,os\n"
                                             "Phoney,,V,,\niPhone&&Mobile||Phone,,V,,\n")
        saved = str(self.daemon.directory / "saved")
        (copy / "host-name.csv").write_text("pattern,category\ndesk*,PC\n")
        (copy / "evidence.csv").write_text("kind,field,confidence\nhost-name,category,90\n")
        terminals = '{"user_agent": "iPhone"}\n{"user_agent": "nobody", "host_name": "desk-1"}\n'
        runs = [("identify", "--explain", "--group", "staff", "--evidence-rules", str(copy)),
                ("show", "rules"), ("show", "rule", "user-agent", "iPhone"), ("show", "order"),
                ("show", "counts"), ("show", "status"), ("show", "unknown"),
                ("show", "authorization"), ("set", "rule", "user-agent", "x", "--os", "O"),
                ("try", "set", "rule", "user-agent", "nobody", "--os", "O"),
                ("set", "order", "mac"), ("set", "authorization", "g", "t", "a=b"),
                ("unset", "rule", "user-agent", "x"), ("unset", "order"),
                ("unset", "authorization", "g"), ("unset", "unknown"),
                ("show", "feeds"), ("show", "stations"), ("show", "station", MAC),
                ("unset", "station", MAC),
                ("import", f"{rules}/mac.csv"), ("export",), ("backup", saved),
                ("restore", saved), ("reload",), ("rebind",), ("check", "rules", str(copy))]
        # The reload finds a rule gone that is modified.
        (self.daemon.rules / "user-agent.csv").write_text("expression,name\nAndroid,A\n")
        seen = set()
        for run in runs:
            command = max((name for name in self.commands() if
                           " ".join(run).startswith(name)), key=len)
            seen.add(command)
            with self.subTest(command):
                stdin = terminals if command == "identify" else ""
                self.assert_keys(command, self.objects(*run, stdin=stdin))
        self.assertEqual(set(self.commands()) - seen, {"watch"})

    def test_watch_writes_the_keys_that_its_help_lists(self):
        with subprocess.Popen([BYODCTL, "--socket", self.daemon.socket, "watch", "--count", "1",
                               "--json"], stdout=subprocess.PIPE) as watch:
            deadline = time.monotonic() + 60
            while self.objects("show", "status")[0]["watchers"] == 0:
                self.assertLess(time.monotonic(), deadline)
                time.sleep(0.02)
            self.daemon.run("identify", "--user-agent", "iPhone")
            self.assert_keys("watch", [json.loads(watch.stdout.read())])


class Changed(WithDaemon):
    """True only where something changed: every change is made twice, and undone twice."""

    def assert_changes_once(self, *arguments):
        self.assertEqual([self.changed(*arguments), self.changed(*arguments)], [True, False],
                         arguments)

    def test_a_rule(self):
        self.assert_changes_once("set", "rule", "user-agent", "bare")
        self.assert_changes_once("set", "rule", "user-agent", "x", "--vendor", "V", "--os", "O")
        self.assert_changes_once("set", "rule", "user-agent", "iPhone", "--vendor", "V")
        self.assert_changes_once("unset", "rule", "user-agent", "x", "--vendor")
        self.assert_changes_once("unset", "rule", "user-agent", "iPhone", "--vendor", "--os")
        self.assertTrue(self.changed("set", "rule", "user-agent", "iPhone", "--vendor", "V"))
        self.assert_changes_once("unset", "rule", "user-agent", "iPhone")

    def test_one_of_several_fields_is_a_change(self):
        self.changed("set", "rule", "user-agent", "x", "--vendor", "V", "--os", "O")
        self.assertTrue(self.changed("set", "rule", "user-agent", "x", "--vendor", "V",
                                     "--os", "P"))
        self.assertTrue(self.changed("set", "rule", "user-agent", "x", "--vendor", "W",
                                     "--os", "P"))

    def test_the_order(self):
        self.assertFalse(self.changed("unset", "order"))
        self.assertFalse(self.changed("set", "order", "dhcp,user-agent,mac"))
        self.assert_changes_once("set", "order", "mac,dhcp")
        self.assert_changes_once("unset", "order")

    def test_authorization(self):
        self.assert_changes_once("set", "authorization", "staff", "*", "vlan=1", "acl=x")
        self.assert_changes_once("set", "authorization", "staff", "*", "vlan=2")
        self.assertTrue(self.changed("unset", "authorization", "staff", "*", "acl"))
        self.assertTrue(self.changed("unset", "authorization", "staff"))

    def test_unknown_fingerprints(self):
        self.assertFalse(self.changed("unset", "unknown"))
        self.daemon.run("identify", "--user-agent", "nobody")
        self.assert_changes_once("unset", "unknown")

    def test_a_reload(self):
        self.assertFalse(self.changed("reload"))
        for name, row in (("user-agent.csv", "New,,V,,\n"), ("mac.csv", "00:55:55/24,,,V,,\n"),
                          ("dhcp-option.csv", '"9,9",N,,,\n')):
            path = self.daemon.rules / name
            former = path.read_text(encoding="utf-8")
            path.write_text(former + row, encoding="utf-8")
            self.assert_changes_once("reload")
            path.write_text(former + row.replace("V", "W").replace("N", "M"), encoding="utf-8")
            self.assert_changes_once("reload")
            path.write_text(former, encoding="utf-8")
            self.assert_changes_once("reload")

    def test_a_reload_that_moves_text_from_one_field_to_the_next(self):
        path = self.daemon.rules / "user-agent.csv"
        header = "expression,name,vendor,category,os\n"
        path.write_text(header + "x,,ab,c,\n", encoding="utf-8")
        self.changed("reload")
        path.write_text(header + "x,,a,bc,\n", encoding="utf-8")
        self.assert_changes_once("reload")

    def test_a_reload_under_changes_of_an_administrator(self):
        self.changed("set", "rule", "user-agent", "iPhone", "--os", "iPadOS")
        self.changed("set", "rule", "user-agent", "own", "--os", "O")
        self.assertFalse(self.changed("reload"))
        self.assertEqual(self.objects("show", "status")[0]["reload_failure"], None)


if __name__ == "__main__":
    BYODCTL, LAUTHD = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
