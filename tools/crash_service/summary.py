"""Reads a service folder back and tells, readable or as plain data, what was received."""

from __future__ import annotations

from pathlib import Path
from typing import Any, Dict, List

import report_folder
from archive import read_dumps
from minidump import Minidump
from reports import OTHER_FOLDER


def read_folder(directory: Path) -> Dict[str, Any]:
    """Everything that the service folder holds; empty lists when there is nothing."""
    reports = [read_report(folder) for folder in sorted(directory.glob("report-*/"))]
    other = directory / OTHER_FOLDER
    return {
        "directory": str(directory),
        "reports": reports,
        "otherRequests": report_folder.read_requests(other),
        "otherProblems": report_folder.read_json(other / "problems.json", []),
    }


def read_report(folder: Path) -> Dict[str, Any]:
    """One report's folder with its dumps; what is missing or unreadable is empty."""
    return {**report_folder.read_report(folder), "dumps": _read_dumps(folder / "archive.zip")}


def is_good(summary: Dict[str, Any]) -> bool:
    """Whether something was received and nothing was wrong with it."""
    problems = [problem for report in summary["reports"] for problem in report["problems"]]
    return bool(summary["reports"]) and not problems and not summary["otherProblems"]


def format_folder(summary: Dict[str, Any]) -> str:
    """The whole folder as lines of text."""
    lines: List[str] = []
    for report in summary["reports"]:
        lines += [format_report(report), ""]
    other = summary["otherRequests"]
    if other:
        lines += ["requests without a report", *map(_request_line, other)]
        lines += [_problem_line(problem) for problem in summary["otherProblems"]]
        lines.append("")
    count = sum(len(report["problems"]) for report in summary["reports"])
    count += len(summary["otherProblems"])
    if summary["reports"]:
        lines.append(f"{len(summary['reports'])} report(s), {count} problem(s)")
    else:
        lines.append(f"nothing was received, {count} problem(s)")
    return "\n".join(lines)


def format_report(report: Dict[str, Any]) -> str:
    """One report as lines of text."""
    lines = [report["name"], "  requests", *map(_request_line, report["requests"])]
    for call, values in report["query"].items():
        lines += [f"  query of {call}", *_pairs(values)]
    if report["entries"]:
        lines.append("  archive")
        for entry in report["entries"]:
            sizes = f"{entry['size']} bytes, {entry['compressedSize']} packed"
            lines.append(f"    {_shown(entry['name'])}: {sizes}")
    if report["fields"]:
        lines += ["  form", *_pairs(report["fields"])]
    for name, dump in report["dumps"].items():
        lines.append(f"  dump {_shown(name)}")
        lines.append(f"    exception {dump['exceptionCode']}, {dump['threadCount']} threads")
        lines.append(f"    {len(dump['modules'])} modules, first {_shown(dump['modules'][:1])}")
        for title, key in (("start-up", "startupAnnotations"), ("live", "liveAnnotations")):
            lines += [f"    {title} annotations", *_pairs(dump[key], "      ")]
        lines += [f"    damaged: {_shown(problem)}" for problem in dump["problems"]]
    if report["ids"]:
        lines += ["  ids given", *_pairs(report["ids"])]
    lines += [_problem_line(problem) for problem in report["problems"]]
    return "\n".join(lines)


def _request_line(request: Dict[str, Any]) -> str:
    status = "no answer" if request["status"] is None else request["status"]
    fault = f" (fault {_shown(request['fault'])})" if request["fault"] else ""
    size = f"{request['bodySize']} bytes"
    return (
        f"    {request['sequence']:04} {request['call']:6} {_shown(request['method'])} "
        f"{_shown(request['target'])}: {size} -> {status}{fault}"
    )


def _problem_line(problem: Dict[str, Any]) -> str:
    return f"  PROBLEM {problem['call']} {problem['check']}: {_shown(problem['text'])}"


def _pairs(values: Dict[str, Any], indent: str = "    ") -> List[str]:
    return [f"{indent}{_shown(key)}: {_shown(value)}" for key, value in values.items()]


def _shown(value: object) -> str:
    """On one line, without control characters."""
    return "".join(c if c.isprintable() else repr(c)[1:-1] for c in str(value))


def _read_dumps(archive: Path) -> Dict[str, Any]:
    dumps = {}
    for name, data in read_dumps(archive):
        dumps[name] = Minidump(data or b"").as_dict()
        if data is None:
            dumps[name]["problems"] = ["it is too large to be read here"]
    return dumps
