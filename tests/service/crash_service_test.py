"""The local crash-collection service: what it checks, keeps, answers and shows. End-to-end tests use its faults."""

import base64
import contextlib
import functools
import html
import http.client
import json
import os
import re
import shutil
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path
from unittest import mock

from samples import FOLDER, HOSTILE, ON_DEMAND, Client, make_damaged_zip, make_dump, make_form, make_zip, structured

import archive
import certificates
import stack_tool
from browser import Browser
from crash_service import CrashService
from fact_types import MAX_FRAMES
from facts import read_facts
from http_message import HeadError, RequestHead
from minidump import Minidump
from protocol import FORM_FIELDS, Complaint, percent_encode
from report_index import FILE_NAME, Filter, ReportIndex, Row
from text_facts import read_sanitizer_report

# For all tests, as making them takes long. The end-to-end tests have those that openssl makes.
certificates.has_openssl = lambda: False
SHARED = tempfile.TemporaryDirectory()
CERTIFICATES = Path(SHARED.name)
tearDownModule = SHARED.cleanup

ARCHIVE = make_zip(a_txt="a text " * 50, dump_dmp="no dump " * 50)
# Call, what deviates, the check that must find it.
VIOLATIONS = (
    ("first", {"method": "PUT"}, "method"), ("first", {"agent": "Other/1"}, "user-agent"),
    ("first", {"target": ("&appVersion=1.0", "")}, "query"), ("first", {"target": ("%2F", "%2f")}, "query"),
    ("first", {"target": ("&appVersion=1.0&crashTypeId=1", "&crashTypeId=1&appVersion=1.0")}, "query-order"),
    ("first", {"target": ("crashPostSize=", "crashPostSize=0x")}, "size"), ("first", {"body": b"x"}, "body"),
    ("put", {"target": ("signature=", "signature=0")}, "path"), ("put", {"body": make_zip(a_txt="")}, "size"),
    ("put", {"body": ARCHIVE[:-30]}, "archive"), ("put", {"body": make_damaged_zip("minidump_dmp")}, "archive"),
    ("put", {"body": ARCHIVE.replace(struct.pack("<I", 350), struct.pack("<I", 351))}, "archive"),
    ("put", {"body": make_zip(**{"\u0444/a_txt": ""})}, "archive-names"),
    ("commit", {"target": ("signature=", "signature=0")}, "s3-key"), ("commit", {"target": ("md5=", "md5=0")}, "md5"),
    ("commit", {"type": "text/plain"}, "content-type"), ("commit", {"body": make_form()[:-2]}, "form"),
    ("commit", {"body": make_form(FORM_FIELDS[::-1])}, "form-fields"),
    ("commit", {"body": make_form(attributes='{"a":1}')}, "attributes"))

