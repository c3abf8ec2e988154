# SPDX-License-Identifier: Apache-2.0
"""Vendors of MAC addresses: the IEEE registry, brand names for its organisations, own prefixes."""

import csv
import os

from byodrules import catalogue

FILES = (("oui.csv", 6), ("mam.csv", 7), ("oui36.csv", 9), ("iab.csv", 9))
PARENT = "IEEE Registration Authority"  # holds a block only as parent of smaller ones
NOBODY = "Private"


def digits(address):
    return "".join(c for c in address.lower() if c in "0123456789abcdef")


def parse_prefix(mac, mask):
    """The leading hex digits of a rule's address; masks are whole digits here."""
    if "/" in mac:
        address, bits = mac.split("/")
        count = int(bits)
    else:
        address = mac
        count = bin(int(digits(mask) or "f" * 12, 16)).count("1")
    if count % 4:
        raise ValueError(f"{mac}: {count} bits are not whole digits")
    prefix = digits(address)[: count // 4]
    if len(prefix) != count // 4:
        raise ValueError(f"{mac}: shorter than its mask")
    return prefix


def read_organisations(folder):
    """Registered prefixes with the text of their organisation, parents left out."""
    found = {}
    for name, count in FILES:
        path = os.path.join(folder, name)
        with open(path, encoding="utf-8", newline="") as file:
            for row in csv.DictReader(file):
                organisation = row["Organization Name"].strip()
                if count == 6 and organisation == PARENT:
                    continue
                found.setdefault(row["Assignment"].lower()[:count], organisation)
    return found


class Registry:
    """Answers like the MAC rule table: the longest prefix that covers the address."""

    def __init__(self, ieee_folder, rules_folder):
        aliases = {}
        path = os.path.join(rules_folder, catalogue.VENDOR_ALIAS)
        if os.path.exists(path):
            for row in catalogue.read_table(path, ("organisation", "vendor"), ("module",)):
                made_by = "module made by " if row["module"] == "yes" else ""
                aliases[row["organisation"]] = made_by + row["vendor"]
        self._answers = {}
        self.own = {}  # prefixes of the catalogue's own rules, and the rules as written
        if ieee_folder:
            for prefix, organisation in read_organisations(ieee_folder).items():
                if organisation == NOBODY:
                    continue
                vendor = aliases.get(organisation, organisation)
                vendor = vendor.encode("utf-8")[:63].decode("utf-8", "ignore")
                if vendor:
                    self._answers[prefix] = ("", vendor, "")
        path = os.path.join(rules_folder, catalogue.MAC)
        if os.path.exists(path):
            columns = ("mac", "mask", "name", "vendor", "category", "os")
            for row in catalogue.read_table(path, columns, ("example",)):
                prefix = parse_prefix(row["mac"], row["mask"])
                self._answers[prefix] = (row["category"], row["vendor"], row["os"])
                self.own[prefix] = row["mac"]
        self._counts = sorted({len(p) for p in self._answers}, reverse=True)

    def prefix(self, mac):
        """The prefix that decides on an address, or None."""
        text = digits(mac)
        for count in self._counts:
            if text[:count] in self._answers:
                return text[:count]
        return None

    def find(self, mac):
        prefix = self.prefix(mac)
        return None if prefix is None else self._answers[prefix]
