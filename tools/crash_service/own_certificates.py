"""Keys and certificates for the test authority without openssl: RSA of 2048 bits, SHA-256, X.509 version 3.

Enough for tests on one machine, and for nothing else: the arithmetic is Python's own, which takes a different time for
different keys. What is in a certificate is decided by the caller; see certificates.py.
"""

from __future__ import annotations

import base64
import datetime
import hashlib
import secrets
from pathlib import Path
from typing import List, NamedTuple, Tuple

_SHA256_RSA = "1.2.840.113549.1.1.11"
_RSA = "1.2.840.113549.1.1.1"
_SHA256 = "2.16.840.1.101.3.4.2.1"
_COMMON_NAME = "2.5.4.3"
_SERVER_AUTHENTICATION = "1.3.6.1.5.5.7.3.1"
_EXPONENT = 65537
_PRIME_BITS = 1024
_WITNESSES = 24  # A composite passes for a prime with a chance below 4 to the power of minus this.
_SMALL_PRIMES = [n for n in range(3, 2000, 2) if all(n % d for d in range(3, int(n**0.5) + 1, 2))]

# Tags of DER.
_BOOLEAN, _INTEGER, _BITS, _OCTETS, _NULL, _OID, _UTF8 = 1, 2, 3, 4, 5, 6, 12
_UTC_TIME, _GENERAL_TIME, _SEQUENCE, _SET = 23, 24, 0x30, 0x31


class Key(NamedTuple):
    """A private RSA key. The modulus is the product of the primes."""

    p: int
    q: int

    @property
    def modulus(self) -> int:
        return self.p * self.q

    @property
    def private_exponent(self) -> int:
        return pow(_EXPONENT, -1, (self.p - 1) * (self.q - 1))


class Names(NamedTuple):
    """For whom a server's certificate is. The addresses are of IP version 4."""

    hosts: Tuple[str, ...]
    addresses: Tuple[str, ...] = ()


def make_key() -> Key:
    """Takes about a second."""
    p = _prime()
    q = _prime()
    while p == q:
        q = _prime()
    return Key(p, q)


def write_key(key: Key, path: Path) -> None:
    d = key.private_exponent
    numbers = (0, key.modulus, _EXPONENT, d, key.p, key.q, d % (key.p - 1), d % (key.q - 1), pow(key.q, -1, key.p))
    _write_pem(path, "RSA PRIVATE KEY", _der(_SEQUENCE, *map(_integer, numbers)))


def read_key(path: Path) -> Key:
    """A key that write_key() has written, or openssl in the same form or wrapped. ValueError for anything else."""
    lines = [line for line in path.read_text().splitlines() if line and not line.startswith("-----")]
    numbers = _read_sequence(base64.b64decode("".join(lines)))
    if len(numbers) == 1:  # PKCS #8: the key is in an octet string.
        numbers = _read_sequence(_read_elements(_read_elements(base64.b64decode("".join(lines)))[0][1])[2][1])
    if len(numbers) < 9 or numbers[4] * numbers[5] != numbers[1]:
        raise ValueError(f"{path} is no RSA key")
    return Key(numbers[4], numbers[5])


def make_authority(key: Key, name: str, days: int, permitted: Names, path: Path) -> None:
    """A certificate of an authority of that name, signed by itself. It may vouch only for what is permitted."""
    subtrees = [_der(_SEQUENCE, _der(0x87, _address(one) + b"\xff" * 4)) for one in permitted.addresses]
    subtrees += [_der(_SEQUENCE, _der(0x82, one.encode())) for one in permitted.hosts]
    now = datetime.datetime.now(datetime.timezone.utc)
    extensions = [
        _extension("2.5.29.19", _der(_SEQUENCE, _der(_BOOLEAN, b"\xff"), _integer(0)), critical=True),
        _extension("2.5.29.15", _der(_BITS, b"\x01\x06"), critical=True),  # signs certificates and revocations
        _extension("2.5.29.30", _der(_SEQUENCE, _der(0xA0, *subtrees)), critical=True),
    ]
    _write_certificate(path, key, name, key, name, now - datetime.timedelta(days=1),
                       now + datetime.timedelta(days=days), extensions)


def make_server(key: Key, name: str, names: Names, start: datetime.datetime, end: datetime.datetime, issuer_key: Key,
                issuer: str, path: Path) -> None:
    """A certificate of a TLS server, signed by the authority of the name `issuer`."""
    alternatives = [_der(0x87, _address(one)) for one in names.addresses]
    alternatives += [_der(0x82, one.encode()) for one in names.hosts]
    extensions = [
        _extension("2.5.29.19", _der(_SEQUENCE), critical=True),
        _extension("2.5.29.15", _der(_BITS, b"\x05\xa0"), critical=True),  # signs, and takes keys encrypted
        _extension("2.5.29.17", _der(_SEQUENCE, *alternatives)),
    ]
    _write_certificate(path, key, name, issuer_key, issuer, start, end, extensions)


def write_der(certificate: Path, path: Path) -> None:
    """The same certificate without its wrapping in text."""
    lines = certificate.read_text().splitlines()
    path.write_bytes(base64.b64decode("".join(line for line in lines if not line.startswith("-----"))))


def _prime() -> int:
    while True:
        # The two highest bits make the product of two primes as long as it must be.
        candidate = secrets.randbits(_PRIME_BITS) | (3 << (_PRIME_BITS - 2)) | 1
        if all(candidate % prime for prime in _SMALL_PRIMES) and candidate % _EXPONENT != 1 and _is_prime(candidate):
            return candidate


