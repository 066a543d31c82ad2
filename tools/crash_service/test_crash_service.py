"""Tests of the crash-collection service: a real client over TLS, on 127.0.0.1 only."""

from __future__ import annotations

import contextlib
import hashlib
import http.client
import io
import json
import os
import signal
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import zipfile
from pathlib import Path
from typing import Any, Dict, Iterator, List, Optional, Tuple

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))

import minidump  # noqa: E402
from crash_service import CrashService  # noqa: E402
from faults import FaultError, parse_fault  # noqa: E402
from protocol import FORM_FIELDS  # noqa: E402

AGENT = "Wrenfall/9.0.0-dev"
BOUNDARY = "----WrenfallFormBoundary0123456789abcDEF"

_shared = tempfile.TemporaryDirectory()
CERTIFICATES = Path(_shared.name)


def tearDownModule() -> None:
    _shared.cleanup()


def make_zip(*names: str) -> bytes:
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w", zipfile.ZIP_DEFLATED) as archive:
        for name in names:
            archive.writestr(name, f"content of {name} " * 20)
    return buffer.getvalue()


def make_form(names: Tuple[str, ...] = FORM_FIELDS, **values: str) -> bytes:
    parts = [
        f'--{BOUNDARY}\r\nContent-Disposition: form-data; name="{name}"\r\n\r\n'
        f"{values.get(name, '')}\r\n"
        for name in names
    ]
    return ("".join(parts) + f"--{BOUNDARY}--\r\n").encode()


class Client:
    """Makes the three calls as the library does, each on a connection of its own.

    `change` maps "first", "put" and "commit" to what deviates: method, target (a function of the
    right target), agent, type, body, length.
    """

    def __init__(self, port: int, change: Optional[Dict[str, Dict[str, Any]]] = None) -> None:
        self.port = port
        self.context = ssl.create_default_context(cafile=str(CERTIFICATES / "ca.pem"))
        self.change = change or {}
        self.archive = make_zip("a.txt", "dump.dmp")
        self.statuses: List[int] = []

    def call(self, call: str, method: str, target: str, body: bytes, kind: str) -> bytes:
        change = self.change.get(call, {})
        body = change.get("body", body)
        headers = [("User-Agent", change.get("agent", AGENT))]
        kind = change.get("type", kind)
        if kind:
            headers.append(("Content-Type", kind))
        if change.get("length", True):
            headers.append(("Content-Length", str(len(body))))
        target = change.get("target", lambda text: text)(target)
        connection = http.client.HTTPSConnection(
            "127.0.0.1", self.port, context=self.context, timeout=5
        )
        with contextlib.closing(connection):
            connection.putrequest(change.get("method", method), target, skip_accept_encoding=True)
            for name, value in headers:
                connection.putheader(name, value)
            connection.endheaders(body)
            response = connection.getresponse()
            self.statuses.append(response.status)
            return response.read()

    def first(self, name: str = "My%20App%2F2") -> str:
        target = (
            f"/api/getCrashUploadUrl?appName={name}&appVersion=1.0&crashTypeId=1"
            f"&crashPostSize={len(self.archive)}"
        )
        return json.loads(self.call("first", "POST", target, b"", ""))["url"]

    def put(self, url: str) -> bytes:
        target = url.split(str(self.port), 1)[1]
        return self.call("put", "PUT", target, self.archive, "application/zip")

    def commit(self, url: str, **values: str) -> bytes:
        md5 = hashlib.md5(self.archive).hexdigest()
        target = (
            f"/api/commitS3CrashUpload?appName=My%20App%2F2&appVersion=1.0&s3Key={url}"
            f"&md5={md5}&crashTypeId=1&crashTime=2024-05-06T07:08:09Z"
        )
        kind = f"multipart/form-data; boundary={BOUNDARY}"
        return self.call("commit", "POST", target, make_form(**values), kind)

    def upload(self, **values: str) -> Dict[str, Any]:
        url = self.first()
        self.put(url)
        return json.loads(self.commit(url, **values))


class ServiceTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.directory = Path(folder.name)

    @contextlib.contextmanager
    def service(self, **options: Any) -> Iterator[CrashService]:
        with CrashService(self.directory, certificates=CERTIFICATES, **options) as service:
            yield service

    def raw(self, service: CrashService) -> ssl.SSLSocket:
        context = ssl.create_default_context(cafile=str(CERTIFICATES / "ca.pem"))
        plain = socket.create_connection(("127.0.0.1", service.port), timeout=5)
        sock = context.wrap_socket(plain, server_hostname="127.0.0.1")
        self.addCleanup(sock.close)
        return sock


def read_until(sock: ssl.SSLSocket, end: bytes) -> bytes:
    data = b""
    while not data.endswith(end):
        piece = sock.recv(4096)
        if not piece:
            break
        data += piece
    return data


def ends_in_reset(plain: socket.socket) -> bool:
    try:
        while plain.recv(65536):
            pass
    except ConnectionResetError:
        return True
    return False


class GoodRunTest(ServiceTest):
    def test_a_report_is_kept_and_answered(self) -> None:
        with self.service() as service:
            client = Client(service.port)
            answer = client.upload(crashHash="abc", description="caf\u00e9\r\n--x", attributes="{}")
            self.assertEqual(
                answer,
                {
                    "status": "success",
                    "crashId": 1,
                    "stackKeyId": 1001,
                    "messageId": 5001,
                    "infoUrl": f"https://127.0.0.1:{service.port}/report/1",
                },
            )
            self.assertEqual(service.problems, [])
            self.assertTrue(service.wait_for_commits(1, 2))
        folder = self.directory / "report-0001"
        read = {path.stem: json.loads(path.read_text("utf-8")) for path in folder.glob("*.json")}
        self.assertEqual((folder / "archive.zip").read_bytes(), client.archive)
        self.assertEqual(list(read["fields"]), list(FORM_FIELDS))
        self.assertEqual(read["fields"]["description"], "caf\u00e9\r\n--x")
        self.assertEqual(read["query"]["first"]["appName"], "My App/2")
        self.assertEqual(read["query"]["commit"]["crashTime"], "2024-05-06T07:08:09Z")
        self.assertIn("&signature=", read["query"]["commit"]["s3Key"])
        self.assertEqual([(e["name"], e["size"]) for e in read["entries"]],
                         [("a.txt", 340), ("dump.dmp", 400)])
        self.assertEqual(read["problems"], [])

    def test_ids_follow_the_signature_hash_across_a_restart(self) -> None:
        with self.service() as service:
            keys = [Client(service.port).upload(crashHash=h)["stackKeyId"] for h in ("a", "b", "a")]
        with self.service() as service:
            again = Client(service.port).upload(crashHash="b")
        self.assertEqual(keys, [1001, 1002, 1001])
        self.assertEqual((again["crashId"], again["stackKeyId"]), (4, 1002))

    def test_requests_are_kept_as_they_came_over_one_connection(self) -> None:
        head = (
            b"POST /api/getCrashUploadUrl?appName=A&appVersion=1&crashTypeId=1&crashPostSize=5"
            b" HTTP/1.1\r\nhOsT:  127.0.0.1\r\nX-B: 2\r\nX-A: \xe9\r\nX-B: 1\r\n"
            b"Expect: 100-continue\r\nUser-Agent: Wrenfall/9.0.0-dev\r\nContent-Length: 3\r\n\r\n"
        )
        with self.service() as service:
            with self.raw(service) as sock:
                for number in (1, 2):
                    sock.sendall(head)
                    interim = read_until(sock, b"\r\n\r\n")
                    self.assertEqual(interim, b"HTTP/1.1 100 Continue\r\n\r\n")
                    sock.sendall(b"a\0b")
                    self.assertIn(b" 400 ", read_until(sock, b"]}"))
                    self.assertEqual(len(service.reports), number)
            kept = service.requests[1]
            self.assertEqual(kept.head_path.read_bytes(), head)
            self.assertEqual(kept.body, b"a\0b")
            self.assertEqual(service.problems[0][:3], (1, "first", "body"))

    def test_concurrent_reports_pass_a_client_that_never_shakes_hands(self) -> None:
        with self.service() as service:
            with socket.create_connection(("127.0.0.1", service.port)):
                threads = [threading.Thread(target=Client(service.port).upload) for _ in range(8)]
                for thread in threads:
                    thread.start()
                for thread in threads:
                    thread.join()
            self.assertEqual(service.problems, [])
            self.assertEqual([r.committed for r in service.reports], [True] * 8)

    def test_pages_escape_what_they_show(self) -> None:
        with self.service() as service:
            client = Client(service.port)
            client.upload(user="<script>")
            pages = {
                path: client.call("page", "GET", path, b"", "").decode()
                for path in ("/", "/report/1", "/report/9")
            }
            self.assertEqual(service.problems, [])
        self.assertIn('href="/report/1"', pages["/"])
        self.assertIn("user: &lt;script&gt;", pages["/report/1"])
        self.assertEqual(client.statuses[-1], 404)

    def test_certificate_variants_are_refused_for_their_reason(self) -> None:
        table = {
            "expired": "certificate has expired",
            "wrong-name": "IP address mismatch",
            "unknown-ca": "unable to get local issuer",
        }
        for variant, reason in table.items():
            with self.subTest(variant), self.service(variant=variant) as service:
                with self.assertRaisesRegex(ssl.SSLCertVerificationError, reason):
                    Client(service.port).first()
                self.assertEqual(service.requests, [])


