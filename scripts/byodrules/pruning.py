"""Leaves out rules that can never decide anything."""

from collections import Counter

from byodrules import matching


def _runs(terms):
    """The three-character runs of an alternative's terms."""
    return {t[i : i + 3] for t in terms for i in range(len(t) - 2)}


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
    # What covers an alternative has only terms that are part of terms of it. Each
    # alternative is filed under its rarest run, and the runs of another find all that
    # could cover it.
    common = Counter()
    parsed = [matching.alternatives(rule.key) for rule in rules]
    for parts in parsed:
        for terms in parts:
            common.update(_runs(terms))
    filed = {}
    always = set()
    for index, parts in enumerate(parsed):
        if index in lost:
            continue
        if not parts:
            always.add(index)
        for terms in parts:
            runs = _runs(terms)
            if runs:
                rarest = min(runs, key=lambda run: (common[run], run))
                filed.setdefault(rarest, []).append(index)
            else:
                always.add(index)
    sizes = [matching.length(rule.key) for rule in rules]

    def is_covered(index, terms):
        near = set(always)
        for run in _runs(terms):
            near.update(filed.get(run, ()))
        return any(
            other != index
            and other not in lost
            and sizes[other] >= sizes[index]
            and matching.covers(terms, parsed[other])
            for other in near
        )

    for index in range(len(rules)):
        if index not in lost and all(is_covered(index, terms) for terms in parsed[index] or [[]]):
            lost.add(index)
    return lost


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
