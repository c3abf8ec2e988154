# SPDX-License-Identifier: Apache-2.0
"""Terms worth a rule: beginnings of words that several fingerprints share, and whole model names.

All stretches are sorted; a shared beginning is then a run of neighbours, and
only beginnings after which the run divides are kept, so that every candidate
is the longest text that its fingerprints have in common.
"""

import re

from byodrules import model_text

_WORD_END = re.compile(r"[ ;/),_(]")
_VARIANT = re.compile(r"^(.*[0-9]{2})[A-Za-z]{1,2}$")


def _common(a, b):
    count = 0
    for x, y in zip(a, b):
        if x != y:
            break
        count += 1
    return count


def _shared(pieces):
    """Yields (text, first, last) for every dividing beginning of sorted (text, id) pairs."""
    open_runs = []  # (length, first)
    for index in range(1, len(pieces) + 1):
        shared = _common(pieces[index - 1][0], pieces[index][0]) if index < len(pieces) else 0
        first = index - 1
        while open_runs and open_runs[-1][0] > shared:
            length, first = open_runs.pop()
            yield pieces[first][0][:length], first, index
        if shared >= 2 and (not open_runs or open_runs[-1][0] < shared):
            open_runs.append((shared, first))


def _whole(piece):
    """The model name a stretch begins with, as it stands and without the variant's letters."""
    body = piece.lstrip(" ;/(,_-")
    lead = len(piece) - len(body)
    names = {piece[:model_text.REACH]}
    end = _WORD_END.search(piece, lead)
    word = piece[: end.start()] if end else piece
    if len(word) - lead >= 4:
        names.add(word)
        variant = _VARIANT.match(word)
        if variant and len(variant.group(1)) - lead >= 4:
            names.add(variant.group(1))
    second = _WORD_END.search(piece, end.end()) if end else None
    if second:
        names.add(piece[: second.start()])
    return names


def terms(texts):
    """Maps each candidate term to the ascending ids of texts it was seen in."""
    pieces = sorted({(piece, i) for i, text in enumerate(texts) for piece in
                     model_text.segments(text)})
    found = {}
    for text, first, last in _shared(pieces):
        text = text.rstrip(" ")
        if model_text.usable(text):
            ids = {pieces[i][1] for i in range(first, last)}
            if len(ids) > 1:
                found.setdefault(text, set()).update(ids)
    for piece, index in pieces:
        for name in _whole(piece):
            name = name.rstrip(" ")
            if len(name) >= 4 and model_text.usable(name):
                found.setdefault(name, set()).add(index)
    return {term: tuple(sorted(ids)) for term, ids in found.items()}
