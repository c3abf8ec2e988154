# SPDX-License-Identifier: Apache-2.0
"""Puts rules of one answer together as alternatives of one expression.

An expression of many alternatives is long, so it is tried early. A rule may
only move up as far as nothing changes: below every rule with another answer
that is a special case of it, or that wins on a training text which both match.
Expressions only ever grow here, so an order that holds once holds to the end.
"""

from collections import Counter

from byodrules import matching
from byodrules.catalogue import Rule

PASSES = 3  # when one expression has grown, the ones below it may grow too


def _runs(expression):
    parts = matching.alternatives(expression)
    return {t[i : i + 3] for terms in parts for t in terms for i in range(len(t) - 2)}


def special_cases(rules):
    """Pairs (general, special) of indices: whatever the special one matches, the general does."""
    filed = {}
    for index, rule in enumerate(rules):
        for run in _runs(rule.key):
            filed.setdefault(run, set()).add(index)
    found = []
    for index, rule in enumerate(rules):
        runs = _runs(rule.key)
        if not runs:
            continue
        near = None
        for run in sorted(runs, key=lambda r: (len(filed[r]), r)):
            near = filed[run] if near is None else near & filed[run]
        for other in sorted(near):
            if other != index and matching.implies(rules[other].key, rule.key):
                found.append((index, other))
    return found


class _Bin:
    """An expression being put together: its rules, its length, and how long it may get."""

    def __init__(self, index, size):
        self.members = [index]
        self.size = size


class Merger:
    """Merges rules and adds up what each expression is worth."""

    def __init__(self, rules, texts, fixed, limit, worth=None):
        """Rules whose key is in `fixed` stay alone; no expression gets longer than `limit` bytes;
        `worth` holds what a key's rule is worth."""
        self._limit = limit
        self._rules = rules
        self._worth = worth or {}
        self._answers = [(rule.name, rule.answer()) for rule in rules]
        self._sizes = [matching.length(rule.key) for rule in rules]
        self._alone = [
            rule.key in fixed or len(matching.alternatives(rule.key)) != 1 for rule in rules
        ]
        matcher = matching.Matcher([rule.key for rule in rules])
        self._matching = sorted({tuple(matcher.all_matching(text)) for text in texts})
        self._pairs = special_cases(rules)

    def _beaten_by(self):
        """For each rule the rules with another answer that it must stay below."""
        beaten = [set() for _ in self._rules]
        for general, special in self._pairs:
            if self._answers[general][1] != self._answers[special][1]:
                beaten[general].add(special)
        for winner, *others in filter(None, self._matching):
            for index in others:
                if self._answers[index][1] != self._answers[winner][1]:
                    beaten[index].add(winner)
        return beaten

    def merge(self):
        """The rules, merged where they may be, each with what its members are worth."""
        count = len(self._rules)
        beaten = self._beaten_by()
        beats = [[] for _ in range(count)]
        for index, winners in enumerate(beaten):
            for winner in winners:
                beats[winner].append(index)
        bins = [_Bin(i, self._sizes[i]) for i in range(count)]  # by rule

        def room(held):
            """How long an expression of these rules may be."""
            most = self._limit
            for index in held.members:
                for winner in beaten[index]:
                    most = min(most, bins[winner].size - 1)
            return most

        groups = {}
        for index in range(count):
            if not self._alone[index]:
                groups.setdefault(self._answers[index], []).append(index)

        # An alternative beside one that covers it would match nothing more.
        kin = {}
        for general, special in self._pairs:
            kin.setdefault(general, set()).add(special)
            kin.setdefault(special, set()).add(general)

        def says_again(held, one):
            return any(i in kin and not kin[i].isdisjoint(held.members) for i in one.members)

        def pack(indices):
            """Longest first, each expression into the first one that has room for it."""
            open_bins = []
            seen = set()
            for index in sorted(indices, key=lambda i: (-bins[i].size, self._rules[i].key)):
                if id(bins[index]) not in seen:
                    seen.add(id(bins[index]))
                    open_bins.append(bins[index])
            packed = []
            for one in open_bins:
                its_room = room(one)
                for held in packed:
                    size = held[0].size + 2 + one.size
                    if size <= min(held[1], its_room) and not says_again(held[0], one):
                        held[0].members += one.members
                        held[0].size = size
                        held[1] = min(held[1], its_room)
                        for index in one.members:
                            bins[index] = held[0]
                        break
                else:
                    packed.append([one, its_room])

        # Rules that nothing has to beat go first: what a long expression of them covers
        # need not be said again by their special cases.
        order = sorted(groups.items())
        covered = [
            (general, special)
            for general, special in self._pairs
            if not beaten[general]
            and not self._alone[general]
            and not self._alone[special]
            and self._answers[general] == self._answers[special]
        ]
        narrow = {special for _, special in covered}
        for _, members in order:
            pack([i for i in members if not beaten[i] and i not in narrow])
        needless = {}  # and what covers it
        for general, special in covered:
            if (
                general not in narrow
                and bins[general].size >= bins[special].size
                and all(bins[i].size < bins[general].size for i in beats[special])
            ):
                needless.setdefault(special, general)
        for _ in range(PASSES):
            for _, members in order:
                pack([i for i in members if i not in needless])

        worth = Counter()
        for index, rule in enumerate(self._rules):
            worth[id(bins[needless.get(index, index)])] += self._worth.get(rule.key, 0)
        result = []
        done = set()
        for index in range(count):
            held = bins[index]
            if index in needless or id(held) in done:
                continue
            done.add(id(held))
            keys = sorted(self._rules[i].key for i in held.members)
            first = self._rules[index]
            key = "||".join(keys)
            if len(keys) > 1:
                first = Rule(key, first.name, first.vendor, first.category, first.os)
            result.append((first, worth[id(held)]))
        return result


def merge(rules, texts, fixed, limit):
    """Merges what may be merged."""
    return [rule for rule, _ in Merger(rules, texts, fixed, limit).merge()]
