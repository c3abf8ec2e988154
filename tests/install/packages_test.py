# SPDX-License-Identifier: Apache-2.0
"""packages_test.py SOURCES: what debian/ says of the tree is so."""

import pathlib
import re
import sys
import unittest

SOURCES = pathlib.Path(sys.argv[1])


def read(name):
    return (SOURCES / name).read_text(encoding="utf-8")


class Packages(unittest.TestCase):
    def test_the_symbols_are_the_exported_names(self):
        library, *symbols = read("debian/libbyod1.symbols").splitlines()
        self.assertTrue(library.startswith("libbyod.so.1 libbyod1 "))
        names = [re.fullmatch(r" (\w+)@Base \d+\.\d+\.\d+", symbol)[1] for symbol in symbols]
        self.assertEqual(sorted(read("tests/abi/exports.txt").split()), sorted(names))

    def test_the_documents_of_the_packages_exist(self):
        lists = sorted(SOURCES.glob("debian/*.docs"))
        self.assertLess(2, len(lists))
        for documents in lists:
            for name in documents.read_text(encoding="utf-8").split():
                self.assertTrue((SOURCES / name).is_file(), name)

    def test_every_package_is_described(self):
        packages = re.findall(r"^Package: (\S+)$", read("debian/control"), re.M)
        self.assertLess(5, len(packages))
        described = read("docs/packages.md")
        for package in packages:
            self.assertIn(f"`{package}`", described)

    def test_programs_packages_client_and_changes_state_one_version(self):
        version = re.search(r'BYOD_VERSION_TEXT "([\d.]+)"', read("include/byod_version.h"))[1]
        # What follows a "~" makes a version that comes before the one that is released.
        packages = re.match(r"byod \(([\d.]+)[)~-]", read("debian/changelog"))[1]
        client = re.search(r'^version = "([\d.]+)"$', read("python/pyproject.toml"), re.M)[1]
        changes = re.search(r"^## ([\d.]+)", read("CHANGELOG.md"), re.M)[1]
        self.assertEqual([version] * 3, [packages, client, changes])

    def test_the_build_needs_what_the_setup_installs(self):
        needs = re.search(r"^Build-Depends:(.*?)^[^ ]", read("debian/control"), re.M | re.S)[1]
        wanted = {re.sub(r":any| .*", "", need.strip()) for need in needs.split(",")}
        wanted = {need for need in wanted if not re.match("debhelper-compat|dh-sequence-|python3$", need)}
        self.assertLess(8, len(wanted))
        installed = set(re.findall(r"[a-z0-9.+-]+", read("scripts/setup.sh")))
        self.assertEqual(set(), wanted - installed)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
