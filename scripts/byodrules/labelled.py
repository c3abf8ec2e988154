# SPDX-License-Identifier: Apache-2.0
"""Labelled fingerprints: tab-separated text under a header that names the columns.

Fields are taken raw: no quoting, and a field may begin with a double quote.
The column `type` is another name of `category`. An empty label, and the label
"unknown", say nothing and are never scored.
"""

import hashlib
from dataclasses import dataclass

FIELDS = ("category", "vendor", "os")
PARTS = ("mac", "options", "user_agent")


@dataclass(frozen=True)
class Fingerprint:
    mac: str
    options: str
    user_agent: str
    category: str
    vendor: str
    os: str
    label: str
    sources: tuple

    def label_of(self, field):
        return getattr(self, field)

    def fold(self, folds):
        """The fold a fingerprint belongs to: the same on every machine and in every run."""
        key = self.user_agent or self.options or self.mac
        return int(hashlib.sha1(key.encode("utf-8")).hexdigest(), 16) // 10 % folds


def is_labelled(path):
    """Whether a file's header names a part of a fingerprint and a label."""
    with open(path, encoding="utf-8") as file:
        header = set(file.readline().rstrip("\n").split("\t"))
    return bool(header & set(PARTS)) and bool(header & {*FIELDS, "type"})


def read(path):
    """Reads one file; a line with more or fewer fields than the header is an error."""
    rows = []
    with open(path, encoding="utf-8", newline="\n") as file:
        header = file.readline().rstrip("\n").split("\t")
        if not set(PARTS) & set(header):
            raise ValueError(f"{path}: the header names none of {', '.join(PARTS)}")
        place = {name: index for index, name in enumerate(header)}
        if "category" not in place and "type" in place:
            place["category"] = place["type"]

        for number, line in enumerate(file, 2):
            fields = line.rstrip("\n").split("\t")
            if len(fields) != len(header):
                raise ValueError(f"{path}:{number}: {len(fields)} fields, expected {len(header)}")

            def field(name):
                return fields[place[name]] if name in place else ""

            def said(name):
                text = field(name)
                return "" if text == "unknown" else text

            rows.append(
                Fingerprint(
                    mac=field("mac"),
                    options=field("options"),
                    user_agent=field("user_agent"),
                    category=said("category"),
                    vendor=said("vendor"),
                    os=said("os"),
                    label=field("label"),
                    sources=tuple(s for s in field("source").split(",") if s),
                )
            )
    return rows
