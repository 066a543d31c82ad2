"""The local crash-collection service: what it checks, keeps and answers. End-to-end tests use its faults."""

import hashlib
import http.client
import io
import json
import re
import ssl
import subprocess
import sys
import tempfile
import unittest
import urllib.request
import zipfile
from pathlib import Path

FOLDER = Path(__file__).resolve().parents[2] / "tools" / "crash_service"
TOOL = [sys.executable, FOLDER / "crash_service.py"]
sys.path.insert(0, str(FOLDER))

from crash_service import CrashService
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


ARCHIVE = make_zip("a.txt", "dump.dmp")
# Of the library: call, method, target, type.
CALLS = (
    ("first", "POST", "/api/getCrashUploadUrl?appName=My%20App%2F2&appVersion=1.0&crashTypeId=1"
     f"&crashPostSize={len(ARCHIVE)}", None),
    ("put", "PUT", "{path}", "application/zip"),
    ("commit", "POST", "/api/commitS3CrashUpload?appName=My%20App%2F2&appVersion=1.0&s3Key={url}"
     f"&md5={hashlib.md5(ARCHIVE).hexdigest()}&crashTypeId=1&crashTime=2024-05-06T07:08:09Z",
     f"multipart/form-data; boundary={BOUNDARY}"))


def upload(port, deviating=None, change=None, **fields):
    """The statuses of the three calls, up to the first that is refused, and the last answer. One call may deviate by
    its method, agent, type, body, or target (what is replaced, and by what)."""
    context = ssl.create_default_context(cafile=str(CERTIFICATES / "ca.pem"))
    bodies = {"first": b"", "put": ARCHIVE, "commit": make_form(**fields)}
    statuses, url = [], ""
    for call, method, target, kind in CALLS:
        changed = change if call == deviating else {}
        target = target.format(url=url, path=url.partition(str(port))[2]).replace(*changed.get("target", ("", "")))
        headers = {"User-Agent": changed.get("agent", "Wrenfall/9.0.0-dev"), "Content-Type": changed.get("type", kind)}
        connection = http.client.HTTPSConnection("127.0.0.1", port, context=context, timeout=5)
        connection.request(changed.get("method", method), target, changed.get("body", bodies[call]),
                           {name: value for name, value in headers.items() if value is not None})
        response = connection.getresponse()
        answer = response.read()
        connection.close()
        statuses.append(response.status)
        if response.status != 200:
            break
        url = json.loads(answer)["url"] if call == "first" else url
    return statuses, answer


# Call, what deviates, the check that must find it.
VIOLATIONS = (
    ("first", {"method": "PUT"}, "method"), ("first", {"agent": "Other/1"}, "user-agent"),
    ("first", {"target": ("&appVersion=1.0", "")}, "query"), ("first", {"target": ("%2F", "%2f")}, "query"),
    ("first", {"target": ("&appVersion=1.0&crashTypeId=1", "&crashTypeId=1&appVersion=1.0")}, "query-order"),
    ("first", {"target": ("crashPostSize=", "crashPostSize=0x")}, "size"), ("first", {"body": b"x"}, "body"),
    ("put", {"target": ("signature=", "signature=0")}, "path"), ("put", {"body": make_zip("a.txt")}, "size"),
    ("put", {"body": ARCHIVE[:-30]}, "archive"), ("put", {"body": make_zip("folder/a.txt")}, "archive-names"),
    ("commit", {"target": ("signature=", "signature=0")}, "s3-key"), ("commit", {"target": ("md5=", "md5=0")}, "md5"),
    ("commit", {"type": "text/plain"}, "content-type"), ("commit", {"body": make_form()[:-2]}, "form"),
    ("commit", {"body": make_form(FORM_FIELDS[::-1])}, "form-fields"),
    ("commit", {"body": make_form(attributes='{"a":1}')}, "attributes"))


class CrashServiceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.directory = Path(folder.name)

    def run_tool(self, *arguments):
        done = subprocess.run([*TOOL, *arguments], capture_output=True, text=True, timeout=20)
        return done.returncode, done.stdout

    def test_reports_are_kept_answered_and_summed_up(self):
        options = ["--dir", self.directory, "--certificates", CERTIFICATES, "--max-reports", "2",
                   "--lifetime", "30", "--fail"]
        self.assertEqual(2, self.run_tool(*options, "first:status=1")[0])
        with subprocess.Popen([*TOOL, *options, "first:status=503,times=1"], stdout=subprocess.PIPE,
                              text=True) as process:
            self.addCleanup(process.kill)
            port = int(re.search(r"https://127.0.0.1:(\d+),", process.stdout.readline()).group(1))
            self.assertEqual([503], upload(port)[0])
            statuses, answer = upload(port, crashHash="abc", description="caf\u00e9\r\n--x", notes="<b>&</b>")
            answer = json.loads(answer)
            self.assertEqual([200] * 3, statuses)
            self.assertEqual({"status": "success", "crashId": 2, "stackKeyId": 1001, "messageId": 5002,
                              "infoUrl": f"https://127.0.0.1:{port}/report/2"}, answer)
            context = ssl.create_default_context(cafile=str(CERTIFICATES / "ca.pem"))
            with urllib.request.urlopen(answer["infoUrl"], context=context) as page:
                text = page.read().decode()
            upload(port, user="me")
            process.communicate(timeout=20)
        self.assertIn("&lt;b&gt;&amp;&lt;/b&gt;", text)
        self.assertNotIn("<b>", text)
        self.assertEqual(0, process.returncode)
        folder = self.directory / "report-0002"
        self.assertEqual(ARCHIVE, (folder / "archive.zip").read_bytes())
        fields = json.loads((folder / "fields.json").read_text("utf-8"))
        self.assertEqual(("caf\u00e9\r\n--x", list(FORM_FIELDS)), (fields["description"], list(fields)))
        code, summary = self.run_tool("--summary", self.directory)
        self.assertEqual(0, code)
        for expected in ("user: me", "-> 503", "3 report(s), 0 problem(s)"):
            self.assertIn(expected, summary)

    def test_violations_are_recorded_and_refused(self):
        with CrashService(self.directory, certificates=CERTIFICATES) as service:
            for call, change, check in VIOLATIONS:
                with self.subTest(call=call, change=change):
                    position = [name for name, *_ in CALLS].index(call)
                    self.assertEqual([200] * position + [400], upload(service.port, call, change)[0])
                    self.assertIn((call, check), [(problem.call, problem.check) for problem in service.problems])
                    self.assertIn(check, {complaint.check for complaint in service.requests[-1].complaints})
        code, summary = self.run_tool("--summary", self.directory)
        self.assertEqual((1, True), (code, "PROBLEM first user-agent" in summary))


if __name__ == "__main__":
    unittest.main(verbosity=2)
