# SPDX-License-Identifier: Apache-2.0
"""A connection to lauthd."""

from __future__ import annotations

import contextlib
import ipaddress
import json
import os
import socket
from collections.abc import Iterable, Iterator, Mapping
from itertools import islice
from types import TracebackType

from byod import band, codes
from byod.errors import NotFound, refusal_of
from byod.message import HEADER, Message, as_text, data, length_of, message, number, text
from byod.model import (
    Authorization,
    DatabaseState,
    DeviceInfo,
    Event,
    Feed,
    FingerPrint,
    HeldAddress,
    Identity,
    Kind,
    MacLike,
    OptionsLike,
    Rule,
    Seen,
    Station,
    StationChange,
    Status,
    TableCounts,
    UnknownFingerPrint,
    address_of,
    options_of,
    options_text,
    prefix_of,
    prefix_text,
)
from byod.user_agents import Move, UserAgents

DEFAULT_SOCKET = "/run/lauthd/lauthd.sock"

Attributes = Mapping[str, str | Iterable[str]] | Iterable[tuple[str, str]]

_GET_IDENTITY = number(codes.OPERATION, codes.GET) + number(codes.KIND, codes.IDENTIFY)
_AHEAD = 64  # requests; these and their replies fit into the buffers of a socket
_CAUSES = ("address", "dhcp", "user-agent", "vendor-class", "host-name", "rules", "time")
_FIELDS = {"vendor": (1, codes.VENDOR), "category": (2, codes.CATEGORY), "os": (3, codes.OS)}


