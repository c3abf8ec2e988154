# SPDX-License-Identifier: Apache-2.0
"""The structure of the sources: which way includes point, and that each header stands alone.

structure_test.py SOURCE [COMPILE-COMMANDS]

Without compile commands headers are not compiled.
"""

import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1)).resolve()
COMMANDS = pathlib.Path(sys.argv.pop(1)) if len(sys.argv) > 1 else None

# What each folder may include besides itself, its own folders inside, and include/.
DEVICE = "platform/device"  # what a device offers; all that the library sees of the platform
LIBRARY = [DEVICE, "rulekinds", "data", "service", "tlv", "db", "cfgmsg"]
SHARED = ["platform/additions", "protocol", "text", "explain", "rulefiles"]
MAY_INCLUDE = {
    "include": [],
    "net": [],
    "platform": ["net"],
    "rulekinds": [],
    "data": ["net", "rulekinds", DEVICE],
    "service": ["net", DEVICE],
    "tlv": ["net", "rulekinds", DEVICE, "data"],
    "db": ["net", "rulekinds", DEVICE, "data", "tlv"],
    "cfgmsg": ["net", "rulekinds", DEVICE, "data", "tlv"],
    "protocol": ["net", DEVICE, "tlv"],
    "text": [],
    "explain": ["net", *LIBRARY, "protocol"],
    "rulefiles": ["net", *LIBRARY, "text"],
    "evidence": ["net", "data", "rulefiles"],
    "lint": ["net", *LIBRARY, *SHARED, "evidence"],
    "capture": ["net", DEVICE, "data"],
    "feeds": ["net", DEVICE, "data", "capture"],
    "lauthd": ["net", *LIBRARY, *SHARED, "evidence", "lint"],
    "byodctl": ["net", *LIBRARY, *SHARED, "evidence", "lint", "capture"],
}

INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)


def read_sources():
    """@return for each source its includes in order, those of this project as paths"""
    files = {}
    for folder in MAY_INCLUDE:
        for path in sorted((SOURCE / folder).rglob("*")):
            if path.suffix in (".h", ".cpp", ".c"):
                files[path.relative_to(SOURCE).as_posix()] = path.read_text(encoding="utf-8")
    def find(name, within):
        roots = [pathlib.PurePath(within).parent.as_posix(), "", "include", "platform/device",
                 "platform/additions"]
        for root in roots:
            candidate = (pathlib.PurePath(root) / name).as_posix()
            if candidate in files:
                return candidate
        return None
    return {name: [found for written in INCLUDE.findall(text) if (found := find(written, name))]
            for name, text in files.items()}


def unit_of(name):
    """A source and its header are one unit."""
    return name.rsplit(".", 1)[0]


def circles(edges):
    """@return the groups of units that reach each other, each sorted"""
    numbers, lowest, stack, found = {}, {}, [], []

    def visit(unit):
        numbers[unit] = lowest[unit] = len(numbers)
        stack.append(unit)
        for other in sorted(edges.get(unit, ())):
            if other not in numbers:
                visit(other)
                lowest[unit] = min(lowest[unit], lowest[other])
            elif other in stack:
                lowest[unit] = min(lowest[unit], numbers[other])
        if lowest[unit] == numbers[unit]:
            group = []
            while not group or group[-1] != unit:
                group.append(stack.pop())
            if len(group) > 1:
                found.append(sorted(group))

    for unit in sorted(edges):
        if unit not in numbers:
            visit(unit)
    return found


class Structure(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.includes = read_sources()
        cls.edges = {}
        for name, included in cls.includes.items():
            targets = cls.edges.setdefault(unit_of(name), set())
            targets.update(unit_of(other) for other in included if unit_of(other) != unit_of(name))

    def test_a_circle_is_found_where_there_is_one(self):
        edges = {"a": {"b"}, "b": {"c"}, "c": {"b"}, "d": {"a"}}
        self.assertEqual(circles(edges), [["b", "c"]])
        self.assertEqual(circles({"a": {"b", "c"}, "b": {"c"}, "c": set()}), [])

    def test_no_units_include_each_other_in_a_circle(self):
        self.assertEqual(circles(self.edges), [])

    def test_folders_include_only_what_lies_below_them(self):
        wrong = []
        for name, included in self.includes.items():
            folder = name.split("/", 1)[0]
            allowed = tuple(f"{below}/" for below in (folder, "include", *MAY_INCLUDE[folder]))
            wrong += [f"{name} includes {other}" for other in included
                      if not other.startswith(allowed)]
        self.assertEqual(wrong, [])

    def test_every_folder_of_sources_is_known_here(self):
        tracked = {path.parent.relative_to(SOURCE).parts[0]
                   for path in SOURCE.glob("*/**/*.cpp") if path.is_file()}
        others = {"tests", "fuzz", "bench", "build", "integrations", "examples"}
        self.assertEqual(tracked - others - set(MAY_INCLUDE), set())

    def test_a_source_includes_its_own_header_first(self):
        wrong = [name for name, included in self.includes.items()
                 if name.endswith(".cpp") and unit_of(name) + ".h" in self.includes
                 and (not included or included[0] != unit_of(name) + ".h")]
        self.assertEqual(wrong, [])

    @unittest.skipIf(COMMANDS is None, "no compile commands")
    def test_every_header_compiles_alone(self):
        commands = {}
        for entry in json.loads(COMMANDS.read_text(encoding="utf-8")):
            path = pathlib.Path(entry["file"])
            if path.is_relative_to(SOURCE) and path.suffix == ".cpp":
                folder = path.relative_to(SOURCE).parts[0]
                commands.setdefault(folder, (entry["directory"], shlex.split(entry["command"])))

        # The build has compiled a header alone where a source includes it first, and no precompiled
        # header comes before it.
        def is_precompiled(name):
            return "-Winvalid-pch" in commands.get(name.split("/", 1)[0], (None, []))[1]

        shown = {included[0] for name, included in self.includes.items()
                 if name.endswith(".cpp") and included and not is_precompiled(name)}
        headers = sorted(name for name in self.includes if name.endswith(".h") and name not in shown
                         and not name.startswith("include/"))

        def compile_alone(header):
            folder = header.split("/", 1)[0]
            directory, command = commands.get(folder) or commands["lauthd"]
            options = []
            skip = False
            for word in command[1:]:
                if skip or word in ("-o", "-c", "-include"):
                    skip = not skip and word != "-c"
                elif not word.endswith((".cpp", ".o", "-Winvalid-pch")):
                    options.append(word)
            compiler = command[0] if "ccache" not in command[0] else command[1]
            done = subprocess.run(
                [compiler, *(word for word in options if word != compiler), "-fsyntax-only",
                 "-O0", "-x", "c++", "-"],
                input=f'#include "{header}"\n', cwd=directory, capture_output=True, text=True,
                check=False)
            return None if done.returncode == 0 else f"{header}: {done.stderr[:600]}"

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            failures = [failure for failure in pool.map(compile_alone, headers) if failure]
        self.assertGreater(len(headers), 0)
        self.assertEqual(failures, [])


if __name__ == "__main__":
    unittest.main()
