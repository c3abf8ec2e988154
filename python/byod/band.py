# SPDX-License-Identifier: Apache-2.0
"""
Where an administrator's User-Agent rules are stored, so that they win over predefined ones.

Of all expressions that match, the longest decides, and predefined ones have up to 127 bytes. An
administrator's shorter expression is therefore stored longer than people write it: with separators
at its end, which the matching ignores, so that it has 128 to 255 bytes.

    SM-G960F||||||||||...   136 bytes: 128 and its own 8, so that the more specific rule wins
    SM-G960F&|||||||||...   128 + N bytes: the administrator gave the priority N

Texts are str with surrogate escapes, as everywhere in this package; lengths are counted in bytes.
"""

from __future__ import annotations

import bisect
from collections.abc import Iterator
from dataclasses import dataclass

START, END = 128, 255
MAX_PRIORITY = END - START

_SEPARATORS = "|&"


def size_of(text: str) -> int:
    """The length by which rules are tried."""
    return len(_bytes(text))


def _bytes(text: str) -> bytes:
    return text.encode("utf-8", "surrogateescape")


def _folded(text: str) -> bytes:
    """Equal for keys that the daemon takes for the same rule."""
    return _bytes(text).lower()


def _matches_everything(expression: str) -> bool:
    alternatives = [part for part in expression.split("|") if part]
    return not alternatives or any(not part.strip("&") for part in alternatives)


def plain_text(key: str) -> str:
    """The text as people write it, of a key of a custom rule or of an expression."""
    return key if _matches_everything(key) else key.rstrip(_SEPARATORS)


def is_lengthened(text: str) -> bool:
    """Whether a rule of this plain text is stored by a longer key, and so has a priority."""
    return size_of(text) < START and not _matches_everything(text)


def _has_given_priority(key: str) -> bool:
    marks = len(key.rstrip("|")) - len(key.rstrip(_SEPARATORS))
    return marks % 2 == 1


def priority_of(key: str) -> int | None:
    """
    The priority that was given, else the length of the plain text; None for a key that was not
    lengthened.
    """
    text = plain_text(key)
    if size_of(key) < START or not is_lengthened(text):
        return None
    return size_of(key) - START if _has_given_priority(key) else size_of(text)


def is_below(key: str) -> bool:
    """Whether a custom rule with this key was stored by a program that does not lengthen keys."""
    return size_of(key) < START and is_lengthened(key)


def _rank(text: str) -> tuple[int, bytes]:
    """The weaker of two texts first: the shorter one, or the last in byte order."""
    octets = _bytes(text)
    return len(octets), bytes(255 - octet for octet in octets)


@dataclass(slots=True)
class _Entry:
    text: str
    key: str = ""
    former: str = ""  # the key with which it was added; empty for a new rule
    fixed: bool = False  # others do not move it
    rank: tuple[int, bytes] = (0, b"")
    size: int = 0  # of the key

    def __post_init__(self) -> None:
        self.rank = _rank(self.text)
        self.size = size_of(self.key)


