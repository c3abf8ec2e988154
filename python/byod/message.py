# SPDX-License-Identifier: Apache-2.0
"""The form of a message: a header and a list of elements, all integers in network order."""

from __future__ import annotations

import struct
from collections.abc import Iterator

MARK = b"\xf9LM\x01"
HEADER = 8
MAX_MESSAGE = 65534

_ELEMENT = struct.Struct("!HH")
_NUMBER = struct.Struct("!HHI")
_LENGTH = struct.Struct("!I")
_COUNTER = struct.Struct("!Q")


class FormError(ValueError):
    """Bytes that are not a message."""


def number(kind: int, value: int) -> bytes:
    """An element with a number of 32 bits."""
    return _NUMBER.pack(kind, 4, value)


def data(kind: int, value: bytes) -> bytes:
    """An element with these bytes."""
    return _ELEMENT.pack(kind, len(value)) + value


def text(kind: int, value: str) -> bytes:
    """An element with a text and the NUL that ends it."""
    encoded = value.encode("utf-8", "surrogateescape")
    if b"\0" in encoded:
        raise ValueError("a text must not contain a NUL character")
    return data(kind, encoded + b"\0")


def message(*elements: bytes) -> bytes:
    """A whole message of these elements."""
    body = b"".join(elements)
    length = HEADER + len(body)
    if length > MAX_MESSAGE:
        raise ValueError(f"a message has at most {MAX_MESSAGE} bytes, this one has {length}")
    return MARK + _LENGTH.pack(length) + body


def length_of(header: bytes) -> int:
    """The length of the message that begins with these 8 bytes, header included."""
    if header[:4] != MARK:
        raise FormError("the daemon sent bytes that are not a message")
    (length,) = _LENGTH.unpack_from(header, 4)
    if not HEADER <= length <= MAX_MESSAGE:
        raise FormError(f"the daemon sent a message of impossible length {length}")
    return int(length)


class Message:
    """A received message. Its elements are in the order in which they were appended."""

    __slots__ = ("elements",)

    def __init__(self, elements: list[tuple[int, bytes]]) -> None:
        self.elements = elements

    @classmethod
    def parse(cls, encoded: bytes) -> Message:
        """Reads a whole message; raises FormError for anything else."""
        if len(encoded) < HEADER or length_of(encoded) != len(encoded):
            raise FormError("the message is not whole")
        elements = []
        at, end = HEADER, len(encoded)
        while at < end:
            if end - at < _ELEMENT.size:
                raise FormError("bytes are left behind the last element")
            kind, length = _ELEMENT.unpack_from(encoded, at)
            at += _ELEMENT.size
            if length > end - at:
                raise FormError("an element reaches beyond the end of its message")
            elements.append((kind, encoded[at : at + length]))
            at += length
        return cls(elements)

    def data(self, kind: int) -> bytes | None:
        """The value of the first element of a type."""
        for own, value in self.elements:
            if own == kind:
                return value
        return None

    def number(self, kind: int, default: int = 0) -> int:
        """The first number of a type; an element of another length is not a number."""
        value = self.data(kind)
        return int.from_bytes(value, "big") if value is not None and len(value) == 4 else default

    def counter(self, kind: int, default: int = 0) -> int:
        """The first number of 64 bits of a type."""
        value = self.data(kind)
        if value is None or len(value) != _COUNTER.size:
            return default
        return int(_COUNTER.unpack(value)[0])

    def text(self, kind: int, default: str = "") -> str:
        """The first text of a type, without its NUL."""
        value = self.data(kind)
        return default if value is None else as_text(value)

    def all(self, kind: int) -> Iterator[bytes]:
        """The values of all elements of a type."""
        return (value for own, value in self.elements if own == kind)

    def nested(self, kind: int) -> Iterator[Message]:
        """The messages inside the elements of a type; what is not a message is skipped."""
        for value in self.all(kind):
            try:
                yield Message.parse(value)
            except FormError:
                continue


def as_text(value: bytes) -> str:
    """A text as it was sent; bytes that are not UTF-8 survive a round trip."""
    return value.split(b"\0", 1)[0].decode("utf-8", "surrogateescape")
