"""Failures on demand: what to do wrong, on which call, and how often."""

from __future__ import annotations

import dataclasses
import re
import threading
from pathlib import Path
from typing import Any, Dict, List, Optional, Tuple, Union

from http_message import Answer

CALLS = ("first", "put", "commit")
RESETS = ("body", "before", "middle", "after")
STALLS = ("request", "answer")
CONNECTS = ("refused", "reset", "garbage", "expired", "wrong-name", "unknown-ca")

_STATUS_LINE = re.compile(rb"HTTP/1\.[01] ([0-9]{3})\b")
_UNITS = {"K": 1 << 10, "M": 1 << 20, "G": 1 << 30}


class FaultError(ValueError):
    """A fault that makes no sense; the text says why."""


@dataclasses.dataclass
class Fault:
    """One failure. The fields up to `huge` shape the answer, those after it break the delivery.

    The request itself is received, kept and checked as always. A report only advances (archive
    taken, commit made) when the answer's status is still 200.
    """

    status: Optional[int] = None
    body: Optional[bytes] = None  # Alone it means status 200.
    redirect: Union[bool, str] = False  # True: to this service again; a text: to that URL.
    huge: int = 0  # The body is filled up to this size with blanks, which JSON ignores.
    delay: float = 0.0  # Seconds to wait before answering.
    interim: int = 0  # An informational answer of this status comes first.
    chunked: bool = False
    truncate: bool = False  # Content-Length promises more than is sent.
    reset: Optional[str] = None  # One of RESETS.
    close: bool = False  # Ends in order, without an answer.
    never: bool = False  # No answer until the service stops.
    stall: Optional[str] = None  # One of STALLS: in the middle of it the service falls silent.
    raw: Optional[bytes] = None  # Sent as it is, "{body}" replaced by the body; then the end.
    connect: Optional[str] = None  # One of CONNECTS: there is no connection to make the call on.
    times: Optional[int] = None  # How many requests it hits; None: all.

    def __post_init__(self) -> None:
        if isinstance(self.body, str):
            self.body = self.body.encode()
        if self.status is not None and not 200 <= self.status <= 599:
            raise FaultError(f"status {self.status} is not between 200 and 599")
        if self.reset is not None and self.reset not in RESETS:
            raise FaultError(f"reset is one of {', '.join(RESETS)}, not {self.reset!r}")
        if self.stall is not None and self.stall not in STALLS:
            raise FaultError(f"stall is one of {', '.join(STALLS)}, not {self.stall!r}")
        if self.connect is not None and self.connect not in CONNECTS:
            raise FaultError(f"connect is one of {', '.join(CONNECTS)}, not {self.connect!r}")
        if self.connect is not None and self.times is not None:
            raise FaultError("connect lasts until the faults are cleared")
        if self.interim and not 100 <= self.interim <= 199:
            raise FaultError(f"interim {self.interim} is not between 100 and 199")
        if self.times is not None and self.times < 1:
            raise FaultError("times must be at least 1")
        if not 0 <= self.delay <= 86400:
            raise FaultError("delay must be between 0 and 86400 seconds")
        if self.huge < 0:
            raise FaultError("huge must not be negative")
        ways = [self.chunked, self.truncate, self.close, self.never]
        ways += [way is not None for way in (self.reset, self.stall, self.raw, self.connect)]
        if sum(map(bool, ways)) > 1:
            raise FaultError(
                "chunked, truncate, reset, close, never, stall, raw and connect exclude each other"
            )

    def describe(self) -> str:
        """The settings that differ from none, as one line of text."""
        parts = []
        for field in dataclasses.fields(self):
            value = getattr(self, field.name)
            if value != field.default and field.name != "times":
                if isinstance(value, bytes):
                    value = f"{len(value)} bytes"
                parts.append(field.name if value is True else f"{field.name}={value}")
        return ",".join(parts) or "nothing"

    def is_silent(self) -> bool:
        """Whether the client gets no HTTP answer at all."""
        none = self.reset == "before" or self.stall == "request" or self.close or self.never
        return none or self.answered_status(200) == 0

    def answered_status(self, ordinary: int) -> int:
        """The status that is sent instead of the ordinary one; 0: none."""
        if self.raw is not None:
            found = _STATUS_LINE.match(self.raw)
            return int(found[1]) if found else 0
        if self.status is not None:
            return self.status
        if self.redirect:
            return 307
        return ordinary if self.body is None else 200

    def apply(self, ordinary: Answer, redirect_url: str) -> Answer:
        """The answer to send instead of the ordinary one."""
        if self.raw is not None:
            return ordinary
        answer = dataclasses.replace(ordinary, status=self.answered_status(ordinary.status))
        if self.body is not None:
            answer = dataclasses.replace(answer, body=self.body)
        elif answer.status != ordinary.status:
            answer = dataclasses.replace(answer, body=b"")
        if self.redirect:
            location = redirect_url if self.redirect is True else self.redirect
            answer = dataclasses.replace(answer, headers=(("Location", location),))
        padding = max(0, self.huge - len(answer.body))
        return dataclasses.replace(answer, padding=padding)


