# SPDX-License-Identifier: Apache-2.0
"""Debian's FreeRADIUS asks lauthd what a terminal may do: freeradius_test.py BYODCTL LAUTHD SOURCES"""

import os
import pathlib
import re
import signal
import subprocess
import sys
import time
import unittest

SOURCES = pathlib.Path(sys.argv[3])
sys.path += [str(SOURCES / "tests/byodctl"), str(SOURCES / "python"),
             str(SOURCES / "integrations/freeradius")]

import byod  # noqa: E402
import byod_radius  # noqa: E402
import network  # noqa: E402
from running_daemon import Daemon  # noqa: E402

BYODCTL, LAUTHD = sys.argv[1:3]
MAC = "00-16-AA-00-00-01"


class Clock:
    def __init__(self):
        self.now = 1000.0

    def __call__(self):
        return self.now


class FakeClient:
    """Answers a list of attributes, or raises."""

    def __init__(self):
        self.answer = (("vlan", "20"),)
        self.asked = 0

    def identify(self, mac, group):
        self.asked += 1
        if isinstance(self.answer, Exception):
            raise self.answer
        return byod.Identity(authorization=byod.Authorization(group, "*", self.answer))

    def close(self):
        pass


class Parts(unittest.TestCase):
    def setUp(self):
        self.clock, self.client, self.logged = Clock(), FakeClient(), []

    def authorizer(self, **settings):
        return byod_radius.Authorizer(byod_radius.Settings(**settings),
                                      lambda _, text: self.logged.append(text),
                                      lambda *_: self.client, self.clock)

    def test_an_answer_is_that_of_the_daemon(self):
        self.assertEqual(self.authorizer().attributes("m", "g"), (("vlan", "20"),))

    def test_without_an_answer_the_last_one_counts_for_a_day_and_then_the_fallback(self):
        authorizer = self.authorizer(fallback="vlan=99")
        authorizer.attributes("m", "g")
        self.client.answer = TimeoutError("late")
        self.assertEqual(authorizer.attributes("m", "g"), (("vlan", "20"),))
        self.assertEqual(authorizer.attributes("other", "g"), (("vlan", "99"),))
        self.clock.now += 24 * 3600
        self.assertEqual(authorizer.attributes("m", "g"), (("vlan", "20"),))
        self.clock.now += 1
        self.assertEqual(authorizer.attributes("m", "g"), (("vlan", "99"),))

    def test_closed_on_failure_rejects_who_has_no_last_answer(self):
        authorizer = self.authorizer(on_failure="closed")
        authorizer.attributes("m", "g")
        self.client.answer = ConnectionRefusedError()
        self.assertEqual(authorizer.attributes("m", "g"), (("vlan", "20"),))
        self.assertIsNone(authorizer.attributes("other", "g"))

    def test_after_three_failures_nobody_asks_for_five_seconds_and_then_one(self):
        authorizer = self.authorizer()
        self.client.answer = TimeoutError("late")
        for _ in range(10):
            authorizer.attributes("m", "g")
        self.assertEqual((self.client.asked, len(self.logged)), (3, 1))
        self.clock.now += 5
        for _ in range(10):
            authorizer.attributes("m", "g")
        self.assertEqual(self.client.asked, 4)
        self.clock.now += 5
        self.client.answer = (("vlan", "30"),)
        self.assertEqual(authorizer.attributes("m", "g"), (("vlan", "30"),))
        self.assertEqual(authorizer.attributes("m", "g"), (("vlan", "30"),))
        self.assertEqual(self.client.asked, 6)

    def test_last_answers_are_bounded(self):
        authorizer = self.authorizer(keep_terminals=2)
        for mac in ("a", "b", "c"):
            authorizer.attributes(mac, "g")
        self.client.answer = TimeoutError("late")
        self.assertEqual([authorizer.attributes(mac, "g") for mac in ("a", "b", "c")],
                         [(), (("vlan", "20"),), (("vlan", "20"),)])

    def test_a_vlan_becomes_a_tunnel_and_more_values_are_added(self):
        self.assertEqual(
            byod_radius.reply_of((("vlan", "20"), ("Filter-Id", "a"), ("Filter-Id", "b"))),
            (("Tunnel-Type", ":=", "VLAN"), ("Tunnel-Medium-Type", ":=", "IEEE-802"),
             ("Tunnel-Private-Group-Id", ":=", "20"), ("Filter-Id", ":=", "a"),
             ("Filter-Id", "+=", "b")))

    def test_settings_are_checked(self):
        self.assertEqual(byod_radius.Settings.of({"deadline_ms": "20"}).deadline_ms, 20)
        for wrong in ({"deadline": "20"}, {"deadline_ms": "x"}, {"on_failure": "ajar"},
                      {"fallback": "99"}, {"of": "x"}, {"__doc__": "x"}):
            with self.assertRaises(ValueError, msg=str(wrong)):
                byod_radius.Settings.of(wrong)

    def test_an_address_is_read_in_every_spelling(self):
        for text in ("00-16-AA-00-00-01", "00:16:aa:00:00:01", "0016aa000001", "0016.aa00.0001",
                     "00-16-AA-00-00-01:guests"):
            self.assertEqual(byod_radius.mac_of({"Calling-Station-Id": text}), "00:16:aa:00:00:01")
        for text in ("", "bob", "192.0.2.1", "00-16-AA-00-00"):
            self.assertEqual(byod_radius.mac_of({"Calling-Station-Id": text}), "")


