# SPDX-License-Identifier: Apache-2.0
"""The parts of a User-Agent that can name a device, without what every browser says."""

import re

# Replaced by a barrier that no term crosses. What is left of an ordinary
# string is the model and perhaps the application.
_COMMON = re.compile(
    r"Mozilla/\d[\d.]*"
    r"|AppleWebKit/?[\d.+]*"
    r"|\(?KHTML,? like Gecko\)?"
    r"|(?:Mobile )?Safari/[\d.]+"
    r"|(?:Chrome|Version|Firefox|Gecko|OPR|YaBrowser|Dalvik|Opera|Presto|SamsungBrowser|UCBrowser"
    r"|MQQBrowser|Edge|EdgA|Silk|CFNetwork|Darwin|Trident|MSIE|IEMobile|NetFront|Obigo|Build"
    r"|Profile|Configuration|UP\.Browser|U2|UCWEB|FBAV|FBAN|NetType|Language|TBS"
    r"|MicroMessenger|GSA|MMP|rv|Cronet|okhttp|AppleCoreMedia|AdobeAIR)[/: ][^\s;)(]*"
    r"|(?:compatible|Linux|Windows NT [\d.]+|Win64|x64|WOW64|U|wv|Touch|ARM|gzip|UNTRUSTED/1\.0)"
    r"(?=[;)]|$)"
    r"|(?:\(?X11|Linux|Puffin|Macintosh|Intel Mac OS X|Windows|CE-HTML|HbbTV|Gecko|Opera)\b"
    r"|Android(?: OS)?[ /-]?[\d.]*"
    r"|(?<=[ ;(])[a-z]{2}[-_](?:[a-zA-Z]{2,4})(?=[;) ])"
    r"|\b[0-9A-Fa-f]{8}-[0-9A-Fa-f-]{20,}"
    r"|\b\d+(?:\.\d+)+"
)
_START = re.compile(r"(?:^|(?:; |[ ;/(,_\-]))(?=[A-Za-z0-9\"'])")
BARRIER = "\x00"
REACH = 22
POSITIONS = 7


def segments(text):
    """Stretches that may begin a term, each from a word boundary with its delimiter."""
    rest = _COMMON.sub(BARRIER, text)
    found = []
    for match in _START.finditer(rest):
        start = match.start()
        piece = rest[start : start + REACH]
        end = piece.find(BARRIER)
        if end >= 0:
            piece = piece[:end]
        if len(piece) - (match.end() - start) >= 2:
            found.append(piece.rstrip())
        if len(found) == POSITIONS:
            break
    return found


def usable(term):
    """A term can stand in an expression and says something: two letters or digits at least."""
    if "|" in term or "&" in term or BARRIER in term:
        return False
    return sum(c.isalnum() for c in term) >= 2 and term == term.rstrip(" ")
