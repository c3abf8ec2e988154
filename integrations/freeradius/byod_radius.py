# SPDX-License-Identifier: Apache-2.0
"""
What a terminal may do, by lauthd, in FreeRADIUS: a module for rlm_python3.

After an authentication lauthd is asked for the authorization of the user's group for this kind of
terminal, over a connection that stays open. An answer that does not come in time is replaced by the last
one for this terminal and group, or by a configured set, and lauthd is left alone for some seconds
after several such. Accounting reports where a terminal is, and its address.
"""

from __future__ import annotations

import json
import socket
import threading
import time
from collections import OrderedDict
from collections.abc import Callable, Iterable, Mapping
from dataclasses import dataclass

import byod

REJECT, OK, NOOP, UPDATED = 0, 2, 7, 8  # of rlm_python3
LOG_ERROR, LOG_WARNING, LOG_INFO = 4, 5, 3

Attributes = tuple[tuple[str, str], ...]
Pairs = Iterable[tuple[str, str]]


@dataclass(frozen=True)
class Settings:
    """What the section "config" of the module may set; all values there are texts."""

    socket: str = byod.client.DEFAULT_SOCKET
    sightings: str = "/run/lauthd/sightings.sock"
    deadline_ms: int = 50
    breaker_failures: int = 3  # after so many in a row
    breaker_seconds: int = 5  # lauthd is not asked for so long
    keep_hours: int = 24  # how long an answer may stand in for one that does not come
    keep_terminals: int = 65536
    group: str = ""  # where the request names none
    group_attribute: str = "Tmp-String-9"  # of the request
    fallback: str = ""  # "vlan=99, Filter-Id=guest"
    on_failure: str = "open"  # "closed": without any answer a terminal is rejected

    @classmethod
    def of(cls, config: Mapping[str, str]) -> Settings:
        """:raises ValueError: for a name that does not exist or a value of the wrong kind"""
        values: dict[str, object] = {}
        for name, text in config.items():
            default = getattr(cls, name, None)
            if default is None or name.startswith("_") or callable(default):
                raise ValueError(f"unknown setting: {name}")
            values[name] = int(text) if isinstance(default, int) else text
        settings = cls(**values)  # type: ignore[arg-type]
        if settings.on_failure not in ("open", "closed"):
            raise ValueError(f'on_failure: expected open or closed, not "{settings.on_failure}"')
        attributes_in(settings.fallback)
        return settings


def attributes_in(text: str) -> Attributes:
    """The attributes of "vlan=99, Filter-Id=guest"."""
    found = []
    for part in filter(None, (part.strip() for part in text.split(","))):
        name, separator, value = part.partition("=")
        if not separator or not name.strip():
            raise ValueError(f'expected NAME=VALUE, not "{part}"')
        found.append((name.strip(), value.strip()))
    return tuple(found)


def reply_of(attributes: Attributes) -> tuple[tuple[str, str, str], ...]:
    """
    The attributes as pairs of a reply. "vlan" stands for the three attributes of a tunnel; any other
    name is that of an attribute. The first value of a name replaces what the reply has, more of them
    are added.
    """
    pairs: list[tuple[str, str, str]] = []
    seen = set()
    for name, value in attributes:
        if name.lower() == "vlan":
            pairs += [
                ("Tunnel-Type", ":=", "VLAN"),
                ("Tunnel-Medium-Type", ":=", "IEEE-802"),
                ("Tunnel-Private-Group-Id", ":=", value),
            ]
        else:
            pairs.append((name, "+=" if name in seen else ":=", value))
        seen.add(name)
    return tuple(pairs)


class Breaker:
    """Opens after failures in a row, and lets one try through when its time is over."""

    def __init__(self, failures: int, seconds: float, clock: Callable[[], float]) -> None:
        self._limit, self._seconds, self._clock = failures, seconds, clock
        self._lock = threading.Lock()
        self._failures = 0
        self._closed_at = 0.0

    def allows(self) -> bool:
        with self._lock:
            if self._failures < self._limit:
                return True
            if self._clock() < self._closed_at:
                return False
            self._closed_at = self._clock() + self._seconds  # the others wait for this one try
            return True

    def succeeded(self) -> None:
        with self._lock:
            self._failures = 0

    def failed(self) -> bool:
        """:return: whether it opened by this failure"""
        with self._lock:
            self._failures += 1
            self._closed_at = self._clock() + self._seconds
            return self._failures == self._limit


class LastAnswers:
    """The last answer for each terminal and group; those used least recently go first."""

    def __init__(self, count: int, seconds: float, clock: Callable[[], float]) -> None:
        self._count, self._seconds, self._clock = count, seconds, clock
        self._lock = threading.Lock()
        self._answers: OrderedDict[tuple[str, str], tuple[float, Attributes]] = OrderedDict()

    def keep(self, mac: str, group: str, attributes: Attributes) -> None:
        with self._lock:
            self._answers[mac, group] = (self._clock(), attributes)
            self._answers.move_to_end((mac, group))
            if len(self._answers) > self._count:
                self._answers.popitem(last=False)

    def find(self, mac: str, group: str) -> Attributes | None:
        with self._lock:
            when, attributes = self._answers.get((mac, group), (float("-inf"), ()))
            return attributes if self._clock() - when <= self._seconds else None