class Client:
    """
    Asks and configures lauthd over its socket.

    A client is one connection and is used from one thread. It connects at its first request, and
    again when the daemon has been restarted between two requests. Every method raises OSError when
    there is no daemon, TimeoutError when it does not answer in time, and Refused when it refuses.
    """

    def __init__(self, path: str | None = None, timeout: float | None = 5.0) -> None:
        """
        :param path: of the socket; without it LAUTHD_SOCKET of the environment, or the default
        :param timeout: seconds in which the daemon takes or sends nothing before a request fails;
            None waits without limit
        """
        self._path = path or os.environ.get("LAUTHD_SOCKET") or DEFAULT_SOCKET
        self._timeout = timeout
        self._socket: socket.socket | None = None
        self._received = b""
        self._bulk_open = False
        self._agents: UserAgents | None = None  # while a bulk keeps others from changing them

    def __enter__(self) -> Client:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Ends the connection. The next request opens another one."""
        if self._socket is not None:
            self._socket.close()
        self._socket = None
        self._received = b""
        self._bulk_open = False
        self._agents = None

    # ------------------------------------------------------------ identification

    def identify(
        self,
        mac: MacLike = b"",
        dhcp: OptionsLike = b"",
        user_agent: str = "",
        group: str = "",
    ) -> Identity:
        """
        Identifies a terminal by what is known of it.

        :param dhcp: the option list of DHCP option 55, as "1,3,6", bytes or numbers
        :param group: a user group; the answer then holds the authorization that applies
        :return: what is known; ``known`` is false when nothing is
        """
        return self.identify_fingerprint(FingerPrint.of(mac, dhcp, user_agent), group)

    def identify_fingerprint(self, fingerprint: FingerPrint, group: str = "") -> Identity:
        """As identify, for a fingerprint at hand."""
        return _answer_in(self._ask(_question(fingerprint, group)))

    def identify_many(
        self, fingerprints: Iterable[FingerPrint], group: str = ""
    ) -> Iterator[Identity]:
        """
        Identifies many terminals, in their order, several times as fast as one by one.

        Sends some requests before it reads their replies. The connection is in use until the
        iterator has ended or is closed.
        """
        rest = iter(fingerprints)
        while some := [_question(fingerprint, group) for fingerprint in islice(rest, _AHEAD)]:
            connection = self._begin(b"".join(some))
            left = len(some)
            try:
                while left > 0:
                    reply = self._receive(connection)
                    left -= 1
                    yield _answer_in(reply)
            finally:
                # What was not read would be taken for the answers to the next requests.
                if left > 0:
                    self.close()

    def watch(self) -> Iterator[Event]:
        """
        Yields identifications as they happen, whoever asks for them.

        Waits without limit between them. The connection is in use until the iterator is closed,
        which also closes the connection.
        """
        for reply in self._events(codes.WATCH):
            lost = reply.counter(codes.LOST)
            for event in reply.nested(codes.EVENT):
                yield _event_in(event, lost)
                lost = 0

    def _events(self, kind: int) -> Iterator[Message]:
        connection = self._begin(_request(codes.GET, kind))
        try:
            connection.settimeout(None)
            while True:
                reply = self._receive(connection)
                code = _code_of(reply)
                yield reply
                if code != codes.CONTINUE:
                    return
        finally:
            self.close()

    def unknown(self) -> list[UnknownFingerPrint]:
        """The fingerprints that nothing matched, the last seen first."""
        return [
            UnknownFingerPrint(
                _fingerprint_in(entry),
                entry.counter(codes.SEEN),
                entry.counter(codes.FIRST_TIME) / 1e6,
                entry.counter(codes.TIME) / 1e6,
            )
            for entry in self._series(_request(codes.GET, codes.UNKNOWN), codes.UNKNOWN_ENTRY)
        ]

    def forget_unknown(self) -> None:
        """Forgets the fingerprints that nothing matched."""
        self._change(_request(codes.UNDO, codes.UNKNOWN))

    # ------------------------------------------------------------ stations

    def report(self, sighting: Mapping[str, object], group: str = "") -> Station:
        """
        Reports what was seen of a terminal, and answers what is known of it now.

        :param sighting: the keys of docs/stations.md, "feed" and "mac" or "ip" among them
        :param group: as for identify; the identity then holds the authorization that applies
        """
        encoded = json.dumps(sighting, ensure_ascii=False)
        return _station_in(
            self._get(_request(codes.GET, codes.SIGHTING_OF, text(codes.SIGHTING, encoded), *_target(group, "")))
        )

    def station(self, address: MacLike, group: str = "") -> Station | None:
        """What is remembered of the station of a MAC or IP address; None when nothing is."""
        request = _request(codes.GET, codes.STATION_OF, _station_key(address), *_target(group, ""))
        try:
            return _station_in(self._get(request))
        except NotFound:
            return None

    def stations(
        self,
        category: str = "",
        vendor: str = "",
        changed_since: float = 0,
        contradicting: bool = False,
        unknown: bool = False,
    ) -> Iterator[Station]:
        """Yields the stations that pass all filters, by ascending address, without their evidence."""
        filters = [text(codes.VENDOR, vendor)] if vendor else []
        if changed_since:
            filters.append(data(codes.CHANGED_SINCE, int(changed_since * 1e6).to_bytes(8, "big")))
        flags = codes.CONTRADICTING * contradicting | codes.NOT_IDENTIFIED * unknown
        if flags:
            filters.append(number(codes.WANTED_FLAGS, flags))
        request = _request(codes.GET, codes.STATIONS, *_target("", category), *filters)
        for nested in self._series(request, codes.STATION):
            yield _station_in(nested)

    def watch_stations(self) -> Iterator[StationChange]:
        """Yields changes of what stations are, as watch yields identifications."""
        for reply in self._events(codes.WATCH_STATIONS):
            lost = reply.counter(codes.LOST)
            for event in reply.nested(codes.EVENT):
                yield _change_in(event, event.data(codes.MAC) or b"", lost)
                lost = 0

    def forget_station(self, address: MacLike) -> None:
        """Forgets the station of a MAC or IP address."""
        self._change(_request(codes.UNDO, codes.FORGET_STATION, _station_key(address)))

    def feeds(self) -> list[Feed]:
        """The programs that report terminals."""
        request = _request(codes.GET, codes.FEEDS)
        return [_feed_in(entry) for entry in self._series(request, codes.FEED_ENTRY)]

    # ------------------------------------------------------------ rules

    def rules(self, kind: Kind, configured: bool = False) -> Iterator[Rule]:
        """
        Yields the rules of a table in its order.

        :param configured: only what an administrator added or modified
        """
        which = codes.NEXT_CONFIGURED if configured else codes.THIS
        request = _request(
            codes.GET,
            codes.LIST + kind,
            number(codes.WHICH, which),
            number(codes.PARTS, codes.ALL_PARTS),
        )
        for nested in self._series(request, codes.LISTED_RULE):
            yield _rule_in(kind, nested)

    def rule(self, kind: Kind, key: str) -> Rule | None:
        """
        The rule of this very key; None when there is none. The text of a User-Agent rule names the
        administrator's own one before a predefined one.
        """
        if kind is Kind.USER_AGENT:
            key = self._user_agents().key_of(key)
        return self._rule(kind, key)

    def _rule(self, kind: Kind, stored: str) -> Rule | None:
        request = _request(
            codes.GET,
            codes.RULE + kind,
            number(codes.WHICH, codes.THIS),
            number(codes.PARTS, codes.ALL_PARTS),
            _key(kind, stored),
        )
        reply = self._ask(request)
        code = reply.number(codes.CODE, codes.FAILED)
        if code != 0:
            refusal = refusal_of(reply, code)
            if refusal.refusal == codes.NOT_FOUND:
                return None
            raise refusal
        return _rule_in(kind, reply)

    def set_rule(
        self,
        kind: Kind,
        key: str,
        *,
        name: str = "",
        vendor: str = "",
        category: str = "",
        os: str = "",
        priority: int | None = None,
    ) -> bool:
        """
        Makes a custom rule if there is none, and gives it these fields; others stay as they are.

        A custom User-Agent rule wins over every predefined one. Of two custom ones that match, the
        one with the higher priority wins.

        :param priority: of a User-Agent rule, 0 to 127; without it the length of the text. A text
            that is also a predefined rule's makes a rule of its own with a priority, and without
            one changes the predefined rule.
        :return: whether anything changed
        """
        fields = {"name": name, "vendor": vendor, "category": category, "os": os}
        given = {field: value for field, value in fields.items() if value}
        if kind is Kind.USER_AGENT:
            return self._set_user_agent(key, given, priority)
        if priority is not None:
            raise ValueError("only User-Agent rules have a priority")
        requests = [_field(codes.SET, kind, key, field, value) for field, value in given.items()]
        return self._change_together(requests or [_value(codes.SET, kind, key)])

    def unset_rule(self, kind: Kind, key: str, *fields: str) -> bool:
        """
        Deletes a custom rule, or restores a predefined one; with names of fields, only these.

        :return: whether anything changed
        """
        if kind is Kind.USER_AGENT:
            key = self._user_agents().key_of(key)
        requests = [_field(codes.UNDO, kind, key, field, "") for field in fields]
        changed = self._change_together(requests or [_value(codes.UNDO, kind, key)])
        if self._agents is not None:
            if fields:
                self._agents = None
            else:
                self._agents.deleted(key)
        return changed

    # ------------------------------------------------------------ User-Agent rules

    def _set_user_agent(self, expression: str, fields: dict[str, str], priority: int | None) -> bool:
        """The place of a rule depends on all others, so these must not change meanwhile."""
        if not self._bulk_open:
            with self.bulk():
                return self._set_user_agent(expression, fields, priority)
        agents = self._agents = self._user_agents()
        try:
            key, moves = agents.place(expression, priority)
            requests = _moves(moves)
            requests += _fields(key, fields) if fields else [_value(codes.SET, Kind.USER_AGENT, key)]
            changed = any([self._change(request) for request in requests])
        except BaseException:
            self._agents = None
            raise
        agents.changed(key, fields)
        return changed

    def _user_agents(self) -> UserAgents:
        """The administrator's rules; in a bulk they are read once."""
        if self._agents is not None:
            return self._agents
        active = [(rule, True) for rule in self.rules(Kind.USER_AGENT, configured=True)]
        idle = [
            (_rule_in(Kind.USER_AGENT, nested), False)
            for nested in self._series(_request(codes.GET, codes.IDLE_RULES), codes.LISTED_RULE)
            if nested.number(codes.METHOD) == Kind.USER_AGENT
        ]
        return UserAgents([*active, *idle], self._is_predefined)

    def _is_predefined(self, expression: str) -> bool:
        """The daemon finds a rule in any case of letters; another one is another expression."""
        rule = self._rule(Kind.USER_AGENT, expression)
        return rule is not None and not rule.custom and rule.stored == expression

    def counts(self) -> dict[Kind, int]:
        """How many rules each table holds."""
        counts = {}
        for kind in Kind:
            reply = self._get(_request(codes.GET, codes.COUNT + kind))
            counts[kind] = reply.number(codes.RULE_COUNT)
        return counts

    def categories(self) -> list[str]:
        """The categories that the rules answer, as they spell them."""
        replies = self._replies(_request(codes.GET, codes.CATEGORIES))
        return [as_text(value) for reply in replies for value in reply.all(codes.CATEGORY)]

    # ------------------------------------------------------------ order

    def order(self) -> list[Kind]:
        """The methods in the order in which they are tried."""
        reply = self._get(_request(codes.GET, codes.ORDER))
        slots = [int.from_bytes(slot, "big") for slot in reply.all(codes.SLOT)]
        return [Kind(slot) for slot in slots if slot < len(Kind)]

    def set_order(self, *methods: Kind) -> bool:
        """Sets one to three different methods. :return: whether anything changed"""
        slots = [number(codes.SLOT, method) for method in methods]
        return self._change(_request(codes.SET, codes.ORDER, *slots))

    def reset_order(self) -> bool:
        """Goes back to the default order."""
        return self._change(_request(codes.UNDO, codes.ORDER))

    # ------------------------------------------------------------ authorization

    def authorizations(self, group: str = "", category: str = "") -> list[Authorization]:
        """The sets of all groups, or of one group or category."""
        request = _request(codes.GET, codes.AUTHORIZATION, *_target(group, category))
        return [_set_in(nested) for nested in self._series(request, codes.AUTHORIZATION_SET)]

    def set_authorization(self, group: str, category: str, attributes: Attributes) -> bool:
        """
        Lays attributes over a set. A name has all the values that are given for it, in their order,
        or those that it had.

        :param category: "*" serves all terminals that have no set of their own
        :param attributes: {"vlan": "20", "acl": ["a", "b"]}, or pairs of a name and a value
        """
        pairs = [
            element
            for name, value in _pairs(attributes)
            for element in (text(codes.ATTRIBUTE_NAME, name), text(codes.ATTRIBUTE_VALUE, value))
        ]
        return self._change(
            _request(codes.SET, codes.AUTHORIZATION, *_target(group, category), *pairs)
        )

    def unset_authorization(self, group: str, category: str = "", *names: str) -> bool:
        """Removes attributes of a set, a whole set, or, without a category, all sets of a group."""
        named = [text(codes.ATTRIBUTE_NAME, name) for name in names]
        return self._change(
            _request(codes.UNDO, codes.AUTHORIZATION, *_target(group, category), *named)
        )

    # ------------------------------------------------------------ the daemon

    def status(self) -> Status:
        """The state of the daemon."""
        reply = self._get(_request(codes.GET, codes.STATUS))
        limit = reply.number(codes.RULE_LIMIT, 0xFFFFFFFF)
        return Status(
            version=reply.text(codes.VERSION),
            uptime=reply.counter(codes.UPTIME),
            tables={
                Kind(table.number(codes.METHOD)): TableCounts(
                    table.number(codes.RULE_COUNT),
                    table.number(codes.CUSTOM_COUNT),
                    table.number(codes.MODIFIED_COUNT),
                )
                for table in reply.nested(codes.TABLE)
            },
            rule_limit=None if limit == 0xFFFFFFFF else limit,
            requests=reply.counter(codes.REQUESTS),
            refused=reply.counter(codes.REFUSED),
            identifications=reply.counter(codes.IDENTIFICATIONS),
            unknowns=reply.counter(codes.UNKNOWNS),
            changes=reply.counter(codes.CHANGES),
            connections=reply.number(codes.CONNECTIONS),
            connection_limit=reply.number(codes.CONNECTION_LIMIT),
            database=DatabaseState(reply.number(codes.DATABASE)),
            reloads=reply.counter(codes.RELOADS),
            reload_failure=reply.text(codes.RELOAD_FAILURE),
            watchers=reply.number(codes.WATCHERS),
            registry_time=(
                None
                if reply.data(codes.REGISTRY_TIME) is None
                else reply.counter(codes.REGISTRY_TIME) / 1e6
            ),
        )

    def reload(self) -> None:
        """Reads the rule files again; returns when they are in effect."""
        self._change(_request(codes.SET, codes.RELOAD))

    def bulk(self) -> Bulk:
        """
        Makes many changes together or not at all::

            with client.bulk():
                client.set_rule(Kind.MAC, "00:11:22/24", vendor="Example")
                client.set_order(Kind.MAC)

        An exception inside takes all of them back.
        """
        return Bulk(self)

    # ------------------------------------------------------------ exchange

    def _begin(self, request: bytes) -> socket.socket:
        """Sends a request, over a new connection where the old one has ended."""
        if self._socket is not None:
            try:
                self._socket.settimeout(self._timeout)
                self._socket.sendall(request)
                return self._socket
            except (BrokenPipeError, ConnectionResetError):
                in_bulk = self._bulk_open
                self.close()
                if in_bulk:
                    raise
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            connection.settimeout(self._timeout)
            connection.connect(self._path)
            connection.sendall(request)
        except BaseException:
            connection.close()
            raise
        self._socket = connection
        return connection

    def _receive(self, connection: socket.socket) -> Message:
        """Reads one reply. A connection that failed in between is not used again."""
        try:
            received = self._received
            wanted = HEADER
            while True:
                if len(received) >= wanted:
                    wanted = length_of(received)
                    if len(received) >= wanted:
                        self._received = received[wanted:]
                        return Message.parse(received[:wanted])
                piece = connection.recv(65536)
                if not piece:
                    raise ConnectionResetError("the daemon closed the connection without an answer")
                received += piece
        except BaseException:
            self.close()
            raise

    def _ask(self, request: bytes) -> Message:
        return self._receive(self._begin(request))

    def _get(self, request: bytes) -> Message:
        reply = self._ask(request)
        _code_of(reply)
        return reply

    def _series(self, request: bytes, kind: int) -> Iterator[Message]:
        """The nested messages of a series of replies."""
        for reply in self._replies(request):
            yield from reply.nested(kind)

    def _replies(self, request: bytes) -> Iterator[Message]:
        """A series of replies."""
        connection = self._begin(request)
        whole = False
        try:
            while not whole:
                reply = self._receive(connection)
                whole = _code_of(reply) != codes.CONTINUE
                yield reply
        finally:
            # What was not read would be taken for the answer to the next request.
            if not whole:
                self.close()

    def _change(self, request: bytes) -> bool:
        reply = self._ask(request)
        code = reply.number(codes.CODE, codes.FAILED)
        if code == codes.NO_CHANGE:
            return False
        if code != 0:
            raise refusal_of(reply, code)
        return True

    def _change_together(self, requests: list[bytes]) -> bool:
        if len(requests) == 1 or self._bulk_open:
            return any([self._change(request) for request in requests])
        with self.bulk():
            return any([self._change(request) for request in requests])


