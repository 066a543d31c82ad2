"""Keeps what the service receives: one numbered folder a report, every request raw.

A report is born with its first call, then gets its archive, then is committed; it never goes back.
Requests that belong to no report are kept in the folder "other".
"""

from __future__ import annotations

import dataclasses
import datetime
import json
import os
import secrets
import shutil
import threading
from pathlib import Path
from typing import Any, Dict, List, NamedTuple, Optional

from http_message import RequestHead
from protocol import Complaint
from report_folder import folder_of, folders_in, number_of, read_json

OTHER_FOLDER = "other"
_PROBLEMS = "problems.json"
_FIRST_MESSAGE = 5001  # Apart from the crash ids, so that a mix-up shows.
_KEPT_ANSWER_SIZE = 4096


class Problem(NamedTuple):
    """A complaint about one call of one report (0: about a request without a report)."""

    report: int
    call: str
    check: str
    text: str


@dataclasses.dataclass
class Exchange:
    """One received request. `target` is without the redirection prefix, `head` is as it came."""

    sequence: int
    call: str
    report: Optional[Report]
    head: RequestHead
    target: str
    stem: Path
    received: str = ""
    body_size: int = 0
    body_md5: str = ""
    body_complete: bool = False
    fault: Optional[str] = None
    status: Optional[int] = None  # None: no answer was sent.
    answer: bytes = b""
    made_commit: bool = False
    complaints: List[Complaint] = dataclasses.field(default_factory=list)

    @property
    def head_path(self) -> Path:
        """The file with the head's exact bytes."""
        return self.stem.with_suffix(".head")

    @property
    def body_path(self) -> Path:
        """The file with the body's exact bytes."""
        return self.stem.with_suffix(".body")

    @property
    def body(self) -> bytes:
        """The body's exact bytes, read whole."""
        return self.body_path.read_bytes()

    def save(self) -> None:
        """Writes what is known about the request beside its raw bytes."""
        description = {
            "sequence": self.sequence,
            "call": self.call,
            "method": self.head.method,
            "target": self.head.target,
            "received": self.received,
            "bodySize": self.body_size,
            "bodyMd5": self.body_md5,
            "bodyComplete": self.body_complete,
            "fault": self.fault,
            "status": self.status,
            "answer": self.answer[:_KEPT_ANSWER_SIZE].decode(errors="replace"),
            "problems": [complaint._asdict() for complaint in self.complaints],
        }
        write_json(self.stem.with_suffix(".json"), description)


class Report:
    """One report. `lock` guards every change; the files follow the fields."""

    def __init__(self, number: int, folder: Path, base_url: str) -> None:
        self.number = number
        self.folder = folder
        self.lock = threading.RLock()
        # A query with "&" and an escape, as signed upload URLs have it.
        self.upload_target = (
            f"/upload/{number}/report.zip?expires=600&signature={secrets.token_hex(16)}%3D"
        )
        self.upload_url = base_url + self.upload_target
        self.handed_out = False
        self.stored = False
        self.committed = False
        self.announced_size: Optional[int] = None
        self.archive_md5: Optional[str] = None
        self.query: Dict[str, Dict[str, str]] = {}
        self.fields: Dict[str, str] = {}
        self.entries: List[Dict[str, Any]] = []
        self.requests: List[Exchange] = []
        self.problems: List[Problem] = []
        earlier = read_json(folder / _PROBLEMS, [])  # Of former runs: the file keeps them.
        self._earlier_problems = earlier if isinstance(earlier, list) else []

    @property
    def archive_path(self) -> Path:
        """The archive as it was last received, whether it was accepted or not."""
        return self.folder / "archive.zip"

    def keep_archive(self, body_path: Path, entries: List[Dict[str, Any]]) -> None:
        """Makes the received body the report's archive, without a second copy where possible."""
        temporary = self.archive_path.with_suffix(f".{body_path.stem}")
        try:
            os.link(body_path, temporary)
        except OSError:
            shutil.copyfile(body_path, temporary)
        os.replace(temporary, self.archive_path)
        self.entries = entries
        write_json(self.folder / "entries.json", entries)

    def keep_query(self, call: str, values: Dict[str, str]) -> None:
        """Keeps the decoded query values of the first call or the commit."""
        self.query[call] = values
        write_json(self.folder / "query.json", self.query)

    def keep_fields(self, fields: Dict[str, str]) -> None:
        """Keeps the commit's form fields."""
        self.fields = fields
        write_json(self.folder / "fields.json", fields)

    def add_problems(self, call: str, complaints: List[Complaint]) -> None:
        """Records the complaints as problems of this report."""
        self.problems += [Problem(self.number, call, *complaint) for complaint in complaints]
        found = [item._asdict() for item in self.problems]
        write_json(self.folder / _PROBLEMS, self._earlier_problems + found)


class ReportStore:
    """All reports of one folder. Any thread may use it; an existing folder is continued. Numbers up
    to `last_number` are not given to reports, even where their folders are gone."""

    def __init__(self, directory: Path, base_url: str, last_number: int) -> None:
        self.directory = directory
        self._base_url = base_url
        self._lock = threading.Lock()
        self._reports: Dict[int, Report] = {}
        self.other = Report(0, directory / OTHER_FOLDER, base_url)
        self._last_number = max([last_number, *folders_in(directory)])
        heads = directory.glob("*/requests/*.head")
        self._last_sequence = max((number_of(path.name) for path in heads), default=0)

    def begin_report(self) -> Report:
        """Makes the next report and its folder."""
        with self._lock:
            self._last_number += 1
            number = self._last_number
            folder = folder_of(self.directory, number)
            report = self._reports[number] = Report(number, folder, self._base_url)
            (folder / "requests").mkdir(parents=True)
        report.add_problems("first", [])  # The file is there from the beginning.
        return report

    def find(self, number: int) -> Optional[Report]:
        """The report of this run with that number."""
        with self._lock:
            return self._reports.get(number)

    def all(self) -> List[Report]:
        """The reports of this run in the order of their numbers."""
        with self._lock:
            return list(self._reports.values())

    def begin_exchange(
        self, call: str, report: Optional[Report], head: RequestHead, target: str
    ) -> Exchange:
        """Keeps a request's head and names the file for its body."""
        owner = report or self.other
        with self._lock:
            self._last_sequence += 1
            sequence = self._last_sequence
        folder = owner.folder / "requests"
        folder.mkdir(parents=True, exist_ok=True)
        stem = folder / f"{sequence:04}-{call}"
        exchange = Exchange(sequence, call, report, head, target, stem)
        exchange.received = datetime.datetime.now(datetime.timezone.utc).isoformat()
        exchange.head_path.write_bytes(head.raw)
        with owner.lock:
            owner.requests.append(exchange)
        return exchange

    @staticmethod
    def message_id(report: Report) -> int:
        """The report's message number."""
        return _FIRST_MESSAGE + report.number - 1


def write_json(path: Path, value: Any) -> None:
    """Writes the value as readable JSON; readers see the whole file or none."""
    temporary = path.with_name(f".{path.name}.{threading.get_ident()}")
    text = json.dumps(value, indent=2, ensure_ascii=False)
    temporary.write_text(text + "\n", encoding="utf-8", errors="replace")
    os.replace(temporary, path)
