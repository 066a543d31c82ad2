"""Reads what matters of a Windows minidump: streams, exception, threads, modules, annotations.

A dump comes from a failed process and may hold anything. A damaged or cut file never raises: what
can be read is there, the rest is named in `problems`. Counts and lengths beyond what any writer
makes are damage, too, so that a small file cannot cost much memory or time.
"""

from __future__ import annotations

import dataclasses
import struct
from typing import Any, Callable, Dict, List, Optional, Tuple

THREAD_LIST_STREAM = 3
MODULE_LIST_STREAM = 4
EXCEPTION_STREAM = 6
SYSTEM_STREAM = 7
THREAD_NAMES_STREAM = 24
ANNOTATION_STREAM = 0x43500001

_SIMULATED_CODE = 0x0517A7ED  # of a dump on demand; every other code is that of a real exception
_SIGNATURE = b"MDMP"
_VERSION = 0xA793
_THREAD_SIZE = 48
_MODULE_SIZE = 108
_THREAD_NAME_SIZE = 12
_TEXT_ANNOTATION = 1
_FIXED_VERSION_SIGNATURE = 0xFEEF04BD
_MAX_STREAMS = 1024
_MAX_ENTRIES = 4096  # of one list or table
_MAX_TEXT = 64 * 1024
_MAX_ALL_TEXT = 16 * 1024 * 1024
_MAX_PARAMETERS = 15


class _Damaged(Exception):
    """Something lies outside the file or contradicts itself."""


@dataclasses.dataclass(frozen=True)
class Stream:
    """One entry of the stream directory."""

    type: int
    size: int
    offset: int


@dataclasses.dataclass(frozen=True)
class Module:
    """A loaded module. The version is empty where the file has none."""

    path: str
    base: int
    size: int
    version: str

    @property
    def name(self) -> str:
        """The file's name without its folder."""
        return self.path.replace("/", "\\").rpartition("\\")[2]


@dataclasses.dataclass(frozen=True)
class System:
    """Where the process ran; the numbers are those of the dump."""

    architecture: int
    version: Tuple[int, int, int]  # major, minor, build
    processors: int


@dataclasses.dataclass(frozen=True)
class Annotation:
    """One live annotation. Text is decoded, any other type's value is left as hexadecimal text."""

    name: str
    type: int
    value: str
    module_index: int


