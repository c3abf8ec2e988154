"""Leaves out rules that can never decide anything."""

from byodrules import matching


def _sure_parts(expression):
    """Three-character runs that every text matched by a single-alternative rule contains."""
    parts = matching.alternatives(expression)
    if len(parts) != 1:
        return set()
    return {t[i : i + 3] for t in parts[0] for i in range(len(t) - 2)}


def never_winning(rules):
    """Indices of rules shadowed by one as long or longer that matches whenever they do.

    Also of duplicates but for case (the later one), and of rules that say nothing.
    """
    lost = set()
    seen = {}
    for index, rule in enumerate(rules):
        key = rule.key.lower()
        if key in seen or not any(rule.answer()):
            lost.add(index)
        else:
            seen[key] = index
    # A shadowing rule has only terms that are parts of the shadowed one's, so filing
    # every rule under one run of its first term finds all that can shadow.
    filed = {}
    always = []
    for index, rule in enumerate(rules):
        if index in lost:
            continue
        runs = sorted(_sure_parts(rule.key))
        if runs:
            filed.setdefault(runs[0], []).append(index)
        else:
            always.append(index)
    for index, rule in enumerate(rules):
        if index in lost:
            continue
        size = matching.length(rule.key)
        near = set(always)
        for run in _sure_parts(rule.key):
            near.update(filed.get(run, ()))
        if len(matching.alternatives(rule.key)) != 1:
            near = set(range(len(rules))) - lost
        for other in sorted(near):
            if other == index or other in lost:
                continue
            if matching.length(rules[other].key) >= size and matching.implies(
                rule.key, rules[other].key
            ):
                lost.add(index)
                break
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