def without(part: str) -> Any:
    def remove(target: str) -> str:
        path, _, query = target.partition("?")
        return path + "?" + "&".join(p for p in query.split("&") if not p.startswith(part + "="))

    return remove


def replaced(old: str, new: str) -> Any:
    return lambda target: target.replace(old, new)


class CheckTest(ServiceTest):
    # (what deviates, the check that must find it)
    BAD_FIRST = [
        ({"method": "PUT"}, "method"),
        ({"agent": "Other/1"}, "user-agent"),
        ({"length": False}, "content-length"),
        ({"target": without("appVersion")}, "query"),
        ({"target": replaced("%2F", "%2f")}, "query"),
        ({"target": replaced("%20", "%2x")}, "query"),
        ({"target": replaced("%20", "%FF")}, "query"),
        ({"target": replaced("appVersion=1.0", "appVersion=")}, "query"),
        ({"target": replaced("crashTypeId=1", "crashTypeId=1&more=2")}, "query"),
        ({"target": replaced("crashTypeId=1", "crashTypeId=1&crashTypeId=1")}, "query"),
        ({"target": replaced("&appVersion=1.0&crashTypeId=1", "&crashTypeId=1&appVersion=1.0")},
         "query-order"),
        ({"target": replaced("crashPostSize=", "crashPostSize=0x")}, "size"),
        ({"body": b"x"}, "body"),
    ]
    BAD_PUT = [
        ({"method": "POST"}, "method"),
        ({"agent": ""}, "user-agent"),
        ({"type": "text/plain"}, "content-type"),
        ({"target": replaced("signature=", "signature=0")}, "path"),
        ({"body": make_zip("a.txt")}, "size"),
        ({"body": b"no archive"}, "archive"),
        ({"body": make_zip("a.txt")[:-30]}, "archive"),
        ({"body": make_zip("folder/a.txt")}, "archive-names"),
        ({"body": make_zip("folder\\a.txt")}, "archive-names"),
    ]
    BAD_COMMIT = [
        ({"method": "PUT"}, "method"),
        ({"target": without("md5")}, "query"),
        ({"target": without("s3Key")}, "s3-key"),
        ({"target": replaced("signature=", "signature=0")}, "s3-key"),
        ({"target": replaced("https://", "https%3A%2F%2F")}, "s3-key"),
        ({"target": replaced("md5=", "md5=0")}, "md5"),
        ({"target": lambda t: t[: t.index("md5=") + 4] + "0" * 32 + "&crashTypeId=1"}, "md5"),
        ({"target": replaced("crashTypeId=1", "crashTypeId=2")}, "query"),
        ({"target": replaced("crashTime=2024-05-06T07:08:09Z", "crashTime=")}, "query"),
        ({"target": replaced("/api/commit", "/api/commute")}, "path"),
        ({"type": "text/plain"}, "content-type"),
        ({"type": "multipart/form-data; boundary=----WrenfallFormBoundary1"}, "content-type"),
        ({"body": make_form()[:-2]}, "form"),
        ({"body": b"x" + make_form()}, "form"),
        ({"body": make_form() + b"x"}, "form"),
        ({"body": make_form().replace(b"form-data", b"attachment", 1)}, "form"),
        ({"body": make_form(user="\0").replace(b"\0", b"\xff")}, "form"),
        ({"body": make_form(FORM_FIELDS[:-1])}, "form-fields"),
        ({"body": make_form(FORM_FIELDS[::-1])}, "form-fields"),
        ({"body": make_form((*FORM_FIELDS, "user"))}, "form-fields"),
        ({"body": make_form(attributes="{")}, "attributes"),
        ({"body": make_form(attributes="[]")}, "attributes"),
        ({"body": make_form(attributes='{"a":1}')}, "attributes"),
    ]

    def test_violations_are_recorded_and_refused(self) -> None:
        with self.service() as service:
            for call, table in (
                ("first", self.BAD_FIRST), ("put", self.BAD_PUT), ("commit", self.BAD_COMMIT),
            ):
                for change, check in table:
                    with self.subTest(call=call, change=change):
                        self.check_one(service, call, change, check)

    def check_one(
        self, service: CrashService, call: str, change: Dict[str, Any], check: str
    ) -> None:
        known = len(service.problems)
        client = Client(service.port, {call: change})
        with contextlib.suppress(KeyError):
            url = client.first()
            client.put(url)
            if call == "commit":
                client.commit(url)
        refused = 404 if call == "commit" and check == "path" else 400
        self.assertEqual(client.statuses[-1], refused)
        self.assertEqual(client.statuses[:-1], [200] * (len(client.statuses) - 1))
        self.assertGreater(len(service.problems), known)
        self.assertIn(check, {complaint.check for complaint in service.requests[-1].complaints})

    def test_calls_out_of_turn_are_problems(self) -> None:
        with self.service() as service:
            client = Client(service.port)
            url = client.first()
            client.commit(url)
            client.put(url)
            client.put(url)
            client.commit(url)
            client.commit(url)
            self.assertEqual(client.statuses, [200, 400, 200, 400, 200, 400])
            self.assertEqual([(p.call, p.check) for p in service.problems], [
                ("commit", "s3-key"), ("put", "repeated"), ("commit", "repeated")])

    def test_lenient_records_but_accepts(self) -> None:
        with self.service(strict=False) as service:
            client = Client(service.port, {"put": {"agent": "Other/1"}})
            self.assertEqual(client.upload()["status"], "success")
            self.assertEqual([(p.call, p.check) for p in service.problems], [("put", "user-agent")])

    def test_broken_http_is_a_problem(self) -> None:
        put = b"POST /api/getCrashUploadUrl HTTP/1.1\r\n"
        heads = [
            b"nonsense\r\n\r\n",
            put + b"no colon\r\n\r\n",
            put + b"Content-Length: 1\r\nContent-Length: 2\r\n\r\n",
            put + b"Transfer-Encoding: chunked\r\n\r\n",
        ]
        with self.service() as service:
            for head in heads:
                with self.subTest(head), self.raw(service) as sock:
                    sock.sendall(head)
                    self.assertIn(b" 400 ", read_until(sock, b"\0"))
                    self.assertEqual(service.problems[-1].check, "head")
            with self.raw(service) as sock:
                sock.sendall(put + b"Content-Length: 9\r\n\r\nshort")
            deadline = time.monotonic() + 5
            while not (service.reports and service.reports[-1].problems):
                self.assertLess(time.monotonic(), deadline)
                time.sleep(0.02)
            self.assertIn("5 of 9 bytes", service.reports[-1].problems[0].text)


