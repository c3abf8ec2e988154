# SPDX-License-Identifier: Apache-2.0
"""The messages of tests/golden/, by name."""

import pathlib
import re


def read(folder, name):
    """@return the bytes of each message of a file"""
    golden = {}
    current = None
    for line in pathlib.Path(folder, name).read_text(encoding="utf-8").splitlines():
        line = line.partition("#")[0].rstrip()
        heading = re.fullmatch(r"(\w+):", line)
        if heading:
            current = heading.group(1)
            golden[current] = b""
        elif line:
            golden[current] += bytes.fromhex(line)
    return golden
