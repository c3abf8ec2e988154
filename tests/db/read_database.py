# SPDX-License-Identifier: Apache-2.0
"""Reads a database of lauthd as docs/database.md describes it, with nothing but Python's own modules.

read(path) gives what is stored as plain dictionaries and lists, and raises Damaged for what the
document does not allow.
"""

import sqlite3
import struct

APPLICATION = 0x4C414442
RULE_LISTS = {
    # key: (kind, list number, size of the sort key's field, bytes of a record)
    b"BYOD_DhcpOptionRules\0": ("dhcp-option", 0, 256, 576),
    b"BYOD_UserAgentRules\0": ("user-agent", 1, 256, 576),
    b"BYOD_MacRules\0": ("mac", 2, 15, 341),
}
ORDER = b"BYOD_Order\0"
GROUP = b"BYOD_GroupAutz_"
METHODS = {0: "dhcp", 1: "user-agent", 2: "mac"}
METHOD_ELEMENT, NAME_ELEMENT, VALUE_ELEMENT = 15, 1051, 1052


class Damaged(Exception):
    """The file does not hold what the document says."""


def expect(truth, what):
    if not truth:
        raise Damaged(what)


def crc32c(*fields):
    """The sum of a row: bytes as they are, numbers as eight bytes, most significant first."""
    crc = 0xFFFFFFFF
    for field in fields:
        for byte in field if isinstance(field, bytes) else struct.pack(">Q", field):
            crc ^= byte
            for _ in range(8):
                crc = crc >> 1 ^ (0x82F63B78 if crc & 1 else 0)
    return crc ^ 0xFFFFFFFF


def text(field):
    """The text in a field: up to its NUL, behind which there are only zeros."""
    content, nul, rest = field.partition(b"\0")
    expect(nul and not rest.strip(b"\0"), f"a text field is not well formed: {field!r}")
    return content.decode()


def elements(message):
    """The elements of a message as pairs of type and value."""
    expect(message[:4] == b"\xF9LM\x01", "a message has no mark")
    expect(struct.unpack(">I", message[4:8])[0] == len(message), "a message has another length")
    found = []
    at = 8
    while at < len(message):
        kind, length = struct.unpack(">HH", message[at:at + 4])
        value = message[at + 4:at + 4 + length]
        expect(len(value) == length, "an element reaches beyond its message")
        found.append((kind, value))
        at += 4 + length
    return found


def device_info(record):
    """The four texts at the end of a rule's record; the last byte of the name may be a mark."""
    name, mark, vendor, category, system = struct.unpack("127sB64s64s64s", record[-320:])
    expect(mark in (0, 1), "the mark behind a name is neither 0 nor 1")
    name += bytes(1)
    return {"name": text(name), "vendor": text(vendor), "category": text(category),
            "os": text(system)}


def rule(kind, record):
    if kind != "mac":
        return {"kind": kind, "key": text(record[:256]), **device_info(record)}
    digits = text(record[:15]).replace("-", "")
    expect(len(digits) == 12 and digits == digits.lower(), f"not an address: {digits}")
    mask = int.from_bytes(record[15:21], "big")
    bits = mask.bit_count()
    expect(mask == (1 << 48) - (1 << (48 - bits)), f"not a prefix: {mask:012x}")
    address = int(digits, 16) & mask
    parts = [f"{byte:02x}" for byte in address.to_bytes(6, "big")]
    return {"kind": kind, "key": f"{':'.join(parts)}/{bits}", **device_info(record)}


def authorization_set(group, record):
    pairs = elements(record[128:])
    names, values = pairs[::2], pairs[1::2]
    expect(all(kind == NAME_ELEMENT for kind, _ in names), "a name is missing")
    expect([kind for kind, _ in values] == [VALUE_ELEMENT] * len(names), "a value is missing")
    return {"group": group, "type": text(record[:128]),
            "attributes": [(text(name), text(value))
                           for (_, name), (_, value) in zip(names, values)]}


def check_store(database):
    expect(database.execute("PRAGMA application_id").fetchone() == (APPLICATION,), "application id")
    expect(database.execute("PRAGMA user_version").fetchone() == (1,), "version")
    rows = database.execute("SELECT owner, mode, word0, word1, word2, word3, name FROM store")
    expect(rows.fetchall() == [(b"BYOD", 7, 0, 0, 1, 0, b"SEC-BYOD-CFG")], "the row of store")


def records(database, list_id, sort_key_size, size=None):
    """The records of a list in its order, each checked."""
    rows = database.execute(
        "SELECT sort_key, data, sum FROM record WHERE list = ? ORDER BY sort_key", (list_id,))
    for sort_key, data, total in rows:
        expect(sort_key == data[:sort_key_size].partition(b"\0")[0], "a sort key")
        expect(size is None or len(data) == size, f"a record of {len(data)} bytes")
        expect(total == crc32c(list_id, data), "the sum of a record")
        yield data


def read_list(database, row, found):
    list_id, key, offset, length, comparison, reserved, number, total = row
    expect(total == crc32c(key, offset, length, number), f"the sum of the list {key!r}")
    expect((offset, comparison, reserved) == (0, 6, 0), f"the description of {key!r}")
    if key in RULE_LISTS:
        kind, expected_number, sort_key_size, size = RULE_LISTS[key]
        expect((number, length) == (expected_number, sort_key_size), f"the numbers of {key!r}")
        found["rules"] += [rule(kind, data)
                           for data in records(database, list_id, length, size)]
    else:
        expect(key.startswith(GROUP), f"an unknown list: {key!r}")
        expect((number, length) == (3, 128), f"the numbers of {key!r}")
        group = text(key[len(GROUP):])
        found["authorization"] += [authorization_set(group, data)
                                   for data in records(database, list_id, length)]


def read_order(database):
    order = [0, 1, 2]
    for key, area, form, data, total in database.execute("SELECT * FROM value"):
        expect((key, area, form) == (ORDER, 0, 4), f"an unknown value: {key!r}")
        expect(total == crc32c(key, area, form, data), "the sum of the order")
        pairs = elements(data)
        expect(all(kind == METHOD_ELEMENT for kind, _ in pairs), "an element of the order")
        order = [struct.unpack(">I", value)[0] for _, value in pairs]
    return [METHODS[method] for method in order]


def read(path, immutable=False):
    """@return {"rules": [...], "order": [...], "authorization": [...]}"""
    database = sqlite3.connect(f"file:{path}?{'immutable=1' if immutable else 'mode=ro'}", uri=True)
    try:
        check_store(database)
        found = {"rules": [], "authorization": [], "order": read_order(database)}
        for row in database.execute("SELECT id, key, offset, length, comparison, reserved, number,"
                                    " sum FROM list ORDER BY key"):
            read_list(database, row, found)
        return found
    finally:
        database.close()
