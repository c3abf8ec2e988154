# SPDX-License-Identifier: Apache-2.0
"""Modifications of predefined rules over editions of the catalogue: rebind_test.py BYODCTL LAUTHD"""

import json

from with_daemon import WithDaemon, main

UA = "expression,name,vendor,category,os\n"
DHCP = "options,name,vendor,category,os\n"
MAC = "mac,mask,name,vendor,category,os\n"

FIRST = {
    "user-agent.csv": UA + "; AB-1,AB phone,Acme,Mobile,Android\n; AB-2,AB phone,Acme,Mobile,Android\n"
                           "Gone,,,PC,\n",
    "dhcp-option.csv": DHCP + '"1,3,6",Printer,Acme,Printer,\n',
    "mac.csv": MAC + "00:11:22/24,,,Acme,,\n00:33:44/24,,,Else,,\n",
}
SECOND = {
    "user-agent.csv": UA + "; AB-1||; AB-2||; AB-3,AB phone,Acme,Mobile,Android\n",
    "dhcp-option.csv": DHCP + '"1,3,6,15",Printer,Acme,Printer,\n',
    "mac.csv": MAC + "00:11:22:0/28,,,Acme,,\n00:11:22:1/28,,,Acme,,\n00:33:44/24,,,Else,,\n",
    "successors.csv": "kind,rule,successor\n"
                      "user-agent,; AB-1,; AB-1||; AB-2||; AB-3\n"
                      "user-agent,; AB-2,; AB-1||; AB-2||; AB-3\n"
                      'dhcp-option,"1,3,6","1,3,6,15"\n'
                      "mac,00:11:22/24,00:11:22:1/28\n",
}
MERGED = "; AB-1||; AB-2||; AB-3"
GONE = "its rule is not in the catalogue"


