# SPDX-License-Identifier: Apache-2.0
"""How User-Agent expressions match, and which of many rules wins.

An expression is a list of alternatives between runs of '|', an alternative a
list of terms between runs of '&', a term a case-sensitive substring. An
expression without alternatives, and an alternative without terms, match
everything. Rules are tried by descending length in bytes; the first that
matches decides every field.
"""


def alternatives(expression):
    """The terms of each alternative; an empty list stands for "matches everything"."""
    return [
        [term for term in part.split("&") if term]
        for part in expression.split("|")
        if part
    ]


def matches(expression, text):
    parts = alternatives(expression)
    if not parts:
        return True
    return any(all(term in text for term in terms) for terms in parts)


def length(expression):
    """What the match order is by: bytes, not characters."""
    return len(expression.encode("utf-8"))


class Matcher:
    """Finds the winning rule among thousands without trying each.

    Each alternative is filed under the rarest three characters of its terms,
    rare by the alternatives themselves; only rules filed under characters that
    a text contains are tried on it.
    """

    GRAM = 3

    def __init__(self, expressions):
        order = sorted(range(len(expressions)), key=lambda i: (-length(expressions[i]), i))
        self._expressions = expressions
        self._lengths = [length(e) for e in expressions]
        self._rank = [0] * len(expressions)
        for rank, index in enumerate(order):
            self._rank[index] = rank
        self._order = order
        self._parsed = [alternatives(e) for e in expressions]
        self._always = []
        self._filed = {}
        self._file()

    def _grams(self, text):
        return {text[i : i + self.GRAM] for i in range(len(text) - self.GRAM + 1)}

    def _file(self):
        common = {}
        for parts in self._parsed:
            for terms in parts:
                for gram in set().union(*map(self._grams, terms)) if terms else ():
                    common[gram] = common.get(gram, 0) + 1
        for index, parts in enumerate(self._parsed):
            if not parts:
                self._always.append(self._rank[index])
            for terms in parts:
                grams = set().union(*map(self._grams, terms)) if terms else set()
                if grams:
                    rarest = min(grams, key=lambda g: (common[g], g))
                    self._filed.setdefault(rarest, []).append(self._rank[index])
                else:  # no term, or none long enough to file
                    self._always.append(self._rank[index])
        self._keys = frozenset(self._filed)

    def candidates(self, text):
        """Ranks of the rules worth trying on a text, best first."""
        found = set(self._always)
        for gram in self._grams(text) & self._keys:
            found.update(self._filed[gram])
        return sorted(found)

    def _holds(self, index, text):
        parts = self._parsed[index]
        return not parts or any(all(term in text for term in terms) for terms in parts)

    def winner(self, text):
        """Index of the rule that decides, or None."""
        for rank in self.candidates(text):
            if self._holds(self._order[rank], text):
                return self._order[rank]
        return None

    def all_matching(self, text):
        """Indices of every rule that matches, the one that decides first."""
        found = (self._order[rank] for rank in self.candidates(text))
        return [index for index in found if self._holds(index, text)]

    def winners(self, text):
        """All matching rules of the winning length: more than one leaves the choice to chance."""
        found = []
        for rank in self.candidates(text):
            index = self._order[rank]
            if found and self._lengths[index] != self._lengths[found[0]]:
                break
            if self._holds(index, text):
                found.append(index)
        return found


def covers(terms, parts):
    """True when alternatives surely match every text that holds all of `terms`.

    Decided on the terms alone: every term of one alternative is part of one of them.
    """
    return not parts or any(
        all(any(wide in term for term in terms) for wide in other) for other in parts
    )


def implies(narrow, wide):
    """True when `wide` surely matches every text that `narrow` matches: it covers each
    alternative of `narrow`."""
    wide_parts = alternatives(wide)
    return all(covers(terms, wide_parts) for terms in alternatives(narrow) or [[]])
