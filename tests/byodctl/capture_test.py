# SPDX-License-Identifier: Apache-2.0
"""byodctl identify --pcap, run as a program: capture_test.py BYODCTL LAUTHD FILTERED

FILTERED is 1 where the programs filter their system calls, else 0.
"""

import gzip
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

from captures import RANDOM, RAW, ack, capture, dhcp, ethernet, http
from running_daemon import RULES, Daemon, copy_for_every_user

BYODCTL = LAUTHD = SECCOMP = ""
SOURCE = pathlib.Path(__file__).resolve().parents[2]
CORPUS = pathlib.Path(os.environ.get("BYOD_CORPUS", SOURCE.parent / "shared" / "corpus"))

KEYS = ["line", "mac", "options", "user_agent", "vendor", "category", "os", "name", "identified",
        "locally_administered", "error", "explanation", "authorization", "time", "address",
        "host_name", "vendor_class", "filled"]
SUMMARY_KEYS = ["packets", "dropped", "malformed", "option_lists", "user_agents", "cut",
                "identified", "unknown"]
NO_END = ethernet(dhcp([1, 3, 6], end=bytes(40)))
CUT = ethernet(dhcp([1, 3, 6]))[:-3]


ON_A_REAL_MACHINE = unittest.skipIf("BYOD_EMULATED" in os.environ,
                                    "the emulator does not know all calls of capturing")


