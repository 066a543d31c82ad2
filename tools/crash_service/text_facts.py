"""The facts of reports that are text: structured reports, feedback, a sanitizer's report."""

from __future__ import annotations

import json
import re
import xml.etree.ElementTree as ElementTree
from typing import Any, Dict, Iterable, List, Optional

from exception_names import named_code
from fact_types import MAX_FRAMES, Facts, Frame, LoadedModule, Thread

_MAX_ROWS = 4096
_END_OF_NUMBERS = 1 << 64
_SANITIZER_LINE = re.compile(r"ERROR: \w+: (?:attempting )?([\w-]+)")
_SANITIZER_FRAME = re.compile(
    r"#[0-9]+ 0x[0-9a-f]+ (?:in(?: (?P<place>.*))?|\((?P<module>[^()]*)\))")
_SOURCE_LINE = re.compile(":([0-9]{1,9})")
_MAX_LINE = 4096


def parse_json(data: bytes) -> Any:
    """The value; None for what is no JSON."""
    try:
        return json.loads(data.decode(errors="replace"))
    except (ValueError, RecursionError):
        return None


def text(value: object) -> str:
    """A text or a number as text; anything else is empty."""
    return str(value) if isinstance(value, (str, int, float)) else ""


def number(value: object) -> int:
    """A whole number of up to 64 bits, also one that is given as text; anything else is 0."""
    if isinstance(value, int):
        return value if -_END_OF_NUMBERS <= value < _END_OF_NUMBERS else 0
    found = re.fullmatch(r"\s*(-?[0-9]{1,18})\s*", value) if isinstance(value, str) else None
    return int(found[1]) if found else 0


def dictionary(value: object) -> Dict[str, Any]:
    """The value where it is a JSON object, else an empty one."""
    return value if isinstance(value, dict) else {}


def dictionaries(value: object) -> List[Dict[str, Any]]:
    """The objects of a JSON array."""
    rows = value if isinstance(value, list) else []
    return [row for row in rows[:_MAX_ROWS] if isinstance(row, dict)]


def read_json_report(data: bytes) -> Facts:
    """A structured report as JSON."""
    report = dictionary(parse_json(data))
    exception = dictionary(report.get("exception"))
    facts = Facts(kind="structured")
    if not report:
        facts.problems.append("the structured report is no JSON object")
    facts.exception = named_code(text(exception.get("code")))
    facts.explanation = text(exception.get("explanation"))
    registers = dictionary(exception.get("registers"))
    facts.registers = {name: text(value) for name, value in registers.items()}
    facts.system = _system(text(report.get("platform")), text(report.get("os")))
    for thread in dictionaries(report.get("threads")):
        frames = [
            Frame(
                text(frame.get("function")), text(frame.get("module")), "",
                text(frame.get("address")), text(frame.get("file")), number(frame.get("line")),
            )
            for frame in dictionaries(thread.get("frames"))[:MAX_FRAMES]
        ]
        crashed = thread.get("crashing") is True
        facts.threads.append(Thread("", text(thread.get("name")), crashed, frames))
    for module in dictionaries(report.get("modules")):
        facts.modules.append(LoadedModule(
            text(module.get("name")), text(module.get("fileVersion")), text(module.get("base")),
            number(module.get("size")), text(module.get("path")),
        ))
    return facts


def read_xml_report(data: bytes) -> Facts:
    """A structured report as XML."""
    facts = Facts(kind="structured")
    root = _parse_xml(data)
    if root is None:
        facts.problems.append("the structured report is no usable XML")
        return facts
    facts.exception = named_code(_inner(root, "process/exception/code"))
    facts.explanation = _inner(root, "process/exception/explanation")
    facts.registers = {
        register.tag: register.text or "" for register in _all(root, "process/exception/registers/*")
    }
    facts.system = _system(_inner(root, "platform"), _inner(root, "os"))
    for thread in _all(root, "process/threads/thread"):
        frames = [
            Frame(
                _inner(frame, "symbol"), _inner(frame, "module"), "", _inner(frame, "address"),
                _inner(frame, "file"), number(_inner(frame, "line")),
            )
            for frame in list(_all(thread, "frame"))[:MAX_FRAMES]
        ]
        crashed = thread.get("event") == "yes"
        facts.threads.append(Thread("", thread.get("id", ""), crashed, frames))
    for module in _all(root, "process/modules/module"):
        first, _, end = _inner(module, "address").partition("-")
        known = _is_hexadecimal(first) and _is_hexadecimal(end)
        size = int(end, 16) - int(first, 16) if known else 0
        facts.modules.append(LoadedModule(
            _inner(module, "name"), _inner(module, "fileversion"), first, size,
            _inner(module, "path"),
        ))
    return facts


def read_feedback(data: bytes) -> Facts:
    """A user's feedback."""
    feedback = dictionary(parse_json(data))
    parts = [text(feedback.get("title")), text(feedback.get("description"))]
    return Facts(kind="feedback", words="\n\n".join(filter(None, parts)))


def read_sanitizer_report(data: bytes) -> Facts:
    """A sanitizer's text: the fault's name, and the frames of the first stack."""
    whole = data.decode(errors="replace")
    facts = Facts(kind="sanitizer", sanitizer_text=whole)
    title = _SANITIZER_LINE.search(whole)
    frames: List[Frame] = []
    for line in whole[title.end() if title else 0 :].split("\n"):
        found = _SANITIZER_FRAME.fullmatch(line[:_MAX_LINE].strip())
        if (found is None and frames) or len(frames) == MAX_FRAMES:
            break
        if found is not None:
            frames.append(_sanitizer_frame(found["place"] or "", found["module"] or ""))
    facts.exception = title[1] if title else ""
    facts.threads = [Thread("", "", True, frames)] if frames else []
    return facts


def _sanitizer_frame(place: str, module: str) -> Frame:
    """A frame from a function with its file, line and column, or from a module with an offset."""
    function, space, source = place.rpartition(" ")
    at = _SOURCE_LINE.search(source, 1) if space else None
    if at is not None:
        return Frame(function, file=source[: at.start()], line=int(at[1]))
    name, _, offset = module.rpartition("+")
    return Frame(place, name, offset)


def _system(platform: str, version: str) -> Dict[str, str]:
    return {name: value for name, value in (("Platform", platform), ("System", version)) if value}


def _parse_xml(data: bytes) -> Optional[ElementTree.Element]:
    """The root; None for what is no XML, and for what declares entities, which could be bombs."""
    source = data.decode(errors="replace")
    if "<!DOCTYPE" in source or "<!ENTITY" in source:
        return None
    try:
        return ElementTree.fromstring(source)
    except (ElementTree.ParseError, ValueError):
        return None


def _all(element: ElementTree.Element, path: str) -> Iterable[ElementTree.Element]:
    return element.findall(path)[:_MAX_ROWS]


def _inner(element: ElementTree.Element, path: str) -> str:
    return element.findtext(path) or ""


def _is_hexadecimal(value: str) -> bool:
    return re.fullmatch("[0-9A-Fa-f]{1,16}", value) is not None