class Minidump:
    """A parsed minidump. Absent or unreadable parts stay None or empty."""

    def __init__(self, data: bytes) -> None:
        self._data = memoryview(data)
        self._text_left = _MAX_ALL_TEXT
        self.problems: List[str] = []
        self.streams: List[Stream] = []
        self.exception_code: Optional[int] = None
        self.exception_address: Optional[int] = None
        self.exception_thread: Optional[int] = None
        self.exception_context: Optional[int] = None  # where its registers lie in the file
        self.exception_parameters: Tuple[int, ...] = ()
        self.thread_count: Optional[int] = None
        self.thread_names: Dict[int, str] = {}
        self.stacks: Dict[int, Tuple[int, int]] = {}  # address and size by thread, in the dump's order
        self.contexts: Dict[int, int] = {}  # where the registers of each thread lie in the file
        self.modules: List[Module] = []
        self.system: Optional[System] = None
        self.startup_annotations: Dict[str, str] = {}
        self.annotations: List[Annotation] = []
        readers: Dict[int, Callable[[Stream], None]] = {
            THREAD_LIST_STREAM: self._read_threads,
            MODULE_LIST_STREAM: self._read_modules,
            EXCEPTION_STREAM: self._read_exception,
            SYSTEM_STREAM: self._read_system,
            THREAD_NAMES_STREAM: self._read_thread_names,
            ANNOTATION_STREAM: self._read_annotations,
        }
        self._guarded("header", self._read_header)
        for stream in self.streams:
            reader = readers.pop(stream.type, None)  # Of several of one type the first counts.
            if reader is not None:
                self._guarded(f"stream {stream.type:#x}", reader, stream)

    @property
    def live_annotations(self) -> Dict[str, str]:
        """The live annotations by name; of several with one name the first counts."""
        return {item.name: item.value for item in reversed(self.annotations)}

    @property
    def real_exception_code(self) -> Optional[int]:
        """The exception's code; None for a dump on demand, whose exception never happened."""
        return None if self.exception_code == _SIMULATED_CODE else self.exception_code

    @property
    def module_names(self) -> List[str]:
        """The modules' paths, in the dump's order."""
        return [module.path for module in self.modules]

    def module_at(self, address: int) -> Optional[Module]:
        """The module that an address lies in."""
        for module in self.modules:
            if module.base <= address < module.base + module.size:
                return module
        return None

    def as_dict(self) -> Dict[str, Any]:
        """The contents for printing or JSON."""
        code = self.real_exception_code
        return {
            "streams": [stream.type for stream in self.streams],
            "exceptionCode": None if code is None else f"{code:#010x}",
            "threadCount": self.thread_count,
            "modules": self.module_names,
            "startupAnnotations": self.startup_annotations,
            "liveAnnotations": self.live_annotations,
            "problems": self.problems,
        }

    def _guarded(self, what: str, reader: Callable[..., None], *arguments: Stream) -> None:
        try:
            reader(*arguments)
        except _Damaged as damage:
            self.problems.append(f"{what}: {damage}")

    def _bytes(self, offset: int, size: int) -> bytes:
        if offset + size > len(self._data):
            raise _Damaged(f"{size} bytes at {offset} lie beyond the end of the file")
        return bytes(self._data[offset : offset + size])

    def _unpack(self, layout: str, offset: int) -> Tuple[int, ...]:
        layout = "<" + layout
        return struct.unpack(layout, self._bytes(offset, struct.calcsize(layout)))

    def _read_header(self) -> None:
        if self._bytes(0, 4) != _SIGNATURE:
            raise _Damaged("the signature is not MDMP")
        version, count, directory = self._unpack("III", 4)
        if version & 0xFFFF != _VERSION:
            raise _Damaged(f"the version is {version & 0xFFFF:#x}")
        if count > _MAX_STREAMS:
            raise _Damaged(f"{count} streams are announced")
        for index in range(count):
            self.streams.append(Stream(*self._unpack("III", directory + 12 * index)))

    def _read_exception(self, stream: Stream) -> None:
        values = self._unpack("IIIIQQI4x", stream.offset)
        self.exception_thread, _, code, _, _, address, count = values
        self.exception_code, self.exception_address = code, address
        layout = f"{min(count, _MAX_PARAMETERS)}Q"
        self.exception_parameters = self._unpack(layout, stream.offset + 40)
        (self.exception_context,) = self._unpack("I", stream.offset + 164)

    def _read_threads(self, stream: Stream) -> None:
        count, offset = self._list(stream, _THREAD_SIZE)
        self.thread_count = count
        for index in range(count):
            thread = offset + index * _THREAD_SIZE
            identifier, start, size = self._unpack("I20xQI", thread)
            self.stacks[identifier] = (start, size)
            (self.contexts[identifier],) = self._unpack("I", thread + 44)

    def _read_thread_names(self, stream: Stream) -> None:
        count, offset = self._list(stream, _THREAD_NAME_SIZE)
        for index in range(count):
            thread, name = self._unpack("IQ", offset + index * _THREAD_NAME_SIZE)
            self.thread_names[thread] = self._wide_text(name)

    def _read_system(self, stream: Stream) -> None:
        architecture, processors = self._unpack("H4xB", stream.offset)
        major, minor, build = self._unpack("III", stream.offset + 8)
        self.system = System(architecture, (major, minor, build), processors)

    def stack_pointer(self, context: int) -> int:
        """That of the x64 registers at an offset of the file."""
        return self._unpack("Q", context + 152)[0]

    def _read_modules(self, stream: Stream) -> None:
        count, offset = self._list(stream, _MODULE_SIZE)
        for index in range(count):
            module = offset + index * _MODULE_SIZE
            base, size, name = self._unpack("QI8xI", module)
            signature, high, low = self._unpack("I4xII", module + 24)
            version = ""
            if signature == _FIXED_VERSION_SIGNATURE:
                version = f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"
            self.modules.append(Module(self._wide_text(name), base, size, version))

    def _list(self, stream: Stream, entry_size: int) -> Tuple[int, int]:
        """Entry count and first entry of a list stream; some writers align the entries to 8."""
        (count,) = self._unpack("I", stream.offset)
        if 4 + count * entry_size > stream.size:
            raise _Damaged(f"{count} entries do not fit into {stream.size} bytes")
        _check_count(count)
        padding = 4 if stream.size == 8 + count * entry_size else 0
        self._bytes(stream.offset, stream.size)
        return count, stream.offset + 4 + padding

    def _read_annotations(self, stream: Stream) -> None:
        self._check_version("annotation stream", stream.offset)
        # The two identifiers, 16 bytes each, lie between the version and the locations.
        simple_size, simple, modules_size, modules = self._unpack("IIII", stream.offset + 36)
        if simple_size:
            for key, value in self._table(simple, simple_size, "II"):
                self.startup_annotations[self._text(key)] = self._text(value)
        if modules_size:
            for index, size, offset in self._table(modules, modules_size, "III"):
                if size:
                    self._read_module_annotations(index, offset)

    def _read_module_annotations(self, module_index: int, offset: int) -> None:
        self._check_version("module information", offset)
        size, objects = self._unpack("II", offset + 20)
        if not size:
            return
        for name, kind, _, value in self._table(objects, size, "IHHI"):
            raw = self._counted(value)
            text = raw.decode(errors="replace") if kind == _TEXT_ANNOTATION else raw.hex()
            self.annotations.append(Annotation(self._text(name), kind, text, module_index))

    def _check_version(self, what: str, offset: int) -> None:
        (version,) = self._unpack("I", offset)
        if version != 1:
            raise _Damaged(f"the {what} has version {version}")

    def _table(self, offset: int, size: int, layout: str) -> List[Tuple[int, ...]]:
        (count,) = self._unpack("I", offset)
        entry = struct.calcsize("<" + layout)
        if 4 + count * entry > size:
            raise _Damaged(f"{count} table entries do not fit into {size} bytes")
        _check_count(count)
        return [self._unpack(layout, offset + 4 + index * entry) for index in range(count)]

    def _counted(self, offset: int) -> bytes:
        (size,) = self._unpack("I", offset)
        self._text_left -= size
        if size > _MAX_TEXT or self._text_left < 0:
            raise _Damaged(f"a text of {size} bytes")
        return self._bytes(offset + 4, size)

    def _text(self, offset: int) -> str:
        return self._counted(offset).decode(errors="replace")

    def _wide_text(self, offset: int) -> str:
        return self._counted(offset).decode("utf-16-le", errors="replace")


def _check_count(count: int) -> None:
    if count > _MAX_ENTRIES:
        raise _Damaged(f"{count} entries")
