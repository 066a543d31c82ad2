"""Host-made reports, compared with what reaches the service."""

import hashlib
import json
import unittest
import xml.etree.ElementTree as ElementTree
import zipfile

from harness import BIN, ServiceTest, run_program, wait_for, windows_path

EMPTY_HASH = hashlib.sha256(b"").hexdigest()
XML = """<report>
    <platform>win&amp;dows</platform>
    <os>Windows 11</os>
    <process>
        <exception>
            <code>0xC0000005</code>
            <explanation>&lt;bad&gt; &quot;thing&quot;</explanation>
            <func><![CDATA[f<int>]]></func>
            <file>a.cpp</file>
            <line>12</line>
            <registers>
                <rax>1</rax>
                <rbx>2</rbx>
            </registers>
        </exception>
        <modules numloaded="1">
            <module>
                <name>m.dll</name>
                <order>1</order>
                <address>0000000000001000-0000000000001010</address>
                <path>C:\\m.dll</path>
                <symbolsloaded>deferred</symbolsloaded>
                <fileversion>1.2</fileversion>
                <productversion></productversion>
                <checksum>00000000</checksum>
                <timedatestamp/>
            </module>
        </modules>
        <threads count="2">
            <thread id="other" current="no" event="no" framecount="0">
            </thread>
            <thread id="a&amp;b" current="yes" event="yes" framecount="2">
                <frame>
                    <symbol><![CDATA[f<int>]]></symbol>
                    <file>a.cpp</file>
                    <line>12</line>
                    <module>m.dll</module>
                    <address>00000000deadbeef</address>
                </frame>
                <frame>
                    <symbol><![CDATA[g]]></symbol>
                    <file></file>
                    <line>-3</line>
                </frame>
            </thread>
        </threads>
    </process>
</report>
"""


