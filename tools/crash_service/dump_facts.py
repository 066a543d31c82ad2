"""The facts of a report that has a minidump."""

from __future__ import annotations

from exception_names import exception_text
from fact_types import Facts, LoadedModule, Thread
from minidump import Minidump

_ARCHITECTURES = {0: "x86", 5: "ARM", 9: "x64", 12: "ARM64"}
_KINDS = ("crash", "hang", "capture")


def read_dump(data: bytes) -> Facts:
    """What the dump says; its damage is in `problems`."""
    dump = Minidump(data)
    live = dump.live_annotations
    facts = Facts(kind=_kind_of(dump), problems=list(dump.problems))
    facts.annotations = {**dump.startup_annotations, **live}
    if facts.kind == "hang":
        facts.hung_thread = live.get("wrenfall.hangThread", "")
        facts.hung_ms = live.get("wrenfall.hangDurationMs", "")
    _read_exception(dump, facts)
    if dump.system is not None:
        version = ".".join(map(str, dump.system.version))
        facts.system = {
            "System": f"Windows {version}",
            "Processors": f"{dump.system.processors} "
            + _ARCHITECTURES.get(dump.system.architecture, "of an unknown kind"),
        }
    facts.threads = [
        Thread(str(number), dump.thread_names.get(number, ""), number == dump.exception_thread)
        for number in dump.stacks
    ]
    facts.modules = [
        LoadedModule(module.name, module.version, f"{module.base:016x}", module.size, module.path)
        for module in dump.modules
    ]
    return facts


def _kind_of(dump: Minidump) -> str:
    """A process may crash while a dump of another kind is being taken; both dumps then carry the
    mark of that kind. A dump on demand may have lost its mark, when the process shut down."""
    if dump.real_exception_code is not None:
        return "crash"
    usual = "crash" if dump.exception_code is None else "capture"
    kind = dump.live_annotations.get("wrenfall.reportKind", usual)
    return kind if kind in _KINDS else usual


def _read_exception(dump: Minidump, facts: Facts) -> None:
    """A dump on demand has none: its address is the place that asked for the dump."""
    code = dump.real_exception_code
    if code is None:
        return
    facts.exception, facts.explanation = exception_text(code, dump.exception_parameters)
    address = dump.exception_address or 0
    if address:
        module = dump.module_at(address)
        offset = f"{module.name}+0x{address - module.base:x}" if module else ""
        facts.location = offset or f"0x{address:016x}"
