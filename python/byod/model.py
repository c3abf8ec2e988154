# SPDX-License-Identifier: Apache-2.0
"""What the daemon answers, and the keys that a rule is named by."""

from __future__ import annotations

import re
from collections.abc import Iterable
from dataclasses import dataclass, field
from enum import Enum, IntEnum

MacLike = str | bytes
OptionsLike = str | bytes | Iterable[int]

_GROUPS = re.compile(r"[0-9a-fA-F]+(?:([:.\-])[0-9a-fA-F]+(?:\1[0-9a-fA-F]+)*)?\Z")


class Kind(IntEnum):
    """The kinds of rule; their values are the methods of the order."""

    DHCP_OPTION = 0
    USER_AGENT = 1
    MAC = 2

    @property
    def word(self) -> str:
        """The word that byodctl uses: "dhcp-option", "user-agent", "mac"."""
        return self.name.lower().replace("_", "-")


class DatabaseState(Enum):
    """Whether changes are kept."""

    OPEN = 0
    FAILING = 1  # changes are refused until the database can be written again
    NONE = 2  # the daemon runs without one


@dataclass(frozen=True, slots=True)
class DeviceInfo:
    """What is said of a device. An empty text says nothing."""

    name: str = ""
    vendor: str = ""
    category: str = ""
    os: str = ""


@dataclass(frozen=True, slots=True)
class Authorization:
    """What a group's terminals of one category may do; category "*" serves all others."""

    group: str
    category: str
    attributes: tuple[tuple[str, str], ...] = ()

    def value(self, name: str, default: str = "") -> str:
        """The first value of an attribute."""
        return next((value for own, value in self.attributes if own == name), default)

    def values(self, name: str) -> list[str]:
        """All values of an attribute, in order."""
        return [value for own, value in self.attributes if own == name]


@dataclass(frozen=True, slots=True)
class Identity:
    """What is known of a terminal."""

    name: str = ""
    vendor: str = ""
    category: str = ""
    os: str = ""
    derived_vendor: str = ""  # derived from the device name
    authorization: Authorization | None = None  # where a group was named

    @property
    def known(self) -> bool:
        """Whether any rule says anything."""
        return any((self.name, self.vendor, self.category, self.os, self.derived_vendor))


@dataclass(frozen=True, slots=True)
class FingerPrint:
    """What is known of a terminal before it is identified; absent parts are empty."""

    mac: bytes = b""
    options: bytes = b""
    user_agent: str = ""

    @classmethod
    def of(cls, mac: MacLike = b"", dhcp: OptionsLike = b"", user_agent: str = "") -> FingerPrint:
        """Takes an address and an option list as text or bytes."""
        return cls(address_of(mac) if mac else b"", options_of(dhcp), user_agent)


@dataclass(frozen=True, slots=True)
class Rule:
    """A rule with what it says: the administrator's fields over the predefined ones."""

    kind: Kind
    key: str
    custom: bool
    modified: bool
    info: DeviceInfo
    # Of an administrator's User-Agent rule: of two that match, the one with the higher wins.
    priority: int | None = None
    # The key by which the daemon knows the rule; it shows only where lengths decide.
    stored: str = field(default="", compare=False)


@dataclass(frozen=True, slots=True)
class Event:
    """One identification, as it happened."""

    time: float  # seconds since 1970, UTC
    uid: int  # of the process that asked
    fingerprint: FingerPrint
    identified: bool
    identity: Identity
    lost: int = 0  # events before this one that were left out, as nobody read them


@dataclass(frozen=True, slots=True)
class HeldAddress:
    """An IP address of a station."""

    address: str
    last: float  # seconds since 1970, UTC
    lease_end: float | None = None
    feed: str = ""


@dataclass(frozen=True, slots=True)
class Seen:
    """An option list or a User-Agent of a station; the other part of it is empty."""

    options: bytes
    user_agent: str
    identity: Identity  # by it alone
    count: int
    first: float  # seconds since 1970, UTC
    last: float
    feed: str
    chosen: bool
    background: bool


@dataclass(frozen=True, slots=True)
class StationChange:
    """A change of what a station is."""

    mac: bytes
    time: float  # seconds since 1970, UTC
    before: Identity
    after: Identity
    cause: str  # address, dhcp, user-agent, vendor-class, host-name, rules or time
    because: str  # the option list, User-Agent or text; empty for other causes
    feed: str
    contradicting: bool = False
    access_device: str = ""
    port: str = ""
    session: str = ""
    lost: int = 0  # changes before this one that were left out, as nobody read them


