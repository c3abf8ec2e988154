# SPDX-License-Identifier: Apache-2.0
"""byodctl and lauthd with terminals that are reported: stations_test.py BYODCTL LAUTHD"""

import json
import os
import signal
import socket
import subprocess
import time

from with_daemon import CommandCase, main

MAC = "00:11:22:33:44:55"
BACKGROUND = "Mozilla/5.0 (X11; Linux) check"


class Stations(CommandCase):
    def setUp(self):
        self.daemon = self.new_daemon()
        self.addCleanup(self.daemon.close)
        (self.daemon.rules / "background-user-agent.csv").write_text(
            f"expression,purpose,example\nLinux) check,a check,{BACKGROUND}\n", encoding="utf-8")
        self.sightings = str(self.daemon.directory / "run" / "sightings.sock")
        self.start()
        self.feed = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.feed.close)
        self.feed.settimeout(60)

    def start(self, *arguments):
        self.daemon.start("--sightings", self.sightings, *arguments)

    def send(self, datagram):
        self.feed.sendto(datagram.encode() if isinstance(datagram, str) else datagram, self.sightings)

    def report(self, mac=MAC, feed="dnsmasq", **rest):
        self.send(json.dumps({"feed": feed, "mac": mac, **rest}))

    def wait_for(self, check, what):
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            found = check()
            if found:
                return found
            time.sleep(0.02)
        self.fail(what)

    def feeds(self):
        return {feed["feed"]: feed for feed in self.json("show", "feeds")}

    def wait_for_sightings(self, feed, count):
        return self.wait_for(lambda: self.feeds().get(feed, {}).get("sightings", 0) >= count,
                             f"{count} sightings of {feed}: {self.feeds()}")

    def test_a_terminal_is_known_by_what_was_reported_in_parts(self):
        self.report(options="1,3,6", ip="192.0.2.1", host_name="printer")
        self.report(feed="nginx", user_agent="iPhone")
        self.wait_for_sightings("nginx", 1)
        (station,) = self.json("show", "station", "192.0.2.1")
        self.assertEqual((station["mac"], station["category"], station["os"], station["host_name"]),
                         (MAC, "Printer", "iOS", "printer"))
        self.assertTrue(station["contradicting"])
        self.assertEqual(station["methods"]["user-agent"]["category"], "Mobile")
        self.assertEqual([change["cause"] for change in station["history"]],
                         ["address", "user-agent"])
        text = self.ctl("show", "station", MAC)
        self.assertRegex(text, r"(?m)^category +Printer$")
        self.assertRegex(text, r"option list +1,3,6 \(1 times, last \S+ by dnsmasq, chosen\)")

    def test_an_address_alone_is_identified_by_memory_unless_that_is_not_wanted(self):
        (answer,) = self.json("identify", "--mac", MAC)
        self.assertEqual(answer["category"], "Tablet")
        self.report(options="1,3,6")
        self.wait_for_sightings("dnsmasq", 1)
        self.ctl("set", "authorization", "staff", "Printer", "vlan=30")
        (answer,) = self.json("identify", "--mac", MAC, "--group", "staff", "--explain")
        self.assertEqual(answer["category"], "Printer")
        self.assertEqual(answer["authorization"]["attributes"], {"vlan": "30"})
        self.assertEqual(answer["explanation"]["attributes"][0]["rule"], "1,3,6")
        (answer,) = self.json("identify", "--mac", MAC, "--no-station")
        self.assertEqual(answer["category"], "Tablet")

    def test_what_a_background_program_sends_counts_nothing(self):
        self.ctl("set", "rule", "user-agent", "X11; Linux", "--category", "PC", "--os", "Linux")
        self.report(feed="capture", user_agent="Android")
        for _ in range(5):
            self.report(feed="capture", user_agent=BACKGROUND)
        self.wait_for_sightings("capture", 6)
        (station,) = self.json("show", "station", MAC)
        self.assertEqual(station["os"], "Android")
        self.assertEqual([agent["background"] for agent in station["user_agents"]], [False, True])

    def test_the_list_is_filtered_and_written_in_every_form(self):
        self.report(options="1,3,6")
        self.report(mac="02:00:00:00:00:01", user_agent="what is this")
        self.report(mac="00:99:00:00:00:01", user_agent="iPhone")
        self.wait_for_sightings("dnsmasq", 3)
        macs = lambda *options: [one["mac"] for one in self.json("show", "stations", *options)]
        self.assertEqual(macs(), [MAC, "00:99:00:00:00:01", "02:00:00:00:00:01"])
        self.assertEqual(macs("--category", "printer"), [MAC])
        self.assertEqual(macs("--vendor", "Apple"), ["00:99:00:00:00:01"])
        self.assertEqual(macs("--unknown"), ["02:00:00:00:00:01"])
        self.assertEqual(macs("--contradicting"), [MAC])  # the address says it is a tablet
        self.assertEqual(macs("--changed-since", "1h"), [MAC, "00:99:00:00:00:01"])
        self.assertEqual(macs("--changed-since", "2100-01-01T00:00:00Z"), [])
        self.ctl("show", "stations", "--changed-since", "yesterday", expect=1)
        table = self.ctl("show", "stations")
        self.assertIn("02:00:00:00:00:01*", table)
        self.assertTrue(self.ctl("show", "stations", "--tsv").startswith("mac\taddresses\tvendor\t"))

    def test_changes_are_shown_as_they_happen(self):
        with subprocess.Popen(self.command("watch", "stations", "--count", "2", "--json"),
                              stdout=subprocess.PIPE, text=True) as watch:
            self.wait_for(lambda: self.json("show", "status")[0]["connections"] > 1, "a watcher")
            time.sleep(0.3)
            self.report(options="1,3,6")
            self.ctl("set", "rule", "dhcp-option", "1,3,6", "--category", "Scanner")
            changes = [json.loads(line) for line in watch.stdout]
        self.assertEqual([(change["mac"], change["cause"], change["to"]["category"])
                          for change in changes],
                         [(MAC, "address", "Printer"), (MAC, "rules", "Scanner")])

    def test_a_reload_answers_all_again(self):
        for number in range(200):
            self.report(mac=f"00:99:00:00:00:{number:02x}", user_agent="Toaster")
        self.wait_for_sightings("dnsmasq", 200)
        with open(self.daemon.rules / "user-agent.csv", "a", encoding="utf-8") as rules:
            rules.write("Toaster,,,IoT,\n")
        self.ctl("reload")
        self.wait_for(lambda: len(self.json("show", "stations", "--category", "IoT")) == 200,
                      "all toasters")

    def test_garbage_is_counted_and_harms_nobody(self):
        for bad in (b"", b"\xff" * 100, b"{", b"x" * 65000, b'{"feed":"kea","mac":1}',
                    b"{" * 4096, b'{"feed":"kea","mac":"00:11:22:33:44:55","user_agent":"\xff"}'):
            self.send(bad)
        self.report(options="1,3,6")
        self.wait_for_sightings("dnsmasq", 1)
        feeds = self.feeds()
        self.assertEqual(feeds["kea"]["malformed"], 2)
        self.assertEqual(feeds[""]["malformed"], 5)
        self.assertEqual(feeds["dnsmasq"]["user_id"], os.getuid())

    def test_a_killed_daemon_remembers_what_is_five_seconds_old(self):
        self.report(options="1,3,6", ip="192.0.2.1")
        self.wait_for_sightings("dnsmasq", 1)
        time.sleep(7)
        self.daemon._process.send_signal(signal.SIGKILL)
        self.daemon.stop()
        self.start()
        (station,) = self.json("show", "station", "192.0.2.1")
        self.assertEqual((station["mac"], station["category"]), (MAC, "Printer"))
        self.assertEqual(len(station["history"]), 1)

    def test_a_stopped_daemon_remembers_everything_and_a_forgotten_terminal_is_gone(self):
        self.report(options="1,3,6")
        self.report(mac="00:99:00:00:00:01", user_agent="iPhone")
        self.wait_for_sightings("dnsmasq", 2)
        self.assertEqual(self.json("unset", "station", MAC), [{"changed": True}])
        self.assertEqual(self.daemon.stop(), 0)
        self.start()
        self.ctl("show", "station", MAC, expect=3)
        self.assertEqual(len(self.json("show", "stations")), 1)

    def test_nothing_is_on_the_disk_where_that_is_not_wanted(self):
        self.daemon.stop()
        self.start("--stations", "memory")
        self.report(options="1,3,6")
        self.wait_for_sightings("dnsmasq", 1)
        self.daemon.stop()
        self.assertFalse((self.daemon.directory / "state" / "stations.db").exists())
        self.start("--stations", "none")
        self.assertIn("does not remember", self.ctl("show", "stations", expect=5) + self.err)

    def test_a_damaged_database_is_moved_aside(self):
        self.report(options="1,3,6")
        self.wait_for_sightings("dnsmasq", 1)
        self.daemon.stop()
        state = self.daemon.directory / "state"
        (state / "stations.db").write_bytes(b"x" * 8192)
        self.start()
        self.assertEqual(self.json("show", "stations"), [])
        self.assertTrue((state / "stations.db.damaged").exists())
        self.assertIn("the database of stations is damaged", self.daemon.log.read_text(encoding="utf-8"))

    def test_what_is_no_key_is_refused_before_anything_is_asked(self):
        self.ctl("show", "station", "nonsense", expect=1)
        self.assertIn('"nonsense" is neither a MAC nor an IP address', self.err)


if __name__ == "__main__":
    main()
