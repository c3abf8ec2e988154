# SPDX-License-Identifier: Apache-2.0
"""Debian's dnsmasq reports leases by byod-feed: dnsmasq_feed_test.py BYOD-FEED SOURCES"""

import os
import pathlib
import socket
import subprocess
import sys
import time
import unittest

import network

BYOD_FEED, SOURCES = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
EXPIRY = 3600


class Dnsmasq(unittest.TestCase):
    def setUp(self):
        self.net = network.Network()
        self.addCleanup(self.net.close)
        self.socket = self.net.directory / "sightings.sock"
        shipped = (SOURCES / "integrations/dnsmasq/byod.conf.in").read_text(encoding="utf-8")
        self.assertIn("@bindir@/byod-feed", shipped)
        self.assertIn("\ndhcp-scriptuser=byod-feed\n", shipped)
        self.assertTrue(network.shown_in_the_document(SOURCES, shipped.replace("@bindir@", "/usr/bin")))
        config = self.net.directory / "dnsmasq.conf"
        config.write_text(
            shipped.replace("@bindir@/byod-feed", str(BYOD_FEED)).replace(
                "dhcp-scriptuser=byod-feed", "dhcp-scriptuser=root") +
            "port=0\nno-ping\ninterface=lan0\nbind-interfaces\nlog-dhcp\nuser=root\n"
            "dhcp-range=192.0.2.10,192.0.2.99,1h\n"
            f"dhcp-leasefile={self.net.directory}/leases\n", encoding="utf-8")
        self.config = config

    def serve(self):
        self.server = self.net.start("dnsmasq", "--keep-in-foreground", "--log-facility=-",
                                     f"--conf-file={self.config}",
                                     env={**os.environ, "BYOD_SIGHTINGS_SOCKET": str(self.socket)})
        self.assertTrue(network.wait_until(lambda: "DHCP, IP range" in self.net.log("dnsmasq")),
                        self.net.log("dnsmasq"))

    def receive(self):
        sightings = network.Sightings(self.socket)
        self.addCleanup(sightings.close)
        return sightings

    def test_a_lease_is_reported_with_what_the_client_sent_until_it_is_released(self):
        sightings = self.receive()
        self.serve()
        address = self.net.lease("subnet-mask, routers, domain-name-servers", host_name='pc "7"',
                                 vendor_class="MSFT 5.0")
        seen = sightings.wait_for()
        self.assertIsNotNone(seen, self.net.log("dnsmasq"))
        self.assertAlmostEqual(seen.pop("lease_end"), time.time() + EXPIRY, delta=60)
        # A name with quotes is none for dnsmasq.
        seen.pop("host_name", None)
        self.assertEqual(seen, {"feed": "dnsmasq", "mac": network.MAC, "ip": address,
                                "event": "lease", "options": [1, 3, 6],
                                "vendor_class": "MSFT 5.0"})
        self.net.release()
        ended = sightings.wait_for(lambda sighting: sighting["event"] == "lease-end")
        self.assertEqual(ended, {"feed": "dnsmasq", "mac": network.MAC, "ip": address,
                                 "event": "lease-end"})

    def test_a_host_name_is_reported_and_a_renewal_too(self):
        sightings = self.receive()
        self.serve()
        self.net.lease("subnet-mask", host_name="galaxy-s9")
        self.assertEqual(sightings.wait_for()["host_name"], "galaxy-s9")
        sightings.forget()
        time.sleep(1.1)  # so that the lease ends another second
        self.net.lease("subnet-mask, routers", host_name="galaxy-s9")
        seen = sightings.wait_for(lambda sighting: sighting.get("options") == [1, 3])
        self.assertIsNotNone(seen, sightings.datagrams)
        self.assertEqual(seen["event"], "lease")

    def test_leases_of_before_are_reported_at_the_start(self):
        (self.net.directory / "leases").write_text(
            f"{int(time.time()) + 600} {network.MAC} 192.0.2.50 * *\n", encoding="utf-8")
        sightings = self.receive()
        self.serve()
        seen = sightings.wait_for()
        self.assertEqual((seen["mac"], seen["ip"], seen["event"]),
                         (network.MAC, "192.0.2.50", "lease"))
        self.assertNotIn("options", seen)

    def test_without_a_daemon_or_with_a_full_queue_leases_are_given_all_the_same(self):
        self.serve()
        self.net.lease("subnet-mask")
        self.assertTrue(network.wait_until(
            lambda: "is not reported: " in self.net.log("dnsmasq")), self.net.log("dnsmasq"))
        self.assertIn("No such file or directory", self.net.log("dnsmasq"))
        full = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)  # nobody reads it
        self.addCleanup(full.close)
        full.bind(str(self.socket))
        sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(sender.close)
        with self.assertRaises(BlockingIOError):
            while True:
                sender.sendto(b"{}", socket.MSG_DONTWAIT, str(self.socket))
        start = time.monotonic()
        self.net.lease("subnet-mask, routers")
        self.assertTrue(network.wait_until(
            lambda: "Resource temporarily unavailable" in self.net.log("dnsmasq")),
                        self.net.log("dnsmasq"))
        self.assertLess(time.monotonic() - start, 15)


class Program(unittest.TestCase):
    def run_feed(self, *arguments):
        return subprocess.run([BYOD_FEED, *arguments], capture_output=True, text=True, check=False,
                              timeout=20)

    def test_help_and_version(self):
        self.assertIn("Usage: byod-feed", self.run_feed("--help").stdout)
        self.assertEqual(network.options_of(self.run_feed("--help").stdout),
                         network.options_of_page(SOURCES, "byod-feed.8"))
        self.assertRegex(self.run_feed("--version").stdout, r"^byod-feed \d+\.\d+\.\d+\n$")

    def test_without_arguments_it_says_what_it_expects(self):
        done = self.run_feed()
        self.assertEqual(done.returncode, 2)
        self.assertIn("expected add, old or del", done.stderr)

    def test_it_is_quick_to_start(self):
        # 50 in a row, so that a machine with other work has its ups and downs averaged.
        start = time.monotonic()
        for _ in range(50):
            self.run_feed("init")
        self.assertLess((time.monotonic() - start) / 50, 0.1)


if __name__ == "__main__":
    network.enter(["dnsmasq", "dhclient"])
    unittest.main(argv=sys.argv[:1], verbosity=2)
