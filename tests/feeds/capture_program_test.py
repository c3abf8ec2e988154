# SPDX-License-Identifier: Apache-2.0
"""byod-capture on a bridge: capture_program_test.py BYOD-CAPTURE SOURCES FILTERED

FILTERED is 1 where the build has a filter of system calls.
"""

import http.server
import pathlib
import pwd
import re
import signal
import subprocess
import sys
import threading
import time
import unittest

import network

BYOD_CAPTURE, SOURCES, FILTERED = sys.argv[1], sys.argv[2], sys.argv[3] == "1"
AGENT = "Mozilla/5.0 (iPhone; CPU iPhone OS 17_0 like Mac OS X)"


class Quiet(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.send_response(204)
        self.end_headers()

    def log_message(self, *_):
        pass


class Capture(unittest.TestCase):
    def setUp(self):
        self.net = network.Network(bridge=True)
        self.addCleanup(self.net.close)
        self.socket = self.net.directory / "sightings.sock"
        self.sightings = network.Sightings(self.socket)
        self.addCleanup(lambda: self.sightings.close())
        self.program = self.net.start(BYOD_CAPTURE, "lan0", "--socket", self.socket, "--user",
                                      "nobody")
        self.assertTrue(network.wait_until(lambda: "capturing on lan0" in self.log()), self.log())

    def log(self):
        return self.net.log("byod-capture")

    def expect(self, **wanted):
        seen = self.sightings.wait_for(
            lambda sighting: {**sighting, **wanted} == sighting and sighting.pop("time", 1))
        self.assertIsNotNone(seen, f"{wanted} in {self.sightings.datagrams}; {self.log()}")
        return seen

    def test_the_program_runs_without_rights(self):
        status = dict(re.findall(r"^(\w+):\t(.*)$", pathlib.Path(
            f"/proc/{self.program.pid}/status").read_text(encoding="utf-8"), re.M))
        nobody = str(pwd.getpwnam("nobody").pw_uid)
        self.assertEqual(status["Uid"].split(), [nobody] * 4)
        for capabilities in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
            self.assertEqual(int(status[capabilities], 16), 0, capabilities)
        self.assertEqual(status["NoNewPrivs"], "1")
        self.assertEqual(status["Seccomp"], "2" if FILTERED else "0")

    def test_a_dhcp_client_is_reported_with_its_options(self):
        self.net.start("busybox", "udhcpc", "-f", "-q", "-n", "-t", "2", "-T", "1", "-o", "-O", "subnet",
                       "-O", "router", "-x", "hostname:pc-7", "-V", "MSFT 5.0", "-s", "/bin/true", "-i",
                       "client0", inside=True)
        seen = self.expect(mac=network.MAC, options=[1, 3])
        self.assertEqual(seen, {"feed": "capture", "mac": network.MAC, "options": [1, 3],
                                "vendor_class": "MSFT 5.0", "host_name": "pc-7"})

    def test_arp_neighbour_discovery_and_http_are_reported(self):
        self.net.client("ip", "addr", "add", "192.0.2.77/24", "dev", "client0")
        self.net.client("ip", "-6", "addr", "add", "2001:db8::77/64", "dev", "client0", "nodad")
        web = http.server.ThreadingHTTPServer((network.SERVER, 8080), Quiet)
        threading.Thread(target=web.serve_forever, daemon=True).start()
        self.addCleanup(web.server_close)
        self.addCleanup(web.shutdown)
        self.net.client("curl", "--silent", "--noproxy", "*", "--max-time", "10", "--user-agent",
                        AGENT, f"http://{network.SERVER}:8080/")
        self.assertEqual(self.expect(mac=network.MAC, user_agent=AGENT),
                         {"feed": "capture", "mac": network.MAC, "user_agent": AGENT})
        self.assertEqual(self.expect(mac=network.MAC, ip="192.0.2.77"),
                         {"feed": "capture", "mac": network.MAC, "ip": "192.0.2.77",
                          "event": "lease"})
        # Nobody listens there; finding out whose address it is comes first.
        subprocess.run([*self.net.inside, "curl", "--silent", "--noproxy", "*", "--max-time", "5",
                        "http://[2001:db8::1]:8081/"], capture_output=True, check=False, timeout=20)
        self.assertEqual(self.expect(mac=network.MAC, ip="2001:db8::77")["event"], "lease")

    def test_a_daemon_that_goes_away_is_waited_for(self):
        self.net.client("ip", "addr", "add", "192.0.2.77/24", "dev", "client0")
        self.sightings.close()
        def arp(last):
            self.net.client("ip", "addr", "add", f"192.0.2.{last}/24", "dev", "client0")
            self.net.client("ip", "neigh", "flush", "dev", "client0")
            subprocess.run([*self.net.inside, "curl", "--silent", "--noproxy", "*", "--max-time", "3",
                            "--interface", f"192.0.2.{last}", f"http://{network.SERVER}:8081/"],
                           capture_output=True, check=False, timeout=20)
        arp(78)
        self.assertTrue(network.wait_until(lambda: "nothing is reported: " in self.log()), self.log())
        self.sightings = network.Sightings(self.socket)
        arp(79)
        self.assertGreaterEqual(self.expect(ip="192.0.2.79").get("dropped", 0) +
                                network.read(self.sightings.datagrams[0]).get("dropped", 0), 1)
        self.assertTrue(network.wait_until(lambda: "reported again" in self.log()), self.log())

    def test_a_signal_ends_it_with_a_summary(self):
        time.sleep(0.2)
        self.program.send_signal(signal.SIGTERM)
        self.assertEqual(self.program.wait(timeout=10), 0)
        self.assertRegex(self.log(), r"\d+ packets, 0 not captured in time, 0 malformed, "
                                     r"\d+ sightings reported, 0 lost\n")

    def test_an_interface_that_goes_away_ends_it(self):
        network.run("ip", "link", "delete", "lan0")
        self.assertEqual(self.program.wait(timeout=10), 1)


class CommandLine(unittest.TestCase):
    def run_capture(self, *arguments):
        return subprocess.run([BYOD_CAPTURE, *arguments], capture_output=True, text=True, check=False,
                              timeout=20)

    def test_every_option_has_its_entry_in_the_manual_page(self):
        options = network.options_of(self.run_capture("--help").stdout)
        self.assertLess(5, len(options))
        self.assertEqual(options, network.options_of_page(SOURCES, "byod-capture.8"))

    def test_bad_usage_is_reported_on_one_line_with_a_hint(self):
        for arguments, reason in (([], "an interface or --pcap is required"),
                                  (["lan0", "--feed", "A b"], "not \"A b\""),
                                  (["lan0", "--pcap", "x"], "excludes"), (["--nothing"], "--nothing")):
            done = self.run_capture(*arguments)
            self.assertEqual(done.returncode, 2, done.stderr)
            self.assertIn(reason, done.stderr)
            self.assertEqual(len(done.stderr.splitlines()), 2, done.stderr)

    def test_an_unknown_interface_or_user_is_reported(self):
        done = self.run_capture("nothere0", "--user", "nobody")
        self.assertEqual((done.returncode, done.stderr),
                         (1, "byod-capture: nothere0: no such interface\n"))
        done = self.run_capture("lo", "--user", "nobody-here")
        self.assertEqual((done.returncode, done.stderr),
                         (1, 'byod-capture: no such user: "nobody-here"\n'))


if __name__ == "__main__":
    network.enter(["curl", "busybox"])
    unittest.main(argv=sys.argv[:1], verbosity=2)