XML = """<report><os>Windows 11</os><process><exception><code>0xC0000094</code></exception>
<modules><module><name>m.dll</name><address>1000-3000</address></module></modules>
<threads><thread id="t" event="yes"><frame><symbol><![CDATA[f<int>]]></symbol><file>a.cpp</file><line>12</line></frame></thread>
</threads></process></report>"""
SANITIZER = """==1==ERROR: AddressSanitizer: heap-use-after-free on address 0x60
    #0 0x55d1 in Cache::evict(int) /src/cache.cpp:120:7
    #1 0x55d2 (C:\\windows\\kernel32.dll+0x1234)

freed by thread T0 here:
"""
HANG = {"code": ON_DEMAND, "wrenfall__reportKind": "hang", "wrenfall__hangThread": "main", "wrenfall__hangDurationMs": 6700}
CRUMBS = '[{"time":"2024-05-06T07:08:09.123Z","level":"WARN","threadId":5,"category":"net","message":"the last"}]'
# Crash type, files, fields; what the list's row says of kind, exception and place; what the page says as well.
KINDS = (
    ("1", {"minidump_dmp": make_dump(attr__x="y"), "breadcrumbs_json": CRUMBS, "Wrenfall_log": "the log", "feedback_json": "{}"},
     {"attributes": '{"gpu":"none"}', "description": "my words", "user": "Ada"},
     ("crash", "0xC0000005 Access violation", "paint.exe+0x8252"),
     ("when writing address 0x18", "36 main", "37 worker", "2.1.0.7", "10.0.22631", "gpu", "the last", "07:08:09.123", "the log",
      "my words", "attr.x")),
    ("1", {"minidump_dmp": make_dump(**HANG)}, {}, ("hang", "Silent for 6.7 s", "Thread main"), ("paint.exe",)),
    ("1", {"minidump_dmp": make_dump(wrenfall__reportKind="capture", code=ON_DEMAND)}, {}, ("capture", "", ""), ()),
    # A capture whose mark was cleared before it was written, and a crash while a hang was being reported.
    ("1", {"minidump_dmp": make_dump(ON_DEMAND)}, {}, ("capture", "", ""), ()),
    ("1", {"minidump_dmp": make_dump(**{**HANG, "code": 0xC0000094})}, {},
     ("crash", "0xC0000094 Integer division by zero", "paint.exe+0x8252"), ()),
    # An attachment with the name of another kind's main file.
    ("21", {"minidump_dmp": make_dump(), "wfCrashReport_json": structured()}, {},
     ("structured", "0xC0000005 Access violation", "FilterBrush::apply(Layer&, float)"),
     ("filter_brush.cpp:214", "wWinMain", "7ff6a2b41c9e", "Windows 11 23H2")),
    ("21", {"wfCrashReport_xml": XML}, {}, ("structured", "0xC0000094 Integer division by zero", "f<int>"), ("a.cpp:12", "8.0 KB")),
    ("25", {"wfAsanReport_xml": SANITIZER}, {}, ("sanitizer", "heap-use-after-free", "Cache::evict(int)"),
     ("/src/cache.cpp:120", "kernel32.dll+0x1234", "freed by thread")),
    ("36", {"feedback_json": '{"title":"A","description":"B"}'}, {}, ("feedback", "", ""), ("A\n\nB",)),
    ("1", {"minidump_dmp": "no dump"}, {}, ("crash", "", ""), ("the signature is not MDMP",)),
    ("21", {"wfCrashReport_xml": '<!DOCTYPE r [<!ENTITY a "aa">]><report>&a;</report>'}, {}, ("structured", "", ""), ("no usable XML",)),
    ("21", {"wfCrashReport_json": "[" * 100000}, {}, ("structured", "", ""), ("no JSON object",)))


class CrashServiceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.directory = Path(folder.name)

    @contextlib.contextmanager
    def serving(self, **options):
        """A service, and a client of it."""
        with CrashService(self.directory, certificates=CERTIFICATES, **options) as service:
            yield service, Client(service.port, CERTIFICATES / "ca.pem")

    def page(self, client, address, **headers):
        """A page's text without the style sheet. It holds nothing that could run or come from elsewhere."""
        status, answered, body = client.request("GET", address, **headers)
        text = re.sub("<style>.*?</style>", "", body.decode(), flags=re.DOTALL)
        self.assertRegex(answered["Content-Security-Policy"], "default-src 'none'; style-src 'sha256-[^']{44}'; img-src data:;")
        self.assertEqual([], re.findall(r"""<script|\son\w+=|style=|(?:src|href|action)=["'](?!/|#|data:image/svg)""", text))
        self.assertEqual(200, status, text)
        return text

    @contextlib.contextmanager
    def index(self):
        """The index, closed again at once: an open one would keep SQLite's files alive."""
        with contextlib.closing(ReportIndex(self.directory)) as index:
            yield index

    def finished_page(self, client, address):
        """The page as soon as no stack trace is being made for it, at the latest after a minute."""
        deadline = time.monotonic() + 60
        while "being made" in (text := self.page(client, address)) and time.monotonic() < deadline:
            time.sleep(0.05)
        return text

    def row(self, number):
        with self.index() as index:
            return index.row(number)

    def test_a_report_is_kept(self):
        """Running the tool and summing up is the demo's part."""
        with self.serving() as (service, client):
            statuses, answer = client.upload(ARCHIVE, description="caf\u00e9\r\n--x", notes="<b>&</b>")
            self.assertEqual(([200] * 3, []), (statuses, service.problems))
            infos = self.page(client, json.loads(answer)["infoUrl"].partition(str(service.port))[2])
        self.assertIn("&lt;b&gt;&amp;&lt;/b&gt;", infos)
        self.assertEqual(ARCHIVE, (self.directory / "report-0001" / "archive.zip").read_bytes())
        fields = json.loads((self.directory / "report-0001" / "fields.json").read_text("utf-8"))
        self.assertEqual(("caf\u00e9\r\n--x", list(FORM_FIELDS)), (fields["description"], list(fields)))

    def test_violations_are_recorded_and_refused(self):
        with self.serving() as (service, client):
            for call, change, check in VIOLATIONS:
                with self.subTest(call=call, change=change):
                    self.assertEqual([200] * ("first", "put", "commit").index(call) + [400],
                                     client.upload(ARCHIVE, call, change)[0])
                    self.assertIn((call, check), [(problem.call, problem.check) for problem in service.problems])
                    self.assertIn(check, {complaint.check for complaint in service.requests[-1].complaints})
                    self.page(client, f"/report/{len(service.reports)}")
            self.assertIn("problem", self.page(client, "/?kind=unfinished"))
        summary = subprocess.run([sys.executable, FOLDER / "crash_service.py", "--summary", self.directory],
                                 capture_output=True, text=True, timeout=120, env={**os.environ, "PYTHONIOENCODING": "ascii"})
        self.assertEqual((1, True), (summary.returncode, "PROBLEM first user-agent" in summary.stdout), summary.stderr)

    def test_every_kind_is_listed_and_shown(self):
        with self.serving() as (service, client):
            for crash_type, files, fields, listed, shown in KINDS:
                with self.subTest(listed=listed):
                    client.upload(make_zip(**files), crash_type=crash_type, **fields)
                    number = service.reports[-1].number
                    row = self.row(number)
                    self.assertEqual(listed, (row.kind, row.exception, row.place))
                    text = html.unescape(self.page(client, f"/report/{number}"))
                    self.assertEqual([], [one for one in (*shown, *filter(None, listed[1:])) if one not in text])
                    if listed[0] in ("hang", "capture"):  # nothing of the place in the library that asked for the dump
                        self.assertNotRegex(text, "paint.exe\\+0x|>Where<|0x0517A7ED")
            self.assertIn("my words", self.page(client, "/"))
            for query, count in (("q=ADA+radeon", 0), ("q=ADA+none", 1), ("q=%25", 0), ("kind=structured", 4), ("q=f%3Cint%3E", 1)):
                self.assertEqual(count, self.page(client, "/?" + query).count('href="/report/'), query)

    def test_what_anybody_may_send_is_only_text(self):
        """Markup in every field and file name, and halves of characters wherever JSON can name them. A report that cannot be listed
        costs no other."""
        odd = HOSTILE + "\ud800" + "x" * 50000
        words = {name: HOSTILE for name in FORM_FIELDS if name != "attributes"}
        words["attributes"] = json.dumps({odd: odd})
        crumbs = json.dumps([dict.fromkeys(("time", "level", "category", "message"), odd)])
        more = {HOSTILE.replace("/", "") + "_log": HOSTILE, "breadcrumbs_json": crumbs}
        texts = {"wrenfall__hangThread": HOSTILE, "wrenfall__hangDurationMs": HOSTILE, HOSTILE: HOSTILE}
        hostile = (("1", {"minidump_dmp": make_dump(modules=[HOSTILE], names=[HOSTILE], **texts)}),
                   ("1", {"minidump_dmp": make_dump(ON_DEMAND, modules=[HOSTILE], wrenfall__reportKind="hang", **texts)}),
                   ("21", {"wfCrashReport_json": structured(odd).replace("4096", "9" * 400)}), ("25", {"wfAsanReport_xml": SANITIZER + HOSTILE}),
                   ("36", {"feedback_json": json.dumps({"title": odd, "description": odd})}))
        with self.serving() as (service, client):
            for number, (kind, files) in enumerate(hostile, 1):
                if kind in ("21", "36"):
                    words["description"] = words["crashHash"] = ""  # The file's own words are shown, its frames make the group.
                statuses, _ = client.upload(make_zip(**files, **more), name=percent_encode(HOSTILE), crash_type=kind, **words)
                self.assertEqual([200] * 3, statuses)
                service.reports[-1].add_problems("put", [Complaint(HOSTILE, HOSTILE)])
                text = self.page(client, f"/report/{number}")
                self.assertIn("&lt;script&gt;alert(1)&lt;/script&gt;\\x1b\\u202e{0}", text)
                self.assertNotRegex(text, "[\x1b\u202e]")
            self.assertIn("&lt;script&gt;", self.page(client, "/?q=%22%3E%3Cscript%3E"))
            self.assertIn("&lt;script&gt;", text := self.page(client, "/"))
            self.assertLess(max(len(text), len(self.row(1).search)), 70000)
        (self.directory / FILE_NAME).unlink()
        (self.directory / "report-0002" / "query.json").write_text("[]")
        log = []
        with self.serving(log=log.append) as (_, client):
            self.assertEqual(["#5", "#4", "#3", "#1"], re.findall("#[0-9](?=</span>)", self.page(client, "/?q=alert")))
        self.assertIn("report-0002 cannot be listed", log[0])

    def test_downloads_are_never_shown(self):
        evil = "a\"b\r\nX: y\u202etxt.exe"
        with self.serving() as (_, client):
            client.upload(make_zip(**{evil + "_html": "<script>"}, big_bin=bytes(3 << 20)))
            for path, name, size in (("file/0", "%22b__X", 8), ("file/1", "big.bin", 3 << 20), ("archive.zip", "report-1.zip", None),
                                     ("call/0002-put.body", "put.body", None)):
                status, headers, body = client.request("GET", "/report/1/" + path)
                self.assertEqual((200, "application/octet-stream", "nosniff"),
                                 (status, headers["Content-Type"], headers["X-Content-Type-Options"]), path)
                self.assertRegex(headers["Content-Disposition"], r'^attachment; filename="[\w .-]+"; filename\*=UTF-8\'\'[\w%.-]+$')
                self.assertIn("sandbox", headers["Content-Security-Policy"])
                self.assertIn(name.replace("%22", "_"), headers["Content-Disposition"])
                self.assertEqual(size or len(body), len(body))
            for path in ("/report/2", "/report/1/file/9", "/report/1/call/0002-put.json", "/report/1/call/../../reports.sqlite"):
                self.assertEqual(404, client.request("GET", path)[0], path)
            self.assertEqual(421, client.request("GET", "/", Host="elsewhere.example")[0])
            with self.index() as index:
                for host, port, status in (("elsewhere.example", 443, 421), ("localhost", 443, 200), ("localhost", 444, 421)):
                    head = RequestHead(b"", "GET", "/", "1.1", [("Host", host)])
                    self.assertEqual(status, Browser(self.directory, index, None).answer(head, port).status, (host, port))

    def test_requests_without_a_report(self):
        """What a browser asks for is no problem, whether it is there or not. What is one outlasts a restart."""
        for count in (1, 2):
            with self.serving() as (service, client):
                connection = http.client.HTTPSConnection("127.0.0.1", service.port, context=client.context, timeout=10)
                self.addCleanup(connection.close)
                for method, address, status in (("HEAD", "/", 200), ("GET", "/.well-known/a", 404), ("HEAD", "/reports", 404),
                                                ("GET", "/upload/7/report.zip", 400)):
                    connection.request(method, address)
                    answer = connection.getresponse()
                    self.assertEqual((status, method == "GET"), (answer.status, answer.read() != b""), address)
                    self.assertGreater(int(answer.headers["Content-Length"]), 50)
                self.assertEqual([("put", "path")], [(problem.call, problem.check) for problem in service.problems])
            self.assertEqual(count, len(json.loads((self.directory / "other" / "problems.json").read_text())))

    def test_a_certificate_that_windows_made(self):
        """A key as .NET writes it, and a certificate that vouches for itself, become one file that serves."""
        made, key, pem = (self.directory / name for name in ("made.pem", "made.key", "certificate.pem"))
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=test", "-keyout", key, "-out", made,
                        "-addext", "subjectAltName=IP:127.0.0.1"], check=True, capture_output=True)
        traditional = subprocess.run(["openssl", "rsa", "-traditional", "-in", key], check=True, capture_output=True).stdout
        printed = subprocess.run(["openssl", "asn1parse"], input=traditional, check=True, capture_output=True).stdout.decode()
        numbers = [base64.b64encode(bytes.fromhex(one)).decode() for one in re.findall(r"INTEGER\s+:(\w+)", printed)[1:]]
        names = ("Modulus", "Exponent", "D", "P", "Q", "DP", "DQ", "InverseQ")
        xml = "".join(f"<{name}>{value}</{name}>" for name, value in zip(names, numbers, strict=True))
        certificate = "".join(made.read_text().split("\n")[1:-2])
        subprocess.run([sys.executable, FOLDER / "windows_key.py", pem], input=f"{certificate}\r\n<RSAKeyValue>{xml}</RSAKeyValue>\r\n",
                       text=True, check=True)
        with CrashService(self.directory / "service", certificate=pem) as service:
            self.assertEqual([200] * 3, Client(service.port, made).upload(ARCHIVE)[0])

    def test_damaged_dumps_are_read_as_far_as_they_go(self):
        dump = make_dump(**HANG)
        started = time.monotonic()
        for size in range(0, len(dump), 7):
            self.assertTrue(Minidump(dump[:size]).problems, size)
            Minidump(dump[:size] + b"\xff" * 8 + dump[size + 8:])
        self.assertLess(time.monotonic() - started, 20)
        self.assertEqual("other", read_facts(self.directory / "missing.zip").kind)
        packed = self.directory / "packed.zip"
        packed.write_bytes(make_zip(a_dmp=dump, b_dmp=dump + b"x", c_txt="text"))
        with mock.patch("archive.MAX_DUMP", len(dump)):
            self.assertEqual([("a.dmp", dump), ("b.dmp", None)], list(archive.read_dumps(packed)))

    def test_nothing_takes_long(self):
        """What could be gone over again and again."""
        packed = self.directory / "packed.zip"
        packed.write_bytes(make_zip(0, **dict.fromkeys(map(str, range(20000)), "")))
        started = time.process_time()
        self.assertEqual(([], 20000), (archive.check_archive(packed)[1], len(archive.list_entries(packed))))
        lines = ("#0 0x1 in f " + ":1" * 2030 + " x\n") * 120 + "#0 0x1 in f a.c:1\n" * 600
        self.assertEqual(MAX_FRAMES, len(read_sanitizer_report(lines.encode()).threads[0].frames))
        start = b"GET / HTTP/1.1\r\nA: x" + b" " * 90000
        self.assertEqual([("A", "x")], RequestHead.parse(start + b"\t\r\n\r\n").headers)
        self.assertRaises(HeadError, RequestHead.parse, start + b"\n\r\n\r\n")
        self.assertLess(time.process_time() - started, 6)

    def test_a_restart_loses_nothing(self):
        """Also the index is not needed: what it held is made again, with the keys that clients were told."""
        with self.serving() as (_, client):
            keys = [json.loads(client.upload(make_zip(minidump_dmp=make_dump(offset=offset, **live)), crashHash=text)[1])["stackKeyId"]
                    for offset, text, live in ((1, "", {}), (2, "", {}), (1, "", {}), (3, "x", {}), (4, "x", {}), (5, "", HANG),
                                               (6, "", HANG))]
            self.assertEqual([1001, 1002, 1001, 1003, 1003, 1004, 1004], keys)
            before = self.page(client, "/")
        with self.index() as index:
            kept = index.rows(Filter(), 10)
        for damage in (lambda path: None, lambda path: path.unlink(), lambda path: path.write_bytes(b"damaged" * 1000),
                       lambda path: path.write_bytes(path.read_bytes()[:4096] + b"damaged" * 5000)):
            damage(self.directory / FILE_NAME)
            with self.serving() as (_, client):
                with self.index() as index:
                    self.assertEqual(kept, index.rows(Filter(), 10))
                self.assertEqual(before, self.page(client, "/"))
        self.forgets_what_was_deleted()
        with contextlib.closing(sqlite3.connect(self.directory / FILE_NAME)) as other:
            other.execute("PRAGMA locking_mode = EXCLUSIVE")
            other.execute("BEGIN EXCLUSIVE")
            at_once = functools.partial(sqlite3.connect, timeout=0)
            with mock.patch("sqlite3.connect", at_once), self.assertRaisesRegex(sqlite3.OperationalError, "locked"):
                ReportIndex(self.directory)
        with self.index() as index:
            self.assertEqual(kept[-6:], index.rows(Filter(), 10)[-6:])

    def forgets_what_was_deleted(self):
        """Nothing of a report whose folder is gone comes back with the next one. A copy of a folder is no report."""
        shutil.copytree(self.directory / "report-0001", self.directory / "report-0099 copy")
        shutil.rmtree(self.directory / "report-0007")
        with self.index() as index:
            index.keep_stack(7, "{}", "", False)
        with self.serving() as (_, client):
            self.assertEqual([404, 404], [client.request("GET", f"/report/{number}")[0] for number in (7, 99)])
        with self.serving() as (service, client):  # The number is not given out again, however many starts later.
            client.upload(ARCHIVE)
            self.assertEqual(8, service.reports[-1].number)
            with self.index() as index:
                self.assertEqual(([8, 6, 5, 4, 3, 2, 1], None), ([row.number for row in index.rows(Filter(), 10)], index.stack(7)))

    def test_ten_thousand_reports_are_listed_quickly(self):
        now = time.time()
        with self.serving() as (_, client):
            with self.index() as index:
                started = time.process_time()
                index.put(Row(number, now - number * 300, 1001 + number % 400, "Paint", f"2.{number % 7}", ("crash", "hang")[number % 2],
                              "0xC0000005", f"function_{number % 400}", "words " * 20, "Ada", 0, f"paint\nfunction_{number % 400}\n" * 5)
                          for number in range(1, 10001))
                filling = time.process_time() - started  # Long on a slow machine, where the pages may take longer too.
            for query, groups in (("", 20), ("q=function_39", 11), ("page=20", 20), ("stack=1002", 1), ("kind=hang", 20)):
                work = []
                for _ in range(5):  # The best one counts, of the processor's time: the machine may be busy.
                    worked = time.process_time()
                    text = self.page(client, "/?" + query)
                    work.append(time.process_time() - worked)
                print(f"10,000 reports, /?{query}: {min(work) * 1000:.0f} ms of work, {len(text)} characters")
                self.assertEqual(groups, text.count("<article"), query)
                self.assertLess(len(text), 200000)
                self.assertLess(min(work), max(0.2, 2 * filling))

    @unittest.skipIf(os.name == "nt", "what takes Wine's place is a script for Unix")
    def test_stack_traces_are_made_once(self):
        """With a program instead of Wine that answers for wrenfallctl, or takes too long."""
        frames = [{"function": HOSTILE + "\ud800" + "x" * 1000, "file": "a.cpp", "line": 7, "module": "a.exe", "offset": "0x10"},
                  {"function": "", "module": "b.dll", "offset": "0x20", "address": "00", "file": "", "line": 0}]
        document = json.dumps({"threads": [{"id": 5, "name": "t", "crashed": True, "frames": frames}], "warnings": ["a warning"]})
        runs, loader = self.directory / "runs", self.directory / "loader"
        loader.write_text(f"#!{sys.executable}\nimport sys, time\nopen({str(runs)!r}, 'a').write(' '.join(sys.argv[2:]) + '\\n')\n"
                          f"assert open(sys.argv[-1][2:].replace(chr(92), '/'), 'rb').read(4) == b'MDMP'\n"
                          f"time.sleep(SECONDS)\nprint('{{\"\": \"' + 'x' * (17 << 20) + '\", ' + {document[1:]!r})\n")
        script = loader.read_text()
        loader.chmod(0o755)
        place = f"{HOSTILE}?{'x' * 1000}"[:400]
        for number, (seconds, limit, listed, shown) in enumerate((
                (60, 15, "paint.exe+0x8252", "did not end within 15 s"), (0, 30, place, "a warning"), (60, 30, place, "a warning")), 1):
            loader.write_text(script.replace("SECONDS", str(seconds)))
            with mock.patch.object(stack_tool, "_find_wine", return_value=str(loader)):
                tool = stack_tool.StackTool(FOLDER / "crash_service.py", self.directory, "Z:\\symbols", limit)
            with self.serving(stacks=tool, strict=False) as (_, client):
                if number == 1:
                    client.upload(make_damaged_zip("minidump_dmp"))
                    client.upload(make_zip(minidump_dmp=make_dump()))
                with mock.patch("tempfile.tempdir", str(self.directory / "missing") if number == 3 else None):
                    self.assertIn("could not be made", self.finished_page(client, "/report/1"))
                self.assertEqual(500, client.request("GET", "/report/1/file/0")[0])
                text = self.finished_page(client, "/report/2")
                self.assertIn(shown, text)
                self.assertEqual(listed, self.row(2).place)
                self.assertEqual(number > 1, "b.dll+0x20" in text and "a.cpp:7" in text)
        self.assertEqual(["stack --json --all --symbols Z:\\symbols Z:"] * 2,
                         [line.split("\\tmp")[0].split("Z:\\" + os.sep)[0] for line in runs.read_text().splitlines()])


if __name__ == "__main__":
    unittest.main(verbosity=2)
