# SPDX-License-Identifier: Apache-2.0
"""The Python client with a daemon of its own.

client_test.py LAUTHD BYODCTL SOURCE
"""

import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

LAUTHD, BYODCTL, SOURCE = sys.argv[1:4]
del sys.argv[1:4]
sys.path[:0] = [str(pathlib.Path(SOURCE, "python")), str(pathlib.Path(SOURCE, "tests", "byodctl"))]

# pylint: disable=wrong-import-position
import byod
from byod import Kind
from running_daemon import Daemon


class DaemonTest(unittest.TestCase):
    def setUp(self):
        self.daemon = Daemon(LAUTHD, BYODCTL)
        self.addCleanup(self.daemon.close)
        self.daemon.start()
        self.client = self.connect()

    def connect(self, **options):
        client = byod.Client(str(self.daemon.socket), **options)
        self.addCleanup(client.close)
        return client


class ClientTest(DaemonTest):
    def ctl(self, *arguments):
        status, out, err = self.daemon.run(*arguments, "--json")
        self.assertEqual(status, 0, err)
        return [json.loads(line) for line in out.splitlines()]

    def test_identifies_a_terminal_by_each_of_its_parts(self):
        self.assertEqual(self.client.identify(mac="00:11:22:33:44:55").vendor, "MacVendor")
        self.assertEqual(self.client.identify(dhcp="1,3,6").name, "Printer of Acme")
        self.assertEqual(self.client.identify(dhcp=[1, 3, 6]).category, "Printer")
        self.assertEqual(self.client.identify(user_agent="X iPhone Y").os, "iOS")

    def test_many_terminals_are_answered_in_their_order_as_one_by_one(self):
        parts = [{"mac": "00:11:22:33:44:55"}, {"dhcp": "1,3,6"}, {"user_agent": "X iPhone Y"},
                 {"mac": "02:00:00:00:00:01"}]
        fingerprints = [byod.FingerPrint.of(**parts[i * 7 % 11 % 4]) for i in range(300)]
        self.client.set_authorization("staff", "Printer", {"vlan": "7"})
        for group in ("", "staff"):
            one_by_one = [self.client.identify_fingerprint(fingerprint, group)
                          for fingerprint in fingerprints]
            self.assertEqual(list(self.client.identify_many(iter(fingerprints), group)), one_by_one)
        self.assertEqual(list(self.client.identify_many([])), [])
        self.assertGreater(len(set(one_by_one)), 3)

    def test_answers_that_are_not_read_are_not_those_of_the_next_request(self):
        many = self.client.identify_many([byod.FingerPrint.of(dhcp="1,3,6")] * 10)
        self.assertEqual(next(many).category, "Printer")
        many.close()
        self.assertEqual(self.client.identify(user_agent="iPhone").os, "iOS")

    def test_identification_of_many_goes_on_behind_a_restart_between_requests(self):
        def fingerprints():
            for i in range(200):
                if i == 128:
                    self.daemon.stop()
                    self.daemon.start()
                yield byod.FingerPrint.of(dhcp="1,3,6")
        categories = [identity.category for identity in self.client.identify_many(fingerprints())]
        self.assertEqual(categories, ["Printer"] * 200)

    def test_a_refused_request_among_many_is_reported(self):
        many = self.client.identify_many([byod.FingerPrint.of(dhcp="1,3,6")], "g" * 40)
        with self.assertRaises(byod.Refused):
            next(many)
        self.assertEqual(self.client.identify(dhcp="1,3,6").category, "Printer")

    def test_a_terminal_that_no_rule_knows_is_no_error(self):
        identity = self.client.identify(mac="02:00:00:00:00:01")
        self.assertFalse(identity.known)
        self.assertEqual(identity, byod.Identity())

    def test_a_terminal_that_nothing_matches_is_listed_until_it_is_forgotten(self):
        self.client.identify(user_agent="Nobody/1.0")
        (entry,) = self.client.unknown()
        self.assertEqual(entry.fingerprint.user_agent, "Nobody/1.0")
        self.assertEqual(entry.count, 1)
        self.client.forget_unknown()
        self.assertEqual(self.client.unknown(), [])

    def test_a_rule_is_set_read_changed_and_deleted(self):
        for kind, key in ((Kind.MAC, "00:aa:bb/24"), (Kind.USER_AGENT, "Thing&&2"),
                          (Kind.DHCP_OPTION, "1,2,99")):
            with self.subTest(kind):
                self.assertIsNone(self.client.rule(kind, key))
                self.assertTrue(self.client.set_rule(kind, key, name="A thing", os="RTOS"))
                self.assertFalse(self.client.set_rule(kind, key, name="A thing"))
                rule = self.client.rule(kind, key)
                priority = len(key) if kind is Kind.USER_AGENT else None
                self.assertEqual(rule, byod.Rule(kind, key, True, False,
                                                 byod.DeviceInfo("A thing", "", "", "RTOS"),
                                                 priority))
                self.assertIn(rule, list(self.client.rules(kind, configured=True)))
                self.assertTrue(self.client.unset_rule(kind, key, "name"))
                self.assertEqual(self.client.rule(kind, key).info, byod.DeviceInfo(os="RTOS"))
                self.assertTrue(self.client.unset_rule(kind, key))
                with self.assertRaises(byod.NotFound):
                    self.client.unset_rule(kind, key)

    def test_a_rule_that_cannot_be_refuses_with_the_daemon_s_reason(self):
        self.client.set_rule(Kind.MAC, "00:11:22/24", name="Ours")
        with self.assertRaises(byod.Refused) as refused:
            self.client.set_rule(Kind.MAC, "00:11:22:00:00:00", name="Mine")
        self.assertIn("is stored under this address", str(refused.exception))
        with self.assertRaises(byod.Refused):
            self.client.set_rule(Kind.USER_AGENT, "x", vendor="v" * 64)
        self.assertIsNone(self.client.rule(Kind.USER_AGENT, "x"), "no half of a rule stays")

    def test_listings_and_counts_are_those_of_byodctl(self):
        for number in range(3000):
            if number == 0:
                bulk = self.client.bulk()
                bulk.__enter__()
            self.client.set_rule(Kind.USER_AGENT, f"Model-{number:04}", name=f"Model {number}")
        bulk.__exit__(None, None, None)
        own = {(rule.kind.word, rule.key, rule.info.name)
               for kind in Kind for rule in self.client.rules(kind)}
        shown = {(rule["kind"], rule["key"], rule.get("name", "") or "")
                 for rule in self.ctl("show", "rules")}
        self.assertEqual({key for _, key, _ in own if "Model" in key},
                         {key for _, key, _ in shown if "Model" in key})
        self.assertEqual(len(own), len(shown))
        self.assertEqual(self.client.counts()[Kind.USER_AGENT], 3002)

    def test_a_listing_that_is_left_early_does_not_disturb_the_next_request(self):
        with self.client.bulk():
            for number in range(2000):
                self.client.set_rule(Kind.USER_AGENT, f"Model-{number:04}", name="x" * 100)
        for rule in self.client.rules(Kind.USER_AGENT):
            self.assertTrue(rule.key)
            break
        self.assertEqual(self.client.identify(dhcp="1,3,6").vendor, "Acme")

    def test_the_order_decides_and_can_be_reset(self):
        default = self.client.order()
        self.assertEqual(len(default), 3)
        self.assertTrue(self.client.set_order(Kind.MAC, Kind.DHCP_OPTION))
        self.assertFalse(self.client.set_order(Kind.MAC, Kind.DHCP_OPTION))
        self.assertEqual(self.client.order(), [Kind.MAC, Kind.DHCP_OPTION])
        both = {"mac": "00:11:22:33:44:55", "dhcp": "1,3,6"}
        self.assertEqual(self.client.identify(**both).vendor, "MacVendor")
        self.client.reset_order()
        self.assertEqual(self.client.order(), default)

    def test_authorization_comes_with_the_identity(self):
        self.client.set_authorization("staff", "Printer", {"vlan": "30"})
        self.client.set_authorization("staff", "*", [("vlan", "99"), ("acl", "guest")])
        answer = self.client.identify(dhcp="1,3,6", group="staff").authorization
        self.assertEqual(answer, byod.Authorization("staff", "Printer", (("vlan", "30"),)))
        other = self.client.identify(mac="02:00:00:00:00:01", group="staff").authorization
        self.assertEqual((other.value("vlan"), other.value("acl"), other.value("none", "-")),
                         ("99", "guest", "-"))
        self.assertEqual(len(self.client.authorizations()), 2)
        self.assertEqual(len(self.client.authorizations("staff", "Printer")), 1)
        self.client.unset_authorization("staff", "*", "acl")
        self.assertEqual(self.client.authorizations("staff", "*")[0].attributes, (("vlan", "99"),))
        self.client.unset_authorization("staff")
        self.assertEqual(self.client.authorizations(), [])

    def test_all_values_of_a_name_are_kept_in_their_order(self):
        self.client.set_authorization("staff", "Printer", {"av": ["b", "a"], "vlan": "30"})
        (stored,) = self.client.authorizations()
        self.assertEqual((stored.values("av"), stored.value("av"), stored.value("vlan")),
                         (["b", "a"], "b", "30"))
        self.assertFalse(self.client.set_authorization("staff", "Printer", {"av": ["b", "a"]}))
        self.assertTrue(self.client.set_authorization("staff", "Printer", {"av": "c"}))
        answer = self.client.identify(dhcp="1,3,6", group="staff").authorization
        self.assertEqual(answer.attributes, (("av", "c"), ("vlan", "30")))

    def test_categories_are_those_that_the_rules_answer(self):
        self.assertEqual(self.client.categories(), ["Mobile", "Printer", "Tablet"])
        self.client.set_rule(Kind.USER_AGENT, "Toaster", category="Kitchen")
        self.client.set_rule(Kind.DHCP_OPTION, "1,3,6", category="printer")
        self.assertEqual(self.client.categories(), ["Kitchen", "Mobile", "Tablet", "printer"])

    def test_a_bulk_is_kept_whole_or_not_at_all(self):
        with self.client.bulk():
            self.client.set_rule(Kind.USER_AGENT, "kept", name="Kept", vendor="V")
            self.client.set_order(Kind.MAC)
        with self.assertRaises(ZeroDivisionError), self.client.bulk():
            self.client.set_rule(Kind.USER_AGENT, "lost", name="Lost")
            self.client.reset_order()
            raise ZeroDivisionError
        self.assertEqual(self.client.rule(Kind.USER_AGENT, "kept").info.vendor, "V")
        self.assertIsNone(self.client.rule(Kind.USER_AGENT, "lost"))
        self.assertEqual(self.client.order(), [Kind.MAC])
        with self.client.bulk(), self.assertRaises(RuntimeError):
            self.client.bulk().__enter__()

    def test_a_bulk_whose_connection_ends_says_that_nothing_is_stored(self):
        with self.assertRaises(OSError), self.client.bulk():
            self.client.set_rule(Kind.USER_AGENT, "lost", name="Lost")
            self.daemon.stop()
            self.daemon.start()
            self.client.set_rule(Kind.USER_AGENT, "more", name="More")
        self.assertIsNone(self.client.rule(Kind.USER_AGENT, "lost"))
        self.assertIsNone(self.client.rule(Kind.USER_AGENT, "more"))

    def test_watching_yields_what_others_ask(self):
        events = []

        def watch():
            stream = self.connect().watch()
            for event in stream:
                events.append(event)
                if len(events) == 2:
                    break
            stream.close()

        thread = threading.Thread(target=watch)
        thread.start()
        deadline = time.monotonic() + 20
        while self.client.status().watchers == 0 and time.monotonic() < deadline:
            time.sleep(0.01)
        self.client.identify(dhcp="1,3,6", mac="02:00:00:00:00:01")
        self.client.identify(mac="02:00:00:00:00:02")
        thread.join(timeout=20)
        self.assertFalse(thread.is_alive())
        self.assertEqual([event.identified for event in events], [True, False])
        self.assertEqual(events[0].identity.name, "Printer of Acme")
        self.assertEqual(events[0].fingerprint.options, b"\x01\x03\x06")
        self.assertEqual(events[0].uid, os.getuid())

    def test_status_says_what_the_daemon_holds(self):
        self.client.set_rule(Kind.MAC, "00:11:22/24", name="Changed")
        status = self.client.status()
        self.assertEqual(status.tables[Kind.USER_AGENT], byod.TableCounts(2, 0, 0))
        self.assertEqual(status.tables[Kind.MAC], byod.TableCounts(1, 0, 1))
        self.assertIs(status.database, byod.DatabaseState.OPEN)
        self.assertIsNone(status.rule_limit)
        self.assertGreaterEqual(status.changes, 1)
        self.assertIsNone(status.registry_time)

    def test_status_has_the_date_of_the_registry(self):
        registry = self.daemon.directory / "registry"
        registry.mkdir()
        for name in ("oui.csv", "mam.csv", "oui36.csv", "iab.csv"):
            (registry / name).write_text("Assignment,Organization Name\n", encoding="utf-8")
            os.utime(registry / name, (0, 1_700_000_000))
        self.daemon.stop()
        self.daemon.registry = registry
        self.daemon.start()
        self.assertEqual(self.client.status().registry_time, 1_700_000_000)

    def test_reload_returns_when_the_new_rules_are_in_effect(self):
        rules = self.daemon.rules / "dhcp-option.csv"
        rules.write_text(rules.read_text() + '"1,42",New,,,\n')
        self.assertFalse(self.client.identify(dhcp="1,42").known)
        self.client.reload()
        self.assertEqual(self.client.identify(dhcp="1,42").name, "New")
        rules.write_text("nonsense\n1\n")
        with self.assertRaises(byod.Refused):
            self.client.reload()
        self.assertEqual(self.client.identify(dhcp="1,42").name, "New")

    def test_the_client_connects_again_when_the_daemon_was_restarted(self):
        self.assertTrue(self.client.identify(dhcp="1,3,6").known)
        self.daemon.stop()
        with self.assertRaises(OSError):
            self.client.identify(dhcp="1,3,6")
        self.daemon.start()
        self.assertTrue(self.client.identify(dhcp="1,3,6").known)

    def test_a_frozen_daemon_is_a_timeout_and_its_late_answer_is_not_taken_for_another(self):
        client = self.connect(timeout=1)
        self.assertEqual(client.identify(dhcp="1,3,6").vendor, "Acme")
        pid = self.daemon._process.pid  # pylint: disable=protected-access
        os.kill(pid, signal.SIGSTOP)
        try:
            with self.assertRaises(TimeoutError):
                client.identify(dhcp="1,3,6")
        finally:
            os.kill(pid, signal.SIGCONT)
        self.assertEqual(client.identify(user_agent="iPhone").vendor, "Apple")


