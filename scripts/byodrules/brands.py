"""Turns the hand-written table of brand and model words into rules.

A row is `term,vendor,kind`. Kinds: `phone`, `tablet`, `tv` and `other` for
words that only such devices carry; `both` for brands of phones and tablets,
told apart by "Mobile"; a `+` behind the kind adds the bare word as a rule, for
strings that do not name their system (feature phones).
"""

from byodrules import catalogue, naming
from byodrules.catalogue import Rule

_CATEGORY = {"phone": "Mobile", "tablet": "Tablet", "tv": "TV", "other": "Other"}
# A browser on a phone. The long guard outranks whatever a tablet's word alone would say.
PHONE = "Mozilla/5.0&&Android&&Mobile"


def _rule(expression, vendor, category, system):
    name = naming.name_of(vendor, category, system)
    return Rule(expression, name, vendor, category, system)


def _expand(term, vendor, kind):
    bare = kind.endswith("+")
    kind = kind.rstrip("+")
    if kind == "both":
        yield _rule(f"Android&&{term}", vendor, "Tablet", "Android")
    if kind in ("both", "phone"):
        if kind == "phone":  # applications often leave "Mobile" out
            yield _rule(f"Android&&{term}", vendor, "Mobile", "Android")
        yield _rule(f"{PHONE}&&{term}", vendor, "Mobile", "Android")
    elif kind in _CATEGORY:
        yield _rule(f"Android&&{term}", vendor, _CATEGORY[kind], "Android")
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