class Server(unittest.TestCase):
    def setUp(self):
        self.net = network.Network()
        self.addCleanup(self.net.close)
        self.daemon = Daemon(LAUTHD, BYODCTL)
        self.addCleanup(self.daemon.close)
        self.daemon.start()
        self.daemon.run("set", "authorization", "staff", "*", "vlan=20", "Filter-Id=a", "Filter-Id=b")
        self.sightings = network.Sightings(self.net.directory / "sightings.sock")
        self.addCleanup(self.sightings.close)
        self.configure()
        self.server = self.net.start("freeradius", "-f", "-l", "stdout", "-d", self.net.directory)
        self.assertTrue(network.wait_until(
            lambda: "Ready to process requests" in self.net.log("freeradius")),
                        self.net.log("freeradius"))

    def configure(self):
        shipped = (SOURCES / "integrations/freeradius/byod.in").read_text(encoding="utf-8")
        shipped = shipped.replace("@datadir@/byod/freeradius:",
                                  f"{SOURCES}/integrations/freeradius:{SOURCES}/python:")
        # pylint: disable=consider-using-f-string
        shipped = shipped.replace('group = "staff"', 'group = "staff"\n socket = "{}"\n sightings = "{}"'
                                  .format(self.daemon.socket, self.sightings.path))
        shipped = shipped.replace('fallback = ""', 'fallback = "vlan=99"')
        self.assertIn("vlan=99", shipped)
        (self.net.directory / "radiusd.conf").write_text("""
prefix = /usr
libdir = /usr/lib/freeradius
run_dir = /run
security {
  user = root
  group = root
  allow_core_dumps = no
}
thread pool {
  start_servers = 2
  max_servers = 4
  min_spare_servers = 1
  max_spare_servers = 3
}
client localhost {
  ipaddr = 127.0.0.1
  secret = testing123
}
modules {
  always ok {
    rcode = ok
  }
%s
}
server test {
  listen {
    type = auth
    ipaddr = 127.0.0.1
    port = 1812
  }
  listen {
    type = acct
    ipaddr = 127.0.0.1
    port = 1813
  }
  authorize {
    update control {
      Auth-Type := Accept
    }
  }
  post-auth {
    byod
  }
  preacct {
    ok
  }
  accounting {
    byod
  }
}""" % shipped, encoding="utf-8")
        (self.net.directory / "dictionary").write_text(
            "$INCLUDE /usr/share/freeradius/dictionary\n", encoding="utf-8")

    @staticmethod
    def request(kind, port, **attributes):
        """@return (attributes of the reply, milliseconds)"""
        text = "".join(f"{name.replace('_', '-')} = \"{value}\"\n" for name, value in attributes.items())
        start = time.monotonic()
        done = subprocess.run(["radclient", "-x", "-r", "1", "-t", "5", f"127.0.0.1:{port}", kind,
                               "testing123"], input=text, capture_output=True, text=True, check=False,
                              timeout=30)
        taken = (time.monotonic() - start) * 1000
        _, _, reply = done.stdout.partition("Received ")
        return re.findall(r"^\t([\w-]+)(?::\d+)? = \"?([^\"\n]*)", reply, re.M), taken

    def authenticate(self, mac=MAC, **more):
        return self.request("auth", 1812, User_Name="bob", Calling_Station_Id=mac, **more)

    def test_the_reply_has_the_attributes_of_the_set(self):
        reply, _ = self.authenticate()
        self.assertEqual(reply, [("Tunnel-Type", "VLAN"), ("Tunnel-Medium-Type", "IEEE-802"),
                                 ("Tunnel-Private-Group-Id", "20"), ("Filter-Id", "a"),
                                 ("Filter-Id", "b")], self.net.log("freeradius"))

    def test_a_daemon_that_is_frozen_or_gone_costs_50_ms_and_then_nothing(self):
        self.assertIn(("Tunnel-Private-Group-Id", "20"), self.authenticate()[0])
        self.daemon._process.send_signal(signal.SIGSTOP)
        try:
            for _ in range(5):
                self.assertIn(("Tunnel-Private-Group-Id", "20"), self.authenticate()[0])
            reply, taken = self.authenticate("00-16-AA-00-00-02")
        finally:
            self.daemon._process.send_signal(signal.SIGCONT)
        self.assertIn(("Tunnel-Private-Group-Id", "99"), reply)
        self.assertLess(taken, 1000)
        self.assertIn("lauthd is not asked for some time", self.net.log("freeradius"))
        def is_back():
            return ("Tunnel-Private-Group-Id", "20") in self.authenticate("00-16-AA-00-00-02")[0]
        self.assertTrue(network.wait_until(is_back))

    def test_accounting_reports_where_the_terminal_is(self):
        self.request("acct", 1813, Acct_Status_Type="Start", Calling_Station_Id=MAC,
                     Acct_Session_Id="8A", NAS_IP_Address="192.0.2.2", NAS_Port_Id="ge-0/0/1",
                     Framed_IP_Address="192.0.2.10")
        self.assertEqual(self.sightings.wait_for(),
                         {"feed": "radius", "mac": "00:16:aa:00:00:01", "event": "start",
                          "ip": "192.0.2.10", "access_device": "192.0.2.2", "port": "ge-0/0/1",
                          "session": "8A"}, self.net.log("freeradius"))
        self.request("acct", 1813, Acct_Status_Type="Stop", Calling_Station_Id=MAC,
                     Acct_Session_Id="8A")
        self.assertIsNotNone(self.sightings.wait_for(lambda sighting: sighting["event"] == "stop"))


if __name__ == "__main__":
    reason = network.why_not(["freeradius", "radclient"])
    if not os.environ.get(network.INSIDE) and not reason and not pathlib.Path(
            "/usr/lib/freeradius/rlm_python3.so").exists():
        print("skipped: no rlm_python3 (scripts/setup.sh integrations)")
        sys.exit(0)
    network.enter(["freeradius", "radclient"])
    unittest.main(argv=sys.argv[:1], verbosity=2)
