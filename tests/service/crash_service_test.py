"""The local crash-collection service: what it checks, keeps and answers. How its faults look to a client is what the
end-to-end tests of failing calls show."""

import contextlib
import hashlib
import http.client
import io
import json
import os
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import unittest
import urllib.request
import zipfile
from pathlib import Path

TOOL = Path(__file__).resolve().parents[2] / "tools" / "crash_service"
sys.path.insert(0, str(TOOL))

from crash_service import CrashService
from faults import FaultError, parse_fault
from protocol import FORM_FIELDS

BOUNDARY = "----WrenfallFormBoundary0123456789abcDEF"
# For all tests, as making them takes long.
SHARED = tempfile.TemporaryDirectory()
CERTIFICATES = Path(SHARED.name)
tearDownModule = SHARED.cleanup


def make_zip(*names):
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w", zipfile.ZIP_DEFLATED) as archive:
        for name in names:
            archive.writestr(name, f"content of {name} " * 20)
    return buffer.getvalue()


def make_form(names=FORM_FIELDS, **values):
    parts = [f'--{BOUNDARY}\r\nContent-Disposition: form-data; name="{name}"\r\n\r\n{values.get(name, "")}\r\n'
             for name in names]
    return ("".join(parts) + f"--{BOUNDARY}--\r\n").encode()


class Client:
    """Makes the three calls as the library does. `change` maps a call to what deviates: method, target (a function of
    the right target), agent, type, body, length."""

    def __init__(self, port, change=None):
        self.port = port
        self.context = ssl.create_default_context(cafile=str(CERTIFICATES / "ca.pem"))
        self.change = change or {}
        self.archive = make_zip("a.txt", "dump.dmp")
        self.statuses = []

    def call(self, call, method, target, body, kind):
        change = self.change.get(call, {})
        body = change.get("body", body)
        headers = {"User-Agent": change.get("agent", "Wrenfall/9.0.0-dev"), "Content-Type": change.get("type", kind)}
        if change.get("length", True):
            headers["Content-Length"] = str(len(body))
        connection = http.client.HTTPSConnection("127.0.0.1", self.port, context=self.context, timeout=5)
        with contextlib.closing(connection):
            connection.putrequest(change.get("method", method), change.get("target", str)(target))
            for name, value in headers.items():
                if value or name == "User-Agent":
                    connection.putheader(name, value)
            connection.endheaders(body)
            response = connection.getresponse()
            self.statuses.append(response.status)
            return response.read()

    def first(self):
        target = ("/api/getCrashUploadUrl?appName=My%20App%2F2&appVersion=1.0&crashTypeId=1"
                  f"&crashPostSize={len(self.archive)}")
        return json.loads(self.call("first", "POST", target, b"", ""))["url"]

    def put(self, url):
        self.call("put", "PUT", url.split(str(self.port), 1)[1], self.archive, "application/zip")

    def commit(self, url, **values):
        target = (f"/api/commitS3CrashUpload?appName=My%20App%2F2&appVersion=1.0&s3Key={url}"
                  f"&md5={hashlib.md5(self.archive).hexdigest()}&crashTypeId=1&crashTime=2024-05-06T07:08:09Z")
        return self.call("commit", "POST", target, make_form(**values), f"multipart/form-data; boundary={BOUNDARY}")

    def upload(self, **values):
        url = self.first()
        self.put(url)
        return json.loads(self.commit(url, **values))


def replaced(old, new):
    return lambda target: target.replace(old, new)