class StationsTest(DaemonTest):
    MAC = "00:11:22:33:44:55"

    def report(self, **rest):
        return self.client.report({"feed": "kea", "mac": self.MAC, **rest})

    def test_what_is_reported_is_remembered_with_its_history(self):
        self.report(options=[1, 3, 6], ip="192.0.2.1", host_name="p", lease_end=2_000_000_000)
        answered = self.report(user_agent="an iPhone", access_device="ap", session="s1")
        station = self.client.station("0011.2233.4455")
        self.assertEqual(station, answered)
        self.assertEqual(station, self.client.station("192.0.2.1"))
        self.assertEqual((station.identity.vendor, station.identity.category), ("Acme", "Printer"))
        self.assertTrue(station.contradicting)
        self.assertEqual(station.methods[Kind.USER_AGENT].category, "Mobile")
        self.assertEqual([seen.user_agent for seen in station.user_agents], ["an iPhone"])
        self.assertEqual(station.option_lists[0].options, b"\1\3\6")
        self.assertEqual(station.addresses[0].lease_end, 2_000_000_000)
        self.assertEqual((station.access_device, station.session), ("ap", "s1"))
        self.assertEqual([(change.cause, change.before.category, change.after.category, change.feed)
                          for change in station.history],
                         [("address", "", "Printer", "kea"), ("user-agent", "Printer", "Printer", "kea")])

    def test_the_set_of_a_group_comes_with_the_station(self):
        self.client.set_authorization("staff", "Printer", {"vlan": "30"})
        sighting = {"feed": "radius", "mac": self.MAC, "options": "1,3,6"}
        station = self.client.report(sighting, "staff")
        self.assertEqual(station.identity.authorization.value("vlan"), "30")

    def test_stations_are_listed_watched_and_forgotten(self):
        watcher = self.connect(timeout=30).watch_stations()
        changes = []
        thread = threading.Thread(target=lambda: changes.append(next(watcher)))
        thread.start()
        deadline = time.monotonic() + 30
        while self.client.status().connections < 2 and time.monotonic() < deadline:
            time.sleep(0.02)
        time.sleep(0.2)
        self.report(options="1,3,6")
        thread.join()
        watcher.close()
        self.assertEqual((changes[0].mac.hex(), changes[0].after.category), ("001122334455", "Printer"))
        self.assertEqual([one.mac.hex() for one in self.client.stations(category="printer")],
                         ["001122334455"])
        self.assertEqual(list(self.client.stations(unknown=True)), [])
        self.client.forget_station(self.MAC)
        self.assertIsNone(self.client.station(self.MAC))

    def test_a_malformed_report_is_refused_and_counted(self):
        with self.assertRaises(byod.Refused):
            self.report(time="x")
        (kea,) = [feed for feed in self.client.feeds() if feed.name == "kea"]
        self.assertEqual((kea.malformed, kea.count, kea.uid), (1, 0, os.getuid()))


