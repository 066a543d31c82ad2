"""The service's own test certificate authority and server certificates.

Everything is made into one folder and used again as long as it is valid: with the `openssl` command
line, or by own_certificates.py where that is not installed. The authority may only vouch for TLS servers, and there only for 127.0.0.1 and a name that
exists nowhere, so that trusting it endangers little else, even when its key leaks.
"""

from __future__ import annotations

import contextlib
import datetime
import os
import shutil
import subprocess
import tempfile
import time
from pathlib import Path
from typing import Dict, Iterator, List, NamedTuple

import own_certificates

try:
    import fcntl
except ImportError:  # Windows: two services must then not make the same folder at the same time.
    fcntl = None  # type: ignore[assignment]

HOST = "127.0.0.1"
VARIANTS = ("good", "expired", "wrong-name", "unknown-ca")

_AUTHORITY_DAYS = 3650
_SERVER_DAYS = 365
_RENEWAL_SECONDS = 24 * 3600

# Windows programs look for the address in an IP entry, Wine 8 in a DNS entry: both are there.
_GOOD_NAMES = own_certificates.Names((HOST,), (HOST,))
_WRONG_NAMES = own_certificates.Names(("wrong-name.invalid",))
_PERMITTED_NAMES = own_certificates.Names((HOST, "wrong-name.invalid"), (HOST,))
_AUTHORITY_NAMES = {"ca": "Crash service test authority", "other-ca": "Crash service unknown authority"}

_CONFIGURATION = """
[ca]
default_ca = authority
[authority]
database = {work}/index.txt
serial = {work}/serial
new_certs_dir = {work}
default_md = sha256
unique_subject = no
policy = any_subject
[any_subject]
commonName = supplied
[req]
distinguished_name = subject
prompt = no
[subject]
CN = {common_name}
[authority_extensions]
basicConstraints = critical,CA:TRUE,pathlen:0
keyUsage = critical,keyCertSign,cRLSign
extendedKeyUsage = serverAuth
subjectKeyIdentifier = hash
nameConstraints = critical,permitted;IP:127.0.0.1/255.255.255.255,permitted;DNS:127.0.0.1,\
permitted;DNS:wrong-name.invalid
[server_extensions]
basicConstraints = critical,CA:FALSE
keyUsage = critical,digitalSignature,keyEncipherment
extendedKeyUsage = serverAuth
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
subjectAltName = {names}
"""


class CertificateError(Exception):
    """openssl refused; the text says what it said."""


class Certificates(NamedTuple):
    """The files of one folder. `certificate` and `key` are those of the variant asked for."""

    ca: Path
    ca_der: Path
    certificate: Path
    key: Path

    def as_dict(self) -> Dict[str, str]:
        """The paths as text, for printing."""
        return {name: str(path) for name, path in self._asdict().items()}


def ensure_certificates(folder: Path, variant: str = "good") -> Certificates:
    """Returns the certificates of `folder`, making what is missing or about to expire.

    Raises CertificateError when openssl fails, and OSError when the folder cannot
    be written. Several processes may call this for one folder at the same time.
    """
    if variant not in VARIANTS:
        raise ValueError(f"unknown certificate variant {variant!r}; known: {', '.join(VARIANTS)}")
    folder = folder.resolve()
    folder.mkdir(parents=True, exist_ok=True)
    with _folder_lock(folder):
        authority = folder / "ca.pem"
        if not (_still_valid(authority) and (folder / "ca.key").exists()):
            _make_authority(folder, "ca")
            with contextlib.suppress(FileNotFoundError):
                (folder / "ca.der").unlink()
        if not (folder / "ca.der").exists():
            _write_der(authority, folder / "ca.der")
        issuer = "ca"
        if variant == "unknown-ca":
            issuer = "other-ca"
            if not (_still_valid(folder / "other-ca.pem") and (folder / "other-ca.key").exists()):
                _make_authority(folder, issuer)
        stem = "server" if variant == "good" else variant
        certificate, key = folder / f"{stem}.pem", folder / f"{stem}.key"
        usable = key.exists() and _issued_by(certificate, folder / f"{issuer}.pem")
        if not usable or (variant != "expired" and not _still_valid(certificate)):
            _make_server(folder, stem, issuer, variant)
        return Certificates(authority, folder / "ca.der", certificate, key)


def has_openssl() -> bool:
    return shutil.which("openssl") is not None


def _openssl(*arguments: object, check: bool = True) -> bool:
    """Runs openssl; with `check` a failure raises, without it the success is returned."""
    command: List[str] = ["openssl", *map(str, arguments)]
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
    except subprocess.TimeoutExpired:
        raise CertificateError(f"openssl {arguments[0]} did not end") from None
    if check and done.returncode != 0:
        text = done.stderr.decode(errors="replace").strip()
        raise CertificateError(f"openssl {arguments[0]} failed: {text}")
    return done.returncode == 0


