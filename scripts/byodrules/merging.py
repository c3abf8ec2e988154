"""Puts rules of one answer together as alternatives of one expression.

An expression of many alternatives is long, so it is tried early. Only rules
that nothing contradicts may move up: no training text that they match has
another answer, and no rule with another answer is a special case of theirs.
"""

from byodrules import matching
from byodrules.catalogue import LIMITS, Rule


def _runs(expression):
    parts = matching.alternatives(expression)
    return {t[i : i + 3] for terms in parts for t in terms for i in range(len(t) - 2)}


def _special_cases(rules):
    """Indices of rules of which a rule with another answer is a special case."""
    filed = {}
    for index, rule in enumerate(rules):
        for run in _runs(rule.key):
            filed.setdefault(run, set()).add(index)
    found = set()
    for index, rule in enumerate(rules):
        runs = _runs(rule.key)
        if not runs:
            continue
        near = None
        for run in sorted(runs, key=lambda r: (len(filed[r]), r)):
            near = filed[run] if near is None else near & filed[run]
        for other in near:
            if rules[other].answer() != rule.answer() and matching.implies(
                rules[other].key, rule.key
            ):
                found.add(index)
                break
    return found


def movable(rules, texts):
    """Indices of rules that may be tried before all others."""
    matcher = matching.Matcher([rule.key for rule in rules])
    kept = set(range(len(rules))) - _special_cases(rules)
    for text in texts:
        matching_rules = matcher.all_matching(text)
        if not matching_rules:
            continue
        answer = rules[matching_rules[0]].answer()
        for index in matching_rules[1:]:
            if index in kept and rules[index].answer() != answer:
                kept.discard(index)
    return kept


def merge(rules, texts, fixed):
    """Merges what may be merged; rules whose key is in `fixed` stay alone."""
    may = movable(rules, texts)
    groups = {}
    result = []
    for index, rule in enumerate(rules):
        single = len(matching.alternatives(rule.key)) == 1
        if index in may and single and rule.key not in fixed:
            groups.setdefault((rule.name, rule.answer()), []).append(rule)
        else:
            result.append(rule)
    for _, members in sorted(groups.items()):
        # Longest first, each into the first expression that still has room.
        bins = []
        for rule in sorted(members, key=lambda r: (-matching.length(r.key), r.key)):
            size = matching.length(rule.key)
            for held in bins:
                if held[0] + 2 + size <= LIMITS["expression"]:
                    held[0] += 2 + size
                    held[1].append(rule)
                    break
            else:
                bins.append([size, [rule]])
        for _, held in bins:
            held.sort(key=lambda r: r.key)
            first = held[0]
            key = "||".join(rule.key for rule in held)
            result.append(Rule(key, first.name, first.vendor, first.category, first.os))
    return result
