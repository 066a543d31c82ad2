"""From the report folder in the store to the crash-collection service, over real HTTPS."""

import hashlib
import json
import os
import re
import threading
import time
import unittest
import zipfile
from pathlib import Path

from harness import BUILD, RECORD, SERVICE_PORT, RoadTest, processes, unix_path, wait_for, windows_path

from service import CrashService

FAULTS = [
    # call, what is wrong, result, HTTP status
    ("first", {"status": 429, "body": b"slow down"}, 12, 429),
    ("first", {"status": 400, "body": b"no"}, 12, 400),
    ("first", {"status": 413}, 12, 413),
    ("first", {"status": 404}, 11, 404),
    ("first", {"status": 503}, 11, 503),
    ("first", {"status": 200, "body": b""}, 11, 200),
    ("first", {"status": 200, "body": b"not JSON"}, 12, 200),
    ("first", {"status": 200, "body": b'{"status":"success"}'}, 12, 200),
    ("first", {"status": 200, "body": b'{"status":"success","url":"no scheme"}'}, 10, 0),
    ("first", {"reset": "before"}, 10, 0),
    ("put", {"status": 403, "body": b"denied"}, 11, 403),
    ("put", {"reset": "before"}, 10, 0),
    ("put", {"close": True}, 10, 0),
    ("commit", {"status": 500, "body": b"oops"}, 11, 500),
    ("commit", {"status": 200, "body": b"<html>"}, 11, 200),
    ("commit", {"status": 200, "body": b'{"status":"failure"}'}, 11, 200),
    ("commit", {"status": 200, "body": b'{"status":"success","crashId":"7"}'}, 11, 200),
    ("commit", {"status": 200, "body": b'{"status":"success","crashId":null}'}, 11, 200),
    ("commit", {"status": 200, "body": b"[" * 5000}, 11, 200),
    ("commit", {"reset": "before"}, 10, 0),
]
TRANSIENT = (500, 502, 503, 504)