def _still_valid(certificate: Path) -> bool:
    if not has_openssl():
        # By its age: what was valid when it was made is so for as long as a server's certificate.
        usual = _SERVER_DAYS * 24 * 3600 - _RENEWAL_SECONDS
        return certificate.exists() and time.time() < certificate.stat().st_mtime + usual
    return certificate.exists() and _openssl(
        "x509", "-in", certificate, "-noout", "-checkend", _RENEWAL_SECONDS, check=False
    )


def _issued_by(certificate: Path, authority: Path) -> bool:
    if not has_openssl():
        return certificate.exists() and certificate.stat().st_mtime >= authority.stat().st_mtime
    return certificate.exists() and _openssl(
        "verify", "-no_check_time", "-CAfile", authority, certificate, check=False
    )


def _write_der(certificate: Path, target: Path) -> None:
    with _replacing(target) as temporary:
        if not has_openssl():
            own_certificates.write_der(certificate, temporary)
            return
        _openssl("x509", "-in", certificate, "-outform", "DER", "-out", temporary)


def _make_authority(folder: Path, stem: str) -> None:
    common_name = _AUTHORITY_NAMES[stem]
    if not has_openssl():
        with _replacing(folder / f"{stem}.key") as key, _replacing(folder / f"{stem}.pem") as pem:
            made = own_certificates.make_key()
            _write_own_key(made, key)
            own_certificates.make_authority(made, common_name, _AUTHORITY_DAYS, _PERMITTED_NAMES, pem)
        return
    with tempfile.TemporaryDirectory(dir=folder) as work:
        configuration = _write_configuration(Path(work), common_name, _WRONG_NAMES)
        with _replacing(folder / f"{stem}.key") as key, _replacing(folder / f"{stem}.pem") as pem:
            _make_key(key)
            _openssl(
                "req", "-new", "-x509", "-sha256", "-key", key, "-config", configuration,
                "-extensions", "authority_extensions", "-days", _AUTHORITY_DAYS, "-out", pem,
            )


def _make_server(folder: Path, stem: str, issuer: str, variant: str) -> None:
    now = datetime.datetime.now(datetime.timezone.utc)
    start, end = now - datetime.timedelta(days=1), now + datetime.timedelta(days=_SERVER_DAYS)
    if variant == "expired":
        start, end = now - datetime.timedelta(days=30), now - datetime.timedelta(days=2)
    names = _WRONG_NAMES if variant == "wrong-name" else _GOOD_NAMES
    if not has_openssl():
        with _replacing(folder / f"{stem}.key") as key, _replacing(folder / f"{stem}.pem") as pem:
            made = own_certificates.make_key()
            _write_own_key(made, key)
            own_certificates.make_server(
                made, names.hosts[0], names, start, end,
                own_certificates.read_key(folder / f"{issuer}.key"), _AUTHORITY_NAMES[issuer], pem,
            )
        return
    with tempfile.TemporaryDirectory(dir=folder) as work:
        configuration = _write_configuration(Path(work), names.hosts[0], names)
        request = Path(work, "request.pem")
        with _replacing(folder / f"{stem}.key") as key, _replacing(folder / f"{stem}.pem") as pem:
            _make_key(key)
            _openssl("req", "-new", "-key", key, "-config", configuration, "-out", request)
            _openssl(
                "ca", "-batch", "-notext", "-config", configuration, "-in", request,
                "-cert", folder / f"{issuer}.pem", "-keyfile", folder / f"{issuer}.key",
                "-extensions", "server_extensions", "-startdate", f"{start:%Y%m%d%H%M%SZ}",
                "-enddate", f"{end:%Y%m%d%H%M%SZ}", "-rand_serial", "-out", pem,
            )


def _make_key(path: Path) -> None:
    path.touch(mode=0o600)
    _openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", path)
    path.chmod(0o600)


def _write_own_key(key: own_certificates.Key, path: Path) -> None:
    path.touch(mode=0o600)
    own_certificates.write_key(key, path)


def _write_configuration(work: Path, common_name: str, names: own_certificates.Names) -> Path:
    (work / "index.txt").touch()
    path = work / "openssl.cnf"
    entries = [f"IP:{one}" for one in names.addresses] + [f"DNS:{one}" for one in names.hosts]
    path.write_text(
        _CONFIGURATION.format(
            work=work.as_posix(), common_name=common_name, names=",".join(entries)
        )
    )
    return path


@contextlib.contextmanager
def _replacing(target: Path) -> Iterator[Path]:
    """Gives a name beside `target` to write to, and moves it into place when all went well."""
    temporary = target.with_name(f".{target.name}.{os.getpid()}")
    try:
        yield temporary
        os.replace(temporary, target)
    finally:
        with contextlib.suppress(FileNotFoundError):
            temporary.unlink()


@contextlib.contextmanager
def _folder_lock(folder: Path) -> Iterator[None]:
    with open(folder / ".lock", "w") as lock:
        if fcntl is not None:
            fcntl.flock(lock, fcntl.LOCK_EX)
        yield
