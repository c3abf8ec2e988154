# SPDX-License-Identifier: Apache-2.0
"""documents_test.py BYODCTL LAUTHD SOURCES: what docs/ says of the programs is what they do."""

import pathlib
import re
import socket
import struct
import subprocess
import sys
import unittest

BYODCTL, LAUTHD, SOURCES = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
sys.path.insert(0, str(SOURCES / "tests" / "byodctl"))

import running_daemon  # noqa: E402


def document(name):
    return (SOURCES / "docs" / name).read_text(encoding="utf-8")


def indented_blocks(text):
    """The blocks of lines that are indented by four blanks, without these."""
    blocks = re.findall(r"(?:^    .*\n|^\n(?=    ))+", text, re.M)
    return [re.sub("^    ", "", block.strip("\n") + "\n", flags=re.M) for block in blocks]


def bytes_of(block):
    """The bytes that a block shows, each line up to its comment."""
    digits = ""
    for line in block.splitlines():
        digits += re.match(r"\s*((?:[0-9A-F]{2}(?:\s|$))*)", line).group(1)
    return bytes.fromhex(digits)


class Options(unittest.TestCase):
    def setUp(self):
        self.help = subprocess.run([LAUTHD, "--help"], capture_output=True, check=True,
                                   timeout=60).stdout.decode()
        self.rows = re.findall(r"^\| `(--[a-z-]+)[^|]*\|([^|]*)\|", document("lauthd.md"), re.M)

    def test_the_document_and_the_help_list_the_same_options(self):
        helped = re.findall(r"^  (?:-\w,)?(--[a-z-]+)", self.help, re.M)
        self.assertLess(10, len(helped))
        self.assertEqual(sorted(helped), sorted(option for option, _ in self.rows))

    def test_the_defaults_are_those_of_the_help(self):
        documented = {option: default.strip(" `") for option, default in self.rows
                      if default.strip() not in ("", "off", "none", "the group of the daemon")}
        helped = dict(re.findall(r"^  (--[a-z-]+) ?[A-Z]*=(\S+)", self.help, re.M))
        self.assertEqual("none", helped.pop("--rule-limit"))
        # Where the build was configured with others.
        helped["--socket"] = documented["--socket"]
        helped["--rules"] = documented["--rules"]
        documented.pop("--rule-limit", None)
        self.assertEqual(documented, helped)


class ConfigurationFile(unittest.TestCase):
    def setUp(self):
        self.daemon = running_daemon.Daemon(LAUTHD, BYODCTL)
        self.addCleanup(self.daemon.close)
        self.file = self.daemon.directory / "lauthd.conf"
        self.blocks = indented_blocks(document("lauthd.md"))

    def check(self, content):
        self.file.write_text(content, encoding="utf-8")
        done = subprocess.run([LAUTHD, "--config", self.file, "--check"], capture_output=True,
                              check=False, timeout=60)
        return done.returncode, done.stderr.decode()

    def test_the_sample_is_accepted(self):
        (sample,) = [block for block in self.blocks if block.startswith("# /etc/lauth/lauthd.conf")]
        registry = self.daemon.directory / "registry"
        registry.mkdir()
        for name in ("oui.csv", "mam.csv", "oui36.csv", "iab.csv"):
            (registry / name).write_text(
                "Registry,Assignment,Organization Name,Organization Address\n", encoding="utf-8")
        for there, here in (("/usr/share/byod/rules", self.daemon.rules),
                            ("/var/lib/ieee-data", registry),
                            (" netdev ", " root "), (" adm ", " root ")):
            self.assertIn(there, sample)
            sample = sample.replace(there, str(here))
        self.assertEqual((0, ""), self.check(sample))

    def test_the_faults_are_reported_as_shown(self):
        (shown,) = [block for block in self.blocks if "did you mean" in block]
        content = "\nsockett = /run/s\n" + "\n" * 6 + "idle-timeout = 0\n"
        status, errors = self.check(content)
        self.assertEqual(2, status)
        self.assertEqual(shown, errors.replace(str(self.file), "/etc/lauth/lauthd.conf"))


class MessagesExample(unittest.TestCase):
    def test_the_daemon_answers_the_request_with_the_reply(self):
        request, reply = [bytes_of(block) for block in indented_blocks(document("messages.md"))
                          if block.startswith("F9 4C 4D 01")]
        daemon = running_daemon.Daemon(LAUTHD, BYODCTL)
        self.addCleanup(daemon.close)
        (daemon.rules / "user-agent.csv").write_text(
            "expression,name,vendor,category,os\niPhone,,,phone,\n", encoding="utf-8")
        daemon.start()
        self.assertEqual(0, daemon.run("set", "authorization", "staff", "phone", "vlan=20")[0])
        with socket.socket(socket.AF_UNIX) as client:
            client.settimeout(60)
            client.connect(str(daemon.socket))
            client.sendall(request)
            answer = client.recv(8, socket.MSG_WAITALL)
            answer += client.recv(struct.unpack(">I", answer[4:])[0] - 8, socket.MSG_WAITALL)
        self.assertEqual(reply, answer)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
