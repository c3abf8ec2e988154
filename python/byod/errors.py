# SPDX-License-Identifier: Apache-2.0
"""What a request can fail with. That no daemon is there is an OSError, as for any socket."""

from __future__ import annotations

from byod import codes
from byod.message import Message


class Refused(Exception):
    """The daemon refused a request; nothing has changed."""

    def __init__(self, code: int, refusal: int, reason: str) -> None:
        super().__init__(reason or f"refused with code {code:#x}")
        self.code = code
        self.refusal = refusal  # a number of docs/messages.md; 0: the daemon gave none
        self.reason = reason


class NotFound(Refused):
    """There is no such rule, group or set."""


class NotPermitted(Refused):
    """This user may not change the configuration."""


class LimitReached(Refused):
    """The custom rules have reached their limit."""


class Busy(Refused):
    """Another change is open, or there are too many clients."""


class NotSaved(Refused):
    """The database cannot be written."""


_BY_REFUSAL: dict[int, type[Refused]] = {
    codes.NOT_FOUND: NotFound,
    codes.PERMISSION: NotPermitted,
    codes.AT_LIMIT: LimitReached,
    codes.BUSY: Busy,
    codes.NOT_SAVED: NotSaved,
}


def refusal_of(reply: Message, code: int) -> Refused:
    """The exception for a reply with a code other than success."""
    refusal = reply.number(codes.REFUSAL)
    return _BY_REFUSAL.get(refusal, Refused)(code, refusal, reply.text(codes.REASON))
