"""The service's sockets: listening, TLS, and failing before TLS."""

from __future__ import annotations

import contextlib
import os
import socket
import ssl
import struct

from certificates import HOST, Certificates

ACCEPT_POLL_SECONDS = 0.1
_FIRST_BYTES_SECONDS = 3.0


def tls_context(certificates: Certificates) -> ssl.SSLContext:
    """TLS with that certificate."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificates.certificate, certificates.key)
    return context


def break_off(plain: socket.socket, fault: str) -> None:
    """Ends a connection before TLS: with a reset, or with something that is no TLS."""
    with contextlib.suppress(OSError), plain:
        plain.settimeout(_FIRST_BYTES_SECONDS)
        plain.recv(4096)
        if fault == "garbage":
            plain.sendall(b"HTTP/1.1 400 Bad Request\r\n\r\n")
        else:
            plain.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


def listen(port: int) -> socket.socket:
    """A listener at the port, on this machine alone. Raises OSError when the port is taken."""
    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    try:
        if os.name == "posix":  # On Windows the option would allow two services on one port.
            listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind((HOST, port))
        listener.listen(128)
        listener.settimeout(ACCEPT_POLL_SECONDS)
    except OSError:
        listener.close()
        raise
    return listener