class Captures(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)
        for name, content in RULES.items():
            (self.directory / name).write_text(content, encoding="utf-8")

    def run_ctl(self, *arguments, stdin=b""):
        done = subprocess.run([BYODCTL, *arguments], input=stdin, capture_output=True, check=False)
        return done.returncode, done.stdout.decode(), done.stderr.decode()

    def identify(self, frames, *arguments, link_type=1, expect=0):
        path = self.directory / "test.pcap"
        path.write_bytes(capture(frames, link_type))
        status, out, err = self.run_ctl("identify", "--pcap", str(path), "--offline", "--rules",
                                        str(self.directory), "--ieee", "", *arguments)
        self.assertEqual(status, expect, err)
        self.err = err
        return out

    def stations(self, frames, *arguments, **options):
        """What is said of stations, and the summary."""
        out = self.identify(frames, "--json", *arguments, **options)
        self.summary = json.loads(self.err)
        self.assertEqual(list(self.summary), SUMMARY_KEYS)
        lines = [json.loads(line) for line in out.splitlines()]
        for line in lines:
            self.assertEqual(list(line), KEYS)
        return lines

    def test_list_and_user_agent_of_a_station_are_joined(self):
        first, second = self.stations([ethernet(dhcp([1, 3, 6])), ethernet(http("an iPhone"))])
        self.assertEqual((first["line"], first["mac"], first["options"], first["user_agent"]),
                         (1, "00:11:22:33:44:55", "1,3,6", ""))
        self.assertEqual([first[key] for key in ("vendor", "category", "os", "name")],
                         ["Acme", "Printer", "MacOs", "Printer of Acme"])
        self.assertEqual((first["time"], first["address"]), ("2026-01-02T03:04:05.250Z", ""))
        self.assertEqual((second["line"], second["options"], second["user_agent"]),
                         (2, "1,3,6", "an iPhone"))
        self.assertEqual(second["os"], "iOS")
        self.assertEqual(second["address"], "192.0.2.10")

    def test_a_station_is_reported_again_only_when_its_answer_changes(self):
        android, iphone = http("Android"), http("an iPhone")
        lines = self.stations([ethernet(frame) for frame in
                               (android, android, http("Android 2"), iphone, iphone, android)])
        self.assertEqual([line["line"] for line in lines], [1, 4, 6])
        self.assertEqual(self.summary["user_agents"], 6)
        self.assertEqual((self.summary["identified"], self.summary["unknown"]), (1, 0))

    def test_the_last_line_of_a_station_holds_its_last_evidence(self):
        first, last = self.stations([ethernet(http("Android")), ethernet(http("Android 2")),
                                     ethernet(http("Android 3"))])
        self.assertEqual((first["line"], first["user_agent"]), (1, "Android"))
        self.assertEqual((last["line"], last["user_agent"]), (3, "Android 3"))
        self.assertEqual((self.summary["identified"], self.summary["unknown"]), (1, 0))

    def test_the_last_line_of_an_unknown_station_holds_its_last_evidence(self):
        lines = self.stations([ethernet(dhcp([9], RANDOM), RANDOM),
                               ethernet(http("nobody knows"), RANDOM)], expect=3)
        self.assertEqual([(line["line"], line["options"], line["user_agent"]) for line in lines],
                         [(1, "9", ""), (2, "9", "nobody knows")])

    def test_malformed_packets_are_counted_and_tell_nothing(self):
        self.assertEqual(self.stations([NO_END, CUT, b"\x00"]), [])
        self.assertEqual(self.summary["malformed"], 3)
        self.assertEqual(self.summary["option_lists"], 0)

    def test_the_last_line_has_what_came_before_the_address_was_given(self):
        """A User-Agent without a sender belongs to the station that is given its address later."""
        lines = self.stations([dhcp([1, 3, 6]), http("an iPhone"), ack("192.0.2.10")],
                              link_type=RAW)
        last = [line for line in lines if line["mac"] == "00:11:22:33:44:55"][-1]
        self.assertEqual((last["line"], last["options"], last["user_agent"]), (3, "1,3,6", "an iPhone"))

    def test_a_host_name_and_a_vendor_class_fill_what_is_open(self):
        self.write_evidence()
        first, last = self.stations(
            [ethernet(dhcp([9], RANDOM, more=b"\x3c\x04MSFT")),
             ethernet(dhcp([9], RANDOM, more=b"\x0c\x07desk-12"))])
        self.assertEqual((first["category"], first["os"], first["vendor_class"]),
                         ("PC", "Windows", "MSFT"))
        self.assertEqual(first["filled"], [
            {"field": "category", "value": "PC", "evidence": "vendor-class", "confidence": 90,
             "rule": "MS"},
            {"field": "os", "value": "Windows", "evidence": "vendor-class", "confidence": 89,
             "rule": "MS"}])
        self.assertEqual((last["host_name"], last["vendor_class"], last["vendor"]),
                         ("desk-12", "MSFT", "Acme"))
        self.assertEqual([part["evidence"] for part in last["filled"]],
                         ["host-name", "host-name", "vendor-class"])
        (plain,) = self.stations([ethernet(dhcp([9], RANDOM, more=b"\x3c\x04MSFT"))], "--evidence", "off",
                                 expect=3)
        self.assertEqual((plain["category"], plain["filled"]), ("", []))

    def write_evidence(self):
        for name, content in {
                "evidence.csv": "kind,field,confidence\nhost-name,vendor,98\nhost-name,category,97\n"
                                "vendor-class,category,90\nvendor-class,os,89\n",
                "host-name.csv": "pattern,vendor,category\ndesk-*,Acme,PC\n",
                "vendor-class.csv": "prefix,category,os\nMS,PC,Windows\n"}.items():
            (self.directory / name).write_text(content, encoding="utf-8")

    def test_a_capture_may_be_compressed(self):
        plain = capture([ethernet(http("an iPhone"))])
        path = self.directory / "packed.pcap.gz"
        path.write_bytes(gzip.compress(plain))
        for packed, file in ((gzip.compress(plain), "-"), (b"", str(path))):
            status, out, err = self.run_ctl("identify", "--pcap", file, "--offline", "--rules",
                                            str(self.directory), "--ieee", "", "--json", stdin=packed)
            self.assertEqual((status, json.loads(out)["vendor"]), (0, "Apple"), err)
        path.write_bytes(gzip.compress(plain)[:-9])
        status, _, err = self.run_ctl("identify", "--pcap", str(path), "--offline", "--rules",
                                      str(self.directory), "--ieee", "")
        self.assertEqual(status, 1)
        self.assertIn(f"byodctl: {path}: the compressed data ends early\n", err)

    def test_tags_do_not_hide_a_packet(self):
        for tags in (b"\x81\x00\x00\x07", b"\x88\xa8\x00\x07\x81\x00\x00\x08"):
            (line,) = self.stations([ethernet(dhcp([1, 3, 6]), tags=tags)])
            self.assertEqual(line["name"], "Printer of Acme")

    def test_a_station_without_a_link_layer_is_known_by_its_ip_address(self):
        (line,) = self.stations([http("an iPhone")], link_type=RAW)
        self.assertEqual((line["mac"], line["address"], line["vendor"]), ("", "192.0.2.10", "Apple"))

    def test_an_unknown_station_gives_status_3(self):
        (line,) = self.stations([ethernet(dhcp([9]), RANDOM)[:6] +
                                 ethernet(dhcp([9], RANDOM), RANDOM)[6:]], expect=3)
        self.assertFalse(line["identified"])
        self.assertTrue(line["locally_administered"])
        self.assertEqual(self.summary["unknown"], 1)

    def test_a_table_shows_the_address_and_flags_what_is_locally_administered(self):
        out = self.identify([ethernet(http("an iPhone"), RANDOM)])
        self.assertEqual(
            out,
            "MAC                 ADDRESS     VENDOR  CATEGORY  OS   NAME          DHCP OPTIONS  "
            "USER-AGENT\n"
            "da:11:22:33:44:55*  192.0.2.10  Apple   Mobile    iOS  Apple iPhone  -             "
            "an iPhone\n"
            "* locally administered address: its prefix names no vendor\n")
        self.assertEqual(self.err, "byodctl: packets: 1, malformed 0; DHCP option lists: 0; "
                                   "User-Agents: 1; stations: 1 identified, 0 unknown\n")

    def test_tab_separated_lines_have_time_and_address_behind_the_usual_columns(self):
        out = self.identify([ethernet(http("an iPhone"))], "--tsv")
        self.assertEqual(out, "mac\toptions\tuser_agent\tvendor\tcategory\tos\tname\ttime\taddress"
                              "\thost_name\tvendor_class\tfilled\n"
                              "00:11:22:33:44:55\t\tan iPhone\tApple\tMobile\tiOS\tApple iPhone\t"
                              "2026-01-02T03:04:05.250Z\t192.0.2.10\t\t\t\n")

    def test_an_answer_is_explained(self):
        out = self.identify([ethernet(dhcp([7])), ethernet(http("an iPhone"))], "--explain")
        self.assertIn("packet 2: mac 00:11:22:33:44:55, options 7, user-agent an iPhone\n", out)
        self.assertIn('predefined rule "iPhone"', out)

    def test_a_long_user_agent_is_cut_and_counted(self):
        (line,) = self.stations([ethernet(http("iPhone" + "x" * 300))])
        self.assertEqual(line["user_agent"], "iPhone" + "x" * 249)
        self.assertEqual(self.summary["cut"], 1)

    def test_a_capture_may_come_from_standard_input(self):
        status, out, _ = self.run_ctl("identify", "--pcap", "-", "--offline", "--rules",
                                      str(self.directory), "--ieee", "", "--json",
                                      stdin=capture([ethernet(http("an iPhone"))]))
        self.assertEqual((status, json.loads(out)["vendor"]), (0, "Apple"))

    def test_a_damaged_capture_is_read_up_to_the_damage(self):
        path = self.directory / "cut.pcap"
        path.write_bytes(capture([ethernet(http("an iPhone"))] * 2)[:-5])
        status, out, err = self.run_ctl("identify", "--pcap", str(path), "--offline", "--rules",
                                        str(self.directory), "--ieee", "", "--tsv")
        self.assertEqual(status, 1)
        self.assertEqual(len(out.splitlines()), 2)
        self.assertIn(f"byodctl: {path}: truncated dump file", err)

    def test_a_file_that_is_not_a_capture_is_refused(self):
        path = self.directory / "none.pcap"
        for content, reason in ((b"", "truncated"), (b"x" * 100, "unknown file format"),
                                (capture([], 147), "frames of the kind")):
            path.write_bytes(content)
            status, out, err = self.run_ctl("identify", "--offline", "--pcap", str(path))
            self.assertEqual((status, out), (1, ""), err)
            self.assertIn(reason, err)
        status, _, err = self.run_ctl("identify", "--offline", "--pcap", "/nonexistent")
        self.assertEqual((status, err), (1, "byodctl: /nonexistent: No such file or directory\n"))

    def test_what_is_not_a_regular_file_is_refused_at_once(self):
        fifo = self.directory / "fifo"
        os.mkfifo(fifo)
        for path in (fifo, "/dev/zero", self.directory):
            status, out, err = self.run_ctl("identify", "--offline", "--pcap", str(path))
            self.assertEqual((status, out), (1, ""), err)
            reason = "Is a directory" if path == self.directory else "not a regular file"
            self.assertIn(f"byodctl: {path}: {reason}", err)

    def test_the_phone_of_a_real_capture_is_a_phone(self):
        """It sends its connectivity check as a Linux browser, and says by DHCP what it is."""
        path = CORPUS / "pcap" / "ndpi-android.pcap"
        if not path.exists():
            self.skipTest(f"no {path}")
        status, out, err = self.run_ctl("identify", "--pcap", str(path), "--offline", "--rules",
                                        str(SOURCE / "rules"), "--ieee", "", "--json")
        self.assertIn(status, (0, 3), err)
        last = {line["mac"]: line for line in map(json.loads, out.splitlines())}
        phones = [line for line in last.values() if line["vendor_class"] == "android-dhcp-9"]
        self.assertEqual([(line["category"], line["os"]) for line in phones],
                         [("Mobile", "Android")])

    def test_other_fingerprints_exclude_a_capture(self):
        for other in (("--mac", "001122334455"), ("--dhcp", "1"), ("--user-agent", "x"),
                      ("--input", "tsv")):
            status, _, err = self.run_ctl("identify", "--offline", "--pcap", "x", *other)
            self.assertEqual(status, 1)
            self.assertIn("exclude each other", err)

    def test_the_daemon_identifies_unless_offline_is_given(self):
        daemon = Daemon(LAUTHD, BYODCTL)
        self.addCleanup(daemon.close)
        daemon.start()
        daemon.run("set", "authorization", "staff", "Mobile", "vlan=20")
        path = self.directory / "test.pcap"
        path.write_bytes(capture([ethernet(http("an iPhone"))]))
        status, out, err = daemon.run("identify", "--pcap", str(path), "--group", "staff", "--json")
        self.assertEqual(status, 0, err)
        answer = json.loads(out)
        self.assertEqual(answer["vendor"], "Apple")
        self.assertEqual(answer["authorization"]["attributes"], {"vlan": "20"})
        status, _, err = daemon.run("identify", "--pcap", str(path), socket_path="/nonexistent")
        self.assertEqual(status, 2, err)

    @ON_A_REAL_MACHINE
    def test_an_interface_that_is_not_there_is_bad_input(self):
        if os.geteuid() != 0:
            self.skipTest("capturing needs root")
        status, _, err = self.run_ctl("watch", "--interface", "none0", "--offline")
        self.assertEqual((status, err), (1, "byodctl: none0: no such interface\n"))

    @ON_A_REAL_MACHINE
    def test_without_the_capability_capturing_is_not_permitted(self):
        command = [BYODCTL]
        if os.geteuid() == 0:
            scratch = tempfile.TemporaryDirectory()
            self.addCleanup(scratch.cleanup)
            command = ["setpriv", "--reuid=65534", "--clear-groups", "--bounding-set=-all",
                       "--inh-caps=-all", *copy_for_every_user(BYODCTL, scratch.name)]
        done = subprocess.run([*command, "watch", "--interface", "lo", "--offline"],
                              capture_output=True, text=True, check=False)
        if done.returncode not in (1, 4) and "byodctl" not in done.stderr:
            self.skipTest("cannot give up rights here: " + done.stderr)
        self.assertEqual(done.returncode, 4, done.stderr)
        self.assertIn("CAP_NET_RAW", done.stderr)

    @ON_A_REAL_MACHINE
    def test_rights_are_given_up_before_the_first_packet_is_read(self):
        if os.geteuid() != 0:
            self.skipTest("capturing needs root")
        with subprocess.Popen([BYODCTL, "watch", "--interface", "lo", "--offline", "--rules",
                               str(self.directory), "--ieee", ""], stderr=subprocess.PIPE,
                              text=True) as watch:
            try:
                line = watch.stderr.readline()
                if "not permitted" in line:
                    self.skipTest(line)
                self.assertEqual(line, "byodctl: watching lo\n")
                status = pathlib.Path(f"/proc/{watch.pid}/status").read_text(encoding="ascii")
            finally:
                watch.kill()
        fields = dict(line.split(":\t", 1) for line in status.splitlines())
        self.assertEqual(fields["Uid"], "\t".join(["65534"] * 4))
        self.assertEqual(fields["Gid"], "\t".join(["65534"] * 4))
        self.assertNotIn("0", fields["Groups"].split())
        for which in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
            self.assertEqual(int(fields[which], 16), 0, which)
        self.assertEqual((fields["NoNewPrivs"], fields["Seccomp"]), ("1", SECCOMP))

    def test_a_capture_is_read_with_its_system_calls_filtered(self):
        # A reader that waits for its standard input, with the rules read.
        with subprocess.Popen([BYODCTL, "identify", "--pcap", "-", "--offline", "--rules",
                               str(self.directory), "--ieee", "", "--tsv"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as reader:
            data = capture([ethernet(http("an iPhone"))])
            reader.stdin.write(data[:24])  # the head of the file
            reader.stdin.flush()
            fields = {}
            for _ in range(500):
                status = pathlib.Path(f"/proc/{reader.pid}/status").read_text(encoding="ascii")
                fields = dict(line.split(":\t", 1) for line in status.splitlines())
                if fields["NoNewPrivs"] == "1" and fields["Seccomp"] == SECCOMP:
                    break
                time.sleep(0.01)
            out, err = reader.communicate(data[24:])
        self.assertEqual((fields["NoNewPrivs"], fields["Seccomp"]), ("1", SECCOMP), err)
        self.assertEqual(int(fields["CapPrm"], 16), 0)
        self.assertIn(b"Apple", out)

    def test_options_of_an_interface_need_one(self):
        for option in (("--offline",), ("--offline", "--rules", "/")):
            status, _, err = self.run_ctl("watch", *option)
            self.assertEqual(status, 1)
            self.assertIn("requires", err)


if __name__ == "__main__":
    BYODCTL, LAUTHD = sys.argv[1:3]
    SECCOMP = {"1": "2", "0": "0"}[sys.argv[3]]
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]], verbosity=2)
