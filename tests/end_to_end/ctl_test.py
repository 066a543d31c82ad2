"""wrenfallctl on real stores: after a crash, against the local service, and in damaged stores."""

import json
import os
import subprocess
import time
import unittest

from harness import BIN, RECORD, ServiceTest, freeze_process, long_path, run_program, start_program, wait_for, windows_path


REPORT_KEYS = {"folder", "path", "state", "kind", "time", "application", "version", "uploadPolicy", "retryCount",
               "ownerPid", "size", "result"}


class CtlTest(ServiceTest):
    def setUp(self):
        super().setUp()
        self.store.mkdir()

    def start(self, *arguments):
        return start_program(BIN / "wrenfallctl.exe", *arguments, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                    stderr=subprocess.PIPE)

    def bare(self, *arguments):
        return run_program(BIN / "wrenfallctl.exe", *arguments)

    def ctl(self, command, *arguments):
        return self.bare(command, "--store", windows_path(self.store), *arguments)

    def ctl_json(self, command, *arguments, code=0):
        status, out, err = self.ctl(command, *arguments, "--json")
        self.assertEqual((code, ""), (status, err), out)
        return json.loads(out)

    def states(self):
        return {report["folder"]: report["state"] for report in self.ctl_json("list")["reports"]}

    def test_from_the_crash_to_the_service(self):
        # Beyond 259 characters, which the system takes in a special form only.
        self.store = long_path(self.folder) / ("d" * 150) / ("störe" * 30)
        self.store.mkdir(parents=True)
        attachment = self.folder / ("n" * 196 + ".txt")
        attachment.write_text("held by the host until its end")
        host = self.host(user="Jürgen", notes="two\x07words", attachment=windows_path(attachment))
        host.do("set_attribute", "colour", "grün")
        self.assertEqual("0", host.do("hold", windows_path(attachment)))
        host.crash("access-violation")
        folder = self.only_report()
        listing = self.ctl_json("list")
        self.assertEqual(windows_path(self.store), listing["store"])
        (report,) = listing["reports"]
        self.assertEqual(REPORT_KEYS, set(report))
        record = self.record(folder)
        expected = {"folder": folder.name, "path": windows_path(folder), "state": "pending", "kind": "crash",
                    "time": record["crashTime"], "application": "Test Host", "version": "1.2/3",
                    "uploadPolicy": "manual", "retryCount": 0, "ownerPid": 0, "result": None,
                    "size": sum(path.stat().st_size for path in folder.iterdir())}
        self.assertEqual(expected, report)

        details = self.ctl_json("show", folder.name)
        self.assertEqual(report, details["report"])
        self.assertEqual(record, details["record"])
        self.assertEqual({path.name: path.stat().st_size for path in folder.iterdir()},
                         {file["name"]: file["size"] for file in details["files"]})
        dump = details["dump"]
        self.assertTrue(dump["readable"])
        self.assertEqual("0xC0000005", dump["exceptionCode"])
        self.assertEqual("Test Host", dump["startupAnnotations"]["prod"])
        self.assertEqual("Jürgen", dump["liveAnnotations"]["user"])
        status, text, _ = self.ctl("show", folder.name)
        self.assertEqual(0, status)
        for pattern in (r"(?m)^  state +pending$", r"(?m)^  exception +0xC0000005$", r"(?m)^  user +Jürgen$",
                        r"(?m)^  notes +two\\u0007words$"):
            self.assertRegex(text, pattern)

        status, out, err = self.ctl("send", "--all", "--progress")
        self.assertEqual(0, status, err)
        self.assertRegex(out, rf"^{folder.name}: sent, crash 1, stack key \d+, https://")
        self.assertRegex(err, rf"^{folder.name}: 0 % of .*\n(.*\n)*{folder.name}: 100 % of .*bytes\)\n$")
        self.assertEqual((0, "no reports\n", ""), self.ctl("list"))
        (sent,) = self.service.reports
        self.assertEqual([], self.service.problems)
        self.assertEqual("Jürgen", sent.fields["user"])
        self.assertEqual([attachment.name], record["attachments"])
        self.assertIn(attachment.name, [entry["name"] for entry in sent.entries])
        self.assertIn("Report sent by hand: ", self.log())
        self.host(upload_policy=1, attachment=windows_path(attachment)).crash("access-violation")
        wait_for(lambda: len(self.service.reports) == 2 and not self.report_folders(), what="the reporter's sending")
        self.assertIn(attachment.name, [entry["name"] for entry in self.service.reports[1].entries])

    def test_failures_are_explained(self):
        rows = [
            # call and fault, exit code, state of the folder afterwards, words of the explanation
            ("first", {"status": 400, "body": b"\x1b[2Jno\xff"}, 12, None,
             ["WRENFALL_ERROR_REJECTED (12): the service rejected", "(http 400)", "\\u001b[2Jno", "was deleted"]),
            ("first", {"status": 429}, 12, None, ["fewer reports", "was deleted"]),
            ("put", {"status": 503}, 11, "failed", ["WRENFALL_ERROR_SERVICE (11)", "The report is kept"]),
            ("commit", {"reset": "before"}, 10, "pending", ["WRENFALL_ERROR_TRANSPORT (10)", "still pending"]),
        ]
        for call, fault, code, state, words in rows:
            with self.subTest(call=call, fault=fault):
                self.service.clear_faults()
                self.service.fail(call, **fault)
                self.make_report("a b ü")
                status, out, err = self.ctl("send", "a b ü")
                self.assertEqual((code, ""), (status, out), err)
                for word in ["a b ü: ", *words]:
                    self.assertIn(word, err)
                self.assertEqual({"a b ü": state} if state else {}, self.states())
                if state == "pending":
                    # The next report would fail like this one.
                    self.make_report("other")
                    (tried,) = self.ctl_json("send", "--all", code=10)["reports"]
                    self.assertEqual((10, True), (tried["result"], tried["kept"]))
                    self.assertEqual({"a b ü": "pending", "other": "pending"}, self.states())
                elif state:
                    # Not pending any more, but still to be sent by its name.
                    self.assertEqual([], self.ctl_json("send", "--all")["reports"])
                    (again,) = self.ctl_json("send", "a b ü/", code=11)["reports"]
                    self.assertEqual((11, "WRENFALL_ERROR_SERVICE", 503, True),
                                     tuple(again[key] for key in ("result", "resultName", "httpStatus", "kept")))
                    (listed,) = self.ctl_json("list")["reports"]
                    self.assertEqual(2, listed["retryCount"])
                    self.assertEqual(("failed", 503), (listed["result"]["status"], listed["result"]["httpStatus"]))
                    self.assertIn("third attempt", self.ctl("send", "a b ü")[2])
                    self.assertIn("INFO Report exceeded max retries (3/3): ", self.log())
                    self.assertEqual({}, self.states())

    def test_one_failure_does_not_stop_the_others(self):
        for name in ("r1", "r2", "r3"):
            self.make_report(name)
        (self.store / "r2" / RECORD).write_text("{")
        answer = self.ctl_json("send", "r1", "missing", "r2", "r3", code=1)
        self.assertEqual(1, answer["exitCode"])  # that of the first failure
        self.assertEqual([("r1", 0, False), ("missing", 1, False), ("r2", 1, True), ("r3", 0, False)],
                         [(one["folder"], one["result"], one["kept"]) for one in answer["reports"]])
        self.assertEqual({"r2": "damaged"}, self.states())

    def test_a_report_being_sent(self):
        self.service.fail("put", delay=3.0)
        folder = self.make_report("slow")
        sender = self.start("send", windows_path(folder))
        self.addCleanup(lambda: sender.poll() is None and sender.kill())
        wait_for(lambda: len(self.service.requests) >= 2, what="the PUT")
        freeze_process(sender.pid)  # it must not be done before the others have looked
        self.assertEqual({"slow": "sending"}, self.states())
        status, _, err = self.ctl("discard", "slow")
        freeze_process(sender.pid, False)
        self.assertEqual(7, status)
        self.assertIn("sending", err)
        out, err = sender.communicate(timeout=60)
        self.assertEqual((0, b""), (sender.returncode, err))
        self.assertIn(b"slow: sent, crash 1", out)

    def test_discard(self):
        elsewhere = self.folder / "elsewhere"
        kept = [elsewhere / "kept.txt",
                *(self.store / name for name in ("sessions/1", "crashpad/1", "deep/inner/1", "file"))]
        store = windows_path(self.store)
        self.make_report("one")
        self.make_report("two")
        for name in ("sessions", "SESSIONS\\", "crashpad", windows_path(elsewhere), store + "\\..\\elsewhere", store,
                     ".", store + "\\..", store + "\\deep\\..", store + "\\deep\\inner", "file", "missing"):
            with self.subTest(name=name):
                for path in kept:
                    path.parent.mkdir(parents=True, exist_ok=True)
                    path.write_text("mine")
                self.assertEqual(1 if name in ("file", "missing") else 7, self.ctl("discard", name)[0])
                self.assertEqual([], [path for path in kept if not path.exists()])
        # Without a store only what holds a record is a report.
        self.assertEqual(7, self.bare("discard", windows_path(elsewhere))[0])
        self.assertEqual((0, "one: discarded\n", ""), self.bare("discard", windows_path(self.store / "one") + "\\"))
        self.assertEqual([("two", 0, False)], [(one["folder"], one["result"], one["kept"])
                                               for one in self.ctl_json("discard", "two")["reports"]])
        self.assertEqual({"deep": "incomplete"}, self.states())

    def test_the_crash_gives_the_order(self):
        """Not the record, which closing the dialog writes again; only where it names no time."""
        for name, time_of_crash in (("third", "2001-01-03T00:00:00Z"), ("fourth", ""), ("damaged", None),
                                    ("first", "2001-01-01T00:00:00Z"), ("second", "2001-01-02T00:00:00Z")):
            self.make_report(name, crashTime=time_of_crash)
        (self.store / "no record").mkdir()
        (self.store / "damaged" / RECORD).write_text("{")
        ages = (("fourth", 7200), ("damaged", 3600))
        for name, age in ages:
            os.utime(self.store / name / RECORD, (time.time() - age,) * 2)
        self.assertEqual(["first", "second", "third", "fourth", "damaged", "no record"], list(self.states()))
        for name, _ in reversed(ages):
            self.assertEqual(name, self.ctl_json("show", "--latest")["report"]["folder"])
            self.assertEqual(0, self.ctl("discard", name)[0])
        self.assertEqual("third", self.ctl_json("show", "--latest")["report"]["folder"])

    def test_tail(self):
        log = self.store / "Wrenfall.log"
        log.write_text("".join(f"[2026-01-31 23:59:{i:02}] [7] INFO line {i} ü\n" for i in range(30)), "utf-8")
        status, out, _ = self.ctl("tail", "-n", "2")
        self.assertEqual((0, "[2026-01-31 23:59:28] [7] INFO line 28 ü\n[2026-01-31 23:59:29] [7] INFO line 29 ü\n"),
                         (status, out))
        self.assertEqual(10, self.ctl("tail")[1].count("\n"))
        follower = self.start("tail", "--store", windows_path(self.store), "-n", "1", "--follow", "--json")
        self.addCleanup(follower.stderr.close)
        self.addCleanup(follower.stdout.close)
        self.addCleanup(follower.wait)
        self.addCleanup(follower.kill)
        first = json.loads(follower.stdout.readline())
        self.assertEqual({"time": "2026-01-31 23:59:29", "pid": "7", "level": "INFO", "message": "line 29 ü"}, first)
        with log.open("a", encoding="utf-8") as file:
            file.write("[2026-02-01 00:00:00] [7] WARN half")
            file.flush()
            time.sleep(0.5)
            file.write(" and half\n")
        self.assertEqual("half and half", json.loads(follower.stdout.readline())["message"])
        log.write_text("\x1b]0;title\x07\n")  # a new file
        self.assertEqual({"time": "", "pid": "", "level": "", "message": "\x1b]0;title\x07"},
                         json.loads(follower.stdout.readline()))

    def test_damaged_and_foreign_folders(self):
        self.make_report("healthy", reportKind="\x1b[2J\x9b31m\u2069red\x7f", crashTime=5)
        self.make_report("owner gone", ownerPid=4294967288)
        self.make_report("owned", ownerPid=int(self.host(init=False).do("pid")))
        self.make_report("truncated dump")
        self.make_report("large record", userDescription="x" * (20 << 20))
        self.make_report("crashpad")  # the library's own folder, which is never a report
        (self.store / "truncated dump" / "minidump.dmp").write_bytes(b"MDMP" + bytes(20))
        self.make_report("huge record")
        with (self.store / "huge record" / RECORD).open("r+b") as file:
            file.truncate(5 << 30)
        (self.store / "no record").mkdir()
        (self.store / "\u202ereversed").mkdir()
        self.make_report("odd result")
        (self.store / "odd result" / "result.json").write_text('{"status":5,"errorCode":1e99,"cancelled":true}')
        self.make_report("no result")
        (self.store / "no result" / "result.json").mkdir()
        self.assertEqual(
            {"healthy": "pending", "large record": "pending", "owner gone": "pending", "owned": "owned", "truncated dump": "pending",
             "huge record": "damaged", "no record": "incomplete", "\u202ereversed": "incomplete",
             "odd result": "cancelled", "no result": "failed"}, self.states())
        for command in (["list"], ["list", "--json"], ["show", "healthy"], ["show", "healthy", "--json"]):
            status, out, _ = self.ctl(*command)
            self.assertEqual(0, status)
            self.assertNotRegex(out, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e\u2069]")
        dump = self.ctl_json("show", "truncated dump")["dump"]
        self.assertEqual({"file": "minidump.dmp", "readable": False}, dump)
        self.assertIn("damaged", self.ctl("show", "truncated dump")[1])
        self.assertIsNone(self.ctl_json("show", "huge record")["record"])
        for name, words in (("truncated dump", "the dump cannot be read"), ("healthy", "there is no dump")):
            status, _, err = self.ctl("show", name, "--stack")
            self.assertEqual((0, f"wrenfallctl: warning: {words}\n"), (status, err))
            shown = self.ctl_json("show", name, "--stack")
            self.assertEqual((None, [words]), (shown["stack"], shown["warnings"]))
        # A name may be cut when one folder fits it, and a mistyped one is told.
        self.assertIn("truncated dump", self.ctl("show", "TRUNC")[1])
        for name, words in (("ow", "2 names"), ("missing", "no such report"), ("crashpad", " no ")):
            for command in ("show", "send", "stack", "open", "discard")[:5 if name != "crashpad" else 3]:
                status, out, err = self.ctl(command, name)
                self.assertEqual((1, ""), (status, out))
                self.assertIn(words, err)
        self.assertEqual((0, "truncated dump: discarded\n", ""), self.ctl("discard", "trunc"))

    def test_usage(self):
        status, out, err = self.bare("nonsense")
        self.assertEqual((1, ""), (status, out))
        self.assertIn("--help", err)
        self.assertEqual((0, "wrenfallctl 9.0.0-dev\n", ""), self.bare("--version"))
        self.assertIn("--store DIR", self.bare("--help")[1])
        self.assertIn("--symbols DIR", self.bare("stack", "--help")[1])
        for command in ("list", "show --latest", "stack --latest", "open --latest", "export --latest x.zip"):
            status, _, err = self.bare(*command.split(), "--app", "No Such: App", "--version", "1")
            self.assertEqual(7, status)
            self.assertIn("\\Wrenfall\\No Such_ App-1.", err)


if __name__ == "__main__":
    unittest.main(verbosity=2)
