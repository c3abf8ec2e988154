"""Turns the hand-written table of brand and model words into rules.

A row is `term,vendor,kind`. Kinds: `phone`, `tablet`, `tv` and `other` for
words that only such devices carry; `both` for brands of phones and tablets,
told apart by "Mobile"; a `+` behind the kind adds the bare word as a rule, for
strings that do not name their system (feature phones).
"""

from byodrules import catalogue, naming
from byodrules.catalogue import Rule

_CATEGORY = {"phone": "Mobile", "tablet": "Tablet", "tv": "TV", "other": "Other"}
# Below this an expression would lose to "Android&&Mobi".
_OUTRANKS = len("Android&&Mobi") + 1


def _rule(expression, vendor, category, system):
    name = naming.name_of(vendor, category, system)
    return Rule(expression, name, vendor, category, system)


def _expand(term, vendor, kind):
    bare = kind.endswith("+")
    kind = kind.rstrip("+")
    guarded = f"Android&&{term}"
    if len(guarded.encode("utf-8")) < _OUTRANKS:
        guarded = f"Linux&&{guarded}"
    if kind == "both":
        yield _rule(guarded, vendor, "Tablet", "Android")
        yield _rule(f"Android&&{term}&&Mobile", vendor, "Mobile", "Android")
    elif kind in _CATEGORY:
        yield _rule(guarded, vendor, _CATEGORY[kind], "Android")
    else:
        raise ValueError(f"{term}: unknown kind {kind}")
    if bare:
        yield _rule(term, vendor, _CATEGORY.get(kind, "Mobile"), "")


def rules(path):
    """The rules of the table, each expression once."""
    found = {}
    for row in catalogue.read_table(path, ("term", "vendor", "kind")):
        for rule in _expand(row["term"], row["vendor"], row["kind"]):
            found.setdefault(rule.key.lower(), rule)
    return list(found.values())