class Authorizer:
    """Asks lauthd, and knows what to do without it. Any number of threads may use it."""

    def __init__(
        self,
        settings: Settings,
        log: Callable[[int, str], None],
        connect: Callable[..., byod.Client] = byod.Client,
        clock: Callable[[], float] = time.monotonic,
    ) -> None:
        self.settings = settings
        self._log, self._connect = log, connect
        self._breaker = Breaker(settings.breaker_failures, settings.breaker_seconds, clock)
        self._last = LastAnswers(settings.keep_terminals, settings.keep_hours * 3600, clock)
        self._fallback = attributes_in(settings.fallback)
        self._own = threading.local()  # a connection for each thread of the server

    def attributes(self, mac: str, group: str) -> Attributes | None:
        """:return: None when nobody knows and a terminal is to be rejected then"""
        if self._breaker.allows():
            try:
                answer = self._ask(mac, group)
            except (OSError, byod.FormError, byod.Busy) as error:
                if self._breaker.failed():
                    self._log(LOG_WARNING, f"byod: lauthd is not asked for some time: {error}")
            else:
                self._breaker.succeeded()
                self._last.keep(mac, group, answer)
                return answer
        last = self._last.find(mac, group)
        if last is not None:
            return last
        return None if self.settings.on_failure == "closed" else self._fallback

    def _ask(self, mac: str, group: str) -> Attributes:
        if not hasattr(self._own, "client"):
            timeout = self.settings.deadline_ms / 1000
            self._own.client = self._connect(self.settings.socket, timeout)
        try:
            identity = self._own.client.identify(mac=mac, group=group)
        except byod.Busy:
            raise
        except byod.Refused as refusal:
            self._log(LOG_ERROR, f"byod: lauthd refuses to identify {mac}: {refusal}")
            return ()
        except OSError:
            self._own.client.close()
            raise
        return identity.authorization.attributes if identity.authorization else ()


def mac_of(request: Mapping[str, str]) -> str:
    """The terminal's address, or "". An SSID after it is cut off, as in 00-11-22-33-44-55:guests."""
    digits = "".join(c for c in request.get("Calling-Station-Id", "")[:17] if c.isalnum())
    is_mac = len(digits) >= 12 and all(c in "0123456789abcdefABCDEF" for c in digits[:12])
    return ":".join(digits[at : at + 2] for at in range(0, 12, 2)).lower() if is_mac else ""


EVENTS = {"Start": "start", "Interim-Update": "interim", "Stop": "stop"}


def sighting_of(request: Mapping[str, str]) -> dict[str, str] | None:
    """What an accounting request says of a terminal, for lauthd."""
    mac, event = mac_of(request), EVENTS.get(request.get("Acct-Status-Type", ""))
    if not mac or event is None:
        return None
    sighting = {
        "feed": "radius",
        "mac": mac,
        "event": event,
        "ip": request.get("Framed-IP-Address", ""),
        "access_device": request.get("NAS-IP-Address", request.get("NAS-Identifier", "")),
        "port": request.get("NAS-Port-Id", request.get("NAS-Port", "")),
        "session": request.get("Acct-Session-Id", ""),
    }
    places = ("access_device", "port", "session")
    return {key: value for key, value in sighting.items()
            if value and not (key in places and len(value.encode()) > 64)}


class Reports:
    """Sightings for lauthd, which nobody waits for."""

    def __init__(self, path: str) -> None:
        self._path = path
        self._lock = threading.Lock()
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._dropped = 0

    def send(self, sighting: Mapping[str, object]) -> bool:
        with self._lock:
            dropped = {"dropped": self._dropped} if self._dropped else {}
            datagram = json.dumps({**sighting, **dropped}).encode()
            try:
                self._socket.sendto(datagram, socket.MSG_DONTWAIT, self._path)
            except OSError:
                self._dropped += 1
                return False
            self._dropped = 0
            return True


# ------------------------------------------------------------ what rlm_python3 calls

_authorizer: Authorizer
_reports: Reports


def instantiate(_: object) -> int:
    global _authorizer, _reports
    import radiusd  # of the server; it is in no package

    try:
        settings = Settings.of(getattr(radiusd, "config", {}))
    except ValueError as error:
        radiusd.radlog(LOG_ERROR, f"byod: {error}")
        return -1
    _authorizer = Authorizer(settings, radiusd.radlog)
    _reports = Reports(settings.sightings)
    radiusd.radlog(LOG_INFO, f"byod: without an answer of lauthd terminals are "
                             f"{'rejected' if settings.on_failure == 'closed' else 'let in'}")
    return 0


def post_auth(pairs: Pairs) -> object:
    request = dict(pairs)
    mac = mac_of(request)
    settings = _authorizer.settings
    group = request.get(settings.group_attribute, settings.group)
    if not mac or not group:
        return NOOP
    attributes = _authorizer.attributes(mac, group)
    if attributes is None:
        return REJECT
    return (UPDATED, reply_of(attributes), ()) if attributes else NOOP


def accounting(pairs: Pairs) -> int:
    sighting = sighting_of(dict(pairs))
    if sighting is not None:
        _reports.send(sighting)
    return OK
