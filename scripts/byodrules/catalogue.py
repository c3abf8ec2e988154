# SPDX-License-Identifier: Apache-2.0
"""The files of the catalogue: CSV under a header, quoted by RFC 4180, '#' comment lines."""

import csv
import os
from dataclasses import dataclass, replace

LIMITS = {"expression": 255, "options": 255, "name": 127, "vendor": 63, "category": 63, "os": 63}

USER_AGENT = "user-agent.csv"
DHCP_OPTION = "dhcp-option.csv"
MAC = "mac.csv"
VENDOR_ALIAS = "vendor-alias.csv"


@dataclass(frozen=True)
class Rule:
    key: str  # the expression or the option list
    name: str = ""
    vendor: str = ""
    category: str = ""
    os: str = ""
    example: str = ""

    def answer(self):
        return (self.category, self.vendor, self.os)

    def with_example(self, text):
        return replace(self, example=text)


def replace_key(rule, key):
    """The same rule under another key."""
    return replace(rule, key=key)


def read_table(path, required, optional=()):
    """Rows as dictionaries; a missing column or an over-long text is an error with its line."""
    rows = []
    with open(path, encoding="utf-8", newline="") as file:
        numbered = ((n, line) for n, line in enumerate(file, 1))
        last = [0]

        def uncommented():
            for number, line in numbered:
                last[0] = number
                if not line.startswith("#") and line.strip():
                    yield line

        reader = csv.DictReader(uncommented(), strict=True)
        missing = [c for c in required if c not in (reader.fieldnames or ())]
        if missing:
            raise ValueError(f"{path}: no column {', '.join(missing)}")
        for row in reader:
            if None in row or None in row.values():
                raise ValueError(f"{path}:{last[0]}: wrong number of fields")
            for column, limit in LIMITS.items():
                if len(row.get(column, "").encode("utf-8")) > limit:
                    raise ValueError(f"{path}:{last[0]}: {column} longer than {limit} bytes")
            rows.append({c: row.get(c, "") for c in (*required, *optional)})
    return rows


def read_rules(path, key):
    """Rules of user-agent.csv (key "expression") or dhcp-option.csv (key "options")."""
    rows = read_table(path, (key, "name", "vendor", "category", "os"), ("example",))
    return [
        Rule(r[key], r["name"], r["vendor"], r["category"], r["os"], r["example"]) for r in rows
    ]


def quoted(text):
    """A CSV field; blanks at its ends are quoted too, since some readers trim bare ones."""
    if text != text.strip() or text.startswith("#") or any(c in text for c in ',"\r\n'):
        return '"' + text.replace('"', '""') + '"'
    return text


def write_table(path, header, rows, comment):
    """Writes rows in the order given, below the lines of a comment."""
    temporary = f"{path}.new"
    with open(temporary, "w", encoding="utf-8", newline="") as file:
        for line in comment:
            file.write(f"# {line}".rstrip() + "\n")
        for row in (header, *rows):
            file.write(",".join(map(quoted, row)) + "\n")
    os.replace(temporary, path)


def write_rules(path, key, rules, comment):
    """Writes rules in the order given, below the lines of a comment."""
    header = (key, "name", "vendor", "category", "os", "example")
    rows = ((r.key, r.name, r.vendor, r.category, r.os, r.example) for r in rules)
    write_table(path, header, rows, comment)