class OwnReportsTest(ServiceTest):
    @staticmethod
    def build(host, kind):
        host.do("report", kind)
        host.call("report_set_platform", "win&dows", "Windows 11")
        host.call("report_set_exception", "0xC0000005", '<bad> "thing"')
        host.call("report_add_register", "rax", "1")
        host.call("report_add_register", "rbx", "2")
        assert host.call("report_add_thread", "other", 0) == "0"
        assert host.call("report_add_thread", "a&b", 1) == "1"
        host.call("report_add_frame", 1, "f<int>", "a.cpp", 12, "m.dll", 0xDEADBEEF)
        host.call("report_add_frame", 1, "g", "", -3, "", 0)
        for index in (-1, 2):
            host.call("report_add_frame", index, "nowhere", "", 1, "", 0)
        host.call("report_add_module", "m.dll", "C:\\m.dll", 0x1000, 0x10, "1.2", "")

    def archive(self):
        report = self.service.reports[-1]
        self.assertEqual([], self.service.problems)
        with zipfile.ZipFile(report.archive_path) as opened:
            return report, {name: opened.read(name) for name in opened.namelist()}

    def test_structured_report_as_it_reaches_the_service(self):
        attachment = self.folder / "log ü.txt"
        attachment.write_text("first")
        other = self.folder / "other"
        other.mkdir()
        # To the file system the same name.
        (other / "LOG Ü.txt").write_text("second")
        host = self.host(upload_policy=1, user="Jürgen", environment="E")
        for kind, name in ((0, "wfCrashReport.xml"), (1, "wfCrashReport.json")):
            with self.subTest(name=name):
                self.build(host, kind)
                for path in (attachment, other / "LOG Ü.txt", self.folder / "missing", self.folder / "b\ufffdd"):
                    host.call("report_add_attachment", windows_path(path))
                words = host.do("post", "report", "40").split()
                self.assertEqual(["0", "0", "200"], words[:3])
                report, files = self.archive()
                self.assertEqual([str(report.number), words[4]], words[3:5])
                self.assertEqual({name, "log ü.txt"}, set(files))
                self.assertEqual(b"second", files["log ü.txt"])
                self.check_main_file(files[name], kind)
                self.assertEqual("21", report.query["first"]["crashTypeId"])
                signature = "f<int>|a.cpp|12\ng||-3"
                self.assertEqual(
                    ("Jürgen", "E", signature, hashlib.sha256(signature.encode()).hexdigest()),
                    tuple(report.fields[key] for key in ("user", "environment", "crashSignature", "crashHash")))
                self.assertIn("WARN Attachment not copied, no such file: ", self.log())
                self.assertRegex(self.log(), "WARN Attachment not copied, .* not UTF-8: .*b\ufffdd")
        self.assertEqual([], self.report_folders())

    def check_main_file(self, text, kind):
        if kind == 0:
            self.assertEqual(XML, text.decode())
            tree = ElementTree.fromstring(text)
            self.assertEqual("f<int>", tree.find("process/threads/thread/frame/symbol").text)
            return
        frames = [{"function": "f<int>", "file": "a.cpp", "line": 12, "module": "m.dll",
                   "address": "00000000deadbeef"},
                  {"function": "g", "file": "", "line": -3, "module": "", "address": ""}]
        expected = {
            "schemaVersion": 1, "platform": "win&dows", "os": "Windows 11",
            "exception": {"code": "0xC0000005", "explanation": '<bad> "thing"',
                          "registers": {"rax": "1", "rbx": "2"}},
            "modules": [{"name": "m.dll", "path": "C:\\m.dll", "base": "0000000000001000", "size": 16,
                         "fileVersion": "1.2", "productVersion": ""}],
            "threads": [{"name": "other", "crashing": False, "frames": []},
                        {"name": "a&b", "crashing": True, "frames": frames}],
        }
        self.assertEqual(expected, json.loads(text))
        self.assertEqual(json.dumps(expected, indent=2, sort_keys=True), text.decode())

    def test_manual_policy_stores(self):
        host = self.host(upload_policy=2, notes="N", theme_dir="C:\\t", open_support_url=0)
        pid = int(host.do("pid"))
        attachment = self.folder / "feedback.json"
        attachment.write_text("an attachment")
        self.build(host, 1)
        rows = [
            (("post", "report", "40"), "structured", "21", "wfCrashReport.json", "json", None),
            (("post", "feedback", "T", "D", windows_path(attachment)), "feedback", "36", "feedback.json",
             "none", EMPTY_HASH),
            (("post", "asan", "==1==ERROR ü <&>"), "structured", "25", "wfAsanReport.xml", "asan", EMPTY_HASH),
        ]
        for command, kind, crash_type, main_file, dump_format, signature_hash in rows:
            with self.subTest(command=command[1]):
                self.assertEqual("0 0 0 0 0 -", host.do(*command))
                folder = self.only_report()
                record = self.record(folder)
                expected = {"reportKind": kind, "crashTypeId": crash_type, "dumpFile": main_file,
                            "dumpFormat": dump_format, "ownerPid": 0, "processId": pid, "notes": "N",
                            "uploadPolicy": "manual", "captureBackend": "crashpad", "themeDir": "C:\\t",
                            "openSupportUrl": False, "platform": "windows", "arch": "x64",
                            "sdkVersion": "9.0.0-dev", "appVersion": "1.2/3", "retryCount": 0}
                self.assertEqual(expected, {key: record[key] for key in expected})
                self.assertRegex(record["crashTime"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
                if signature_hash:
                    self.assertEqual(("", signature_hash),
                                     (record["crashSignature"], record["crashSignatureHash"]))
                if kind == "feedback":
                    self.assertEqual("D", record["userDescription"])
                    self.assertEqual("an attachment", (folder / "feedback (2).json").read_text())
                self.assertFalse((folder / "result.json").exists())
                self.assertEqual(windows_path(folder), host.do("pending"))
                self.assertEqual((0, 200), host.send(folder))
        report, files = self.archive()
        self.assertEqual({"wfAsanReport.xml": "==1==ERROR ü <&>".encode()}, files)
        self.assertEqual((EMPTY_HASH, "25"), (report.fields["crashHash"], report.query["commit"]["crashTypeId"]))
        self.assertEqual("1", host.do("post", "asan").split()[0])

    def test_null_and_not_initialized(self):
        host = self.host(init=False)
        for kind in ("report", "feedback", "asan"):
            self.assertEqual("3", host.do("post", kind).split()[0], kind)
        host.do("init")
        for name, *arguments in (("set_platform", "a", "b"), ("add_register", "a", "b"), ("add_attachment", "a"),
                                 ("add_module", "a", "b", 0, 0, "", ""), ("add_frame", 0, "a", "b", 1, "c", 0)):
            host.call("report_" + name, *arguments)
        self.assertEqual("-1", host.call("report_add_thread", "t", 0))
        self.assertEqual("1", host.do("post", "report").split()[0])

    def test_a_failure_that_may_pass_keeps_the_report(self):
        host = self.host(upload_policy=1)
        for call, fault, answer, kept in (("first", {"status": 429}, "12 12 429 0 0 -", 0),
                                          ("commit", {"status": 503}, "11 11 503 0 0 -", 1)):
            self.service.clear_faults()
            self.service.fail(call, **fault)
            self.assertEqual(answer, host.do("post", "feedback"))
            self.assertEqual([1] * kept, [self.record(folder)["retryCount"] for folder in self.report_folders()])

    def test_captures_heartbeats_and_shutdown_do_not_wait_for_a_post(self):
        self.service.fail("put", never=True, times=1)
        host = self.host(upload_policy=1)
        self.assertEqual("0", host.do("post_in_background"))
        wait_for(lambda: self.service.requests[1:], what="the second call")
        self.assertEqual(["0", "0", "0"], [host.do(word) for word in ("heartbeat", "capture", "shutdown")])

    def test_post_of_a_host_that_is_killed_waits_for_the_next(self):
        """Its record is written before the first call; it is not pending for others while the host lives."""
        for call in ("first", "put", "commit"):
            with self.subTest(call=call):
                self.service.clear_faults()
                self.service.fail(call, never=True, times=1)
                before = len(self.service.reports)
                next_host, host = self.host(), self.host(upload_policy=1)
                self.assertEqual("0", host.do("post_in_background"))
                wait_for(lambda: any(request.call == call for report in self.service.reports[before:]
                                     for request in report.requests), what=f"the call {call}")
                folder = self.only_report()
                self.assertEqual("", next_host.do("pending"))
                host.process.kill()
                host.process.wait()
                wait_for(lambda: next_host.do("pending") == windows_path(folder), what="the report's being pending")
                self.assertEqual("0", next_host.do("post_pending"))
                wait_for(lambda: not folder.exists(), what="the end of sending")
                self.assertEqual("background", self.feedback_title(self.service.reports[-1]))
                self.assertTrue(self.service.reports[-1].committed)

    @staticmethod
    def feedback_title(report):
        with zipfile.ZipFile(report.archive_path) as opened:
            return json.loads(opened.read("feedback.json"))["title"]

    def test_examples(self):
        store = windows_path(self.store)
        attachment = self.folder / "a.txt"
        attachment.write_text("a")
        for arguments, entry in ((["structured_report.exe", "--store", store], "wfCrashReport.xml"),
                                 (["structured_report.exe", "--json", "--store", store], "wfCrashReport.json"),
                                 (["feedback.exe", "--store", store, "Title", "It broke.",
                                   windows_path(attachment)], "feedback.json")):
            with self.subTest(arguments=arguments):
                status, out, err = run_program(BIN / arguments[0], *arguments[1:])
                self.assertEqual(0, status, out + err)
                report, files = self.archive()
                self.assertIn(entry, files)
                if entry == "wfCrashReport.json":
                    threads = json.loads(files[entry])["threads"]
                    self.assertEqual([("main", True), ("worker", True)],
                                     [(thread["name"], bool(thread["frames"])) for thread in threads])
                if entry == "feedback.json":
                    self.assertEqual(("It broke.", b"a"), (report.fields["description"], files["a.txt"]))


if __name__ == "__main__":
    unittest.main(verbosity=2)
