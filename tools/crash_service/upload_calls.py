"""Judges the three calls of an upload, and finds the ordinary answer to each."""

from __future__ import annotations

import json
import re
from typing import Dict, List, Optional, Tuple

import protocol
from archive import check_archive
from facts import grouping_text, read_facts
from faults import Fault
from http_message import Answer, RequestHead
from protocol import Complaint
from report_index import ReportIndex
from reports import Exchange, Report, ReportStore

UNKNOWN = "unknown"

_REDIRECTED = re.compile(r"/redirected/([0-9]{1,9})(/.*)")
_UPLOAD = re.compile(r"/upload/([0-9]{1,9})/")
_METHODS = {"first": "POST", "put": "PUT", "commit": "POST"}
_MAX_FORM_SIZE = 64 << 20


class UploadCalls:
    """The protocol's side of the service. Any thread may use it; a report's lock orders its calls.

    With `strict`, a request with a problem is answered 400, otherwise as if it were good.
    """

    def __init__(
        self, store: ReportStore, index: ReportIndex, base_url: str, user_agent: str, strict: bool
    ) -> None:
        self._store = store
        self._index = index
        self._base_url = base_url
        self._user_agent = user_agent
        self._strict = strict

    def begin(self, head: RequestHead) -> Exchange:
        """Finds out which call of which report this is; a first call begins a report."""
        target, report = head.target, None
        redirected = _REDIRECTED.fullmatch(target)
        if redirected:
            target, report = redirected[2], self._store.find(int(redirected[1]))
        path, _, query = target.partition("?")
        upload = _UPLOAD.match(target)
        if path == protocol.FIRST_PATH:
            call, report = "first", report or self._store.begin_report()
        elif upload:
            call, report = "put", self._store.find(int(upload[1]))
        elif path == protocol.COMMIT_PATH:
            call, report = "commit", self._committed_report(query)
        else:
            call = UNKNOWN
        return self._store.begin_exchange(call, report, head, target)

    def redirect_url(self, exchange: Exchange) -> str:
        """A URL of this service at which the same request is answered as the same call."""
        number = exchange.report.number if exchange.report else 0
        return f"{self._base_url}/redirected/{number}{exchange.target}"

    def answer(self, exchange: Exchange, fault: Optional[Fault]) -> Answer:
        """The ordinary answer to a wholly received request; records its problems.

        The fault is only asked whether the client will see a success.
        """
        if exchange.call == UNKNOWN:
            text = f"nothing is at {exchange.head.method} {exchange.target}"
            self.complain(exchange, [Complaint("path", text)])
            return _refusal(exchange.complaints, 404)
        if exchange.report is None:
            check = "s3-key" if exchange.call == "commit" else "path"
            text = f"no upload URL was handed out that fits {exchange.target}"
            self.complain(exchange, [Complaint(check, text)])
            return _refusal(exchange.complaints)
        judge = {"first": self._first, "put": self._put, "commit": self._commit}[exchange.call]
        with exchange.report.lock:
            return judge(exchange, exchange.report, fault)

    def complain(self, exchange: Exchange, complaints: List[Complaint]) -> None:
        """Records what is wrong with the request, with its report or with the others."""
        owner = exchange.report or self._store.other
        exchange.complaints += complaints
        with owner.lock:
            owner.add_problems(exchange.call, complaints)

    def _first(self, exchange: Exchange, report: Report, fault: Optional[Fault]) -> Answer:
        complaints = self._check_head(exchange)
        values, found = _query(exchange, protocol.FIRST_PARTS)
        report.keep_query("first", values)
        size, wrong = protocol.check_first(values, exchange.body_size)
        report.announced_size = size
        accepted, refusal = self._conclude(exchange, complaints + found + wrong)
        if not accepted:
            return refusal
        # A body that a test has made may or may not hand out this report's URL.
        body = fault.body if fault else None
        if _succeeds(fault) and (body is None or report.upload_url.encode() in body):
            report.handed_out = True
        return _json_answer({"status": "success", "url": report.upload_url})

    def _put(self, exchange: Exchange, report: Report, fault: Optional[Fault]) -> Answer:
        complaints = self._check_head(exchange)
        if exchange.target != report.upload_target or not report.handed_out:
            text = f"{exchange.target} was not handed out as an upload URL"
            complaints.append(Complaint("path", text))
        if report.stored:
            complaints.append(Complaint("repeated", "the archive was stored before"))
        complaints += protocol.check_put(exchange.head, exchange.body_size, report.announced_size)
        entries, wrong = check_archive(exchange.body_path)
        if not report.stored:
            report.keep_archive(exchange.body_path, entries)
            report.archive_md5 = exchange.body_md5
        accepted, refusal = self._conclude(exchange, complaints + wrong)
        if not accepted:
            return refusal
        report.stored = report.stored or _succeeds(fault)
        return Answer(200, b"", "text/plain")

    def _commit(self, exchange: Exchange, report: Report, fault: Optional[Fault]) -> Answer:
        complaints = self._check_head(exchange)
        values, wrong = _query(exchange, protocol.COMMIT_PARTS)
        report.keep_query("commit", values)
        complaints += wrong
        if values.get("s3Key") != report.upload_url or not report.handed_out:
            text = f"s3Key {values.get('s3Key')!r} was not handed out"
            complaints.append(Complaint("s3-key", text))
        if not report.stored:
            complaints.append(Complaint("s3-key", "nothing was stored at the upload URL"))
        if report.committed:
            complaints.append(Complaint("repeated", "the report was committed before"))
        first = report.query.get("first", {})
        complaints += protocol.check_commit(values, first, report.archive_md5)
        if exchange.body_size > _MAX_FORM_SIZE:
            complaints.append(Complaint("form", f"the form has {exchange.body_size} bytes"))
        else:
            fields, wrong = protocol.check_form(exchange.head, exchange.body)
            report.keep_fields(fields)
            complaints += wrong
        accepted, refusal = self._conclude(exchange, complaints)
        if not accepted:
            return refusal
        exchange.made_commit = not report.committed and _succeeds(fault)
        report.committed = report.committed or exchange.made_commit
        return _json_answer(
            {
                "status": "success",
                "crashId": report.number,
                "stackKeyId": self._stack_key(report, values),
                "messageId": self._store.message_id(report),
                "infoUrl": f"{self._base_url}/report/{report.number}",
            }
        )

    def _stack_key(self, report: Report, query: Dict[str, str]) -> int:
        facts = read_facts(report.archive_path, query.get("crashTypeId", ""))
        signature_hash = report.fields.get("crashHash", "")
        return self._index.stack_key(
            grouping_text(facts, query.get("appName", ""), signature_hash))

    def _conclude(self, exchange: Exchange, complaints: List[Complaint]) -> Tuple[bool, Answer]:
        """Records the complaints; whether the request counts as good, and the answer if not."""
        self.complain(exchange, complaints)
        return not (complaints and self._strict), _refusal(complaints)

    def _check_head(self, exchange: Exchange) -> List[Complaint]:
        method = _METHODS[exchange.call]
        return protocol.check_head(exchange.head, method, self._user_agent)

    def _committed_report(self, query: str) -> Optional[Report]:
        """The report that the commit's s3Key points at, even when it is not exactly its URL."""
        key = dict(protocol.split_query(query, protocol.COMMIT_PARTS)).get("s3Key", "")
        number = _UPLOAD.search(key.replace("%2F", "/").replace("%2f", "/"))
        return self._store.find(int(number[1])) if number else None


def _query(
    exchange: Exchange, expected: Tuple[str, ...]
) -> Tuple[Dict[str, str], List[Complaint]]:
    return protocol.check_query(exchange.target.partition("?")[2], expected)


def _succeeds(fault: Optional[Fault]) -> bool:
    return fault is None or fault.answered_status(200) == 200


def _json_answer(value: object, status: int = 200) -> Answer:
    return Answer(status, json.dumps(value, separators=(",", ":")).encode())


def _refusal(complaints: List[Complaint], status: int = 400) -> Answer:
    texts = [f"{complaint.check}: {complaint.text}" for complaint in complaints]
    return _json_answer({"status": "failure", "problems": texts}, status)
