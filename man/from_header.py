#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""from_header.py HEADER OUTPUT PAGE [SECTION]: the manual page of a group of functions, for scdoc.

A page is made of a header, or of one section of it, which begins with a line of dashes and a title. The
text is that of the header's comments; functions that stand under one comment are described together.
"""

import pathlib
import re
import sys

SECTION = re.compile(r"^/\* -{10,} (.*) \*/\n", re.M)
COMMENT = re.compile(r"^/\*\*(?!<)(.*?)\*/[ \t]*\n", re.M | re.S)
FUNCTION = re.compile(r"(?!typedef|#|/\*)[A-Za-z][^;{}#]*?\b(\w+)\([^;{}]*\);\n")


def escaped(text):
    text = re.sub(r"([\\*_`])", r"\\\1", text)
    return re.sub(r"(?m)^([-#.|\[\];<])", r"\\\1", text)


def plain(comment):
    """The lines of a comment without its frame."""
    return re.sub(r"(?m)^[ \t]*\*?[ ]?", "", comment).strip()


def described(text):
    """A comment's text as paragraphs, with a list of its parameters."""
    parts = re.split(r"(?:^|(?<=\s))@(param|return|see|file)\b[ \t]*", text)
    paragraphs = [paragraph(part) for part in re.split(r"\n[ \t]*\n", parts[0]) if part.strip()]
    parameters = []
    for kind, body in zip(parts[1::2], parts[2::2]):
        if kind == "param":
            names, rest = re.match(r"((?:\w+, )*\w+)\s*(.*)", body.strip(), re.S).groups()
            parameters.append(f"_{names.replace(', ', '_, _')}_\n\t{paragraph(rest)}")
        elif kind == "return":
            paragraphs.append("Returns " + paragraph(body) + ".")
        elif kind == "see":
            paragraphs.append("See also " + paragraph(body) + ".")
        else:
            paragraphs += [paragraph(part) for part in re.split(r"\n[ \t]*\n", body) if part.strip()]
    returns = [part for part in paragraphs if part.startswith(("Returns ", "See also "))]
    return [part for part in paragraphs if part not in returns] + parameters + returns


def paragraph(text):
    if re.search(r"^ {2,}\S+ {2,}", text, re.M):  # a table stays as it is
        return "```\n" + text.strip("\n") + "\n```"
    return escaped(" ".join(text.split()))


def groups(text):
    """Each comment with the functions that stand under it."""
    for comment in COMMENT.finditer(text):
        at = comment.end()
        found = []
        while function := FUNCTION.match(text, at):
            found.append((function[1], " ".join(function[0].split())))
            at = function.end()
        if found:
            yield plain(comment[1]), found


def section_of(text, title):
    parts = SECTION.split(text)
    return dict(zip(parts[1::2], parts[2::2]))[title]


def main(header, output, page, title=None):
    text = pathlib.Path(header).read_text(encoding="utf-8")
    name = pathlib.Path(header).name
    overview = described(plain(COMMENT.search(text)[1]))
    part = section_of(text, title) if title else text
    found = list(groups(part))
    # A declaration, wrapped where its arguments go on.
    synopsis = "\n".join(re.sub(r"(.{60,}?,) ", r"\1\n    ", declaration)
                         for _, functions in found for _, declaration in functions)
    summary = title or overview[0].split(":")[0].rstrip(".").lower()
    out = [f"{page}(3)", "", "# NAME", "", f"{page} - {summary}", "", "# SYNOPSIS", "", "```",
           f"#include <{name}>", "", synopsis, "```", "", "# DESCRIPTION", ""]
    out += ["\n\n".join(overview), "", "# FUNCTIONS", ""]
    for comment, functions in found:
        out += ["## " + ", ".join(function for function, _ in functions).replace("_", "\\_"), "",
                "\n\n".join(described(comment)), ""]
    out += ["# SEE ALSO", "", "*libbyod*(3)"]
    pathlib.Path(output).write_text("\n".join(out) + "\n", encoding="utf-8")


main(*sys.argv[1:])
