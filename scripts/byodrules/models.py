# SPDX-License-Identifier: Apache-2.0
"""Beginnings of Android model codes that belong to one brand.

The list of models is tab-separated text with the columns `model`, `vendor` and
`name`; `model` is what stands in front of " Build/" or ")" in a User-Agent.
"""

import re

LEAST = 3  # letters and digits of a beginning: shorter ones belong to every brand sooner or later
SHARED = 2  # models that a beginning needs: one alone may be anybody's next
# What a marketing name says of the kind of device. Most Android devices are phones.
_KINDS = (
    ("tv", re.compile(r"\b(?:\w*TV|Box|STB|Stick|Projector|Set[- ]?top)\b", re.IGNORECASE)),
    ("tablet", re.compile(r"(?:\bTab(?:let)?\b|Pad\b|\bTab[A-Z0-9]|\bSlate\b)", re.IGNORECASE)),
    ("", re.compile(r"Watch|Chromebook|\bCar\b|\bPOS\b|Terminal|Scanner", re.IGNORECASE)),
)


def read(path):
    """Yields (model, vendor, name) of every model that an expression can name."""
    with open(path, encoding="utf-8", newline="\n") as file:
        header = file.readline().rstrip("\n").split("\t")
        missing = {"model", "vendor", "name"} - set(header)
        if missing:
            raise ValueError(f"{path}: no column {', '.join(sorted(missing))}")
        columns = [header.index(column) for column in ("model", "vendor", "name")]
        for number, line in enumerate(file, 2):
            fields = line.rstrip("\n").split("\t")
            if len(fields) != len(header):
                raise ValueError(f"{path}:{number}: {len(fields)} fields, expected {len(header)}")
            model, vendor, name = (fields[column] for column in columns)
            if vendor and not set(model) & set("|&;/()"):
                yield model, _VENDORS.get(vendor, vendor), name


# Brands of the list that are known by another name.
_VENDORS = {"Redmi": "Xiaomi", "BQru": "bq"}


def kind_of(name):
    """"both" for phones, "tablet" or "tv"; "" for what is none of them.

    A phone whose browser does not say "Mobile" asks for the pages of a larger screen, and looks
    like a tablet; of a tablet that is named like a phone the same is true the other way round.
    """
    for kind, words in _KINDS:
        if words.search(name):
            return kind
    return "both"


def beginnings(models):
    """
    Maps the shortest beginnings that belong to one brand and one kind to (vendor, kind).

    A beginning that several brands share is followed until they part; what one model alone
    begins with is left out.
    """
    found = {}
    entries = sorted({(model, vendor, kind_of(name)) for model, vendor, name in models})

    def follow(first, last, size):
        if last - first < SHARED:
            return
        text = entries[first][0][:size]
        answers = {(vendor, kind) for _, vendor, kind in entries[first:last]}
        distinct = {model for model, _, _ in entries[first:last]}
        if len(answers) == 1 and sum(c.isalnum() for c in text) >= LEAST and len(distinct) >= SHARED:
            vendor, kind = answers.pop()
            if kind and text == text.rstrip():
                found[text] = (vendor, kind)
                return
        start = first
        while start < last:
            if len(entries[start][0]) <= size:
                start += 1
                continue
            end = start
            while end < last and entries[end][0][: size + 1] == entries[start][0][: size + 1]:
                end += 1
            follow(start, end, size + 1)
            start = end

    follow(0, len(entries), 0)
    return found
