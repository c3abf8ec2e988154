# SPDX-License-Identifier: Apache-2.0
"""Turns the hand-written tables of brand names and model words into rules.

A row is `term,vendor,kind`. Kinds: `phone`, `tablet`, `tv` and `other` for
words that only such devices carry; `both` for brands of phones and tablets,
distinguished by "Mobile"; a `+` behind the kind adds the bare word as a rule, for
strings that do not name their system (feature phones).

A row of the names is `name,vendor,kind`: the name is tried in its usual
spellings. A `!` behind the kind marks a short or common word, which only counts
at the beginning of a model.
"""

from byodrules import catalogue, naming
from byodrules.catalogue import Rule

_CATEGORY = {"phone": "Mobile", "tablet": "Tablet", "tv": "TV", "other": "Other"}
# A browser on a phone. The long guard outranks whatever a tablet's word alone would say.
PHONE = "Mozilla/5.0&&Android&&Mobile"
# So few letters and digits begin models of several brands: no tablet against "Mobile".
SHORT = 3


def _rule(expression, vendor, category, system):
    name = naming.name_of(vendor, category, system)
    return Rule(expression, name, vendor, category, system)


def _expand(term, vendor, kind):
    bare = kind.endswith("+")
    kind = kind.rstrip("+")
    category = _CATEGORY.get(kind)
    if kind == "both":
        yield _rule(f"Android&&{term}", vendor, "Tablet", "Android")
        yield _rule(f"{PHONE}&&{term}", vendor, "Mobile", "Android")
    elif category:
        # Applications of phones often leave "Mobile" out, browsers of others say it at times.
        yield _rule(f"Android&&{term}", vendor, category, "Android")
        if kind != "tablet" or sum(c.isalnum() for c in term) > SHORT:
            yield _rule(f"{PHONE}&&{term}", vendor, category, "Android")
    else:
        raise ValueError(f"{term}: unknown kind {kind}")
    if bare:
        yield _rule(term, vendor, category or "Mobile", "")


def spellings(name):
    """A name as written, in capitals and capitalised; blanks may also be underscores or missing.

    An expression cannot hold "&": the parts around it must both occur.
    """
    name = name.replace("&", "&&")
    shapes = [name]
    if " " in name:
        shapes += [name.replace(" ", "_"), name.replace(" ", "")]
    found = []
    for shape in shapes:
        words = shape.replace("_", " ").split(" ")
        joint = "_" if "_" in shape else " "
        capitalised = joint.join(word[:1].upper() + word[1:].lower() for word in words)
        for text in (shape, shape.upper(), capitalised):
            if text not in found:
                found.append(text)
    return found


def _named(name, vendor, kind):
    led = kind.endswith("!")
    kind = kind.rstrip("!")
    for text in spellings(name):
        if kind == "tvset":
            shapes = (f"; {text};", f";{text};") if led else (text,)
            for shape in shapes:
                yield _rule(f"HbbTV&&{shape}", vendor, "TV", "Linux")
                if not led:
                    yield _rule(f"Linux&&{shape}", vendor, "TV", "Linux")
        else:
            shapes = (f"; {text} ", f"; {text}_", f"; {text}-") if led else (text,)
            for shape in shapes:
                yield from _expand(shape, vendor, kind)


def rules(path, names_path=None):
    """The rules of the tables, each expression once; words go before names."""
    found = {}
    for row in catalogue.read_table(path, ("term", "vendor", "kind")):
        for rule in _expand(row["term"], row["vendor"], row["kind"]):
            found.setdefault(rule.key, rule)
    if names_path:
        for row in catalogue.read_table(names_path, ("name", "vendor", "kind")):
            for rule in _named(row["name"], row["vendor"], row["kind"]):
                found.setdefault(rule.key, rule)
    return list(found.values())
