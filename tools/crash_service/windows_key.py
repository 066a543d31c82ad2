"""Writes a certificate and its key, as PowerShell hands them out, into the one file that TLS needs.

windows_key.py FILE.pem reads two lines from standard input: the certificate as base64, and the RSA
key as .NET's XML. `windows_certificate.ps1` runs it; PowerShell itself cannot write such a file.
"""

from __future__ import annotations

import base64
import os
import ssl
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path
from typing import List

# The numbers of a PKCS #1 key, in its order, under the names that .NET gives them.
_NUMBERS = ("Modulus", "Exponent", "D", "P", "Q", "DP", "DQ", "InverseQ")


def key_from_xml(text: str) -> bytes:
    """The key in DER, PKCS #1. Raises ValueError when a number is missing."""
    root = ElementTree.fromstring(text)
    numbers = [root.findtext(name) for name in _NUMBERS]
    if not all(numbers):
        raise ValueError("the key lacks a number: it was not exported with its private part")
    values = [0, *(int.from_bytes(base64.b64decode(one), "big") for one in numbers)]
    return _tagged(0x30, b"".join(map(_integer, values)))


def main(arguments: List[str]) -> int:
    """Writes the file and returns the exit code."""
    target = Path(arguments[0])
    certificate, _, key = sys.stdin.read().strip().partition("\n")
    text = _pem("CERTIFICATE", base64.b64decode(certificate))
    text += _pem("RSA PRIVATE KEY", key_from_xml(key))
    temporary = target.with_suffix(".new")
    temporary.touch(mode=0o600)
    temporary.write_text(text)
    # Raises when the two do not belong together.
    ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER).load_cert_chain(temporary)
    os.replace(temporary, target)
    return 0


def _integer(value: int) -> bytes:
    # One bit more than the value has, for the sign.
    return _tagged(0x02, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def _tagged(tag: int, content: bytes) -> bytes:
    size = len(content)
    if size < 0x80:
        return bytes([tag, size]) + content
    length = size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(length)]) + length + content


def _pem(label: str, data: bytes) -> str:
    text = base64.b64encode(data).decode()
    lines = [text[at : at + 64] for at in range(0, len(text), 64)]
    return "\n".join([f"-----BEGIN {label}-----", *lines, f"-----END {label}-----", ""])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
