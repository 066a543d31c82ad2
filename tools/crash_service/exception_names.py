"""What exception codes mean, in words."""

from __future__ import annotations

from typing import Sequence, Tuple

_ACCESS_VIOLATION = 0xC0000005
_IN_PAGE_ERROR = 0xC0000006

_NAMES = {
    0x40010005: "Control-C",
    0x80000001: "Guard page violation",
    0x80000002: "Misaligned data",
    0x80000003: "Breakpoint",
    0x80000004: "Single step",
    _ACCESS_VIOLATION: "Access violation",
    _IN_PAGE_ERROR: "In-page error",
    0xC0000008: "Invalid handle",
    0xC0000017: "Out of memory",
    0xC000001D: "Illegal instruction",
    0xC0000025: "Exception that cannot be continued",
    0xC0000026: "Invalid exception disposition",
    0xC000008C: "Array bounds exceeded",
    0xC000008E: "Floating-point division by zero",
    0xC0000090: "Invalid floating-point operation",
    0xC0000091: "Floating-point overflow",
    0xC0000094: "Integer division by zero",
    0xC0000095: "Integer overflow",
    0xC0000096: "Privileged instruction",
    0xC00000FD: "Stack overflow",
    0xC0000135: "DLL not found",
    0xC0000139: "Entry point not found",
    0xC0000142: "DLL initialization failed",
    0xC0000194: "Possible deadlock",
    0xC0000374: "Heap corruption",
    0xC0000409: "Stack buffer overrun or fail-fast exit",
    0xC0000417: "Invalid argument of the C runtime",
    0xC0000420: "Failed assertion",
    0xC06D007E: "Delay-loaded DLL not found",
    0xC06D007F: "Delay-loaded function not found",
    0xE06D7363: "C++ exception",
    # Those of wrenfall/runtime_failures.h.
    0xE0574601: "abort",
    0xE0574602: "std::terminate",
    0xE0574603: "Pure virtual call",
    0xE0574604: "Invalid argument of the C runtime",
    0xE0574605: "Failed new",
}

_ACCESSES = {0: "reading", 1: "writing", 8: "executing"}


def exception_name(code: int) -> str:
    """The code's name, empty when it has none here."""
    return _NAMES.get(code, "")


def exception_text(code: int, parameters: Sequence[int] = ()) -> Tuple[str, str]:
    """The code with its name, and what its parameters say; either part may be short or empty."""
    name = exception_name(code)
    text = f"0x{code:08X} {name}".rstrip()
    if code not in (_ACCESS_VIOLATION, _IN_PAGE_ERROR) or len(parameters) < 2:
        return text, ""
    access = _ACCESSES.get(parameters[0])
    return text, f"when {access} address 0x{parameters[1]:X}" if access else ""


def named_code(text: str) -> str:
    """The same for a code that is text; anything that is no 32-bit number stays as it is."""
    try:
        code = int(text, 16)
    except ValueError:
        return text
    return exception_text(code)[0] if 0 < code <= 0xFFFFFFFF else text