@dataclass(frozen=True, slots=True)
class Station:
    """What the daemon remembers of a terminal."""

    mac: bytes
    identity: Identity
    contradicting: bool = False
    shared: bool = False
    first: float = 0  # seconds since 1970, UTC
    last: float = 0
    host_name: str = ""
    vendor_class: str = ""
    access_device: str = ""
    port: str = ""
    session: str = ""
    addresses: tuple[HeldAddress, ...] = ()
    methods: dict[Kind, Identity] = field(default_factory=dict)
    option_lists: tuple[Seen, ...] = ()
    user_agents: tuple[Seen, ...] = ()
    history: tuple[StationChange, ...] = ()


@dataclass(frozen=True, slots=True)
class Feed:
    """A program that reports terminals."""

    name: str
    trust: int
    lifetime: int  # seconds
    count: int
    malformed: int
    unplaced: int
    dropped: int
    last: float | None  # seconds since 1970, UTC; None: never
    uid: int | None  # of the process that sent the last one


@dataclass(frozen=True, slots=True)
class UnknownFingerPrint:
    """A fingerprint that nothing matched."""

    fingerprint: FingerPrint
    count: int
    first: float  # seconds since 1970, UTC
    last: float


@dataclass(frozen=True, slots=True)
class TableCounts:
    """How many rules a table holds."""

    rules: int
    custom: int
    modified: int


@dataclass(frozen=True, slots=True)
class Status:
    """The state of the daemon."""

    version: str
    uptime: int  # seconds
    tables: dict[Kind, TableCounts] = field(default_factory=dict)
    rule_limit: int | None = None  # None: no limit
    requests: int = 0
    refused: int = 0
    identifications: int = 0
    unknowns: int = 0
    changes: int = 0
    connections: int = 0
    connection_limit: int = 0
    database: DatabaseState = DatabaseState.OPEN
    reloads: int = 0
    reload_failure: str = ""
    watchers: int = 0
    registry_time: float | None = None  # seconds since 1970, UTC; None: no registry of addresses


def _digits(value: str) -> str:
    groups = _GROUPS.match(value)
    digits = re.sub(r"[:.\-]", "", value)
    if groups is None or len(digits) > 12:
        raise ValueError(f'"{value}" is not a MAC address')
    separator = groups.group(1)
    if separator is not None:
        sizes = {len(part) for part in value.split(separator)[:-1]}
        last = len(value.split(separator)[-1])
        if len(sizes) != 1 or not sizes <= {2, 4, 6} or last > min(sizes):
            raise ValueError(f'"{value}" is not a MAC address')
    return digits


def address_of(value: MacLike) -> bytes:
    """Six bytes of "00:11:22:33:44:55", "0011.2233.4455", "00-11-22-33-44-55" or of 6 bytes."""
    if isinstance(value, str):
        digits = _digits(value)
        if len(digits) != 12:
            raise ValueError(f'"{value}" is not a whole MAC address')
        return bytes.fromhex(digits)
    if len(value) != 6:
        raise ValueError("a MAC address has 6 bytes")
    return bytes(value)


def prefix_of(value: str) -> tuple[bytes, bytes]:
    """Address and mask of "00:11:22/24"; without a length the digits that are there count."""
    text, slash, length = value.partition("/")
    digits = _digits(text)
    bits = 4 * len(digits)
    if slash:
        if not length.isascii() or not length.isdigit() or not 1 <= int(length) <= 48:
            raise ValueError(f'"{value}": the length of a prefix is 1 to 48')
        bits = int(length)
    if bits > 4 * len(digits):
        digits = digits.ljust((bits + 3) // 4, "0")
    mask = ((1 << bits) - 1) << (48 - bits)
    address = int(digits.ljust(12, "0"), 16)
    if address & ~mask:
        raise ValueError(f'"{value}": the address has bits beyond its prefix')
    return address.to_bytes(6, "big"), mask.to_bytes(6, "big")


def mac_text(address: bytes) -> str:
    """Six bytes as "00:11:22:33:44:55"."""
    return address.hex(":")


def prefix_text(address: bytes, mask: bytes) -> str:
    """Address and mask as "00:11:22/24"; a whole address without a length."""
    bits = bin(int.from_bytes(mask, "big")).count("1")
    if bits == 48:
        return mac_text(address)
    return f"{mac_text(address[: (bits + 7) // 8])}/{bits}"


def options_of(value: OptionsLike) -> bytes:
    """The option list of "1,3,6", of bytes or of numbers."""
    if isinstance(value, str):
        value = [int(part) for part in value.split(",")] if value.strip() else []
    options = bytes(value)
    if len(options) > 255:
        raise ValueError("an option list has at most 255 options")
    return options


def options_text(options: bytes) -> str:
    """An option list as "1,3,6"."""
    return ",".join(map(str, options))
