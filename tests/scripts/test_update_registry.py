# SPDX-License-Identifier: Apache-2.0
"""What takes the place of the registry of MAC prefixes, and what does not."""

import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

SCRIPT = os.path.join(
    os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts", "byod-update-registry")
HEADER = "Registry,Assignment,Organization Name,Organization Address\n"
OLD = HEADER + "".join(f"MA-L,0011{n:02X},Old {n},\n" for n in range(20))
NEW = HEADER + "".join(f'MA-L,0011{n:02X},"New, {n}",\n' for n in range(25))
BLOCKS = HEADER + "MA-M,AABBCC1,Medium,\n"


class UpdateRegistry(unittest.TestCase):
    def setUp(self):
        held = tempfile.TemporaryDirectory()
        self.addCleanup(held.cleanup)
        folder = pathlib.Path(held.name)
        self.used, self.offered, self.reloaded = (
            folder / "used", folder / "offered", folder / "reloaded")
        for directory, oui in ((self.used, OLD), (self.offered, NEW)):
            directory.mkdir()
            (directory / "oui.csv").write_text(oui)
        (self.offered / "mam.csv").write_text(BLOCKS)

    def update(self, *names):
        urls = [(self.offered / name).as_uri() for name in names]
        return subprocess.run(
            [sys.executable, SCRIPT, "--directory", self.used,
             "--reload", f"touch {self.reloaded}", *urls],
            capture_output=True, text=True, check=False)

    def test_current_files_take_the_place_of_those_in_use_and_the_daemon_reloads(self):
        done = self.update("oui.csv", "mam.csv")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout, "oui.csv: 25 blocks\nmam.csv: 1 block\n")
        self.assertEqual((self.used / "oui.csv").read_text(), NEW)
        self.assertEqual(sorted(os.listdir(self.used)), ["mam.csv", "oui.csv"])
        self.assertTrue(self.reloaded.exists())

    def test_a_file_that_is_no_registry_leaves_all_as_they_were(self):
        for content in ("<html>not found</html>\n", HEADER, HEADER + "MA-M,AABBCCD1,Long,\n",
                        BLOCKS + "MA-M,AABB", "\x00"):
            (self.offered / "mam.csv").write_text(content)
            done = self.update("oui.csv", "mam.csv")
            self.assertEqual(done.returncode, 1, content)
            self.assertIn("nothing is replaced", done.stderr)
            self.assertEqual((self.used / "oui.csv").read_text(), OLD)
            self.assertEqual(os.listdir(self.used), ["oui.csv"])
            self.assertFalse(self.reloaded.exists())

    def test_a_file_that_lost_many_blocks_is_refused(self):
        (self.offered / "oui.csv").write_text("".join(OLD.splitlines(True)[:18]))
        done = self.update("oui.csv")
        self.assertEqual(done.returncode, 1)
        self.assertIn("17 blocks, where the file in use has 20", done.stderr)
        (self.offered / "oui.csv").write_text("".join(OLD.splitlines(True)[:19]))
        self.assertEqual(self.update("oui.csv").returncode, 0)

    def test_what_cannot_be_downloaded_or_has_another_name_is_reported(self):
        self.assertEqual(self.update("iab.csv").returncode, 1)
        self.assertEqual(self.update("other.csv").returncode, 2)
        self.assertEqual(self.update("oui.csv", "oui.csv").returncode, 2)

    def test_without_urls_those_of_a_file_are_used(self):
        listed = self.used.parent / "urls"
        listed.write_text(f"# the registry\n\n  {(self.offered / 'oui.csv').as_uri()}\n")
        done = subprocess.run(
            [sys.executable, SCRIPT, "--directory", self.used, "--reload", "", "--urls", listed],
            capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stdout), (0, "oui.csv: 25 blocks\n"), done.stderr)
        listed.write_text("# none\n")
        for path in (listed, self.used / "absent"):
            done = subprocess.run(
                [sys.executable, SCRIPT, "--directory", self.used, "--urls", path],
                capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 2)
            self.assertIn("no URL", done.stderr)

    def test_a_file_has_the_date_that_its_server_states(self):
        os.utime(self.offered / "oui.csv", (0, 1_700_000_000))  # which a file: URL states
        self.assertEqual(self.update("oui.csv", "mam.csv").returncode, 0)
        self.assertEqual((self.used / "oui.csv").stat().st_mtime, 1_700_000_000)
        os.utime(self.offered / "oui.csv", (0, 32_000_000_000))
        self.assertEqual(self.update("oui.csv").returncode, 0)
        self.assertAlmostEqual((self.used / "oui.csv").stat().st_mtime, time.time(), delta=60)

    def test_the_file_of_a_package_behind_a_link_stays(self):
        package = self.used.parent / "package.csv"
        (self.used / "oui.csv").rename(package)
        (self.used / "oui.csv").symlink_to(package)
        (self.offered / "oui.csv").write_text("".join(OLD.splitlines(True)[:15]))
        self.assertIn("where the file in use has 20", self.update("oui.csv").stderr)
        (self.offered / "oui.csv").write_text(NEW)
        self.assertEqual(self.update("oui.csv").returncode, 0)
        self.assertEqual(((self.used / "oui.csv").read_text(), package.read_text()), (NEW, OLD))

    def test_a_reload_that_fails_is_reported(self):
        urls = [(self.offered / "oui.csv").as_uri()]
        done = subprocess.run(
            [sys.executable, SCRIPT, "--directory", self.used, "--reload", "false", *urls],
            capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("non-zero exit status", done.stderr)


if __name__ == "__main__":
    unittest.main()