# Call, what deviates, the check that must find it.
VIOLATIONS = [
    *[("first", change, check) for change, check in (
        ({"method": "PUT"}, "method"), ({"agent": "Other/1"}, "user-agent"), ({"length": False}, "content-length"),
        ({"target": replaced("&appVersion=1.0", "")}, "query"), ({"target": replaced("%2F", "%2f")}, "query"),
        ({"target": replaced("%20", "%2x")}, "query"), ({"target": replaced("%20", "%FF")}, "query"),
        ({"target": replaced("appVersion=1.0", "appVersion=")}, "query"),
        ({"target": replaced("crashTypeId=1", "crashTypeId=1&more=2")}, "query"),
        ({"target": replaced("crashTypeId=1", "crashTypeId=1&crashTypeId=1")}, "query"),
        ({"target": replaced("&appVersion=1.0&crashTypeId=1", "&crashTypeId=1&appVersion=1.0")}, "query-order"),
        ({"target": replaced("crashPostSize=", "crashPostSize=0x")}, "size"), ({"body": b"x"}, "body"))],
    *[("put", change, check) for change, check in (
        ({"method": "POST"}, "method"), ({"agent": ""}, "user-agent"), ({"type": "text/plain"}, "content-type"),
        ({"target": replaced("signature=", "signature=0")}, "path"), ({"body": make_zip("a.txt")}, "size"),
        ({"body": b"no archive"}, "archive"), ({"body": make_zip("a.txt")[:-30]}, "archive"),
        ({"body": make_zip("folder/a.txt")}, "archive-names"), ({"body": make_zip("folder\\a.txt")}, "archive-names"))],
    *[("commit", change, check) for change, check in (
        ({"method": "PUT"}, "method"), ({"target": replaced("md5=", "no=")}, "query"),
        ({"target": replaced("s3Key=", "no=")}, "s3-key"),
        ({"target": replaced("signature=", "signature=0")}, "s3-key"),
        ({"target": replaced("https://", "https%3A%2F%2F")}, "s3-key"), ({"target": replaced("md5=", "md5=0")}, "md5"),
        ({"target": replaced("crashTypeId=1", "crashTypeId=2")}, "query"),
        ({"target": replaced("2024-05-06T07:08:09Z", "")}, "query"),
        ({"target": replaced("/api/commit", "/api/commute")}, "path"), ({"type": "text/plain"}, "content-type"),
        ({"type": "multipart/form-data; boundary=----WrenfallFormBoundary1"}, "content-type"),
        ({"body": make_form()[:-2]}, "form"),
        ({"body": b"x" + make_form()}, "form"), ({"body": make_form() + b"x"}, "form"),
        ({"body": make_form(user="\0").replace(b"\0", b"\xff")}, "form"),
        ({"body": make_form(FORM_FIELDS[:-1])}, "form-fields"), ({"body": make_form(FORM_FIELDS[::-1])}, "form-fields"),
        ({"body": make_form(attributes="{")}, "attributes"),
        ({"body": make_form(attributes='{"a":1}')}, "attributes"))],
]


class CrashServiceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.directory = Path(folder.name)

    def service(self, **options):
        return CrashService(self.directory, certificates=CERTIFICATES, **options)

    def test_a_report_is_kept_and_answered(self):
        with self.service() as service:
            client = Client(service.port)
            answer = client.upload(crashHash="abc", description="caf\u00e9\r\n--x", notes="<b>&</b>", attributes="{}")
            self.assertEqual({"status": "success", "crashId": 1, "stackKeyId": 1001, "messageId": 5001,
                              "infoUrl": f"https://127.0.0.1:{service.port}/report/1"}, answer)
            self.assertEqual([], service.problems)
            self.assertTrue(service.wait_for_commits(1, 2))
            with urllib.request.urlopen(answer["infoUrl"], context=client.context) as page:
                text = page.read().decode()
        self.assertIn("&lt;b&gt;&amp;&lt;/b&gt;", text)
        self.assertNotIn("<b>", text)
        folder = self.directory / "report-0001"
        read = {path.stem: json.loads(path.read_text("utf-8")) for path in folder.glob("*.json")}
        self.assertEqual(client.archive, (folder / "archive.zip").read_bytes())
        self.assertEqual(("caf\u00e9\r\n--x", list(FORM_FIELDS)), (read["fields"]["description"], list(read["fields"])))
        self.assertEqual("My App/2", read["query"]["first"]["appName"])
        self.assertEqual([("a.txt", 340), ("dump.dmp", 400)], [(e["name"], e["size"]) for e in read["entries"]])
        # Ids follow the signature's hash, across a restart too.
        with self.service() as service:
            again = [Client(service.port).upload(crashHash=value) for value in ("b", "abc")]
        self.assertEqual([(2, 1002), (3, 1001)], [(one["crashId"], one["stackKeyId"]) for one in again])

    def test_violations_are_recorded_and_refused(self):
        with self.service() as service:
            for call, change, check in VIOLATIONS:
                with self.subTest(call=call, change=change):
                    client = Client(service.port, {call: change})
                    with contextlib.suppress(KeyError):
                        url = client.first()
                        client.put(url)
                        if call == "commit":
                            client.commit(url)
                    refused = 404 if (call, check) == ("commit", "path") else 400
                    self.assertEqual(refused, client.statuses[-1])
                    self.assertEqual({200}, {200, *client.statuses[:-1]})
                    self.assertIn(check, {complaint.check for complaint in service.requests[-1].complaints})
                    self.assertTrue(service.problems)

    def test_calls_out_of_turn_are_problems(self):
        with self.service() as service:
            client = Client(service.port)
            url = client.first()
            for call in (client.commit, client.put, client.put, client.commit, client.commit):
                call(url)
            self.assertEqual([200, 400, 200, 400, 200, 400], client.statuses)
            self.assertEqual([("commit", "s3-key"), ("put", "repeated"), ("commit", "repeated")],
                             [(p.call, p.check) for p in service.problems])
            # A PUT that failed stores nothing.
            service.fail("put", status=500, times=1)
            url = client.first()
            client.put(url)
            client.commit(url)
            self.assertEqual([200, 500, 400], client.statuses[-3:])
        with self.service(strict=False) as service:
            self.assertEqual("success", Client(service.port, {"put": {"agent": "Other/1"}}).upload()["status"])
            self.assertEqual([("put", "user-agent")], [(p.call, p.check) for p in service.problems])

    def test_broken_http_is_a_problem(self):
        head = b"POST /api/getCrashUploadUrl HTTP/1.1\r\n"
        context = ssl.create_default_context(cafile=str(CERTIFICATES / "ca.pem"))
        with self.service() as service:
            for text in (b"nonsense", head + b"no colon", head + b"Content-Length: 1\r\nContent-Length: 2",
                         head + b"Transfer-Encoding: chunked"):
                with self.subTest(text), socket.create_connection(("127.0.0.1", service.port), 5) as plain:
                    with context.wrap_socket(plain, server_hostname="127.0.0.1") as connection:
                        connection.sendall(text + b"\r\n\r\n")
                        self.assertIn(b" 400 ", connection.recv(4096))
                    self.assertEqual("head", service.problems[-1].check)

    def test_fault_texts(self):
        call, fault = parse_fault('commit:times=2,delay=0.5,status=201,body={"a":1,"b":"c,d"}')
        self.assertEqual(("commit", 2, 0.5, 201), (call, fault.times, fault.delay, fault.status))
        self.assertEqual(b'{"a":1,"b":"c,d"}', fault.body)
        self.assertEqual("huge=2097152,chunked", parse_fault("put:huge=2M,chunked")[1].describe())
        for text in ("first", "first:", "last:close", "put:speed=1", "put:status=99", "put:times=0", "put:reset=never",
                     "put:stall=never", "put:close,never", "put:close=1", "put:delay=nan", "put:body=@/no/such/file"):
            with self.subTest(text), self.assertRaises(FaultError):
                parse_fault(text)

    def run_tool(self, *arguments):
        return subprocess.run([sys.executable, TOOL / "crash_service.py", *map(str, arguments)], capture_output=True,
                              text=True, timeout=20)

    def start_tool(self, *arguments):
        """The process, and a client of it. Its port is that of a build tree."""
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        (self.directory / "service-port").write_text(f"{port}\n")
        command = [sys.executable, TOOL / "crash_service.py", "--dir", self.directory / "in", "--build", self.directory,
                   "--certificates", CERTIFICATES, *arguments]
        process = subprocess.Popen(list(map(str, command)), stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        self.assertIn(f"https://127.0.0.1:{port},", process.stdout.readline())
        return process, Client(port)

    def test_command_line(self):
        process, client = self.start_tool("--max-reports", 1, "--fail", "first:status=503,times=1")
        with self.assertRaises(ValueError):
            client.first()
        client.upload(user="me")
        process.communicate(timeout=10)
        self.assertEqual(0, process.returncode)
        summary = self.run_tool("--summary", self.directory / "in")
        for expected in ("user: me", "crashId: 2", "-> 503", "2 report(s), 0 problem(s)"):
            self.assertIn(expected, summary.stdout)
        self.assertEqual(0, summary.returncode)
        process, client = self.start_tool()
        client.change = {"first": {"agent": "Other/1"}}
        with self.assertRaises(KeyError):
            client.first()
        os.kill(process.pid, signal.SIGTERM)
        process.communicate(timeout=10)
        self.assertEqual(0, process.returncode)
        summary = self.run_tool("--summary", self.directory / "in")
        self.assertEqual((1, True), (summary.returncode, "PROBLEM first user-agent" in summary.stdout))

    def test_exit_codes(self):
        common = ("--certificates", CERTIFICATES, "--dir", self.directory / "in")
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
            done = self.run_tool(*common, "--port", port)
            self.assertEqual((2, f"crash_service: port {port} of 127.0.0.1 is in use\n"),
                             (done.returncode, done.stderr))
        self.assertEqual(1, self.run_tool("--summary", self.directory / "none").returncode)
        self.assertEqual(2, self.run_tool(*common, "--fail", "first:status=1").returncode)
        self.assertEqual(0, self.run_tool(*common, "--lifetime", 0.2).returncode)


if __name__ == "__main__":
    unittest.main(verbosity=2)