class Band:
    """
    The keys of all custom rules, and where others find their place among them.

    Among rules without a given priority the one with the longer text is the longer one, and of two
    texts of one length the first in byte order. Their lengths differ as long as there are free
    ones: a new rule takes the free length that is nearest to its own within this order, and where
    there is none the others move.
    """

    def __init__(self) -> None:
        self._movable: list[_Entry] = []  # by rank
        self._fixed: dict[str, list[_Entry]] = {}  # by text
        self._sizes = [0] * (END + 1)  # how many keys have this length
        self._keys: set[bytes] = set()  # of all, in lower case

    def add(self, key: str, may_move: bool = True) -> None:
        """Adds the key of an existing rule."""
        text = plain_text(key)
        placed = priority_of(key) is not None and not _has_given_priority(key)
        movable = may_move and placed and self._movable_of(text) is None
        self._put(_Entry(text, key, key, not movable))

    def remove(self, key: str) -> None:
        """Removes a rule."""
        text = plain_text(key)
        for entry in [self._movable_of(text), *self._fixed.get(text, [])]:
            if entry is not None and entry.key == key:
                self._take(entry)

    def find(self, text: str) -> str | None:
        """The key of the rule with this plain text, the longest one if there are several."""
        entry = self._find(text)
        return entry.key if entry is not None else None

    def moves(self) -> list[tuple[str, str]]:
        """The former and the present key of each rule that has another one now."""
        return [
            (entry.former, entry.key)
            for entry in self._all()
            if entry.former and entry.former != entry.key
        ]

    def settle(self) -> None:
        """The moves have been made."""
        for entry in self._all():
            entry.former = entry.key

    def place(self, expression: str, priority: int | None = None) -> str:
        """
        Gives a rule its place, and keeps it if it has one in the band and no other priority is
        given.

        :param priority: None for that of the rule, or the length of the text
        :return: its key
        """
        text = plain_text(expression)
        entry = self._find(text)
        if entry is None:
            entry = _Entry(text)
        elif not is_below(entry.key) and priority in (None, priority_of(entry.key)):
            return entry.key
        else:
            self._take(entry)
        if not is_lengthened(text):
            entry.fixed, entry.key, entry.size = True, text, size_of(text)
            self._put(entry)
        elif priority is None or priority == entry.rank[0]:
            entry.fixed = False
            self._place_movable(entry)
        else:
            entry.fixed = True
            self._place_fixed(entry, START + priority)
        return entry.key

    # ------------------------------------------------------------ places

    def _place_fixed(self, entry: _Entry, size: int) -> None:
        """A given priority is kept to the letter; a rule of this length by chance gives way."""
        displaced = next((other for other in self._movable if other.size == size), None)
        if displaced is not None:
            self._take(displaced)
        self._put_at(entry, size)
        if displaced is not None:
            self._place_movable(displaced)

    def _place_movable(self, entry: _Entry) -> None:
        below, above = self._neighbours(entry)
        low = below.size if below is not None else START - 1
        high = above.size if above is not None else END + 1
        desired = START + entry.rank[0]
        free = [size for size in range(low + 1, high) if not self._sizes[size]]
        if free:
            self._put_at(entry, min(free, key=lambda size: (abs(size - desired), -size)))
        elif not self._spread(entry):
            self._put_at(entry, self._size_to_share(entry))

    def _neighbours(self, entry: _Entry) -> tuple[_Entry | None, _Entry | None]:
        at = bisect.bisect_left(self._movable, entry.rank, key=lambda other: other.rank)
        below = self._movable[at - 1] if at > 0 else None
        return below, self._movable[at] if at < len(self._movable) else None

    def _spread(self, added: _Entry) -> bool:
        """
        Moves rules so that each has a length to itself, as near to its own as the order permits.

        :return: False, with nothing changed, if there are more rules than lengths
        """
        if len(self._movable) >= END - START + 1:
            return False
        fixed = {entry.size for entries in self._fixed.values() for entry in entries}
        sizes = [size for size in range(START, END + 1) if size not in fixed]
        if len(self._movable) >= len(sizes):
            return False
        rules = sorted([*self._movable, added], key=lambda entry: entry.rank)
        for entry in list(self._movable):
            self._take(entry)
        # Upwards: from its own length on, behind the one before it. Then down from the end, where
        # that was too far.
        places: list[int] = []
        for rule in rules:
            own = bisect.bisect_left(sizes, START + rule.rank[0])
            places.append(max(own, places[-1] + 1) if places else own)
        end = len(sizes)
        for number in reversed(range(len(rules))):
            end = places[number] = min(places[number], end - 1)
        for rule, place in zip(rules, places):
            self._put_at(rule, sizes[place])
        return True

    def _size_to_share(self, entry: _Entry) -> int:
        """
        Of rules of one length the first in byte order wins, so a rule may share that of a text of
        the same length; else that of a neighbour, so that all others stay on their side.
        """
        below, above = self._neighbours(entry)
        of_one_size = [
            other
            for other in (below, above)
            if other is not None and other.rank[0] == entry.rank[0]
        ]
        if of_one_size:
            return of_one_size[0].size
        if below is not None and _bytes(entry.text) < _bytes(below.text):
            return below.size
        neighbour = above or below
        return neighbour.size if neighbour is not None else START + entry.rank[0]

    def _put_at(self, entry: _Entry, size: int) -> None:
        """
        The text, "&" if the priority was given, then "|". The daemon takes two keys for the same
        rule that differ in case alone: two more "&" distinguish them.
        """
        for marks in range(1 if entry.fixed else 0, size - entry.rank[0] + 1, 2):
            key = entry.text + "&" * marks + "|" * (size - entry.rank[0] - marks)
            if _folded(key) not in self._keys:
                entry.key, entry.size = key, size
                self._put(entry)
                return
        raise ValueError(f'"{entry.text}" differs from another rule of this priority in case alone')

    # ------------------------------------------------------------ entries

    def _all(self) -> Iterator[_Entry]:
        yield from self._movable
        for entries in self._fixed.values():
            yield from entries

    def _movable_of(self, text: str) -> _Entry | None:
        rank = _rank(text)
        at = bisect.bisect_left(self._movable, rank, key=lambda other: other.rank)
        found = self._movable[at : at + 1]
        return found[0] if found and found[0].text == text else None

    def _find(self, text: str) -> _Entry | None:
        movable = self._movable_of(text)
        same = list(self._fixed.get(text, []))
        if movable is not None:
            same.append(movable)
        return max(same, key=lambda entry: entry.size) if same else None

    def _put(self, entry: _Entry) -> None:
        self._keys.add(_folded(entry.key))
        self._sizes[entry.size] += 1
        if entry.fixed:
            self._fixed.setdefault(entry.text, []).append(entry)
        else:
            bisect.insort(self._movable, entry, key=lambda other: other.rank)

    def _take(self, entry: _Entry) -> None:
        self._keys.discard(_folded(entry.key))
        self._sizes[entry.size] -= 1
        if entry.fixed:
            self._fixed[entry.text].remove(entry)
        else:
            at = bisect.bisect_left(self._movable, entry.rank, key=lambda other: other.rank)
            del self._movable[at]
