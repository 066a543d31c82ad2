"""Reads and checks an uploaded ZIP archive."""

from __future__ import annotations

import zipfile
import zlib
from pathlib import Path
from typing import IO, Any, Dict, Iterator, List, NamedTuple, Optional, Set, Tuple

from protocol import Complaint

_UTF8_NAME_FLAG = 0x800
_READ_SIZE = 1 << 20
# Those that clients use. The others are never decompressed: they take more memory than is asked for.
_METHODS = (zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED)

MAX_DUMP = 256 << 20  # Larger dumps are kept, but not read.

# What zipfile raises for archives that are damaged, encrypted or no archives at all.
UNREADABLE = (zipfile.BadZipFile, zlib.error, EOFError, OSError, RuntimeError, ValueError)
# What the folder of a report may raise besides, whose files may hold other JSON than they should.
UNUSABLE = (*UNREADABLE, ArithmeticError, AttributeError, LookupError, TypeError)


def check_archive(path: Path) -> Tuple[List[Dict[str, Any]], List[Complaint]]:
    """The archive's entries in order, and what is wrong with it.

    Every entry is decompressed once, so that a wrong checksum or a cut archive is found.
    """
    entries: List[Dict[str, Any]] = []
    complaints: List[Complaint] = []
    names: Set[str] = set()
    try:
        with zipfile.ZipFile(path) as archive:
            for info in archive.infolist():
                entries.append(_describe(info))
                complaints += _check_name(info.orig_filename, names)
                names.add(info.orig_filename)
                if info.compress_type not in _METHODS:
                    complaints.append(Complaint("archive", _wrong_method(info)))
                    continue
                with archive.open(info) as content:
                    for _ in _pieces(content, info.file_size):
                        pass
    except UNREADABLE as error:
        complaints.append(Complaint("archive", f"the archive cannot be read: {error}"))
    return entries, complaints


def read_dumps(path: Path) -> Iterator[Tuple[str, Optional[bytes]]]:
    """The names and contents of the entries that are minidumps, one after the other; None for one
    that is larger than MAX_DUMP. Ends at what is unreadable."""
    try:
        with zipfile.ZipFile(path) as archive:
            for info in archive.infolist():
                if info.compress_type not in _METHODS:
                    continue
                with archive.open(info) as content:
                    start = content.read(4)
                    if start != b"MDMP":
                        continue
                    data = start + content.read(MAX_DUMP + 1 - len(start))
                yield info.filename, data if len(data) <= MAX_DUMP else None
    except UNREADABLE:
        pass  # The check has recorded it as the report's problem.


class Entry(NamedTuple):
    """An entry of an archive: its place in the list, its name, and its size as announced."""

    index: int
    name: str
    size: int


def list_entries(path: Path) -> List[Entry]:
    """The archive's entries in order; none when it is missing or unreadable."""
    try:
        with zipfile.ZipFile(path) as archive:
            infos = archive.infolist()
    except UNREADABLE:
        return []
    return [Entry(at, info.orig_filename, info.file_size) for at, info in enumerate(infos)]


def read_entry(path: Path, index: int, limit: int) -> Optional[bytes]:
    """The entry's bytes; None when it is unreadable, or larger than the limit."""
    try:
        with zipfile.ZipFile(path) as archive:
            with _open_entry(archive, index) as content:
                data = content.read(limit + 1)
    except (*UNREADABLE, IndexError):
        return None
    return data if len(data) <= limit else None


def stream_entry(path: Path, index: int) -> Iterator[bytes]:
    """The entry's bytes piece by piece, exactly as many as announced. Damage ends the iteration with
    one of UNREADABLE."""
    with zipfile.ZipFile(path) as archive, _open_entry(archive, index) as content:
        yield from _pieces(content, archive.infolist()[index].file_size)


def _pieces(content: IO[bytes], size: int) -> Iterator[bytes]:
    left = size
    while piece := content.read(_READ_SIZE):
        left -= len(piece)
        yield piece
    if left:
        raise zipfile.BadZipFile(f"{left} of the {size} bytes of an entry are missing")


def _open_entry(archive: zipfile.ZipFile, index: int) -> IO[bytes]:
    """Raises zipfile.BadZipFile for an entry with a method that is not used here."""
    info = archive.infolist()[index]
    if info.compress_type not in _METHODS:
        raise zipfile.BadZipFile(_wrong_method(info))
    return archive.open(info)


def _wrong_method(info: zipfile.ZipInfo) -> str:
    return f"{info.filename!r} is compressed with method {info.compress_type}"


def _describe(info: zipfile.ZipInfo) -> Dict[str, Any]:
    return {
        "name": info.orig_filename,
        "size": info.file_size,
        "compressedSize": info.compress_size,
        "crc32": f"{info.CRC:08x}",
        "method": info.compress_type,
        "utf8Name": bool(info.flag_bits & _UTF8_NAME_FLAG),
        "time": "%04d-%02d-%02dT%02d:%02d:%02d" % info.date_time,
    }


def _check_name(name: str, earlier: Set[str]) -> List[Complaint]:
    if not name or "/" in name or "\\" in name or name in (".", ".."):
        return [Complaint("archive-names", f"the entry name {name!r} is not flat")]
    if name in earlier:
        return [Complaint("archive-names", f"the entry name {name!r} occurs more than once")]
    return []