class Bulk:
    """Changes that take effect together or not at all; see Client.bulk."""

    def __init__(self, client: Client) -> None:
        self._client = client

    def __enter__(self) -> Bulk:
        if self._client._bulk_open:
            raise RuntimeError("a bulk is open already on this connection")
        self._phase(codes.BEGIN)
        self._client._bulk_open = True
        self._client._agents = None
        return self

    def __exit__(
        self, failure: type[BaseException] | None, _: BaseException | None, __: TracebackType | None
    ) -> None:
        if not self._client._bulk_open:
            # The connection has ended, and with it the bulk.
            if failure is None:
                raise ConnectionResetError("the connection ended before the changes were stored")
            return
        self._client._bulk_open = False
        self._client._agents = None
        self._phase(codes.COMMIT if failure is None else codes.ABORT)

    def _phase(self, phase: int) -> None:
        self._client._change(_request(codes.SET, codes.BULK, number(codes.PHASE, phase)))


# ---------------------------------------------------------------- requests


def _request(operation: int, kind: int, *elements: bytes) -> bytes:
    return message(number(codes.OPERATION, operation), number(codes.KIND, kind), *elements)


def _elements_of(fingerprint: FingerPrint) -> list[bytes]:
    elements = []
    if fingerprint.options:
        elements.append(data(codes.OPTIONS, fingerprint.options))
    if fingerprint.user_agent:
        elements.append(text(codes.USER_AGENT, fingerprint.user_agent))
    if fingerprint.mac:
        elements.append(data(codes.MAC, fingerprint.mac))
    return elements


