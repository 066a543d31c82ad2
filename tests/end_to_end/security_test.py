"""Hostile contents of the store and of the service's answers; what the log gives away."""

import json
import os
import shutil
import unittest

from harness import BIN, RECORD, SERVICE_PORT, ServiceTest, run_program, unix_alone, wait_for, windows_path

SECRETS = {name: f"secret-of-{name}" for name in
           ("key", "user", "email", "notes", "user_description", "environment")}


class SecurityTest(ServiceTest):
    def logs(self):
        return "".join(path.read_text("utf-8") for path in self.store.rglob("Wrenfall.log"))

    def test_the_log_gives_no_secret_away(self):
        host = self.host(**SECRETS)
        host.do("set_attribute", "name", "secret-of-attribute")
        host.do("capture")
        folder = self.only_report()
        self.assertEqual("secret-of-attribute", self.record(folder)["attributes"]["name"])
        for call in ("first", "put", "commit"):
            self.service.fail(call, status=503, body=b"busy", times=1)
            kept = self.record(folder)
            kept["retryCount"] = 0
            (folder / RECORD).write_text(json.dumps(kept))
            words = ("secret-of-user-at-send", "secret-of-email", "secret-of-text")
            self.assertTrue(host.do("send", windows_path(folder), *words).startswith("11 503 "))
        logs = self.logs()
        self.assertTrue(host.do("send", windows_path(folder)).startswith("0 200 "))
        host.do("post", "feedback", "secret-of-title", "secret-of-feedback", "Z:\\missing attachment")
        host.do("post", "asan", "secret-of-asan")
        logs += self.logs()
        self.assertIn("(http 503)", logs)
        self.assertIn("missing attachment", logs)
        self.assertNotIn("secret", logs)
        # Who knows an upload URL may write there.
        for report in self.service.reports:
            self.assertNotIn(report.upload_target, logs)
        committed = [report.fields for report in self.service.reports if report.committed]
        self.assertIn("secret-of-user-at-send", str(committed))

    def test_archive_entries_have_plain_names(self):
        """Names that other systems allow; the service checks that entries are flat and distinct. A device is no file."""
        unix_alone("no file can have these names")
        host = self.host()
        for name in ("..\\evil.txt", "C:\\evil.txt", "a:stream", "line\nbreak", "CON", "nul.txt", "dots...", "blank ",
                     "*?<>|", '"', b"\xff\xfe".decode("utf-8", "surrogateescape"), ".hidden", "ü" * 100):
            with self.subTest(name=name):
                folder = self.make_report(f"report {len(self.service.requests)} {len(name)}")
                (folder / name).write_text("x")
                answer = host.do("send", windows_path(folder))
                if name == "CON":
                    self.assertEqual("7 0 0 0 -", answer)
                    continue
                self.assertTrue(answer.startswith("0 200 "), answer)
                names = [entry["name"] for entry in self.service.reports[-1].entries]
                self.assertIn("data.txt", names)
                self.assertFalse([entry for entry in names if set(entry) & set('/\\:*?"<>|\n')], names)
        self.assertEqual([], self.service.problems)

    def test_attachments_stay_in_their_folder(self):
        """A session file names paths that the host did not put there."""
        host = self.host()
        (self.folder / "good.txt").write_text("good")
        (self.folder / RECORD).write_text("{}")
        good = windows_path(self.folder / "good.txt")
        hostile = ["", ".", "..", "\\", "/", "Z:", "Z:\\", "\\\\?\\", "..\\..\\..\\good.txt", good + "\\..", good + "\\",
                   windows_path(self.folder), windows_path(self.folder / RECORD), good + ":stream", "a\nb", "x" * 40000,
                   "\\\\.\\pipe\\none", 7, None, [good], {"path": good}]
        (session,) = (self.store / "sessions").glob("*.json")
        text = json.loads(session.read_text())
        text["attachments"] = [*hostile, good]
        session.write_text(json.dumps(text))
        before = {path for path in self.folder.rglob("*") if self.store not in path.parents}
        host.do("capture")
        folder = self.only_report()
        record = self.record(folder)
        self.assertIn("good.txt", record["attachments"])
        self.assertEqual({RECORD, "minidump.dmp", *record["attachments"]}, set(os.listdir(folder)))
        self.assertEqual("capture", record["reportKind"])
        self.assertEqual(before, {path for path in self.folder.rglob("*") if self.store not in path.parents})
        self.assertTrue(host.do("send", windows_path(folder)).startswith("0 200 "))
        self.assertEqual([], self.service.problems)

    def test_hostile_records_make_no_second_request(self):
        """What a record holds goes into URLs and into the form; it must not become a request or a header of its own."""
        host = self.host()
        split = "1 HTTP/1.1\r\nX-Evil: 1\r\n\r\nGET /evil"
        for fields in ({"crashTypeId": split}, {"crashTime": split}, {"appName": split}, {"appVersion": split},
                       {"user": f'x"\r\n--{split}'}, {"attributes": {split: split}},
                       {"database": f"127.0.0.1:{SERVICE_PORT}/{split}?"},
                       {"database": "127\0"}, {"database": "user:password@127"}):
            with self.subTest(fields=fields):
                before = len(self.service.requests)
                folder = self.make_report(f"report {len(str(fields))} {before}", **fields)
                answer = host.do("send", windows_path(folder)).split()
                requests = self.service.requests[before:]
                self.assertLessEqual(len(requests), 3, answer)
                for request in requests:
                    self.assertEqual([], request.head.all("X-Evil"))
                    self.assertNotIn("evil", request.call)
                self.assertFalse(folder.exists())

    def test_system_libraries_come_from_the_system(self):
        """Those that the system loads on demand: who took the TLS library beside the program would reach no service."""
        programs = self.folder / "programs"
        programs.mkdir()
        for program in [*BIN.glob("*renfall*.exe"), *BIN.glob("*renfall*.dll"), BIN / "test_host.exe",
                        BIN / "crashpad_handler.exe"]:
            shutil.copy(program, programs)
        (programs / "schannel.dll").write_text("no library")
        host = self.host(folder=programs, upload_policy=1, user="Jürgen")
        host.crash("access-violation")
        self.assertTrue(self.service.wait_for_commits(1, 60), "the reporter: " + self.log())
        wait_for(lambda: not self.report_folders(), what="the reporter's end")
        (report,) = self.service.reports
        self.assertEqual(("Jürgen", ["minidump.dmp"]), (report.fields["user"], [entry["name"] for entry in report.entries]))
        status, out, err = run_program(programs / "wrenfallctl.exe", "send", windows_path(self.make_report()), cwd=programs)
        self.assertEqual(0, status, out + err)


if __name__ == "__main__":
    unittest.main(verbosity=2)