def _is_prime(n: int) -> bool:
    """The test of Miller and Rabin, for odd numbers."""
    odd = n - 1
    halvings = (odd & -odd).bit_length() - 1
    odd >>= halvings
    for _ in range(_WITNESSES):
        x = pow(secrets.randbelow(n - 3) + 2, odd, n)
        if x in (1, n - 1):
            continue
        for _ in range(halvings - 1):
            x = x * x % n
            if x == n - 1:
                break
        else:
            return False
    return True


def _sign(key: Key, data: bytes) -> bytes:
    """PKCS #1, version 1.5."""
    digest = _der(_SEQUENCE, _algorithm(_SHA256), _der(_OCTETS, hashlib.sha256(data).digest()))
    size = (key.modulus.bit_length() + 7) // 8
    padded = b"\x00\x01" + b"\xff" * (size - len(digest) - 3) + b"\x00" + digest
    return pow(int.from_bytes(padded, "big"), key.private_exponent, key.modulus).to_bytes(size, "big")


def _write_certificate(path: Path, key: Key, name: str, issuer_key: Key, issuer: str, start: datetime.datetime,
                       end: datetime.datetime, extensions: List[bytes]) -> None:
    extensions = extensions + [
        _extension("2.5.29.37", _der(_SEQUENCE, _oid(_SERVER_AUTHENTICATION))),
        _extension("2.5.29.14", _der(_OCTETS, _key_id(key))),
        _extension("2.5.29.35", _der(_SEQUENCE, _der(0x80, _key_id(issuer_key)))),
    ]
    content = _der(
        _SEQUENCE,
        _der(0xA0, _integer(2)),  # version 3
        _integer(secrets.randbits(63) | 1),
        _algorithm(_SHA256_RSA),
        _name(issuer),
        _der(_SEQUENCE, _time(start), _time(end)),
        _name(name),
        _der(_SEQUENCE, _algorithm(_RSA), _der(_BITS, b"\x00" + _public_key(key))),
        _der(0xA3, _der(_SEQUENCE, *extensions)),
    )
    signature = _der(_BITS, b"\x00" + _sign(issuer_key, content))
    _write_pem(path, "CERTIFICATE", _der(_SEQUENCE, content, _algorithm(_SHA256_RSA), signature))


def _public_key(key: Key) -> bytes:
    return _der(_SEQUENCE, _integer(key.modulus), _integer(_EXPONENT))


def _key_id(key: Key) -> bytes:
    return hashlib.sha1(_public_key(key)).digest()


def _extension(oid: str, value: bytes, critical: bool = False) -> bytes:
    marked = _der(_BOOLEAN, b"\xff") if critical else b""
    return _der(_SEQUENCE, _oid(oid), marked, _der(_OCTETS, value))


def _name(common_name: str) -> bytes:
    return _der(_SEQUENCE, _der(_SET, _der(_SEQUENCE, _oid(_COMMON_NAME), _der(_UTF8, common_name.encode()))))


def _time(moment: datetime.datetime) -> bytes:
    """Times from 2050 on have four digits for the year."""
    if moment.year >= 2050:
        return _der(_GENERAL_TIME, f"{moment:%Y%m%d%H%M%SZ}".encode())
    return _der(_UTC_TIME, f"{moment:%y%m%d%H%M%SZ}".encode())


def _address(text: str) -> bytes:
    return bytes(map(int, text.split(".")))


def _algorithm(oid: str) -> bytes:
    return _der(_SEQUENCE, _oid(oid), _der(_NULL))


def _oid(text: str) -> bytes:
    first, second, *others = map(int, text.split("."))
    body = bytearray()
    for number in (40 * first + second, *others):
        digits = [number & 0x7F]
        while number := number >> 7:
            digits.append(0x80 | number & 0x7F)
        body += bytes(reversed(digits))
    return _der(_OID, bytes(body))


def _integer(number: int) -> bytes:
    return _der(_INTEGER, number.to_bytes(number.bit_length() // 8 + 1, "big"))


def _der(tag: int, *parts: bytes) -> bytes:
    body = b"".join(parts)
    size = len(body)
    if size < 0x80:
        return bytes((tag, size)) + body
    length = size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes((tag, 0x80 | len(length))) + length + body


def _read_elements(data: bytes) -> List[Tuple[int, bytes]]:
    """Tag and content of each element."""
    elements, at = [], 0
    while at < len(data):
        tag, size, at = data[at], data[at + 1], at + 2
        if size & 0x80:
            digits = size & 0x7F
            size, at = int.from_bytes(data[at:at + digits], "big"), at + digits
        elements.append((tag, data[at:at + size]))
        at += size
    return elements


def _read_sequence(data: bytes) -> List[int]:
    """The integers of a sequence."""
    (sequence,) = _read_elements(data)
    return [int.from_bytes(content, "big") for tag, content in _read_elements(sequence[1]) if tag == _INTEGER]


def _write_pem(path: Path, kind: str, data: bytes) -> None:
    text = base64.b64encode(data).decode()
    lines = [text[at:at + 64] for at in range(0, len(text), 64)]
    path.write_text(f"-----BEGIN {kind}-----\n" + "\n".join(lines) + f"\n-----END {kind}-----\n")