def _key(kind: Kind, key: str) -> bytes:
    if kind is Kind.MAC:
        address, mask = prefix_of(key)
        return data(codes.MAC, address) + data(codes.MASK, mask)
    if kind is Kind.DHCP_OPTION:
        return text(codes.OPTION_TEXT, options_text(options_of(key)))
    return text(codes.USER_AGENT, key)


def _value(operation: int, kind: Kind, key: str) -> bytes:
    return _request(operation, codes.VALUE + kind, _key(kind, key))


def _field(operation: int, kind: Kind, key: str, field: str, value: str) -> bytes:
    if field == "name":
        return _request(operation, codes.RULE + kind, _key(kind, key), text(codes.NAME, value))
    if field not in _FIELDS:
        raise ValueError(f'"{field}" is not a field of a rule: name, vendor, category, os')
    attribute, element = _FIELDS[field]
    return _request(
        operation,
        codes.ATTRIBUTE + kind,
        number(codes.ATTRIBUTE_KIND, attribute),
        _key(kind, key),
        text(element, value),
    )


def _fields(key: str, fields: Mapping[str, str]) -> list[bytes]:
    return [
        _field(codes.SET, Kind.USER_AGENT, key, field, value)
        for field, value in fields.items()
        if value
    ]


def _moves(moves: list[Move]) -> list[bytes]:
    """First all deletions: a key may be another rule's new one."""
    requests = [_value(codes.UNDO, Kind.USER_AGENT, old) for old, _, _ in moves]
    for _, new, fields in moves:
        requests += [_value(codes.SET, Kind.USER_AGENT, new), *_fields(new, fields)]
    return requests