class FaultPlan:
    """The faults that are still to come, per call, oldest first. Any thread may use it."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._faults: Dict[str, List[Fault]] = {call: [] for call in CALLS}

    def add(self, call: str, fault: Fault) -> None:
        """Queues the fault behind those that the call already has."""
        if call not in CALLS:
            raise FaultError(f"the call is one of {', '.join(CALLS)}, not {call!r}")
        with self._lock:
            self._faults[call].append(dataclasses.replace(fault))

    def clear(self) -> None:
        """Forgets every fault; those under way still happen."""
        with self._lock:
            self._faults = {call: [] for call in CALLS}

    def connection(self, call: str) -> Optional[str]:
        """The fault for the connection on which the call is made; None: none."""
        with self._lock:
            queue = self._faults.get(call, [])
            return queue[0].connect if queue else None

    def take(self, call: str) -> Optional[Fault]:
        """The fault for the call's next request, counted as used; None: answer as usual."""
        with self._lock:
            queue = self._faults.get(call, [])
            if not queue:
                return None
            fault = queue[0]
            if fault.times is not None:
                fault.times -= 1
                if fault.times == 0:
                    queue.pop(0)
            return fault


def parse_fault(text: str) -> Tuple[str, Fault]:
    """Reads `CALL:KEY[=VALUE],...`. `body=` takes the rest of the text, commas and all.

    `body=@FILE` takes the file's bytes. Raises FaultError.
    """
    call, colon, rest = text.partition(":")
    if not colon or not rest:
        raise FaultError(f"{text!r} is not of the form CALL:KEY=VALUE,...")
    if call not in CALLS:
        raise FaultError(f"the call is one of {', '.join(CALLS)}, not {call!r}")
    settings: Dict[str, Any] = {}
    while rest:
        item, _, remaining = rest.partition(",")
        if item.startswith("body="):
            item, remaining = rest, ""
        key, equals, value = item.partition("=")
        settings[key] = _parse_value(key, value if equals else None)
        rest = remaining
    return call, Fault(**settings)


def _parse_value(key: str, value: Optional[str]) -> Any:
    try:
        if key in ("chunked", "truncate", "close", "never") and value is None:
            return True
        if key == "redirect":
            return value or True
        if value:
            if key in ("status", "times", "interim"):
                return int(value)
            if key == "delay":
                return float(value)
            if key == "huge":
                unit = _UNITS.get(value[-1].upper())
                return int(value[:-1]) * unit if unit else int(value)
            if key in ("reset", "stall", "connect"):
                return value
        if key == "body" and value is not None:
            return Path(value[1:]).read_bytes() if value.startswith("@") else value.encode()
    except (ValueError, OSError) as error:
        raise FaultError(f"{key}={value}: {error}") from None
    raise FaultError(f"unknown or incomplete setting {key!r}")
