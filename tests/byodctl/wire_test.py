# SPDX-License-Identifier: Apache-2.0
"""Real clients, seen on a wire by byodctl watch: wire_test.py BYODCTL LAUTHD

A pair of virtual interfaces joins two network namespaces. In the one clients of DHCP and HTTP send
real packets; in the other stand a server for each, the daemon, and byodctl watching the interface.
Namespaces, mounts and interfaces are this test's own and go with its processes; nothing that a
client writes reaches the machine's files. Needs root, and a kernel that lets it make namespaces.
"""

import contextlib
import http.server
import json
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import sys
import threading
import time
import unittest

from running_daemon import Daemon

BYODCTL = LAUTHD = ""
INSIDE = "BYOD_WIRE_TEST_INSIDE"

SERVER = "192.0.2.1"
CLIENTS = {  # the address of each, and the vendor that a rule gives it
    "dhclient": ("00:16:aa:00:00:01", "Acme"),
    "udhcpc": ("00:16:ab:00:00:02", "Of udhcpc"),
    "dhcpcd": ("00:16:ac:00:00:03", "Of dhcpcd"),
    "curl": ("da:16:ad:00:00:04", "Apple"),
}


def run(*command):
    subprocess.run(command, check=True, capture_output=True, timeout=20)


class Quiet(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.send_response(204)
        self.end_headers()

    def log_message(self, *_):
        pass


class Watcher:
    """byodctl watch --interface, with its output as it comes."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        text=True)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(json.loads(line))

    def wait_for(self, wanted, seconds=10):
        """@return the first line that wanted(line) is true for, or None"""
        deadline = time.monotonic() + seconds
        while (left := deadline - time.monotonic()) > 0:
            with contextlib.suppress(queue.Empty):
                line = self.lines.get(timeout=left)
                if wanted(line):
                    return line
        return None

    def stop(self):
        """@return exit status and summary"""
        self.process.send_signal(signal.SIGINT)
        self.process.wait(timeout=10)
        return self.process.returncode, json.loads(self.process.stderr.read().splitlines()[-1])


class Wire(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.stack = contextlib.ExitStack()
        cls.addClassCleanup(cls.stack.close)
        cls.daemon = Daemon(LAUTHD, BYODCTL)
        cls.stack.callback(cls.daemon.close)
        cls.directory = cls.daemon.directory
        rows = [f"{mac[:8]}/24,,,{vendor},,\n" for mac, vendor in CLIENTS.values()
                if vendor.startswith("Of ")]
        (cls.daemon.rules / "mac.csv").write_text("mac,mask,name,vendor,category,os\n" +
                                                  "".join(rows))
        cls.protect_the_machine()
        cls.join_namespaces()
        cls.daemon.start()
        cls.serve()

    @classmethod
    def protect_the_machine(cls):
        """Discards what clients write."""
        run("mount", "--make-rprivate", "/")
        for folder in ("/run", "/var/lib"):
            run("mount", "-t", "tmpfs", "none", folder)
        for file in ("/etc/resolv.conf", "/etc/hostname"):
            if os.path.exists(file):
                copy = cls.directory / os.path.basename(file)
                shutil.copy(file, copy)
                run("mount", "--bind", str(copy), os.path.realpath(file))
        for folder in ("/run/dhcpcd", "/var/lib/dhcpcd", "/var/lib/misc", "/var/lib/dhcp"):
            os.makedirs(folder)

    @classmethod
    def join_namespaces(cls):
        other = cls.stack.enter_context(subprocess.Popen(
            ["unshare", "--net", "--kill-child", "sleep", "300"]))
        cls.stack.callback(other.kill)
        own = os.readlink("/proc/self/ns/net")
        for _ in range(200):
            if os.readlink(f"/proc/{other.pid}/ns/net") != own:
                break
            time.sleep(0.02)
        cls.inside = ["nsenter", "--net", "--target", str(other.pid)]
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "add", "wire0", "type", "veth", "peer", "name", "client0", "netns",
            str(other.pid))
        run("ip", "addr", "add", SERVER + "/24", "dev", "wire0")
        run("ip", "link", "set", "wire0", "up")

    @classmethod
    def serve(cls):
        config = cls.directory / "udhcpd.conf"
        config.write_text(f"start 192.0.2.20\nend 192.0.2.60\ninterface wire0\n"
                          f"lease_file {cls.directory}/leases\npidfile {cls.directory}/udhcpd.pid\n"
                          f"option subnet 255.255.255.0\noption lease 600\n")
        (cls.directory / "leases").touch()
        server = cls.stack.enter_context(subprocess.Popen(
            ["busybox", "udhcpd", "-f", "-a", "50", str(config)], stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL))
        cls.stack.callback(server.kill)
        web = http.server.ThreadingHTTPServer((SERVER, 8080), Quiet)
        threading.Thread(target=web.serve_forever, daemon=True).start()
        cls.stack.callback(web.server_close)
        cls.stack.callback(web.shutdown)

    def setUp(self):
        self.watcher = Watcher([BYODCTL, "--socket", str(self.daemon.socket), "watch",
                                "--interface", "wire0", "--json"])
        self.addCleanup(self.watcher.process.stderr.close)
        self.addCleanup(self.watcher.process.stdout.close)
        self.addCleanup(self.watcher.process.wait)
        self.addCleanup(self.watcher.process.kill)
        self.wait_until_it_captures()

    def wait_until_it_captures(self):
        """A packet socket shows in the namespace's list."""
        for _ in range(500):
            if len(pathlib.Path("/proc/net/packet").read_text().splitlines()) > 1:
                return
            time.sleep(0.02)
        self.fail("byodctl does not capture: " + self.watcher.process.stderr.read())

    def become(self, name):
        """Gives the client's interface the address of one of them."""
        for arguments in (("down",), ("address", CLIENTS[name][0]), ("up",)):
            run(*self.inside, "ip", "link", "set", "client0", *arguments)

    def start(self, *command):
        process = subprocess.Popen([*self.inside, *command], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def need(self, program):
        if shutil.which(program) is None:
            self.skipTest(f"no {program} here")

    def expect(self, name, wanted=lambda line: True):
        """The client is seen and identified. @return the report of it"""
        mac, vendor = CLIENTS[name]
        line = self.watcher.wait_for(lambda line: line["mac"] == mac and wanted(line))
        self.assertIsNotNone(line, f"{name} is not seen")
        self.assertTrue(line["identified"])
        self.assertEqual(line["vendor"], vendor)
        return line

    def end(self):
        status, summary = self.watcher.stop()
        self.assertEqual(status, 0)
        self.assertEqual(summary["malformed"], 0)
        return summary

    def test_dhclient(self):
        self.need("dhclient")
        config = self.directory / "dhclient.conf"
        config.write_text("request subnet-mask, routers, domain-name-servers;\ntimeout 10;\n")
        self.become("dhclient")
        self.start("dhclient", "-4", "-1", "-d", "-cf", str(config), "-sf", "/bin/true", "-lf",
                   str(self.directory / "dhclient.leases"), "-pf",
                   str(self.directory / "dhclient.pid"), "client0")
        line = self.expect("dhclient")
        self.assertEqual(line["options"], "1,3,6")
        self.assertEqual(line["category"], "Printer")
        self.assertGreaterEqual(self.end()["option_lists"], 1)

    def test_udhcpc(self):
        self.need("udhcpc")
        self.become("udhcpc")
        self.start("udhcpc", "-f", "-q", "-n", "-o", "-O", "subnet", "-O", "hostname", "-s",
                   "/bin/true", "-i", "client0")
        self.assertEqual(self.expect("udhcpc")["options"], "1,12")
        self.end()

    def test_dhcpcd(self):
        self.need("dhcpcd")
        config = self.directory / "dhcpcd.conf"
        config.write_text("option domain_name_servers\n")
        self.become("dhcpcd")
        self.start("dhcpcd", "-4", "-1", "-B", "-A", "--noconfigure", "-f", str(config), "-c",
                   "/bin/true", "client0")
        options = self.expect("dhcpcd")["options"].split(",")
        self.assertIn("1", options)
        self.assertIn("6", options)
        self.end()

    def test_curl(self):
        self.need("curl")
        self.become("curl")
        run(*self.inside, "ip", "addr", "replace", "192.0.2.99/24", "dev", "client0")
        agent = "Mozilla/5.0 (iPhone; CPU iPhone OS 17_0 like Mac OS X)"
        run(*self.inside, "curl", "--silent", "--noproxy", "*", "--max-time", "10", "--user-agent",
            agent, f"http://{SERVER}:8080/")
        line = self.expect("curl")
        self.assertEqual((line["user_agent"], line["address"]), (agent, "192.0.2.99"))
        self.assertTrue(line["locally_administered"])
        # Nothing new, then something new with another answer.
        run(*self.inside, "curl", "--silent", "--noproxy", "*", "--max-time", "10", "--user-agent",
            agent, f"http://{SERVER}:8080/")
        run(*self.inside, "curl", "--silent", "--noproxy", "*", "--max-time", "10", "--user-agent",
            "Android", f"http://{SERVER}:8080/")
        line = self.watcher.wait_for(lambda line: line["mac"] == CLIENTS["curl"][0])
        self.assertEqual((line["user_agent"], line["os"]), ("Android", "Android"))
        self.assertEqual(self.end()["user_agents"], 3)


def main():
    """Goes into namespaces of its own first."""
    if os.environ.get(INSIDE):
        unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
    if os.geteuid() != 0:
        print("skipped: this needs root")
        return 0
    missing = [tool for tool in ("unshare", "nsenter", "ip", "busybox") if not shutil.which(tool)]
    if missing:
        print("skipped: no " + ", ".join(missing))
        return 0
    possible = subprocess.run(
        ["unshare", "--net", "--mount", "ip", "link", "add", "wire0", "type", "veth", "peer",
         "name", "wire1"], capture_output=True, text=True, check=False)
    if possible.returncode != 0:
        print("skipped: no namespaces with virtual interfaces here: " + possible.stderr.strip())
        return 0
    inside = subprocess.run(["unshare", "--net", "--mount", sys.executable, *sys.argv],
                            env={**os.environ, INSIDE: "1"}, check=False)
    return inside.returncode


if __name__ == "__main__":
    BYODCTL, LAUTHD = sys.argv[1:3]
    sys.exit(main())