def _station_key(address: MacLike) -> bytes:
    """A MAC address in any of its spellings, or an IP address."""
    if isinstance(address, str):
        with contextlib.suppress(ValueError):
            return text(codes.IP, str(ipaddress.ip_address(address)))
    return data(codes.MAC, address_of(address))


def _target(group: str, category: str) -> list[bytes]:
    target = [text(codes.GROUP, group)] if group else []
    return [*target, text(codes.CATEGORY, category)] if category else target


def _pairs(attributes: Attributes) -> Iterator[tuple[str, str]]:
    if not isinstance(attributes, Mapping):
        yield from attributes
        return
    for name, value in attributes.items():
        for one in [value] if isinstance(value, str) else value:
            yield name, one


def _question(fingerprint: FingerPrint, group: str) -> bytes:
    elements = [_GET_IDENTITY, *_elements_of(fingerprint)]
    if group:
        elements.append(text(codes.GROUP, group))
    return message(*elements)


# ---------------------------------------------------------------- replies


def _code_of(reply: Message) -> int:
    """0 or "more replies follow"; raises for any other code, also for a missing one."""
    code = reply.number(codes.CODE, codes.FAILED)
    if code not in (0, codes.CONTINUE):
        raise refusal_of(reply, code)
    return code


def _answer_in(reply: Message) -> Identity:
    """What is known, which may be nothing; raises for any other refusal."""
    code = reply.number(codes.CODE, codes.FAILED)
    if code != 0 and reply.number(codes.REFUSAL) != codes.UNIDENTIFIED:
        raise refusal_of(reply, code)
    return _identity_in(reply)


