# SPDX-License-Identifier: Apache-2.0
"""Keeps expressions apart that the table of rules would take for one.

The table compares expressions without regard to case, the search does not: of
"Huawei" and "HUAWEI" a table takes one, although they match different strings.
The same expression can be written in several ways.
"""

import itertools

from byodrules import matching
from byodrules.catalogue import replace_key

ORDERS = 24  # of terms or alternatives that are tried


def spellings(expression):
    """Yields other ways to write an expression, those of its length first."""
    parts = ["&&".join(terms) for terms in matching.alternatives(expression)]
    if len(parts) > 1:
        for order in itertools.islice(itertools.permutations(parts), 1, ORDERS):
            yield "||".join(order)
    elif parts:
        terms = matching.alternatives(expression)[0]
        for order in itertools.islice(itertools.permutations(terms), 1, ORDERS):
            yield "&&".join(order)
    for separators in range(1, 4):
        yield expression + "&" * separators


def distinct(rules, most):
    """The rules, respelt where another is equal but for case; `most` bytes an expression."""
    taken = set()
    result = []
    for rule in rules:
        key = rule.key
        if key.lower() in taken:
            fitting = (
                text
                for text in spellings(key)
                if text.lower() not in taken and matching.length(text) <= most
            )
            key = next(fitting, key)
        taken.add(key.lower())
        result.append(rule if key == rule.key else replace_key(rule, key))
    return result
