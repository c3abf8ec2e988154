# SPDX-License-Identifier: Apache-2.0
"""Which rule answers in place of one that a new edition of a catalogue no longer has.

An administrator's modification of a predefined rule is stored under the rule's key. When learning
again splits the rule or merges it with others, successors.csv names the rule that has its
terminals now, so that the modification can be moved there.
"""

import os
from collections import Counter

from byodrules import matching
from byodrules.catalogue import read_table, write_table

FILE = "successors.csv"
COLUMNS = ("kind", "rule", "successor")
USER_AGENT = "user-agent"
COMMENT = (
    "Written by scripts/learn-rules: rules of earlier editions that were split or merged, and",
    "the rule that has answered for their terminals since.",
)


def spelt(expression):
    """A text for each alternative, where no real one is known."""
    return [" ".join(terms) for terms in matching.alternatives(expression) if terms]


def find(old, new, texts):
    """The successors of old rules that are not among the new ones: {key: key}.

    It is the rule that wins on the example of the old one, or else on most of the texts that the
    old one won. It must give the same answer: a general rule that catches what nothing else
    matches any more is not a successor, and must not get a modification that was made for a few.
    """
    kept = {rule.key.lower() for rule in new}
    gone = {i for i, rule in enumerate(old) if rule.key.lower() not in kept}
    decided = {i: [] for i in gone}
    matcher = matching.Matcher([rule.key for rule in old])
    for text in texts if gone else ():
        winner = matcher.winner(text)
        if winner in gone:
            decided[winner].append(text)
    matcher = matching.Matcher([rule.key for rule in new])
    found = {}
    for index in gone:
        rule = old[index]
        for witnesses in ([rule.example], decided[index], spelt(rule.key)):
            winners = [matcher.winner(text) for text in witnesses if text]
            votes = Counter(
                new[i].key for i in winners if i is not None and new[i].answer() == rule.answer()
            )
            if votes:
                found[rule.key] = min(votes, key=lambda key: (-votes[key], key))
                break
    return found


def carried(rows, found, new_keys):
    """Rows of earlier editions that still hold, with successors that have successors replaced."""
    kept = {key.lower() for key in new_keys}
    by_rule = {rule.lower(): successor for rule, successor in found.items()}
    for rule, successor in rows:
        successor = successor if successor.lower() in kept else by_rule.get(successor.lower())
        if successor is not None and rule.lower() not in kept:
            yield rule, successor


def update(path, kind, old, new, texts):
    """Rewrites the file for a new edition of the rules of one kind; the others stay."""
    rows = []
    if os.path.exists(path):
        rows = [tuple(row[column] for column in COLUMNS) for row in read_table(path, COLUMNS)]
    found = find(old, new, texts)
    earlier = [(rule, successor) for other, rule, successor in rows if other == kind]
    current = dict(carried(earlier, found, [rule.key for rule in new]))
    current.update(found)
    others = [row for row in rows if row[0] != kind]
    rows = others + [(kind, rule, successor) for rule, successor in current.items()]
    if rows or os.path.exists(path):
        write_table(path, COLUMNS, sorted(rows), COMMENT)
    return found