class DocumentedTest(DaemonTest):
    """The examples of docs/clients.md, as they stand there."""

    def example(self, language):
        page = pathlib.Path(SOURCE, "docs", "clients.md").read_text(encoding="utf-8")
        return re.search(rf"```{language}\n(.*?)```", page, re.DOTALL).group(1)

    def environment(self):
        return {**os.environ, "LAUTHD_SOCKET": str(self.daemon.socket),
                "PYTHONPATH": str(pathlib.Path(SOURCE, "python")),
                "PATH": f"{pathlib.Path(BYODCTL).parent}:{os.environ['PATH']}"}

    def test_the_python_example_runs(self):
        self.client.set_rule(Kind.DHCP_OPTION, "1,121,3,6,15,119,252", os="iOS", category="Mobile")
        self.client.set_authorization("staff", "Mobile", {"vlan": "20"})
        done = subprocess.run([sys.executable, "-c", self.example("python")], check=True,
                              capture_output=True, text=True, env=self.environment(), timeout=60)
        self.assertEqual(done.stdout, " Mobile iOS\nVLAN 20\n02:aa:bb/24 DeviceInfo(name='', "
                         "vendor='Example', category='Sensor', os='')\n")
        self.assertEqual(self.client.authorizations("staff", "Sensor")[0].value("vlan"), "30")

    def test_the_shell_example_runs(self):
        self.client.set_rule(Kind.MAC, "b0:34:95/24", vendor="Apple")
        script = self.example("bash") + '\necho "$answer"\n'
        done = subprocess.run(["bash", "-c", script], check=True, capture_output=True, text=True,
                              env=self.environment(), timeout=60)
        self.assertEqual(json.loads(done.stdout)["vendor"], "Apple")


class NoDaemonTest(unittest.TestCase):
    def test_no_daemon_is_an_os_error_that_names_nothing_else(self):
        with tempfile.TemporaryDirectory() as directory:
            with self.assertRaises(FileNotFoundError):
                byod.Client(directory + "/none").identify(dhcp="1")

    def test_a_peer_that_is_no_daemon_is_refused(self):
        with tempfile.TemporaryDirectory() as directory, socket.socket(socket.AF_UNIX) as listener:
            listener.bind(directory + "/socket")
            listener.listen()

            def answer(reply):
                peer, _ = listener.accept()
                with peer:
                    peer.recv(65536)
                    peer.sendall(reply)

            client = byod.Client(directory + "/socket", timeout=10)
            self.addCleanup(client.close)
            for reply, failure in ((b"HTTP/1.1 400 Bad Request\r\n", byod.FormError),
                                   (b"\xf9LM\x01\0\0\0\x20\0", ConnectionResetError),
                                   (b"\xf9LM\x01\0\0\0\x08", byod.Refused)):
                thread = threading.Thread(target=answer, args=(reply,))
                thread.start()
                with self.assertRaises(failure):
                    client.identify(dhcp="1")
                thread.join()
                client.close()


if __name__ == "__main__":
    unittest.main()
