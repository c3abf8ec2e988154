# SPDX-License-Identifier: Apache-2.0
"""Where byodctl backup writes to, and what it leaves alone: backup_test.py BYODCTL LAUTHD"""

import os
import select
import stat
import subprocess
import threading

from with_daemon import WithDaemon, main

HEADER = b"SQLite format 3\0"
FOREIGN = b"a letter\n"


class Targets(WithDaemon):
    def setUp(self):
        super().setUp()
        self.place = self.daemon.directory / "place"
        self.place.mkdir()
        self.file = self.place / "file"

    def backup(self, target, *options, expect=0, prefix=()):
        """@return what it wrote to standard error"""
        status, _, err = self.daemon.run("backup", str(target), *options, prefix=prefix)
        self.assertEqual(status, expect, err)
        return err

    def assert_refused(self, target, reason, *options):
        self.assertEqual(self.backup(target, *options, expect=1), f"byodctl: {target}: {reason}\n")
        self.assert_no_drafts()

    def assert_backup(self, path):
        self.assertTrue(path.read_bytes().startswith(HEADER))
        self.assertEqual(self.daemon.run("restore", str(path))[0], 0)

    def assert_no_drafts(self):
        self.assertEqual([name for name in os.listdir(self.place) if name.startswith("file.")], [])

    def test_a_new_file_is_a_backup_that_only_its_owner_may_read(self):
        self.backup(self.file)
        self.assert_backup(self.file)
        self.assertEqual(stat.S_IMODE(self.file.stat().st_mode), 0o600)
        self.assert_no_drafts()

    def test_a_backup_and_an_empty_file_are_replaced(self):
        self.file.touch()
        self.backup(self.file)
        former = self.file.stat().st_ino
        self.backup(self.file)
        self.assert_backup(self.file)
        self.assertNotEqual(self.file.stat().st_ino, former)

    def test_another_file_is_replaced_by_force_only(self):
        self.file.write_bytes(FOREIGN)
        self.assert_refused(self.file, "not a backup; to replace it use --force")
        self.assertEqual(self.file.read_bytes(), FOREIGN)
        self.backup(self.file, "--force")
        self.assert_backup(self.file)

    def test_another_database_is_not_a_backup(self):
        self.file.write_bytes(HEADER + bytes(4080))
        self.assert_refused(self.file, "not a backup; to replace it use --force")

    def test_the_daemons_own_database_is_not_replaced(self):
        self.assertEqual(self.daemon.run("set", "order", "mac")[0], 0)
        own = self.daemon.directory / "state" / "eBYOD.db"
        former = own.stat().st_ino
        self.assertIn("in use", self.backup(own, expect=1))
        self.assertEqual(own.stat().st_ino, former)

    def test_a_read_only_file_is_replaced_by_force_only(self):
        self.backup(self.file)
        self.file.chmod(0o400)
        former = self.file.stat().st_ino
        self.assert_refused(self.file, "read-only; to replace it use --force")
        self.assertEqual(self.file.stat().st_ino, former)
        self.backup(self.file, "--force")
        self.assertNotEqual(self.file.stat().st_ino, former)

    def test_a_directory_is_refused(self):
        self.file.mkdir()
        for options in ((), ("--force",)):
            self.assert_refused(self.file, "Is a directory", *options)
        self.assert_refused(self.place / "absent" / "file", "No such file or directory")

    def test_a_symbolic_link_is_followed_and_stays(self):
        target = self.place / "target"
        self.backup(target)
        former = target.stat().st_ino
        self.file.symlink_to("target")
        self.backup(self.file)
        self.assertTrue(self.file.is_symlink())
        self.assertNotEqual(target.stat().st_ino, former)
        self.assert_backup(target)
        target.write_bytes(FOREIGN)
        self.assert_refused(self.file, "not a backup; to replace it use --force")

    def test_a_dangling_symbolic_link_gets_its_target(self):
        folder = self.place / "folder"
        folder.mkdir()
        (folder / "inner").symlink_to("../target")
        self.file.symlink_to("folder/inner")
        self.backup(self.file)
        self.assertTrue(self.file.is_symlink() and (folder / "inner").is_symlink())
        self.assert_backup(self.place / "target")

    def test_symbolic_links_in_a_circle_are_refused(self):
        self.file.symlink_to("other")
        (self.place / "other").symlink_to("file")
        self.assert_refused(self.file, "Too many levels of symbolic links")

    def test_a_device_is_written_to_as_it_is(self):
        before = os.stat("/dev/null")
        self.backup("/dev/null")
        self.backup("/dev/null", "--force")
        self.assertEqual(os.stat("/dev/null").st_ino, before.st_ino)
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))
        self.assert_refused("/dev/full", "No space left on device")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/full").st_mode))

    def test_a_fifo_gets_the_backup_when_it_is_read_and_is_not_waited_for(self):
        os.mkfifo(self.file)
        self.assert_refused(self.file, "no process reads from this FIFO")
        opened = threading.Event()
        received = []

        def read():
            descriptor = os.open(self.file, os.O_RDONLY | os.O_NONBLOCK)
            os.set_blocking(descriptor, True)
            opened.set()
            select.select([descriptor], [], [], 60)  # until there is a writer
            with os.fdopen(descriptor, "rb") as fifo:
                received.append(fifo.read())

        reader = threading.Thread(target=read)
        reader.start()
        self.assertTrue(opened.wait(60))
        self.backup(self.file)
        reader.join(60)
        self.assertTrue(stat.S_ISFIFO(self.file.stat().st_mode))
        whole = self.place / "whole"
        self.backup(whole)
        self.assertEqual(len(received[0]), whole.stat().st_size)
        self.assertTrue(received[0].startswith(HEADER))

    def run_to(self, target, stdout):
        return subprocess.run(self.command("backup", target),
                              stdout=stdout, stderr=subprocess.PIPE, check=False, timeout=120)

    def test_standard_output_gets_the_backup_by_all_its_names(self):
        for name in ("-", "/dev/stdout", "/dev/fd/1"):
            done = self.run_to(name, subprocess.PIPE)
            self.assertEqual((done.returncode, done.stderr), (0, b""))
            self.assertTrue(done.stdout.startswith(HEADER), name)
            with open(self.file, "wb") as out:
                out.write(b"before ")
                out.flush()
                former = os.fstat(out.fileno()).st_ino
                self.assertEqual(self.run_to(name, out).returncode, 0, name)
            # The open file is the one that is written, behind what is there.
            self.assertEqual(self.file.stat().st_ino, former)
            self.assertEqual(self.file.read_bytes(), b"before " + done.stdout)

    def test_json_and_a_backup_on_standard_output_exclude_each_other(self):
        status, out, err = self.daemon.run("backup", "-", "--json")
        self.assertEqual((status, out), (1, ""))
        self.assertIn("exclude each other", err)

    def test_a_backup_that_breaks_off_leaves_the_former_one(self):
        self.backup(self.file)
        former = self.file.read_bytes()
        self.daemon.stop()
        self.backup(self.file, expect=2)
        self.assertEqual(self.file.read_bytes(), former)
        self.assert_no_drafts()


if __name__ == "__main__":
    main()