def _identity_in(reply: Message) -> Identity:
    sets = [_set_in(nested) for nested in reply.nested(codes.AUTHORIZATION_SET)]
    return Identity(
        reply.text(codes.NAME),
        reply.text(codes.VENDOR),
        reply.text(codes.CATEGORY),
        reply.text(codes.OS),
        reply.text(codes.DERIVED_VENDOR),
        sets[0] if sets else None,
    )


def _fingerprint_in(reply: Message) -> FingerPrint:
    return FingerPrint(
        reply.data(codes.MAC) or b"",
        reply.data(codes.OPTIONS) or b"",
        reply.text(codes.USER_AGENT),
    )


def _event_in(event: Message, lost: int) -> Event:
    return Event(
        event.counter(codes.TIME) / 1e6,
        event.number(codes.CLIENT),
        _fingerprint_in(event),
        event.number(codes.CODE, codes.FAILED) == 0,
        _identity_in(event),
        lost,
    )


def _seconds(reply: Message, kind: int) -> float | None:
    return reply.counter(kind) / 1e6 if reply.data(kind) is not None else None


def _seen_in(nested: Message) -> Seen:
    return Seen(
        nested.data(codes.OPTIONS) or b"",
        nested.text(codes.USER_AGENT),
        _identity_in(nested),
        nested.counter(codes.SEEN),
        nested.counter(codes.FIRST_TIME) / 1e6,
        nested.counter(codes.TIME) / 1e6,
        nested.text(codes.FEED),
        nested.number(codes.CHOSEN) == 1,
        nested.number(codes.BACKGROUND) == 1,
    )


