# SPDX-License-Identifier: Apache-2.0
"""A network of two machines for tests of feeds: what the tests here share.

The test itself is the server's machine. It has the address 192.0.2.1 on the interface "lan0", a veth
pair or a bridge, whose other end "client0" is in a namespace of the clients. Interfaces and mounts go
with the test's processes, and what programs write to /run and /var/lib stays in its own namespace.
"""

import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

INSIDE = "BYOD_FEED_TEST_INSIDE"
SERVER = "192.0.2.1"
MAC = "00:16:aa:00:00:01"


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=30)


def shown_in_the_document(sources, text):
    """Whether docs/feeds.md shows all lines of a configuration that are not comments, in their order."""
    document = (pathlib.Path(sources) / "docs/feeds.md").read_text(encoding="utf-8")
    lines = [line for line in text.splitlines() if line and not line.startswith("#")]
    return "".join(f"    {line}\n" for line in lines) in document


def options_of(help_text):
    return sorted(re.findall(r"^  (?:-\w,)?(--[a-z-]+)", help_text, re.M))


def options_of_page(sources, page):
    """The options that have an entry in a manual page."""
    text = (pathlib.Path(sources) / "man" / f"{page}.scd").read_text(encoding="utf-8")
    section = re.search(r"^# OPTIONS\n(.*?)^# ", text, re.M | re.S)[1]
    return sorted(re.findall(r"^(?:\*-\w\*, )?\*(--[a-z-]+)\*", section, re.M))


def why_not(programs):
    """@return why such a test cannot run here; "" if it can"""
    if os.geteuid() != 0:
        return "this needs root"
    missing = [program for program in ("unshare", "nsenter", "ip", *programs)
               if not shutil.which(program)]
    if missing:
        return "no " + ", ".join(missing) + " (scripts/setup.sh integrations)"
    possible = subprocess.run(
        ["unshare", "--net", "--mount", "ip", "link", "add", "lan0", "type", "veth", "peer", "name",
         "client0"], capture_output=True, text=True, check=False)
    if possible.returncode != 0:
        return "no namespaces with virtual interfaces here: " + possible.stderr.strip()
    return ""


def enter(programs):
    """Goes on in namespaces of this test's own, or ends it with the reason why it is skipped."""
    if os.environ.get(INSIDE):
        return
    reason = why_not(programs)
    if reason:
        print("skipped: " + reason)
        sys.exit(0)
    inside = subprocess.run(["unshare", "--net", "--mount", sys.executable, *sys.argv],
                            env={**os.environ, INSIDE: "1"}, check=False)
    sys.exit(inside.returncode)