class FaultTest(ServiceTest):
    ENDED = (http.client.RemoteDisconnected, ConnectionResetError)

    def test_answers_are_replaced_for_a_number_of_requests(self) -> None:
        with self.service() as service:
            service.fail("first", status=503, body=b"later", times=2)
            service.fail("first", status=429, times=1)
            client = Client(service.port)
            target = "/api/getCrashUploadUrl?appName=My%20App%2F2"
            bodies = [client.call("first", "POST", target, b"", "") for _ in range(3)]
            self.assertEqual(client.statuses, [503, 503, 429])
            self.assertEqual(bodies, [b"later", b"later", b""])
            service.fail("commit", body=b'{"status":"no"}')
            self.assertEqual(client.upload(), {"status": "no"})
            service.clear_faults()
            self.assertEqual(client.upload()["status"], "success")

    def test_a_failed_put_stores_nothing(self) -> None:
        with self.service() as service:
            service.fail("put", status=500, times=1)
            client = Client(service.port)
            url = client.first()
            client.put(url)
            client.commit(url)
            self.assertEqual(client.statuses, [200, 500, 400])
            self.assertEqual([p.check for p in service.problems], ["s3-key"])

    def test_broken_deliveries(self) -> None:
        table = [
            ({"reset": "body"}, self.ENDED),
            ({"truncate": True, "body": b"x" * 100}, http.client.IncompleteRead),
            ({"truncate": True}, http.client.IncompleteRead),
            ({"close": True}, http.client.RemoteDisconnected),
        ]
        with self.service() as service:
            for settings, error in table:
                with self.subTest(settings):
                    client = Client(service.port)
                    url = client.first()
                    service.fail("put", times=1, **settings)
                    with self.assertRaises(error):
                        client.put(url)
            self.assertEqual(service.problems, [])
            cut = service.requests[1]
            self.assertEqual((cut.body_size, cut.status), (len(client.archive) // 2, None))

    def test_resets_are_resets_and_closes_are_closes(self) -> None:
        head = b"POST /api/getCrashUploadUrl HTTP/1.1\r\nContent-Length: 100\r\n\r\n"
        table: List[Tuple[Dict[str, Any], bool]] = [
            ({"reset": "before"}, True),
            ({"reset": "body"}, True),
            ({"reset": "middle"}, True),
            ({"reset": "after"}, True),
            ({"truncate": True}, False),
            ({"close": True}, False),
        ]
        with self.service() as service:
            for settings, expected in table:
                with self.subTest(settings), self.raw(service) as sock:
                    # Python's TLS reads a reset as an end: look at the TCP connection below it.
                    with socket.socket(fileno=os.dup(sock.fileno())) as plain:
                        plain.settimeout(5)
                        service.fail("first", times=1, **settings)
                        sock.sendall(head + b"x" * 100)
                        self.assertEqual(ends_in_reset(plain), expected)

    def test_connections_fail_for_the_call_that_they_were_ordered_for(self) -> None:
        errors: Dict[str, Any] = {
            "refused": ConnectionRefusedError, "reset": self.ENDED, "garbage": ssl.SSLError,
            "expired": ssl.SSLCertVerificationError, "wrong-name": ssl.SSLCertVerificationError,
            "unknown-ca": ssl.SSLCertVerificationError,
        }
        with self.service() as service:
            for connect, error in errors.items():
                for call, answered in (("first", 0), ("put", 1), ("commit", 2)):
                    with self.subTest(connect=connect, call=call):
                        service.fail(call, connect=connect)
                        client = Client(service.port)
                        with self.assertRaises(error):
                            client.upload()
                        self.assertEqual(client.statuses, [200] * answered)
                        service.clear_faults()
                        self.assertEqual(client.upload()["status"], "success")

    def test_raw_and_informational_answers(self) -> None:
        with self.service() as service:
            service.fail("first", raw=b"HTTP/1.1 200 Fine\r\n\r\n{body} ", interim=103, times=1)
            service.fail("put", raw=b"nonsense")
            with self.raw(service) as sock:
                sock.sendall(
                    b"POST /api/getCrashUploadUrl?appName=A&appVersion=1&crashTypeId=1"
                    b"&crashPostSize=1 HTTP/1.1\r\nContent-Length: 0\r\n"
                    b"User-Agent: Wrenfall/9.0.0-dev\r\n\r\n"
                )
                answer = read_until(sock, b"} ").decode()
            self.assertRegex(
                answer, r'^HTTP/1.1 103 .*\r\n\r\nHTTP/1.1 200 Fine\r\n\r\n{"status":"success",.*} $'
            )
            with self.assertRaises(http.client.BadStatusLine):
                Client(service.port).upload()
            self.assertEqual([r.status for r in service.requests], [200, 200, None])

    def test_half_of_a_truncated_answer_arrives(self) -> None:
        with self.service() as service:
            service.fail("put", truncate=True, body=b"0123456789", times=1)
            client = Client(service.port)
            with self.assertRaises(http.client.IncompleteRead) as caught:
                client.put(client.first())
            self.assertEqual((caught.exception.partial, caught.exception.expected), (b"01234", 5))

    def test_large_and_chunked_answers_are_whole(self) -> None:
        with self.service() as service:
            service.fail("commit", huge=3_000_000, times=1)
            service.fail("commit", chunked=True, times=1)
            service.fail("commit", chunked=True, huge=200_000, times=1)
            client = Client(service.port)
            answers = []
            for _ in range(3):
                url = client.first()
                client.put(url)
                answers.append(client.commit(url))
            self.assertEqual([len(a) for a in answers], [3_000_000, len(answers[1]), 200_000])
            self.assertEqual([json.loads(a)["crashId"] for a in answers], [1, 2, 3])

    def test_delay_and_no_answer_until_the_stop(self) -> None:
        with self.service() as service:
            service.fail("first", delay=0.3, times=1)
            service.fail("first", never=True)
            started = time.monotonic()
            Client(service.port).first()
            self.assertGreater(time.monotonic() - started, 0.3)
            errors: List[BaseException] = []

            def wait_for_answer() -> None:
                try:
                    Client(service.port).first()
                except OSError as error:
                    errors.append(error)

            waiting = threading.Thread(target=wait_for_answer)
            waiting.start()
            waiting.join(0.3)
            self.assertTrue(waiting.is_alive())
            started = time.monotonic()
        waiting.join(5)
        self.assertLess(time.monotonic() - started, 2)
        self.assertIsInstance(errors[0], self.ENDED)

    def test_redirects_lead_to_the_same_report_or_elsewhere(self) -> None:
        with self.service() as service:
            table: Dict[int, Dict[str, Any]] = {
                307: {"redirect": True},
                302: {"redirect": "https://127.0.0.1:1/x", "status": 302},
            }
            for expected, settings in table.items():
                service.fail("first", times=1, **settings)
                with self.raw(service) as sock:
                    sock.sendall(
                        b"POST /api/getCrashUploadUrl?appName=A&appVersion=1&crashTypeId=1"
                        b"&crashPostSize=1 HTTP/1.1\r\nContent-Length: 0\r\n"
                        b"User-Agent: Wrenfall/9.0.0-dev\r\n\r\n"
                    )
                    answer = read_until(sock, b"\r\n\r\n").decode()
                self.assertIn(f"HTTP/1.1 {expected} ", answer)
                location = answer.split("Location: ")[1].split("\r\n")[0]
                if expected == 307:
                    client = Client(service.port)
                    target = location.split(str(service.port), 1)[1]
                    body = client.call("first", "POST", target, b"", "")
                    self.assertIn("/upload/1/", json.loads(body)["url"])
                    self.assertEqual(len(service.reports), 1)
            self.assertEqual(location, "https://127.0.0.1:1/x")
            self.assertEqual(service.problems, [])

    def test_fault_texts(self) -> None:
        call, fault = parse_fault('commit:times=2,delay=0.5,status=201,body={"a":1,"b":"c,d"}')
        self.assertEqual((call, fault.times, fault.delay, fault.status), ("commit", 2, 0.5, 201))
        self.assertEqual(fault.body, b'{"a":1,"b":"c,d"}')
        described = parse_fault("put:huge=2M,chunked")[1].describe()
        self.assertEqual(described, "huge=2097152,chunked")
        for text in (
            "first", "first:", "last:close", "put:speed=1", "put:status=99", "put:status=x",
            "put:times=0", "put:reset=never", "put:stall=never", "put:close,never", "put:close=1", "put:delay=nan",
            "put:status", "put:body=@/no/such/file",
        ):
            with self.subTest(text), self.assertRaises(FaultError):
                parse_fault(text)


def make_dump() -> bytes:
    """A minidump with two modules, three threads, an exception and annotations of both kinds."""
    image = bytearray(32 + 4 * 12)

    def put(data: bytes) -> int:
        image.extend(data)
        return len(image) - len(data)

    def text(value: bytes) -> int:
        return put(struct.pack("<I", len(value)) + value + b"\0")

    def table(*entries: bytes) -> Tuple[int, int]:
        data = struct.pack("<I", len(entries)) + b"".join(entries)
        return len(data), put(data)

    modules = []
    for name in ("C:\\host.exe", "C:\\W\u00e4lder.dll"):
        wide = name.encode("utf-16-le")
        rva = put(struct.pack("<I", len(wide)) + wide + b"\0\0")
        modules.append(struct.pack("<QIIII", 0x400000, 4096, 0, 0, rva).ljust(108, b"\0"))
    live = table(
        struct.pack("<IHHI", text(b"answer"), 1, 0, put(struct.pack("<I", 3) + b"new")),
        struct.pack("<IHHI", text(b"answer"), 1, 0, put(struct.pack("<I", 3) + b"old")),
        struct.pack("<IHHI", text(b"raw"), 9, 0, put(struct.pack("<I", 2) + b"\x01\xff")),
    )
    module = struct.pack("<IIIIIII", 1, 0, 0, 0, 0, *live)
    module_list = table(struct.pack("<III", 1, len(module), put(module)))
    simple = table(struct.pack("<II", text(b"wrenfall.key"), text(b"caf\xc3\xa9")))
    annotations = struct.pack("<I32xIIII", 1, *simple, *module_list)
    threads = struct.pack("<I", 3) + bytes(3 * 48)
    exception = struct.pack("<IIIIQQ", 77, 0, 0xC0000005, 0, 0, 0x1234).ljust(168, b"\0")
    padded_modules = struct.pack("<II", 2, 0) + b"".join(modules)
    streams = [(3, threads), (4, padded_modules), (6, exception), (0x43500001, annotations)]
    for index, (kind, data) in enumerate(streams):
        struct.pack_into("<III", image, 32 + index * 12, kind, len(data), put(data))
    struct.pack_into("<4sIII", image, 0, b"MDMP", 0xA793, len(streams), 32)
    return bytes(image)


class MinidumpTest(unittest.TestCase):
    def test_a_whole_dump(self) -> None:
        dump = minidump.Minidump(make_dump())
        self.assertEqual(dump.problems, [])
        self.assertEqual([s.type for s in dump.streams], [3, 4, 6, 0x43500001])
        self.assertEqual((dump.exception_code, dump.exception_address), (0xC0000005, 0x1234))
        self.assertEqual((dump.exception_thread, dump.thread_count), (77, 3))
        self.assertEqual(dump.module_names, ["C:\\host.exe", "C:\\W\u00e4lder.dll"])
        self.assertEqual(dump.startup_annotations, {"wrenfall.key": "caf\u00e9"})
        self.assertEqual(dump.live_annotations, {"answer": "new", "raw": "01ff"})
        self.assertEqual({item.module_index for item in dump.annotations}, {1})

    def test_every_cut_is_noticed(self) -> None:
        whole = make_dump()
        for size in range(len(whole)):
            self.assertNotEqual(minidump.Minidump(whole[:size]).problems, [], f"{size} bytes")

    def test_absurd_numbers_neither_raise_nor_hang(self) -> None:
        whole = make_dump()
        for offset in range(0, len(whole) - 4):
            broken = whole[:offset] + b"\xff\xff\xff\xff" + whole[offset + 4 :]
            dump = minidump.Minidump(broken)
            self.assertLessEqual(len(dump.module_names), 2, f"at {offset}")
            self.assertIsInstance(json.dumps(dump.as_dict()), str)


class CommandLineTest(ServiceTest):
    def run_tool(self, *arguments: object) -> "subprocess.CompletedProcess[str]":
        command = [sys.executable, str(HERE / "crash_service.py"), *map(str, arguments)]
        return subprocess.run(command, capture_output=True, text=True, timeout=20)

    def start_tool(self, *arguments: object) -> Tuple["subprocess.Popen[str]", int]:
        ready = self.directory / "port"
        ready.unlink(missing_ok=True)
        command = [
            sys.executable, str(HERE / "crash_service.py"), "--dir", self.directory / "in",
            "--port", "0", "--certificates", CERTIFICATES, "--ready-file", ready, *arguments,
        ]
        process = subprocess.Popen(list(map(str, command)), stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        deadline = time.monotonic() + 10
        while not ready.exists() and time.monotonic() < deadline:
            time.sleep(0.02)
        return process, int(ready.read_text())

    def client(self, port: int) -> Client:
        client = Client(port)
        buffer = io.BytesIO()
        with zipfile.ZipFile(buffer, "w") as archive:
            archive.writestr("crash.dmp", make_dump())
        client.archive = buffer.getvalue()
        return client

    def test_a_run_that_ends_after_a_report_and_its_summary(self) -> None:
        process, port = self.start_tool("--max-reports", 1, "--fail", "first:status=503,times=1")
        client = self.client(port)
        with self.assertRaises(ValueError):
            client.first()
        client.upload(user="me")
        output, _ = process.communicate(timeout=10)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(output.count("\n000"), 4)
        readable = self.run_tool("--summary", self.directory / "in")
        for expected in ("exception 0xc0000005, 3 threads", "wrenfall.key: caf\u00e9", "user: me",
                         "answer: new", "crashId: 2", "-> 503", "2 report(s), 0 problem(s)"):
            self.assertIn(expected, readable.stdout)
        self.assertEqual(readable.returncode, 0)
        plain = json.loads(self.run_tool("--summary", self.directory / "in", "--json").stdout)
        self.assertEqual(plain["reports"][1]["ids"]["stackKeyId"], 1001)
        self.assertTrue(plain["good"])

    def test_ends_on_signals_with_the_problem_in_the_summary(self) -> None:
        for number in (signal.SIGTERM, signal.SIGINT):
            process, port = self.start_tool()
            client = self.client(port)
            client.change = {"first": {"agent": "Other/1"}}
            with self.assertRaises(KeyError):
                client.first()
            os.kill(process.pid, number)
            process.communicate(timeout=10)
            self.assertEqual(process.returncode, 0)
        done = self.run_tool("--summary", self.directory / "in")
        self.assertEqual(done.returncode, 1)
        self.assertIn("PROBLEM first user-agent", done.stdout)

    def test_exit_codes(self) -> None:
        common = ("--certificates", CERTIFICATES, "--dir", self.directory / "in")
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            port = taken.getsockname()[1]
            done = self.run_tool(*common, "--port", port)
            self.assertEqual(done.returncode, 2)
            self.assertEqual(done.stderr, f"crash_service: port {port} of 127.0.0.1 is in use\n")
        self.assertEqual(self.run_tool("--summary", self.directory / "none").returncode, 1)
        self.assertEqual(self.run_tool(*common, "--fail", "first:status=1").returncode, 2)
        done = self.run_tool(*common, "--port", 0, "--lifetime", 0.2)
        self.assertEqual((done.returncode, "lifetime is over" in done.stdout), (0, True))
        done = self.run_tool("--make-certificates", "--certificates", CERTIFICATES, "--json")
        self.assertEqual(Path(json.loads(done.stdout)["ca_der"]).read_bytes()[:1], b"\x30")


if __name__ == "__main__":
    unittest.main()
