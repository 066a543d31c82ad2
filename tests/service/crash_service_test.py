"""The local crash-collection service: what it checks, keeps and answers. End-to-end tests use its faults."""

import hashlib
import http.client
import io
import json
import ssl
import subprocess
import sys
import tempfile
import unittest
import urllib.request
import zipfile
from pathlib import Path

FOLDER = Path(__file__).resolve().parents[2] / "tools" / "crash_service"
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

    def test_a_report_is_kept_and_shown(self):
        """Running the tool and summing up is the demo's part."""
        with CrashService(self.directory, certificates=CERTIFICATES) as service:
            statuses, answer = upload(service.port, description="caf\u00e9\r\n--x", notes="<b>&</b>")
            self.assertEqual(([200] * 3, []), (statuses, service.problems))
            context = ssl.create_default_context(cafile=str(CERTIFICATES / "ca.pem"))
            with urllib.request.urlopen(json.loads(answer)["infoUrl"], context=context) as page:
                text = page.read().decode()
        self.assertIn("&lt;b&gt;&amp;&lt;/b&gt;", text)
        self.assertNotIn("<b>", text)
        self.assertEqual(ARCHIVE, (self.directory / "report-0001" / "archive.zip").read_bytes())
        fields = json.loads((self.directory / "report-0001" / "fields.json").read_text("utf-8"))
        self.assertEqual(("caf\u00e9\r\n--x", list(FORM_FIELDS)), (fields["description"], list(fields)))

    def test_violations_are_recorded_and_refused(self):
        with CrashService(self.directory, certificates=CERTIFICATES) as service:
            for call, change, check in VIOLATIONS:
                with self.subTest(call=call, change=change):
                    position = [name for name, *_ in CALLS].index(call)
                    self.assertEqual([200] * position + [400], upload(service.port, call, change)[0])
                    self.assertIn((call, check), [(problem.call, problem.check) for problem in service.problems])
                    self.assertIn(check, {complaint.check for complaint in service.requests[-1].complaints})
        summary = subprocess.run([sys.executable, FOLDER / "crash_service.py", "--summary", self.directory],
                                 capture_output=True, text=True, timeout=20)
        self.assertEqual((1, True), (summary.returncode, "PROBLEM first user-agent" in summary.stdout))


if __name__ == "__main__":
    unittest.main(verbosity=2)
