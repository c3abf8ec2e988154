# SPDX-License-Identifier: Apache-2.0
"""The daemon's User-Agent rules by the texts that people write for them."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping

from byod import band
from byod.model import Rule

FIELDS = ("name", "vendor", "category", "os")

# A change of keys: the former one, the new one, and the fields of the rule.
Move = tuple[str, str, dict[str, str]]


class UserAgents:
    """
    A text names the administrator's own rule with this plain text, else the predefined rule that
    has exactly this expression, whose modification keeps its key. Anything else becomes a custom
    rule in the band, and so does a text that comes with a priority.
    """

    def __init__(
        self,
        configured: Iterable[tuple[Rule, bool]],
        is_predefined: Callable[[str], bool],
    ) -> None:
        """
        :param configured: every rule of the administrator, and whether it is in effect
        :param is_predefined: asks the daemon about an expression
        """
        self._band = band.Band()
        self._fields: dict[str, dict[str, str]] = {}
        self._modified: set[str] = set()
        self._is_predefined = is_predefined
        for rule, in_effect in configured:
            if rule.custom:
                self._band.add(rule.stored, in_effect)
                self._fields[rule.stored] = {name: getattr(rule.info, name) for name in FIELDS}
            else:
                self._modified.add(rule.stored)

    def key_of(self, text: str) -> str:
        """The key of the rule that a text names; the text itself if there is none."""
        if text in self._fields:
            return text
        own = self._band.find(band.plain_text(text))
        return own if own is not None else text

    def place(self, text: str, priority: int | None) -> tuple[str, list[Move]]:
        """
        Prepares a change of the rule that a text names, or of a new one.

        :return: its key, and what has to be done before any other change
        """
        plain = band.plain_text(text)
        if priority is not None:
            if not 0 <= priority <= band.MAX_PRIORITY:
                raise ValueError(f"a priority is 0 to {band.MAX_PRIORITY}")
            if not band.is_lengthened(plain):
                raise ValueError(f'"{text}" takes no priority')
        elif self._band.find(plain) is None and self._names_predefined(text):
            return text, []
        key = self._band.place(plain, priority)
        moves = [(old, new, self._fields[old]) for old, new in self._band.moves()]
        for old, _, _ in moves:
            del self._fields[old]
        self._fields.update({new: fields for _, new, fields in moves})
        self._fields.setdefault(key, {})
        self._band.settle()
        return key, moves

    def changed(self, key: str, fields: Mapping[str, str]) -> None:
        """The fields of a rule have been set."""
        if key in self._fields:
            self._fields[key] = {**self._fields[key], **fields}

    def deleted(self, key: str) -> None:
        """A rule has been deleted."""
        if self._fields.pop(key, None) is not None:
            self._band.remove(key)

    def _names_predefined(self, text: str) -> bool:
        return text in self._modified or self._is_predefined(text)