class Rebind(WithDaemon):
    def publish(self, edition):
        for name in ("user-agent.csv", "dhcp-option.csv", "mac.csv", "successors.csv"):
            (self.daemon.rules / name).unlink(missing_ok=True)
        for name, text in edition.items():
            (self.daemon.rules / name).write_text(text, encoding="utf-8")
        self.ctl("reload")

    def restart(self):
        self.daemon.kill()
        self.daemon.start()

    def modify(self, kind, key, name):
        self.ctl("set", "rule", kind, key, "--name", name)

    def modified(self):
        """@return (name, why it is not in effect) by key"""
        return {rule["key"]: (rule["name"], rule["not_in_effect"])
                for rule in self.json("show", "rules", "--modified")}

    def rebind(self, *options):
        """@return (action, successor, reason) by key"""
        return {row["key"]: (row["action"], row["successor"], row["reason"])
                for row in self.json("rebind", *options)}

    def name_of(self, *fingerprint):
        return json.loads(self.daemon.run("identify", *fingerprint, "--json")[1])["name"]

    def test_modifications_are_kept_reported_and_moved_to_their_successors(self):
        self.publish(FIRST)
        self.modify("user-agent", "; AB-1", "Ours")
        self.modify("dhcp-option", "1,3,6", "Our printer")
        self.modify("mac", "00:11:22/24", "Our block")
        self.modify("mac", "00:33:44/24", "Other block")
        self.modify("user-agent", "Gone", "Nowhere")
        self.publish(SECOND)
        self.assertEqual(self.err, "byodctl: warning: 4 modifications are not in effect: their "
                         "rules are not in the catalogue; \"byodctl rebind\" moves 3 to their "
                         "successors\n")
        (status,) = self.json("show", "status")
        self.assertEqual((status["modifications_without_rule"],
                          status["modifications_with_successor"]), (4, 3))
        self.assertIn("4 (3 can move to a successor)", self.ctl("show", "status"))
        kept = {"00:33:44:00:00:00/24": ("Other block", None), "Gone": ("Nowhere", GONE),
                "; AB-1": ("Ours", GONE), "1,3,6": ("Our printer", GONE),
                "00:11:22:00:00:00/24": ("Our block", GONE)}
        self.assertEqual(self.modified(), kept)
        exported = self.ctl("export")
        for name in ("Ours", "Our printer", "Our block", "Nowhere"):
            self.assertIn(name, exported)
        moves = {"; AB-1": ("moved", MERGED, None), "1,3,6": ("moved", "1,3,6,15", None),
                 "00:11:22:00:00:00/24": ("moved", "00:11:22:10:00:00/28", None),
                 "Gone": ("kept", None, "the catalogue names no successor")}
        self.assertEqual(self.rebind("--dry-run"), moves)
        self.assertIn("would be 3 moved, 1 kept", self.ctl("rebind", "--dry-run"))
        self.restart()
        self.assertEqual(self.modified(), kept)
        self.assertEqual(self.rebind(), moves)
        for _ in range(2):
            self.assertEqual(self.modified(), {
                MERGED: ("Ours", None), "1,3,6,15": ("Our printer", None),
                "00:11:22:10:00:00/28": ("Our block", None),
                "00:33:44:00:00:00/24": ("Other block", None), "Gone": ("Nowhere", GONE)})
            self.assertEqual(self.name_of("--user-agent", "Android; AB-3"), "Ours")
            self.assertEqual(self.name_of("--mac", "00:11:22:12:34:56"), "Our block")
            self.assertEqual(self.name_of("--dhcp", "1,3,6,15"), "Our printer")
            self.restart()
        self.assertIn("0 moved, 1 kept", self.ctl("rebind"))
        self.ctl("unset", "rule", "user-agent", "Gone")
        self.assertIn("0 moved, 0 kept", self.ctl("rebind"))
        self.assertNotIn("modifications whose rules are gone", self.ctl("show", "status"))

    def test_two_modifications_of_one_successor_are_not_mixed(self):
        self.publish(FIRST)
        self.modify("user-agent", "; AB-1", "One")
        self.modify("user-agent", "; AB-2", "Two")
        self.publish(SECOND)
        self.assertEqual(self.rebind(), {
            "; AB-1": ("moved", MERGED, None),
            "; AB-2": ("kept", MERGED, 'its successor takes the modification of "; AB-1"')})
        self.assertEqual(self.rebind(), {
            "; AB-2": ("kept", MERGED, "its successor is already modified")})
        self.ctl("unset", "rule", "user-agent", MERGED)
        self.assertEqual(self.rebind(), {"; AB-2": ("moved", MERGED, None)})
        self.assertEqual(self.modified(), {MERGED: ("Two", None)})

    def test_a_rule_that_comes_back_has_its_modification_without_a_move(self):
        self.publish(FIRST)
        self.modify("mac", "00:11:22/24", "Our block")
        self.publish(SECOND)
        self.publish(FIRST)
        self.assertEqual(self.err, "")
        self.assertEqual(self.modified(), {"00:11:22:00:00:00/24": ("Our block", None)})

    def test_a_successor_that_begins_where_another_rule_is_stored_takes_it_all_the_same(self):
        self.publish(FIRST)
        self.modify("mac", "00:11:22/24", "Our block")
        self.publish({**SECOND, "successors.csv":
                      "kind,rule,successor\nmac,00:11:22/24,00:11:22:0/28\n"})
        self.rebind()
        self.restart()
        self.assertEqual(self.modified(), {"00:11:22:00:00:00/28": ("Our block", None)})
        self.ctl("set", "rule", "mac", "00:11:22/24", "--name", "mine")
        self.restart()
        self.assertEqual(self.name_of("--mac", "00:11:22:01:00:00"), "Our block")
        self.assertEqual(self.name_of("--mac", "00:11:22:31:00:00"), "mine")

    def test_a_successor_that_is_not_a_rule_keeps_the_modification_and_is_reported(self):
        self.publish(FIRST)
        self.modify("mac", "00:11:22/24", "Our block")
        rows = ("mac,00:11:22/24,00:11:22:5/28\n", "mac,00:33:44/24,00:11:22:0/28\n")
        self.publish({**SECOND, "successors.csv": "kind,rule,successor\n" + "".join(rows)})
        self.assertEqual(self.rebind(), {"00:11:22:00:00:00/24": (
            "kept", "00:11:22:50:00:00/28", "its successor is not in the catalogue")})
        problems = [row for row in json.loads(self.daemon.run(
            "check", "rules", str(self.daemon.rules), "--json", "--ieee",
            str(self.registry()))[1])["problems"] if row["check"] == "successor"]
        self.assertEqual([(row["line"], row["reason"]) for row in problems], [
            (2, 'the successor "00:11:22:50:00:00/28" is not a rule'),
            (3, 'has no effect: "00:33:44:00:00:00/24" is still a rule')])

    def registry(self):
        directory = self.daemon.directory / "ieee"
        directory.mkdir()
        for name in ("oui.csv", "mam.csv", "oui36.csv", "iab.csv"):
            (directory / name).write_text(
                "Registry,Assignment,Organization Name,Organization Address\n")
        return directory


if __name__ == "__main__":
    main()