def _because(change: Message) -> str:
    options = change.data(codes.OPTIONS)
    if options:
        return options_text(options)
    kinds = (codes.USER_AGENT, codes.VENDOR_CLASS, codes.HOST_NAME)
    return next((found for kind in kinds if (found := change.text(kind))), "")


def _change_in(change: Message, mac: bytes, lost: int = 0) -> StationChange:
    cause = change.number(codes.CAUSE)
    sides = [
        next((_identity_in(nested) for nested in change.nested(kind)), Identity())
        for kind in (codes.FROM, codes.TO)
    ]
    return StationChange(
        mac,
        change.counter(codes.TIME) / 1e6,
        sides[0],
        sides[1],
        _CAUSES[cause] if cause < len(_CAUSES) else "unknown",
        _because(change),
        change.text(codes.FEED),
        bool(change.number(codes.STATION_FLAGS) & codes.CONTRADICTING),
        change.text(codes.ACCESS_DEVICE),
        change.text(codes.PORT),
        change.text(codes.SESSION),
        lost,
    )


def _station_in(reply: Message) -> Station:
    mac = reply.data(codes.MAC) or b""
    flags = reply.number(codes.STATION_FLAGS)
    return Station(
        mac,
        _identity_in(reply),
        bool(flags & codes.CONTRADICTING),
        bool(flags & codes.SHARED),
        reply.counter(codes.FIRST_TIME) / 1e6,
        reply.counter(codes.TIME) / 1e6,
        reply.text(codes.HOST_NAME),
        reply.text(codes.VENDOR_CLASS),
        reply.text(codes.ACCESS_DEVICE),
        reply.text(codes.PORT),
        reply.text(codes.SESSION),
        tuple(
            HeldAddress(
                held.text(codes.IP),
                held.counter(codes.TIME) / 1e6,
                _seconds(held, codes.LEASE_END),
                held.text(codes.FEED),
            )
            for held in reply.nested(codes.ADDRESS)
        ),
        {Kind(one.number(codes.METHOD)): _identity_in(one) for one in reply.nested(codes.METHOD_ANSWER)},
        tuple(_seen_in(nested) for nested in reply.nested(codes.SEEN_LIST)),
        tuple(_seen_in(nested) for nested in reply.nested(codes.SEEN_AGENT)),
        tuple(_change_in(nested, mac) for nested in reply.nested(codes.CHANGE)),
    )


def _feed_in(entry: Message) -> Feed:
    last = _seconds(entry, codes.TIME)
    return Feed(
        entry.text(codes.FEED),
        entry.number(codes.TRUST),
        entry.number(codes.LIFETIME),
        entry.counter(codes.SEEN),
        entry.counter(codes.MALFORMED_COUNT),
        entry.counter(codes.UNPLACED),
        entry.counter(codes.DROPPED),
        last,
        entry.number(codes.CLIENT) if last is not None else None,
    )


def _rule_in(kind: Kind, reply: Message) -> Rule:
    if kind is Kind.MAC:
        key = prefix_text(reply.data(codes.MAC) or bytes(6), reply.data(codes.MASK) or bytes(6))
    else:
        key = reply.text(codes.OPTION_TEXT if kind is Kind.DHCP_OPTION else codes.USER_AGENT)
    custom = reply.number(codes.ORIGIN) != 0
    own = custom and kind is Kind.USER_AGENT
    return Rule(
        kind,
        band.plain_text(key) if own else key,
        custom,
        reply.number(codes.MODIFIED) != 0,
        DeviceInfo(
            reply.text(codes.NAME),
            reply.text(codes.VENDOR),
            reply.text(codes.CATEGORY),
            reply.text(codes.OS),
        ),
        band.priority_of(key) if own else None,
        key,
    )


def _set_in(nested: Message) -> Authorization:
    names: list[str] = []
    pairs: list[tuple[str, str]] = []
    for kind, value in nested.elements:
        string = as_text(value)
        if kind == codes.ATTRIBUTE_NAME:
            names.append(string)
        elif kind == codes.ATTRIBUTE_VALUE and names:
            pairs.append((names[-1], string))
    return Authorization(nested.text(codes.GROUP), nested.text(codes.CATEGORY), tuple(pairs))