class SendTest(RoadTest):
    def setUp(self):
        super().setUp()
        self.service = CrashService(self.folder / "service", port=SERVICE_PORT,
                                    certificates=BUILD / "certificates")
        self.service.start()
        self.addCleanup(self.service.stop)

    def test_wire(self):
        """Every request byte for byte, but for what the system's HTTP library adds by itself."""
        folder = self.make_report(
            appName="My App/2 ü", crashTime="2026-01-02T03:04:05Z", key="K", email="a@b",
            userDescription="line 1\nline 2", notes="ñ", environment="E",
            attributes={"b": "2", "a": "ü"}, crashSignature="f|a|12", crashSignatureHash="00ff")
        (folder / "result.json").write_text("{}")
        host = self.host()
        answer = host.do("send", windows_path(folder), "Jürgen").split()
        self.assertEqual(["0", "200"], answer[:2], self.log())
        (report,) = self.service.reports
        self.assertEqual([], self.service.problems)
        first, put, commit = report.requests
        archive = report.archive_path.read_bytes()
        app = "appName=My%20App%2F2%20%C3%BC&appVersion=1.2%2F3"
        self.assertEqual(("POST", f"/api/getCrashUploadUrl?{app}&crashTypeId=1&crashPostSize={len(archive)}"),
                         (first.head.method, first.head.target))
        self.assertEqual(b"", first.body)
        self.assertEqual(("PUT", report.upload_target), (put.head.method, put.head.target))
        md5 = hashlib.md5(archive).hexdigest()
        self.assertEqual(
            ("POST", f"/api/commitS3CrashUpload?{app}&s3Key={report.upload_url}&md5={md5}"
                     "&crashTypeId=1&crashTime=2026-01-02T03:04:05Z"),
            (commit.head.method, commit.head.target))
        for request in (first, put, commit):
            self.assertEqual(["Wrenfall/9.0.0-dev"], request.head.all("User-Agent"))
            self.assertEqual([f"127.0.0.1:{SERVICE_PORT}"], request.head.all("Host"))
        self.assertEqual([], first.head.all("Content-Type"))
        self.assertEqual(["application/zip"], put.head.all("Content-Type"))
        self.assertIn(str(len(archive)), put.head.all("Content-Length"))
        self.check_form(commit)
        with zipfile.ZipFile(report.archive_path) as opened:
            self.assertEqual(["data.txt"], opened.namelist())
            self.assertEqual(b"some data", opened.read("data.txt"))
        self.assertFalse(folder.exists())

    def check_form(self, commit):
        (content_type,) = commit.head.all("Content-Type")
        boundary = re.fullmatch(r"multipart/form-data; boundary=(----WrenfallFormBoundary[0-9A-Za-z]{16})",
                                content_type)[1]
        fields = [("appKey", "K"), ("user", "Jürgen"), ("email", "a@b"), ("description", "line 1\nline 2"),
                  ("notes", "ñ"), ("attributes", '{"a":"ü","b":"2"}'), ("environment", "E"),
                  ("crashSignature", "f|a|12"), ("crashHash", "00ff")]
        body = "".join(f'--{boundary}\r\nContent-Disposition: form-data; name="{name}"\r\n\r\n{value}\r\n'
                       for name, value in fields) + f"--{boundary}--\r\n"
        self.assertEqual(body.encode(), commit.body)

    def test_every_failure_is_told_and_recorded(self):
        host = self.host()
        for call, fault, result, status in FAULTS:
            with self.subTest(call=call, fault=fault):
                self.service.clear_faults()
                self.service.fail(call, **fault)
                folder = self.make_report()
                answer = host.do("send", windows_path(folder)).split()
                self.assertEqual([str(result), str(status), "0", "0", "-"], answer)
                self.assertEqual(status in TRANSIENT, folder.exists())
                if folder.exists():
                    self.check_kept(folder, result, status)
                    self.assertEqual("0", host.do("discard", windows_path(folder)))
                    self.assertFalse(folder.exists())

    def check_kept(self, folder, result, status):
        self.assertEqual(
            '{"cancelled":false,"crashId":0,"errorCode":%d,"httpStatus":%d,"infoUrl":"",'
            '"schemaVersion":2,"stackKeyId":0,"status":"failed"}' % (result, status),
            (folder / "result.json").read_text())
        self.assertEqual(1, self.record(folder)["retryCount"])
        log = (folder / "Wrenfall.log").read_text("utf-8")
        self.assertRegex(log, r"ERROR Upload failed: .* \(http %d\)\n.*INFO Incremented retry count to 1 for "
                         % status)

    def test_third_transient_failure_deletes(self):
        self.service.fail("commit", status=502)
        folder = self.make_report()
        host = self.host()
        for kept in (True, True, False):
            self.assertTrue(host.do("send", windows_path(folder)).startswith("11 502 "))
            self.assertEqual(kept, folder.exists())
        # A kept report has a result, so it is not pending any more.
        self.assertEqual("", host.do("pending"))

    def test_service_down(self):
        self.service.stop()
        folder = self.make_report()
        self.assertEqual("10 0 0 0 -", self.host().do("send", windows_path(folder)))
        self.assertFalse(folder.exists())

    def test_unknown_certificate_is_refused(self):
        self.service.stop()
        for variant in ("unknown-ca", "wrong-name", "expired"):
            with self.subTest(variant=variant):
                with CrashService(self.folder / variant, port=SERVICE_PORT,
                                  certificates=BUILD / "certificates", variant=variant) as service:
                    folder = self.make_report()
                    self.assertEqual("10 0 0 0 -", self.host().do("send", windows_path(folder)))
                    self.assertEqual([], service.reports)

    def test_broken_records(self):
        host = self.host()
        for text in ("", "{", "[]", "null", '{"database":5}', "\xff", "{}" * 10, "[" * 100000):
            with self.subTest(text=text[:20]):
                folder = self.make_report()
                (folder / RECORD).write_text(text, "latin-1")
                self.assertEqual("1 0 0 0 -", host.do("send", windows_path(folder)))
                self.assertFalse(folder.exists())
        self.assertEqual([], self.service.requests)

    def test_huge_answer(self):
        self.service.fail("commit", huge=8 << 20)
        folder = self.make_report()
        self.assertTrue(self.host().do("send", windows_path(folder)).startswith("0 200 "))

    def test_pending_reports(self):
        now = time.time()
        for age, (name, fields) in enumerate([
                ("newest", {}), ("older", {"ownerPid": 4294967288}), ("owned", {"ownerPid": os.getpid()}),
                ("oldest", {})]):
            folder = self.make_report(name, **fields)
            os.utime(folder / RECORD, (now - 100 * age, now - 100 * age))
        self.make_report("done")
        (self.store / "done" / "result.json").write_text("{}")
        self.make_report("broken")
        (self.store / "broken" / RECORD).write_text("{")
        (self.store / "no record").mkdir()
        host = self.host()
        # A process that runs, and is not this one, owns it: left alone. Wine's ids are its own.
        other = self.host()
        record = self.record(self.store / "owned")
        record["ownerPid"] = int(other.do("pid"))
        (self.store / "owned" / RECORD).write_text(json.dumps(record))
        names = [unix_path(path).name for path in host.do("pending").split("\t")]
        self.assertEqual(["oldest", "older", "newest"], names)
        self.assertEqual("0", host.do("post_pending"))
        wait_for(lambda: not (self.store / "newest").exists(), what="the last report's delivery")
        self.assertEqual({"owned", "done", "broken"}, {folder.name for folder in self.report_folders()})
        sizes = [report.fields.get("appKey") for report in self.service.reports]
        self.assertEqual(3, len(sizes))

    def test_two_workers_send_each_report_once(self):
        for number in range(6):
            self.make_report(f"r{number}")
        self.service.fail("put", delay=0.2)
        hosts = [self.host(), self.host()]
        for host in hosts * 2:
            host.do("post_pending")
        wait_for(lambda: not self.report_folders(), what="the delivery of all")
        self.assertEqual(6, len(self.service.reports))
        self.assertEqual([], self.service.problems)

    def test_sends_at_once_while_another_process_scans(self):
        host, scanner = self.host(), self.host()
        threads = []
        self.service.fail("first", delay=0.3)
        for number in range(3):
            self.make_report(f"r{number}")
        sender = threading.Thread(target=host.do, args=("send", windows_path(self.store / "r0")))
        sender.start()
        scanner.do("post_pending")
        while sender.is_alive():
            for path in filter(None, scanner.do("pending").split("\t")):
                self.assertIn(unix_path(path).name, ("r0", "r1", "r2"))
        sender.join()
        wait_for(lambda: not self.report_folders(), what="the delivery of all")
        self.assertEqual(3, len([report for report in self.service.reports if report.committed]))
        del threads

    def test_upload_survives_shutdown(self):
        self.service.fail("put", delay=1.0)
        self.make_report("first")
        folder = self.make_report("second")
        os.utime(folder / RECORD, (time.time() + 100, time.time() + 100))
        host = self.host()
        host.do("post_pending")
        wait_for(lambda: self.service.requests, what="the first request")
        host.do("shutdown")
        self.assertTrue(self.service.wait_for_commits(1, 20))
        wait_for(lambda: not (self.store / "first").exists(), what="the end of the delivery")
        time.sleep(0.5)
        self.assertTrue(folder.exists())
        self.assertEqual(0, host.close())

    def test_quiet_policy_sends_by_itself(self):
        host = self.host(upload_policy=1, user="Jürgen")
        host.crash("access-violation")
        self.assertTrue(self.service.wait_for_commits(1, 60), self.log())
        wait_for(lambda: not self.report_folders(), what="an empty store")
        (report,) = self.service.reports
        self.assertEqual([], self.service.problems)
        self.assertEqual("Jürgen", report.fields["user"])
        self.assertEqual({"minidump.dmp"}, {entry["name"] for entry in report.entries})
        wait_for(lambda: not processes("WrenfallReporter.exe", self.folder.name), what="the reporter's end")

    def test_quiet_policy_with_a_transient_failure_keeps_the_report(self):
        self.service.fail("commit", status=503)
        host = self.host(upload_policy=1)
        host.do("capture")
        folder = self.only_report()
        wait_for(lambda: (folder / "result.json").exists(), what="the result")
        wait_for(lambda: self.record(folder)["ownerPid"] == 0, what="the reporter to let go")
        self.assertEqual(1, self.record(folder)["retryCount"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
