# SPDX-License-Identifier: Apache-2.0
"""Learns DHCP option rules: exact option lists, each answered by what its labels agree on."""

from collections import Counter

from byodrules import naming
from byodrules.catalogue import Rule

# A list belongs to many unlike devices; a field is answered only when the labels
# that speak about it largely agree.
AGREE = 0.6
# A client names an option once, and a careless one twice. The text of a list, taken for numbers,
# repeats its commas.
REPEATS = 2


def plausible(options):
    """Whether a client may have asked for these options."""
    return max(Counter(options.split(",")).values()) <= REPEATS


def _agreed(labels):
    said = Counter(label for label in labels if label)
    if not said:
        return ""
    best, count = min(said.items(), key=lambda item: (-item[1], item[0]))
    return best if count >= AGREE * sum(said.values()) else ""


def learn(rows, base, most):
    """rows: (options, (category, vendor, os)); base rules stand as they are and come first."""
    rules = list(base)
    taken = {rule.key for rule in base}
    lists = {}
    for options, labels in rows:
        if options not in taken and plausible(options):
            lists.setdefault(options, []).append(labels)
    for options in sorted(lists, key=lambda o: (-len(lists[o]), o)):
        if len(rules) >= most:
            break
        category, vendor, system = (_agreed(field) for field in zip(*lists[options]))
        if system == "Windows" and vendor == "Microsoft":
            vendor = ""  # who made the system says nothing of who made the computer
        if category or vendor or system:
            name = naming.name_of(vendor, category, system)
            rules.append(Rule(options, name, vendor, category, system))
    return rules
