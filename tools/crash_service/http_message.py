"""HTTP/1.1 messages as plain values: a parsed request head and an answer to be sent."""

from __future__ import annotations

import dataclasses
import http.client
import re
from typing import Iterable, List, Optional, Tuple

_REQUEST_LINE = re.compile(r"([!-~]+) ([!-~\x80-\xff]+) HTTP/(1\.[01])")
_HEADER_NAME = re.compile(r"[!#$%&'*+.^_`|~0-9A-Za-z-]+")

_BODILESS = (*range(100, 200), 204, 304)


class HeadError(ValueError):
    """The bytes are not a request head; the text says why."""


@dataclasses.dataclass(frozen=True)
class RequestHead:
    """Request line and headers. Text is Latin-1, so that no byte is lost; `raw` is what came."""

    raw: bytes
    method: str
    target: str
    version: str
    headers: List[Tuple[str, str]]

    @classmethod
    def parse(cls, raw: bytes) -> RequestHead:
        """Parses everything up to and with the empty line; raises HeadError."""
        lines = raw.decode("latin-1").split("\r\n")
        if len(lines) < 3 or lines[-2:] != ["", ""]:
            raise HeadError("the head does not end with an empty line")
        request_line = _REQUEST_LINE.fullmatch(lines[0])
        if request_line is None:
            raise HeadError("the request line is malformed")
        headers = []
        for line in lines[1:-2]:
            name, colon, value = line.partition(":")
            if not colon or "\n" in value or _HEADER_NAME.fullmatch(name) is None:
                raise HeadError(f"the header line {line!r} is malformed")
            headers.append((name, value.strip(" \t")))
        return cls(raw, request_line[1], request_line[2], request_line[3], headers)

    def all(self, name: str) -> List[str]:
        """Every value of the header, in order; names compare without case."""
        return [value for key, value in self.headers if key.lower() == name.lower()]

    def content_length(self) -> Optional[int]:
        """The announced body size, None without the header; raises HeadError when unusable.

        The same size given several times counts once, as HTTP allows.
        """
        values = set(self.all("Content-Length"))
        if not values:
            return None
        value = values.pop()
        if values or not re.fullmatch("[0-9]{1,18}", value):
            raise HeadError("Content-Length is not one decimal number")
        return int(value)

    def wants_close(self) -> bool:
        """Whether the client does not want to use the connection again."""
        words = ",".join(self.all("Connection")).lower()
        return "close" in words or (self.version == "1.0" and "keep-alive" not in words)

    def expects_continue(self) -> bool:
        """Whether the client waits for "100 Continue" before it sends the body."""
        return any(value.lower() == "100-continue" for value in self.all("Expect"))


@dataclasses.dataclass(frozen=True)
class Answer:
    """What the service answers. `padding` blanks follow the body (they count in its length), or
    `pieces`, which are `pieces_size` bytes together and can be sent once."""

    status: int
    body: bytes = b""
    content_type: str = "application/json"
    headers: Tuple[Tuple[str, str], ...] = ()
    padding: int = 0
    pieces: Iterable[bytes] = ()
    pieces_size: int = 0

    @property
    def length(self) -> int:
        """The size of the body that is sent."""
        return 0 if self.status in _BODILESS else len(self.body) + self.padding + self.pieces_size

    def head(self, *, chunked: bool = False, close: bool = False) -> bytes:
        """Status line and headers, with the empty line."""
        reason = http.client.responses.get(self.status, "Status")
        lines = [f"HTTP/1.1 {self.status} {reason}"]
        lines += [f"{name}: {value}" for name, value in self.headers]
        if self.status not in _BODILESS:
            lines.append(f"Content-Type: {self.content_type}")
            length = f"Content-Length: {self.length}"
            lines.append("Transfer-Encoding: chunked" if chunked else length)
        if close:
            lines.append("Connection: close")
        return "\r\n".join([*lines, "", ""]).encode("latin-1")
