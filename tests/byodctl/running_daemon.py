# SPDX-License-Identifier: Apache-2.0
"""A lauthd of its own, in a private directory, and byodctl asking it."""

import contextlib
import os
import pathlib
import re
import resource
import shutil
import socket
import subprocess
import tempfile
import time

RULES = {
    "user-agent.csv": "expression,name,vendor,category,os\n"
                      "iPhone,Apple iPhone,Apple,Mobile,iOS\n"
                      "Android,,,,Android\n",
    "mac.csv": "mac,mask,name,vendor,category,os\n"
               "00:11:22/24,,,MacVendor,Tablet,MacOs\n",
    "dhcp-option.csv": "options,name,vendor,category,os\n"
                       '"1,3,6",Printer of Acme,Acme,Printer,\n',
}


def copy_for_every_user(program, directory):
    """Copies a program of the build, with the build's libraries, to where every user may run it: the
    build itself may lie in a home directory that only its owner may enter.

    @return the words that a command starts with to run the copy"""
    directory = pathlib.Path(directory)
    directory.mkdir(mode=0o755, exist_ok=True)
    directory.chmod(0o755)
    # Where the program is run by an emulator there is only a script, which has no libraries.
    listed = subprocess.run(["ldd", program], capture_output=True, text=True, check=False).stdout
    for name, path in re.findall(r"(lib(?:byod|lauth)\S*) => (/.+) \(", listed):
        shutil.copy(path, directory / name)
    shutil.copy(program, directory)
    return ["env", f"LD_LIBRARY_PATH={directory}", str(directory / pathlib.Path(program).name)]

COUNT_REQUEST = bytes.fromhex("f94c4d0100000018" "0001000400000002" "0002000400000004")


class Daemon:
    """Runs from start to stop; restarts keep the state directory."""

    def __init__(self, lauthd, byodctl):
        self._scratch = tempfile.TemporaryDirectory()
        self.directory = pathlib.Path(self._scratch.name)
        self.socket = self.directory / "run" / "lauthd.sock"
        self.rules = self.directory / "rules"
        self.rules.mkdir()
        for name, content in RULES.items():
            (self.rules / name).write_text(content, encoding="utf-8")
        self._lauthd = lauthd
        self._byodctl = byodctl
        self._process = None
        self.registry = ""  # the directory that --ieee names
        self.log = self.directory / "log"

    def use(self, lauthd, byodctl):
        """Other programs from the next start on."""
        self._lauthd = lauthd
        self._byodctl = byodctl

    def start(self, *arguments):
        with open(self.log, "ab") as log:
            self._process = subprocess.Popen(
                [self._lauthd, "--socket", self.socket, "--state-dir", self.directory / "state",
                 "--rules", self.rules, "--ieee", self.registry, *arguments], stdout=log, stderr=log)
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            if self._process.poll() is not None:
                break
            with contextlib.closing(socket.socket(socket.AF_UNIX)) as probe:
                with contextlib.suppress(OSError):
                    probe.connect(str(self.socket))
                    # The daemon listens before it has read its rules, and answers behind that.
                    probe.settimeout(60)
                    probe.sendall(COUNT_REQUEST)
                    if probe.recv(1):
                        return
            time.sleep(0.02)
        raise RuntimeError("lauthd does not start: " + self.log.read_text(encoding="utf-8"))

    def stop(self):
        """@return its exit status"""
        if self._process is None:
            return 0
        process, self._process = self._process, None
        process.terminate()
        return process.wait(timeout=60)

    def kill(self):
        """Ends it without a word to it."""
        process, self._process = self._process, None
        process.kill()
        process.wait(timeout=60)

    def limit_file_size(self, size=resource.RLIM_INFINITY):
        """Lets no file of the daemon grow beyond a size: a disk that is full."""
        resource.prlimit(self._process.pid, resource.RLIMIT_FSIZE, (size, resource.RLIM_INFINITY))

    def close(self):
        self.stop()
        self._scratch.cleanup()

    def run(self, *arguments, stdin="", socket_path=None, prefix=()):
        """@return exit status, standard output, standard error"""
        patience = os.environ.get("BYOD_TEST_PATIENCE")  # seconds, where programs are emulated
        if patience and "--timeout" not in arguments:
            arguments = ("--timeout", patience, *arguments)
        done = subprocess.run(
            [*prefix, self._byodctl, "--socket", str(socket_path or self.socket), *arguments],
            input=stdin.encode(), capture_output=True, check=False, timeout=120,
            env={**os.environ, "LAUTHD_PROGRAM": str(self._lauthd)})
        return done.returncode, done.stdout.decode(), done.stderr.decode()
