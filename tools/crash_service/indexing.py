"""Puts what lies in a report's folder into the index."""

from __future__ import annotations

import datetime
from pathlib import Path
from typing import Any, Callable, Dict, Iterable, Iterator, List

from archive import UNUSABLE
from facts import form_attributes, grouping_text, read_facts
from fact_types import Facts
from report_folder import folders_in, number_of, read_report
from report_index import UNFINISHED, ReportIndex, Row, search_text
from stack_trace import parse
from text_facts import text

_MAX_STACK_KEY = 1 << 31  # A test may have answered with anything.
_PIECE = 200  # reports that are put into the index together


def index_report(index: ReportIndex, folder: Path, log: Callable[[str], None]) -> None:
    """Brings the index up to date with one folder. One that cannot be read is left out, which the
    log says."""
    index.put(list(_rows(index, [folder], log)))


def catch_up(index: ReportIndex, directory: Path, log: Callable[[str], None]) -> None:
    """The same with all folders: those that the index does not have, and those that were not
    committed when it last saw them. Reports whose folders are gone are forgotten."""
    folders = folders_in(directory)
    index.forget_all_but(folders)
    finished = set(index.finished())
    missing = [path for number, path in folders.items() if number not in finished]
    for start in range(0, len(missing), _PIECE):
        index.put(list(_rows(index, missing[start : start + _PIECE], log)))


def received_time(report: Dict[str, Any], folder: Path) -> float:
    """When the last call of a report came, in seconds since 1970."""
    times = [request.get("received", "") for request in report["requests"]]
    try:
        return datetime.datetime.fromisoformat(times[-1]).timestamp()
    except (IndexError, TypeError, ValueError):
        return folder.stat().st_mtime


def _rows(
    index: ReportIndex, folders: Iterable[Path], log: Callable[[str], None]
) -> Iterator[Row]:
    for folder in folders:
        try:
            row = _make_row(index, folder)
        except UNUSABLE as error:
            log(f"---- {folder.name} cannot be listed: {type(error).__name__}: {error}")
            continue
        yield row


def _make_row(index: ReportIndex, folder: Path) -> Row:
    report, number = read_report(folder), number_of(folder.name)
    query = {**report["query"].get("first", {}), **report["query"].get("commit", {})}
    fields, ids = report["fields"], report["ids"]
    application, version = text(query.get("appName")), text(query.get("appVersion"))
    facts, key = Facts(kind="unfinished"), UNFINISHED
    if ids is not None:
        facts = read_facts(folder / "archive.zip", query.get("crashTypeId", ""))
        key = _stack_key(index, ids, grouping_text(facts, application, fields.get("crashHash", "")))
    words, user = text(fields.get("description")) or facts.words, text(fields.get("user"))
    place = parse(index.stack(number)).top_place or facts.top_frame or _usual_place(facts)
    searched: List[str] = [
        f"#{number}", application, version, facts.kind, facts.exception, place, words,
        facts.hung_thread, *fields.values(), *form_attributes(fields).values(),
    ]
    return Row(
        number, received_time(report, folder), key, application, version, facts.kind,
        facts.exception or _hang_text(facts), place, words, user,
        len(report["problems"]), search_text(searched),
    )


def _stack_key(index: ReportIndex, ids: Dict[str, Any], signature: str) -> int:
    """The signature's key. A new index takes over what the client was told, if it is free."""
    given = ids.get("stackKeyId")
    if isinstance(given, int) and UNFINISHED < given < _MAX_STACK_KEY:
        index.restore_stack_key(signature, given)
    return index.stack_key(signature)


def _usual_place(facts: Facts) -> str:
    """Where it happened, as far as the report says without a stack."""
    return f"Thread {facts.hung_thread}" if facts.hung_thread else facts.location


def _hang_text(facts: Facts) -> str:
    if facts.kind != "hang":
        return ""
    seconds = facts.hung_seconds
    return f"Silent for {seconds:.1f} s" if seconds else "Did not answer"
