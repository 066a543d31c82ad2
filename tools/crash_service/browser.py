"""Answers a browser: which page or file is at an address. Nothing here changes anything."""

from __future__ import annotations

import itertools
import re
import sqlite3
import urllib.parse
from pathlib import Path
from typing import Dict, Iterable, List, Optional, Tuple

import protocol
import stack_trace
from archive import UNUSABLE, list_entries, stream_entry
from certificates import HOST
from http_message import Answer, RequestHead
from list_page import list_page
from markup import Html
from page_layout import PAGE_HEADERS, message_page
from report_folder import folder_of, read_json
from report_index import Filter, ReportIndex, Row
from report_page import report_page
from reports import OTHER_FOLDER
from stack_tool import StackTool

_PAGE = re.compile(r"/|/report/(?P<number>[0-9]{1,9})(?P<rest>/.*)?")
_ENTRY = re.compile(r"/file/([0-9]{1,6})")
_CALL = re.compile(r"/call/([0-9]{4,9}-[a-z]{1,10}\.(?:head|body))")
_DUMP_KINDS = ("crash", "hang", "capture")
_PIECE = 1 << 20
_MAX_NUMBER = 1 << 40
_DEFAULT_PORT = 443

# A file from a report is never shown by the browser, whatever is in it.
_FILE_HEADERS = (
    ("Content-Security-Policy", "default-src 'none'; sandbox"),
    *(header for header in PAGE_HEADERS if header[0] != "Content-Security-Policy"),
)


def is_page(head: RequestHead) -> bool:
    """Whether a request is a browser's, not a call of the upload protocol. There need not be a page."""
    return head.method in ("GET", "HEAD") and not protocol.is_call(head.target)


class Browser:
    """The pages over one service folder. Any thread may use it. `tool` makes stack traces, None
    where there is nothing that could."""

    def __init__(self, directory: Path, index: ReportIndex, tool: Optional[StackTool]) -> None:
        self._directory = directory
        self._index = index
        self._tool = tool

    def answer(self, head: RequestHead, port: int) -> Answer:
        """The answer to a request that `is_page`."""
        if not _is_for_this_machine(head, port):
            # A page from elsewhere whose name was bent to lead here must not read the reports.
            return _page_answer(message_page("Not here", "This service has no such name."), 421)
        path, _, query = head.target.partition("?")
        found = _PAGE.fullmatch(path)
        try:
            if found is None:
                return _not_found()
            if found["number"] is None:
                return _page_answer(self._list(query))
            number = int(found["number"])
            row = self._index.row(number)
            if row is None:
                return _not_found()
            return self._of_report(row, folder_of(self._directory, number), found["rest"] or "")
        except (sqlite3.Error, *UNUSABLE) as error:
            return _page_answer(message_page("That did not work", str(error)), 500)

    def _list(self, query: str) -> Html:
        values = _query_values(query)
        chosen = Filter(values.get("q", "")[:200], values.get("kind", "")[:20],
                        _number(values.get("stack", "")))
        problems = read_json(self._directory / OTHER_FOLDER / "problems.json", [])
        return list_page(self._index, chosen, _number(values.get("page", "")) or 1, len(problems))

    def _of_report(self, row: Row, folder: Path, rest: str) -> Answer:
        entry, call = _ENTRY.fullmatch(rest), _CALL.fullmatch(rest)
        if rest in ("", "/"):
            return _page_answer(self._report(row, folder))
        if rest == "/archive.zip":
            return _file_answer(folder / "archive.zip", f"report-{row.number}.zip")
        if call:
            return _file_answer(folder / "requests" / call[1], call[1])
        if entry:
            return _entry_answer(folder / "archive.zip", int(entry[1]))
        return _not_found()

    def _report(self, row: Row, folder: Path) -> Html:
        document = self._index.stack(row.number)
        waiting = document is None and self._tool is not None and row.kind in _DUMP_KINDS
        if waiting:
            self._tool.ask(row.number)
        trace = stack_trace.parse(document) if document is not None else None
        return report_page(self._index, folder, row, trace, waiting)


def _is_for_this_machine(head: RequestHead, port: int) -> bool:
    expected = [f"{HOST}:{port}", f"localhost:{port}"]
    if port == _DEFAULT_PORT:  # Browsers leave it out.
        expected += [HOST, "localhost"]
    names = head.all("Host")
    return len(names) == 1 and names[0] in expected


def _query_values(query: str) -> Dict[str, str]:
    try:
        pairs: List[Tuple[str, str]] = urllib.parse.parse_qsl(query, max_num_fields=20)
    except ValueError:
        return {}
    return dict(pairs)


def _number(text: str) -> Optional[int]:
    number = int(text) if re.fullmatch("[0-9]{1,12}", text) else None
    return number if number is not None and number < _MAX_NUMBER else None


def _page_answer(content: Html, status: int = 200) -> Answer:
    return Answer(status, content.encode(errors="replace"), "text/html; charset=utf-8", PAGE_HEADERS)


def _not_found() -> Answer:
    return _page_answer(message_page("Not found", "There is no such page."), 404)


def _file_answer(path: Path, name: str) -> Answer:
    if not path.is_file():
        return _not_found()
    return _download(name, path.stat().st_size, _file_pieces(path))


def _entry_answer(archive: Path, index: int) -> Answer:
    entries = list_entries(archive)
    if index >= len(entries):
        return _not_found()
    entry, pieces = entries[index], stream_entry(archive, index)
    first = next(pieces, b"")  # What cannot be read at all gets an answer that says so.
    return _download(entry.name, entry.size, itertools.chain([first], pieces))


def _download(name: str, size: int, pieces: Iterable[bytes]) -> Answer:
    headers = (("Content-Disposition", disposition(name)), *_FILE_HEADERS)
    return Answer(200, b"", "application/octet-stream", headers, pieces=pieces, pieces_size=size)


def _file_pieces(path: Path) -> Iterable[bytes]:
    with open(path, "rb") as file:
        while piece := file.read(_PIECE):
            yield piece


def disposition(name: str) -> str:
    """Content-Disposition for a file whose name anybody may have chosen: without folders, with
    every character escaped that is not harmless."""
    name = re.split(r"[/\\]", name)[-1]
    name = re.sub(r"[\x00-\x1f\x7f<>:\"|?*]", "_", name).strip(" .")[:150] or "file"
    plain = re.sub("[^A-Za-z0-9._ -]", "_", name)
    quoted = urllib.parse.quote(name.encode(errors="replace"), safe="")
    return f"attachment; filename=\"{plain}\"; filename*=UTF-8''{quoted}"
