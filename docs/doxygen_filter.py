#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""doxygen_filter.py HEADER: the header as Doxygen is to read it.

In our headers functions that belong together stand under one comment, without a blank line between
them. Doxygen takes such a comment for the first one only, so each of the others gets a copy, with the
parameters that it has.
"""

import re
import sys

COMMENT = re.compile(r"[ \t]*/\*\*(?!<).*?\*/[ \t]*\n", re.S)
DECLARATION = re.compile(r"(?![ \t]*(?:/\*|\*|#(?!define)|\}|$))[^\n{}]*(?:\([^{}]*?\))?[^\n{}]*;[^\n]*\n"
                         r"|#define [^\n\\]*\n", re.M)
PARAMETER = re.compile(r"\n[ \t]*\*[ \t]*@param[ \t]+(\w+(?:, \w+)*).*?(?=\n[ \t]*\*[ \t]*@|\n?[ \t]*\*/)",
                       re.S)


def comment_for(comment, declaration):
    """The comment without the parameters that the declaration does not have."""
    words = set(re.findall(r"\w+", declaration))

    def keep(match):
        names = [name for name in match[1].split(", ") if name in words]
        if not names:
            return ""
        return match[0].replace(match[1], ",".join(names), 1)
    return PARAMETER.sub(keep, comment)


def filtered(text):
    out = []
    at = 0
    for comment in COMMENT.finditer(text):
        if comment.start() < at:
            continue
        out.append(text[at:comment.start()])
        at = comment.end()
        first = True
        while declaration := DECLARATION.match(text, at):
            out += [comment_for(comment[0], declaration[0]), declaration[0]]
            at = declaration.end()
            first = False
        if first:
            out.append(comment[0])
    return "".join(out) + text[at:]


with open(sys.argv[1], encoding="utf-8") as header:
    sys.stdout.write(filtered(header.read()))
