# SPDX-License-Identifier: Apache-2.0
"""The terminal type text of a learned rule."""

_NOUNS = {
    "PC": "computer",
    "Mobile": "phone",
    "Tablet": "tablet",
    "TV": "TV",
    "Console": "game console",
    "Printer": "printer",
    "VoIP": "IP phone",
    "Network": "network device",
    "Storage": "storage",
    "Camera": "camera",
    "Media": "media device",
    "IoT": "IoT device",
}


def name_of(vendor, category, system):
    """For example "Samsung Android phone"; a field that is open is left out."""
    noun = _NOUNS.get(category, "device")
    shown = "" if system.lower() in vendor.lower() else system
    if shown in ("iOS", "macOS", "Windows Phone") and vendor == "Apple":
        shown = ""
    return " ".join(word for word in (vendor, shown, noun) if word)
