"""Puts what lies in a report's folder into the index."""

from __future__ import annotations

import datetime
from pathlib import Path
from typing import Any, Dict, List

from facts import form_attributes, grouping_text, read_facts
from fact_types import Facts
from report_folder import number_of, read_report
from report_index import UNFINISHED, ReportIndex, Row, search_text
from stack_trace import parse

_SHOWN_WORDS = 400
_MAX_STACK_KEY = 1 << 31  # A test may have answered with anything.
_PIECE = 200  # reports that are put into the index together


def index_report(index: ReportIndex, folder: Path) -> None:
    """Brings the index up to date with one folder."""
    index.put([_make_row(index, folder)])


def catch_up(index: ReportIndex, directory: Path) -> None:
    """Brings the index up to date with all folders: those that it does not have, and those that
    were not committed when it last saw them."""
    finished = set(index.finished())
    folders = [path for path in directory.glob("report-*") if path.is_dir()]
    missing = [path for path in folders if number_of(path.name) not in finished]
    for start in range(0, len(missing), _PIECE):
        index.put([_make_row(index, folder) for folder in missing[start : start + _PIECE]])


def received_time(report: Dict[str, Any], folder: Path) -> float:
    """When the last call of a report came, in seconds since 1970."""
    times = [request.get("received", "") for request in report["requests"]]
    try:
        return datetime.datetime.fromisoformat(times[-1]).timestamp()
    except (IndexError, TypeError, ValueError):
        return folder.stat().st_mtime


def _make_row(index: ReportIndex, folder: Path) -> Row:
    report, number = read_report(folder), number_of(folder.name)
    query = {**report["query"].get("first", {}), **report["query"].get("commit", {})}
    fields, ids = report["fields"], report["ids"]
    application = query.get("appName", "")
    facts, key = Facts(kind="unfinished"), UNFINISHED
    if ids is not None:
        facts = read_facts(folder / "archive.zip", query.get("crashTypeId", ""))
        key = _stack_key(index, ids, grouping_text(facts, application, fields.get("crashHash", "")))
    words = fields.get("description") or facts.words
    place = parse(index.stack(number)).top_place or facts.top_frame or _usual_place(facts)
    version, user = query.get("appVersion", ""), fields.get("user", "")
    searched: List[str] = [
        f"#{number}", application, version, facts.kind, facts.exception, place, words,
        facts.hung_thread, *fields.values(), *form_attributes(fields).values(),
    ]
    return Row(
        number, received_time(report, folder), key, application, version, facts.kind,
        facts.exception or _hang_text(facts), place, words[:_SHOWN_WORDS], user,
        len(report["problems"]), search_text(searched),
    )


def _stack_key(index: ReportIndex, ids: Dict[str, Any], signature: str) -> int:
    """The signature's key. A new index takes over what the client was told, if it is free."""
    given = ids.get("stackKeyId")
    if isinstance(given, int) and UNFINISHED < given < _MAX_STACK_KEY:
        index.restore_stack_key(signature, given)
    return index.stack_key(signature)


def _usual_place(facts: Facts) -> str:
    """Where it happened, as far as the report says without a stack. The address at which a hung
    thread was met says little."""
    if facts.kind != "hang":
        return facts.location
    return f"Thread {facts.hung_thread}" if facts.hung_thread else ""


def _hang_text(facts: Facts) -> str:
    if facts.kind != "hang":
        return ""
    seconds = facts.hung_seconds
    return f"Silent for {seconds:.1f} s" if seconds else "Did not answer"