class Sightings:
    """What stands where the daemon's socket is, and keeps what it receives."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.datagrams = []
        self._news = threading.Condition()
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind(str(path))
        self.path.chmod(0o666)
        threading.Thread(target=self._receive, daemon=True).start()

    def _receive(self):
        with contextlib.suppress(OSError):
            while datagram := self._socket.recv(65536):
                with self._news:
                    self.datagrams.append(datagram)
                    self._news.notify_all()

    def wait_for(self, wanted=lambda sighting: True, seconds=15):
        """@return the first sighting, also of those before, that wanted(sighting) holds for, or None"""
        deadline = time.monotonic() + seconds
        seen = 0
        with self._news:
            while True:
                for datagram in self.datagrams[seen:]:
                    seen += 1
                    sighting = read(datagram)
                    if wanted(sighting):
                        return sighting
                left = deadline - time.monotonic()
                if left <= 0 or not self._news.wait(left):
                    return None

    def forget(self):
        with self._news:
            self.datagrams.clear()

    def close(self):
        self._socket.shutdown(socket.SHUT_RDWR)
        self._socket.close()
        self.path.unlink(missing_ok=True)


def read(datagram):
    """The object of a datagram, as the daemon reads it: after a syslog prefix, bytes that are not
    UTF-8 as those of Latin-1."""
    assert len(datagram) <= 4096, len(datagram)
    text = datagram[datagram.index(b"{"):]
    try:
        return json.loads(text.decode("utf-8"))
    except UnicodeDecodeError:
        return json.loads(text.decode("latin-1"))


class Network:
    """The interfaces, a directory that is deleted at the end, and the processes that end with it."""

    def __init__(self, bridge=False):
        self._stack = contextlib.ExitStack()
        try:
            self._build(bridge)
        except BaseException:
            self._stack.close()
            raise

    def _build(self, bridge):
        self.directory = pathlib.Path(
            self._stack.enter_context(tempfile.TemporaryDirectory(prefix="byod-feed-")))
        self.directory.chmod(0o755)
        self._protect_the_machine()
        clients = self._stack.enter_context(
            subprocess.Popen(["unshare", "--net", "--kill-child", "sleep", "600"],
                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        self._stack.callback(clients.kill)
        own = os.readlink("/proc/self/ns/net")
        wait_until(lambda: os.readlink(f"/proc/{clients.pid}/ns/net") != own)
        self.inside = ["nsenter", "--net", "--target", str(clients.pid)]
        run("ip", "link", "set", "lo", "up")
        near = "port0" if bridge else "lan0"
        run("ip", "link", "add", near, "type", "veth", "peer", "name", "client0", "address", MAC,
            "netns", str(clients.pid))
        # Without this they would go when the kernel finds the time, perhaps after the next ones came.
        self._stack.callback(subprocess.run, ["ip", "link", "delete", near], capture_output=True,
                             check=False)
        if bridge:
            run("ip", "link", "add", "lan0", "type", "bridge")
            self._stack.callback(subprocess.run, ["ip", "link", "delete", "lan0"],
                                 capture_output=True, check=False)
            run("ip", "link", "set", "port0", "master", "lan0", "up")
        run("ip", "addr", "add", SERVER + "/24", "dev", "lan0")
        run("ip", "-6", "addr", "add", "2001:db8::1/64", "dev", "lan0", "nodad")
        run("ip", "link", "set", "lan0", "up")
        run(*self.inside, "ip", "link", "set", "lo", "up")
        run(*self.inside, "ip", "link", "set", "client0", "up")

    @staticmethod
    def _protect_the_machine():
        run("mount", "--make-rprivate", "/")
        for folder in ("/run", "/var/lib", "/var/log"):
            run("mount", "-t", "tmpfs", "none", folder)
        for folder in ("/run/lauthd", "/run/kea", "/var/lib/kea", "/var/lib/misc", "/var/lib/nginx",
                       "/var/lib/dhcp", "/var/log/nginx", "/var/log/kea"):
            os.makedirs(folder)

    def start(self, *command, inside=False, **options):
        """A process that ends with the network; its output goes to a file."""
        log = self.directory / f"{pathlib.Path(command[0]).name}.log"
        with open(log, "ab") as output:
            process = subprocess.Popen([*(self.inside if inside else []), *map(str, command)],
                                       stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=subprocess.STDOUT, start_new_session=True, **options)
        self._stack.callback(process.wait)
        self._stack.callback(end_all_of, process)
        return process

    def log(self, program):
        return (self.directory / f"{program}.log").read_text(encoding="utf-8", errors="replace")

    def client(self, *command):
        return run(*self.inside, *map(str, command))

    def lease(self, requested, host_name="", vendor_class=""):
        """Gets an address by dhclient, and gives it to the interface. @return the address"""
        config = self.directory / "dhclient.conf"
        host_name, vendor_class = (text.replace('"', r'\"') for text in (host_name, vendor_class))
        config.write_text(
            (f'send host-name "{host_name}";\n' if host_name else "") +
            (f'send vendor-class-identifier "{vendor_class}";\n' if vendor_class else "") +
            f"request {requested};\ntimeout 10;\n", encoding="utf-8")
        leases = self.directory / "dhclient.leases"
        self._end_client()
        self.client("dhclient", "-4", "-1", "-cf", config, "-sf", "/bin/true", "-lf", leases, "-pf",
                    self.directory / "dhclient.pid", "client0")
        text = leases.read_text(encoding="utf-8")
        address = text.rpartition("fixed-address ")[2].partition(";")[0]
        self.client("ip", "addr", "replace", address + "/24", "dev", "client0")
        return address

    def release(self):
        self.client("dhclient", "-4", "-r", "-cf", self.directory / "dhclient.conf", "-sf", "/bin/true",
                    "-lf", self.directory / "dhclient.leases", "-pf", self.directory / "dhclient.pid",
                    "client0")

    def _end_client(self):
        """The client stays to renew its lease."""
        with contextlib.suppress(OSError, ValueError):
            os.kill(int((self.directory / "dhclient.pid").read_text(encoding="utf-8")), 9)

    def close(self):
        self._end_client()
        self._stack.close()


def end_all_of(process):
    """A server and its workers."""
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)


def wait_until(condition, seconds=15):
    """@return whether it became true"""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if condition():
            return True
        time.sleep(0.02)
    return False
