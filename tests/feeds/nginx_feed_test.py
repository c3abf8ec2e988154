# SPDX-License-Identifier: Apache-2.0
"""Debian's nginx reports the requests of a portal: nginx_feed_test.py SOURCES"""

import http.client
import pathlib
import sys
import unittest

import network

SOURCES = pathlib.Path(sys.argv[1])
SHIPPED = "/run/lauthd/sightings.sock"


class Nginx(unittest.TestCase):
    def setUp(self):
        self.net = network.Network()
        self.addCleanup(self.net.close)
        self.socket = self.net.directory / "sightings.sock"
        for name in ("byod.conf", "byod-portal.conf"):
            text = (SOURCES / "integrations/nginx" / name).read_text(encoding="utf-8")
            (self.net.directory / name).write_text(text.replace(SHIPPED, str(self.socket)),
                                                   encoding="utf-8")
        config = self.net.directory / "nginx.conf"
        config.write_text(f"""
            daemon off; user root; pid {self.net.directory}/nginx.pid; error_log stderr;
            events {{ }}
            http {{
              include {self.net.directory}/byod.conf;
              access_log {self.net.directory}/access.log;
              server {{
                listen 192.0.2.1:80;
                listen [2001:db8::1]:80;
                include {self.net.directory}/byod-portal.conf;
                location / {{ return 200 "portal"; }}
              }}
            }}""", encoding="utf-8")
        self.sightings = network.Sightings(self.socket)
        self.addCleanup(lambda: self.sightings.close())
        self.net.start("nginx", "-c", config)
        self.assertTrue(network.wait_until(lambda: self.visit(b"start") is not None),
                        self.net.log("nginx"))
        self.assertIsNotNone(self.sightings.wait_for())
        self.sightings.forget()

    @staticmethod
    def visit(user_agent, address="192.0.2.1"):
        """@return the status, or None where nobody listens"""
        connection = http.client.HTTPConnection(address, 80, timeout=10)
        try:
            connection.putrequest("GET", "/", skip_accept_encoding=True)
            if user_agent is not None:
                connection.putheader("User-Agent", user_agent)
            connection.endheaders()
            return connection.getresponse().status
        except ConnectionRefusedError:
            return None
        finally:
            connection.close()

    def reported(self, user_agent):
        self.sightings.forget()
        self.assertEqual(self.visit(user_agent), 200)
        seen = self.sightings.wait_for()
        self.assertIsNotNone(seen, self.net.log("nginx"))
        self.assertEqual({**seen, "user_agent": ""}, {"feed": "nginx", "ip": "192.0.2.1",
                                                      "user_agent": ""})
        return seen["user_agent"]

    def test_a_request_is_reported_with_address_and_user_agent(self):
        self.net.client("ip", "addr", "add", "192.0.2.77/24", "dev", "client0")
        agent = "Mozilla/5.0 (iPhone; CPU iPhone OS 17_0 like Mac OS X)"
        self.net.client("curl", "--silent", "--noproxy", "*", "--max-time", "10", "--user-agent", agent,
                        "http://192.0.2.1/")
        self.assertEqual(self.sightings.wait_for(),
                         {"feed": "nginx", "ip": "192.0.2.77", "user_agent": agent})
        (datagram,) = self.sightings.datagrams
        self.assertRegex(datagram, rb"^<190>[A-Z][a-z][a-z] [ 0-9]\d \d\d:\d\d:\d\d byod: \{")

    def test_an_ipv6_address_is_reported_as_it_is_written(self):
        self.assertEqual(self.visit(b"curl/8", "2001:db8::1"), 200)
        self.assertEqual(self.sightings.wait_for()["ip"], "2001:db8::1")

    def test_quotes_and_bytes_above_ascii_arrive_as_they_were(self):
        self.assertEqual(self.reported(rb'a "quoted" \ one'), 'a "quoted" \\ one')
        self.assertEqual(self.reported("B\u00fcro \u20ac".encode()), "B\u00fcro \u20ac")
        self.assertEqual(self.reported(b"B\xfcro"), "B\u00fcro")
        self.assertEqual(self.reported(b"a\tb\x01c\x7f"), "a\tb\x01c\x7f")

    def test_a_user_agent_of_4_kilobytes_is_cut_to_255(self):
        self.assertEqual(self.reported(b"x" * 4096), "x" * 255)
        self.assertEqual(self.reported(b"x" * 255), "x" * 255)
        self.assertEqual(self.reported(b'"' * 4096), '"' * 255)

    def test_a_request_without_user_agent_is_not_reported(self):
        self.assertEqual(self.visit(None), 200)
        self.assertEqual(self.visit(b"after"), 200)
        self.assertEqual(self.sightings.wait_for()["user_agent"], "after")

    def test_requests_are_served_without_a_daemon_and_reported_to_the_next_one(self):
        self.sightings.close()
        for _ in range(3):
            self.assertEqual(self.visit(b"lost"), 200)
        self.sightings = network.Sightings(self.socket)
        def arrives():
            self.assertEqual(self.visit(b"again"), 200)
            return self.sightings.wait_for(seconds=0.2) is not None
        self.assertTrue(network.wait_until(arrives), self.net.log("nginx"))


if __name__ == "__main__":
    network.enter(["nginx", "curl"])
    unittest.main(argv=sys.argv[:1], verbosity=2)
