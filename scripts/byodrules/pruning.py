# SPDX-License-Identifier: Apache-2.0
"""Leaves out rules that can never decide anything."""

from collections import Counter
from dataclasses import replace

from byodrules import matching


def _runs(terms):
    """The three-character runs of an alternative's terms."""
    return {t[i : i + 3] for t in terms for i in range(len(t) - 2)}


class _Covers:
    """Finds what leaves an alternative of a rule nothing to match.

    That has only terms that are part of terms of the alternative. Each alternative is filed under
    its rarest run, and the runs of another find all that could cover it.
    """

    def __init__(self, rules, lost):
        self._lost = lost
        self.parsed = [matching.alternatives(rule.key) for rule in rules]
        self._sizes = [matching.length(rule.key) for rule in rules]
        common = Counter(run for parts in self.parsed for terms in parts for run in _runs(terms))
        self._filed = {}
        self._always = set()
        for index, parts in enumerate(self.parsed):
            if index in lost:
                continue
            for terms in parts or [()]:
                runs = _runs(terms)
                if runs:
                    rarest = min(runs, key=lambda run: (common[run], run))
                    self._filed.setdefault(rarest, []).append(index)
                else:
                    self._always.add(index)

    def is_covered(self, index, terms):
        """Whether another rule, as long or longer and not lost, matches all that has these terms."""
        near = set(self._always)
        for run in _runs(terms):
            near.update(self._filed.get(run, ()))
        return any(
            other != index
            and other not in self._lost
            and self._sizes[other] >= self._sizes[index]
            and matching.covers(terms, self.parsed[other])
            for other in near
        )


def never_winning(rules, fold_case=True):
    """Indices of rules that others, as long or longer, leave nothing to match.

    Each alternative of such a rule is covered by one of theirs; several rules
    together may cover what none of them covers alone. Also of duplicates but for
    case (the later one), and of rules that say nothing. Without `fold_case`
    spellings stay apart: merging may yet make them alternatives of one rule.
    """
    lost = set()
    seen = {}
    for index, rule in enumerate(rules):
        key = rule.key.lower() if fold_case else rule.key
        if key in seen or not any(rule.answer()):
            lost.add(index)
        else:
            seen[key] = index
    covers = _Covers(rules, lost)
    for index, parts in enumerate(covers.parsed):
        if index not in lost and all(covers.is_covered(index, terms) for terms in parts or [[]]):
            lost.add(index)
    return lost


def without_dead_alternatives(rules):
    """The rules, without alternatives that others, as long or longer, leave nothing to match.

    Separators take the place of what is left out: another length would be another order.
    """
    covers = _Covers(rules, set())
    result = []
    for index, (rule, parts) in enumerate(zip(rules, covers.parsed)):
        alive = [terms for terms in parts if not covers.is_covered(index, terms)]
        if alive and len(alive) < len(parts):
            key = "||".join("&&".join(terms) for terms in alive)
            rule = replace(rule, key=key.ljust(len(rule.key), "&"))
            covers.parsed[index] = alive  # what is gone covers nothing
        result.append(rule)
    return result


def unused(rules, texts):
    """Indices of rules that win on none of the texts."""
    matcher = matching.Matcher([rule.key for rule in rules])
    used = {matcher.winner(text) for text in texts}
    return set(range(len(rules))) - used


def with_examples(rules, texts, most):
    """Gives up to `most` rules an example: a text on which the rule wins alone.

    Rules that decide the most texts come first, each gets its shortest text. An
    example that its rule does not win on is dropped.
    """
    matcher = matching.Matcher([rule.key for rule in rules])
    result = [
        rule if not rule.example or matcher.winners(rule.example) == [i] else rule.with_example("")
        for i, rule in enumerate(rules)
    ]
    won = {}
    for text in texts:
        found = matcher.winners(text)
        if len(found) == 1 and not result[found[0]].example:
            won.setdefault(found[0], []).append(text)
    room = most - sum(bool(rule.example) for rule in result)
    for index in sorted(won, key=lambda i: (-len(won[i]), i))[: max(room, 0)]:
        result[index] = result[index].with_example(min(won[index], key=lambda t: (len(t), t)))
    return result
