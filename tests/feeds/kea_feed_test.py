# SPDX-License-Identifier: Apache-2.0
"""Debian's Kea reports leases by the hook library: kea_feed_test.py LIBRARY SOURCES

LIBRARY is "none" where the build has none.
"""

import json
import os
import pathlib
import re
import socket
import sys
import time
import unittest

import network

LIBRARY, SOURCES = sys.argv[1].removeprefix("none"), pathlib.Path(sys.argv[2])


def shipped_configuration():
    text = (SOURCES / "integrations/kea/byod.json.in").read_text(encoding="utf-8")
    return json.loads(re.sub(r"^//.*$", "", text, flags=re.M))


def configuration_of_the_document():
    document = (SOURCES / "docs/feeds.md").read_text(encoding="utf-8")
    block = re.search(r'^    "Dhcp4": \{\n(?:    .*\n)*', document, re.M)[0]
    text = "{" + block + "}"
    return json.loads(text.replace("/usr/lib/x86_64-linux-gnu", "@libdir@"))


class Kea(unittest.TestCase):
    def setUp(self):
        self.net = network.Network()
        self.addCleanup(self.net.close)
        self.socket = self.net.directory / "sightings.sock"
        self.configuration = shipped_configuration()
        self.assertEqual(self.configuration, configuration_of_the_document())
        self.dhcp4 = self.configuration["Dhcp4"]
        (self.hook,) = self.dhcp4["hooks-libraries"]
        self.assertEqual(self.hook["library"], "@libdir@/kea/hooks/libdhcp_byod.so")
        self.assertEqual(self.hook["parameters"], {"socket": "/run/lauthd/sightings.sock"})
        self.hook["library"] = LIBRARY
        self.hook["parameters"]["socket"] = str(self.socket)
        self.dhcp4.update({
            "interfaces-config": {"interfaces": ["lan0"]},
            "lease-database": {"type": "memfile", "persist": False},
            "valid-lifetime": 3600,
            "multi-threading": {"enable-multi-threading": True, "thread-pool-size": 2},
            "subnet4": [{"subnet": "192.0.2.0/24",
                         "pools": [{"pool": "192.0.2.10 - 192.0.2.99"}]}],
            "loggers": [{"name": "kea-dhcp4", "severity": "INFO",
                         "output_options": [{"output": "stdout", "flush": True}]}],
        })

    def start(self):
        file = self.net.directory / "kea.json"
        file.write_text(json.dumps(self.configuration), encoding="utf-8")
        return self.net.start("kea-dhcp4", "-c", file,
                              env={**os.environ, "KEA_PIDFILE_DIR": str(self.net.directory),
                                   "KEA_LOCKFILE_DIR": str(self.net.directory)})

    def serve(self):
        self.server = self.start()
        self.assertTrue(network.wait_until(lambda: "DHCP4_STARTED" in self.net.log("kea-dhcp4")),
                        self.net.log("kea-dhcp4"))

    def receive(self):
        sightings = network.Sightings(self.socket)
        self.addCleanup(sightings.close)
        return sightings

    def test_a_lease_is_reported_with_what_the_client_sent_until_it_is_released(self):
        sightings = self.receive()
        self.serve()
        address = self.net.lease("subnet-mask, routers, domain-name-servers", host_name="galaxy-s9",
                                 vendor_class="android-dhcp-13")
        seen = sightings.wait_for()
        self.assertIsNotNone(seen, self.net.log("kea-dhcp4"))
        self.assertAlmostEqual(seen.pop("lease_end"), time.time() + 3600, delta=60)
        self.assertEqual(seen, {"feed": "kea", "mac": network.MAC, "ip": address, "event": "lease",
                                "options": [1, 3, 6], "vendor_class": "android-dhcp-13",
                                "host_name": "galaxy-s9"})
        self.net.release()
        ended = sightings.wait_for(lambda sighting: sighting.get("event") == "lease-end")
        self.assertEqual(ended, {"feed": "kea", "mac": network.MAC, "ip": address,
                                 "event": "lease-end"})

    def test_a_lease_that_is_not_stored_again_is_reported_without_its_address(self):
        self.dhcp4["cache-threshold"] = 0.9
        sightings = self.receive()
        self.serve()
        self.net.lease("subnet-mask")
        self.assertIsNotNone(sightings.wait_for(lambda it: it["options"] == [1]))
        self.net.lease("subnet-mask, routers")
        seen = sightings.wait_for(lambda it: it["options"] == [1, 3])
        self.assertEqual(seen, {"feed": "kea", "mac": network.MAC, "options": [1, 3]})

    def test_without_a_daemon_or_with_a_full_queue_leases_are_given_all_the_same(self):
        self.serve()
        self.assertTrue(self.net.lease("subnet-mask").startswith("192.0.2."))
        full = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)  # nobody reads it
        self.addCleanup(full.close)
        full.bind(str(self.socket))
        sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(sender.close)
        with self.assertRaises(BlockingIOError):
            while True:
                sender.sendto(b"{}", socket.MSG_DONTWAIT, str(self.socket))
        self.assertTrue(self.net.lease("subnet-mask, routers").startswith("192.0.2."))
        while full.recv(8192) == b"{}":  # then the next one arrives, and says what was lost
            full.settimeout(0)
            try:
                full.recv(8192, socket.MSG_PEEK)
            except BlockingIOError:
                break
        full.settimeout(20)
        self.net.lease("subnet-mask, domain-name-servers")
        seen = network.read(full.recv(8192))
        self.assertEqual(seen["options"], [1, 6])
        self.assertGreaterEqual(seen["dropped"], 2)
        self.assertIsNone(self.server.poll())

    def test_a_parameter_of_the_wrong_type_is_refused_with_the_configuration(self):
        self.hook["parameters"]["socket"] = 7
        server = self.start()
        self.assertNotEqual(server.wait(timeout=30), 0, self.net.log("kea-dhcp4"))
        self.assertIn("HOOKS_LOAD_ERROR", self.net.log("kea-dhcp4"))


if __name__ == "__main__":
    if not LIBRARY:
        print("skipped: the build has no hook library for Kea (scripts/setup.sh integrations)")
        sys.exit(0)
    network.enter(["kea-dhcp4", "dhclient"])
    unittest.main(argv=sys.argv[:1], verbosity=2)
