# SPDX-License-Identifier: Apache-2.0
"""
Asks lauthd what kind of terminal has connected, and configures its rules.

    >>> import byod
    >>> with byod.Client() as client:
    ...     client.identify(mac="b0:34:95:1a:2b:3c", dhcp="1,121,3,6,15,119,252").os
    'iOS'
"""

from byod.client import Bulk, Client
from byod.errors import Busy, LimitReached, NotFound, NotPermitted, NotSaved, Refused
from byod.message import FormError
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
    Rule,
    Seen,
    Station,
    StationChange,
    Status,
    TableCounts,
    UnknownFingerPrint,
)

__all__ = [
    "Authorization",
    "Bulk",
    "Busy",
    "Client",
    "DatabaseState",
    "DeviceInfo",
    "Event",
    "Feed",
    "FingerPrint",
    "FormError",
    "HeldAddress",
    "Identity",
    "Kind",
    "LimitReached",
    "NotFound",
    "NotPermitted",
    "NotSaved",
    "Refused",
    "Rule",
    "Seen",
    "Station",
    "StationChange",
    "Status",
    "TableCounts",
    "UnknownFingerPrint",
]
