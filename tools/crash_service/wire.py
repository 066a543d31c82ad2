"""One TLS connection: reads requests, sends answers, and breaks on purpose when told to."""

from __future__ import annotations

import contextlib
import hashlib
import select
import socket
import ssl
import struct
import time
from typing import BinaryIO, Iterator, NamedTuple, Optional

from http_message import Answer, HeadError

_MAX_HEAD = 256 * 1024
_PIECE = 64 * 1024
_LINGER_SECONDS = 1.0


class ReceivedBody(NamedTuple):
    """What arrived of a body. `complete` is false when the connection ended before its end."""

    size: int
    md5: str
    complete: bool


class Connection:
    """Wraps a connected TLS socket. Used by one thread, except for `interrupt`."""

    def __init__(self, sock: ssl.SSLSocket) -> None:
        self._socket = sock
        self._buffer = b""

    def read_head(self) -> Optional[bytes]:
        """The next request's head with its empty line; None when the client has ended.

        Raises HeadError for an endless or unfinished head, OSError when the connection breaks.
        """
        while True:
            self._buffer = self._buffer.lstrip(b"\r\n")
            end = self._buffer.find(b"\r\n\r\n")
            if end >= 0:
                head, self._buffer = self._buffer[: end + 4], self._buffer[end + 4 :]
                return head
            if len(self._buffer) > _MAX_HEAD:
                raise HeadError("the head is too large")
            piece = self._socket.recv(_PIECE)
            if not piece:
                if self._buffer:
                    raise HeadError("the connection ended inside the head")
                return None
            self._buffer += piece

    def read_body(self, size: int, target: BinaryIO) -> ReceivedBody:
        """Streams `size` bytes of body into `target`."""
        digest = hashlib.md5()
        left = size
        while left > 0:
            if self._buffer:
                piece, self._buffer = self._buffer[:left], self._buffer[left:]
            else:
                try:
                    piece = self._socket.recv(min(left, _PIECE))
                except OSError:
                    piece = b""
            if not piece:
                break
            digest.update(piece)
            target.write(piece)
            left -= len(piece)
        return ReceivedBody(size - left, digest.hexdigest(), left == 0)

    def send_continue(self) -> None:
        """Sends "100 Continue", so that the client sends the body it has announced."""
        self._socket.sendall(b"HTTP/1.1 100 Continue\r\n\r\n")

    def send_head(self, answer: Answer, *, close: bool = False) -> None:
        """Sends the answer without its body, as HEAD asks for it."""
        self._socket.sendall(answer.head(close=close))

    def send(self, answer: Answer, *, chunked: bool = False, close: bool = False) -> None:
        """Sends the whole answer; a huge one goes piece by piece."""
        self._socket.sendall(answer.head(chunked=chunked, close=close))
        if answer.length == 0 and not chunked:
            return
        for piece in _pieces(answer, small=chunked):
            if chunked:
                piece = b"%x\r\n%b\r\n" % (len(piece), piece)
            self._socket.sendall(piece)
        if chunked:
            self._socket.sendall(b"0\r\n\r\n")

    def send_interim(self, status: int) -> None:
        """Sends an informational answer, which the real one follows."""
        self._socket.sendall(Answer(status).head())

    def send_raw(self, data: bytes) -> None:
        """Sends the bytes as they are."""
        self._socket.sendall(data)

    def send_half(self, answer: Answer) -> None:
        """Sends the head, which promises the whole body, but only half of the body."""
        if answer.length < 2:  # There is no half to send: promise some bytes and send none.
            self._socket.sendall(Answer(answer.status, b"12", answer.content_type).head())
            return
        left = answer.length // 2
        self._socket.sendall(answer.head())
        for piece in _pieces(answer):
            self._socket.sendall(piece[:left])
            left -= len(piece)
            if left <= 0:
                return

    def reset(self) -> None:
        """Ends the connection with a TCP reset, after what was sent had time to arrive."""
        time.sleep(0.1)
        with contextlib.suppress(OSError):
            self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self._socket.close()

    def finish(self) -> None:
        """Ends the connection in order, TLS included, so that the last answer is not lost."""
        with contextlib.suppress(OSError, ValueError):
            self._socket.settimeout(0)
            try:
                self._socket.unwrap()
            except ssl.SSLError:  # The client has not sent its close_notify yet.
                pass
            self._socket.shutdown(socket.SHUT_WR)
            # Closing with unread bytes would turn the orderly end into a reset.
            deadline = time.monotonic() + _LINGER_SECONDS
            while time.monotonic() < deadline:
                select.select([self._socket], [], [], _LINGER_SECONDS / 10)
                with contextlib.suppress(ssl.SSLWantReadError, BlockingIOError):
                    if not self._socket.recv(_PIECE):
                        break
        self._socket.close()

    def interrupt(self) -> None:
        """Makes a read or write of the connection's own thread end; callable from any thread."""
        with contextlib.suppress(OSError):
            # Not SSLSocket's own: that takes the TLS state from under the other thread.
            socket.socket.shutdown(self._socket, socket.SHUT_RDWR)


def _pieces(answer: Answer, small: bool = False) -> Iterator[bytes]:
    """The body, its padding and its pieces; `small` cuts the body itself into several pieces."""
    step = 16 if small and len(answer.body) < _PIECE else _PIECE
    for start in range(0, len(answer.body), step):
        yield answer.body[start : start + step]
    left = answer.padding
    while left > 0:
        yield b" " * min(left, _PIECE)
        left -= _PIECE
    yield from answer.pieces
