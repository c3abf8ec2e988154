# SPDX-License-Identifier: Apache-2.0
"""Settles ties between rules.

Which of two rules of one length is tried first is not fixed. A separator at the end of an
expression changes nothing of what it matches, but makes it longer, so that it is tried earlier.
"""

from collections import Counter

from byodrules import matching
from byodrules.catalogue import replace_key

ROUNDS = 8  # a rule that grows can meet the next longer one


def ties(rules, texts):
    """Yields (text, indices of the rules of the winning length) where the answers differ."""
    matcher = matching.Matcher([rule.key for rule in rules])
    for text in texts:
        found = matcher.winners(text)
        if len({rules[i].answer() for i in found}) > 1:
            yield text, found


def _right(answer, labels):
    return sum(bool(label) and label == given for label, given in zip(labels, answer))


def settle(rules, facts, limit):
    """The rules, of which no two tie on one of the texts with different answers.

    facts: (text, (category, vendor, os)). Of rules that tie the one that is right more often gets
    longer by a separator; where it cannot, or meets another, the one that is right less often is
    left out.
    """
    labels = dict(facts)
    rules = list(rules)
    for round_number in range(ROUNDS):
        votes = {}  # how often each rule of a tied set is right
        for text, found in ties(rules, labels):
            count = votes.setdefault(tuple(sorted(found)), Counter())
            for index in found:
                count[index] += _right(rules[index].answer(), labels[text])
        if not votes:
            return rules
        lost = set()
        for found, count in sorted(votes.items()):
            if lost.intersection(found):
                continue
            best = max(found, key=lambda i: (count[i], rules[i].key))
            key = rules[best].key + "&"
            if round_number < ROUNDS // 2 and matching.length(key) <= limit:
                rules[best] = replace_key(rules[best], key)
            else:
                lost.update(i for i in found if rules[i].answer() != rules[best].answer())
        rules = [rule for i, rule in enumerate(rules) if i not in lost]
    raise ValueError("rules that tie could not be settled")

