"""From the report folder in the store to the crash-collection service, over real HTTPS."""

import hashlib
import json
import os
import re
import time
import unittest
import zipfile

from harness import RECORD, SERVICE_PORT, ServiceTest, local_path, wait_for, windows_path


class SendTest(ServiceTest):
    def test_wire(self):
        """Every request byte for byte, but for what the system's HTTP library adds by itself."""
        folder = self.make_report(
            appName="My App/2 ü", crashTime="2026-01-02T03:04:05Z", key="K", email="a@b",
            userDescription="line 1\nline 2", notes="ñ", environment="E",
            attributes={"b": "2", "a": "ü"}, crashSignature="f|a|12", crashSignatureHash="00ff")
        (folder / "result.json").write_text("{}")
        # Does not get much smaller, and fills several buffers of whatever reads, packs and sends it.
        large = os.urandom(600_000) + bytes(600_000)
        (folder / "large.bin").write_bytes(large)
        # Left out are three names, exactly, and folders; the order is that of UTF-16.
        small = ["B", "WrenfallCrash.zip.bak", "a", "esult.json", "é", "😀", "～"]
        for name in small:
            (folder / name).write_text(name)
        (folder / "sub").mkdir()
        (folder / "sub" / "inside").touch()
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
            content = {name: opened.read(name) for name in opened.namelist()}
            self.assertEqual([*small[:3], "data.txt", small[3], "large.bin", *small[4:]], list(content))
            self.assertEqual(large, content.pop("large.bin"))
            self.assertEqual({**{name: name.encode() for name in small}, "data.txt": b"some data"}, content)
            # What does not get smaller is stored.
            self.assertEqual((0, 8), tuple(opened.getinfo(name).compress_type for name in ("B", "large.bin")))
        self.assertFalse(folder.exists())
        self.assertTrue(host.do("send", windows_path(self.make_report())).startswith("0 200 "))
        self.assertEqual({""}, set(self.service.reports[-1].fields.values()))

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

    def check_kept(self, folder, result, status, count):
        self.assertEqual(
            '{"cancelled":false,"crashId":0,"errorCode":%d,"httpStatus":%d,"infoUrl":"",'
            '"schemaVersion":2,"stackKeyId":0,"status":"failed"}' % (result, status),
            (folder / "result.json").read_text())
        self.assertEqual(count, self.record(folder)["retryCount"])
        log = (folder / "Wrenfall.log").read_text("utf-8")
        self.assertRegex(log, r"ERROR Upload failed: .* \(http %d\)\n.*INFO Incremented retry count to %d for "
                         % (status, count))

    def test_third_transient_failure_deletes(self):
        self.service.fail("commit", status=502)
        folder = self.make_report()
        host = self.host()
        for count, kept in ((1, True), (2, True), (3, False)):
            self.assertEqual("11 502 0 0 -", host.do("send", windows_path(folder)))
            self.assertEqual(kept, folder.exists())
            if kept:
                self.check_kept(folder, 11, 502, count)
        # A kept report has a result, so it is not pending any more.
        self.assertEqual("", host.do("pending"))
        # A record from elsewhere may hold any number.
        folder = self.make_report(retryCount=2**31 - 1)
        self.assertEqual("11 502 0 0 -", host.do("send", windows_path(folder)))
        self.assertFalse(folder.exists())
        # Where the number cannot be saved, the report is kept all the same.
        folder = self.make_report()
        (folder / (RECORD + ".tmp")).mkdir()
        self.assertEqual("11 502 0 0 -", host.do("send", windows_path(folder)))
        self.assertTrue(folder.exists())

    def test_broken_records(self):
        host = self.host()
        for number, text in enumerate(("", "{", "[]", "null", "\xff", "{}" * 10, "[" * 100000, '{"database":5}')):
            with self.subTest(text=text[:20]):
                folder = self.make_report(str(number))
                (folder / RECORD).write_text(text, "latin-1")
                self.assertEqual("1 0 0 0 -", host.do("send", windows_path(folder)))
                # The dump beside a damaged record may be good; a record that names no service is one.
                self.assertEqual(text != '{"database":5}', folder.exists())
        self.assertEqual([], self.service.requests)

    def test_pending_reports(self):
        host, other = self.host(), self.host()
        owner = int(other.do("pid"))  # Wine's ids are its own
        # Pending are reports without an owner, of this process, or of a process that has ended. Numbers beyond 32 bits
        # are no process.
        owners = (0, 2**64 - 1, 2**32 + owner, 4294967288, int(host.do("pid")))
        names = ["Ä 試", "ä 試", *(f"{number} é" for number in range(2, len(owners)))]
        for age, (name, pid) in enumerate(zip(reversed(names), owners)):
            folder = self.make_report(name, 100 * age, ownerPid=pid)
            (folder / "result.json.tmp").write_text("{}")  # of a result that is being written
        others = {"owned": json.dumps({"ownerPid": owner}), "cut off": "{", "no object": "[]", "empty": "", "done": "{}",
                  "odd result": "{}"}
        for name, text in others.items():
            (self.make_report(name) / RECORD).write_text(text)
        (self.store / "done" / "result.json").write_text("")
        (self.store / "odd result" / "result.json").mkdir()
        (self.store / "no record").mkdir()
        (self.store / "odd record" / RECORD).mkdir(parents=True)
        self.make_report("no record/too deep")
        self.assertEqual(names, [local_path(path).name for path in host.do("pending").split("\t")])
        self.assertEqual("0", host.do("post_pending"))
        wait_for(lambda: not (self.store / names[-1]).exists(), what="the last report's delivery")
        # What this process has itself is on its way already.
        self.assertEqual({*others, "odd record", names[0]}, {folder.name for folder in self.report_folders()})
        self.assertEqual(len(names) - 1, len(self.service.reports))

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

    def test_upload_survives_shutdown(self):
        self.service.fail("put", delay=4.0)
        self.make_report("first")
        folder = self.make_report("second", age=-100)
        host = self.host()
        host.do("post_pending")
        wait_for(lambda: self.service.requests, what="the first request")
        host.do("shutdown")
        self.assertTrue(self.service.wait_for_commits(1, 60))
        wait_for(lambda: not (self.store / "first").exists(), what="the end of the delivery")
        time.sleep(0.5)
        self.assertTrue(folder.exists())
        self.assertEqual(0, host.close())

    def test_quiet_policy_without_a_reporter_leaves_the_report_to_the_host(self):
        host = self.host(upload_policy=1, reporter_path=windows_path(__file__))
        host.do("capture")
        folder = self.only_report()
        wait_for(lambda: self.record(folder)["ownerPid"] == 0, what="the report to have no owner")
        self.assertEqual(windows_path(folder), host.do("pending"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
