"""What a store keeps: sending again, retention, the limit of reports; and that nothing changes without them."""

import json
import os
import re
import time
import unittest
import zipfile

from harness import (BIN, EndToEndTest, ServiceTest, command_lines, limit_files, processes, run_program,
                     start_service, wait_for, windows_path)

KEEPING = {"resend": 1, "upload_policy": 1}
NOTHING = {"resend": 0, "retention": (0, 0, 0), "report_limit": (0, 0)}
SLOW_DOWN = b"HTTP/1.1 429 Slow Down\r\nRetry-After: 7200\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"


class Keeping(EndToEndTest):
    def retry(self, folder):
        """What the folder's retry file says; None without one."""
        try:
            return json.loads((folder / "retry.json").read_text())
        except FileNotFoundError:
            return None

    def attempts(self):
        """How often the kept reports failed, by folder."""
        retries = {folder.name: self.retry(folder) for folder in self.report_folders()}
        return {name: retry["attempts"] for name, retry in retries.items() if retry and retry["attempts"]}

    def let_time_pass(self, seconds=90_000):
        """As if the last attempts had been so long ago."""
        for folder in self.report_folders():
            retry = self.retry(folder)
            if retry:
                retry["lastAttempt"] -= seconds
                (folder / "retry.json").write_text(json.dumps(retry))

    def kept_report(self, name, attempts=1, age=90_000):
        folder = self.make_report(name)
        last = int(time.time()) - age
        (folder / "result.json").write_text('{"status":"failed","errorCode":10}')
        (folder / "retry.json").write_text(json.dumps({"wrenfallRetry": 1, "attempts": attempts, "firstAttempt": last,
                                                       "lastAttempt": last, "retryAfter": 0}))
        return folder

    def ctl(self, *arguments):
        """What wrenfallctl prints as JSON."""
        return json.loads(run_program(BIN / "wrenfallctl.exe", *arguments, "--json", "--store", windows_path(self.store))[1])


class KeepTest(Keeping):
    def test_service_down_for_three_starts(self):
        """What the host posts and what crashes is kept, waits longer with each start, and arrives once."""
        for start in range(1, 4):
            host = self.host(**KEEPING)
            self.assertTrue(host.do("post", "feedback", f"start {start}", "text").startswith("10 10 0 "))
            if start == 1:
                self.assertEqual([], host.pending())
            # The thread of the library makes one attempt at a start: the service does not answer.
            wait_for(lambda: sum(self.attempts().values()) == 2 * start - 1, what="an attempt at the start")
            if start == 3:
                host.crash("access-violation")
                wait_for(lambda: len(self.attempts()) == 4, what="the report that the reporter kept")
                wait_for(lambda: not processes("WrenfallReporter.exe", self.folder.name), what="the reporter's end")
            host.close()
            self.let_time_pass()
        self.assertEqual(4, len(self.report_folders()))
        service = start_service(self, self.folder / "service")
        host = self.host(**KEEPING)
        wait_for(lambda: not self.report_folders(), what="the delivery of all reports")
        host.close()
        self.assertEqual([], service.problems)
        self.assertEqual(4, len(service.reports))
        for report in service.reports:
            with zipfile.ZipFile(report.archive_path) as archive:
                self.assertNotIn("retry.json", archive.namelist())
        self.assertIn("INFO Report kept, attempt 2 of 30 follows in ", self.log())

    def test_a_full_disk_keeps_the_report(self):
        host = self.host(**KEEPING)
        folder = self.make_report()
        (folder / "large").write_bytes(os.urandom(200_000))
        for limit in (100_000, 10):  # no archive fits; not even the retry file
            limit_files(host.process.pid, limit)
            self.assertEqual((7, 0), host.send(folder), limit)
            self.assertEqual([folder], self.report_folders())
        limit_files(host.process.pid, -1)
        start_service(self, self.folder / "service")
        self.assertEqual((0, 200), host.send(folder))
        self.assertEqual([], self.report_folders())

    def test_retention(self):
        """Three of ten stay, the newest; those that are held or of this run as well."""
        for number in range(10):
            self.make_report(f"report {number}", age=86_400 * (10 - number) + 3600)
        pruned = self.ctl("prune", "--max-reports=9", "--max-age", 3, "--dry-run")["reports"]
        self.assertEqual([(f"report {number}", 10 - number) for number in range(8)],
                         [(one["folder"], one["days"]) for one in pruned])
        self.assertEqual(10, len(self.report_folders()))
        host = self.host(retention=(3, 0, 0))
        wait_for(lambda: len(self.report_folders()) == 3, what="the monitor's pruning")
        self.assertEqual([f"report {number}" for number in (7, 8, 9)], [path.name for path in self.report_folders()])
        wait_for(lambda: self.log().count("INFO Report removed, more than 3 reports: ") == 7, what="the lines")
        self.assertEqual("0", host.do("capture"))
        wait_for(lambda: "report 7" not in str(self.report_folders()), what="the pruning after a capture")
        for _ in range(4):
            self.assertTrue(host.do("post", "feedback", "of this run", "").startswith("0 "))
        wait_for(lambda: "report 9" not in str(self.report_folders()), what="the pruning after a post")
        self.assertEqual(5, len(self.report_folders()))
        host.close()
        self.assertEqual(5, len(self.ctl("prune", "--max-bytes", 1)["reports"]))
        self.assertEqual([], self.report_folders())

    def test_crash_loop(self):
        """Of twenty crashes in a row five become reports, and the next report says so."""
        for _ in range(20):
            self.host(report_limit=(5, 600)).crash("access-violation")
        wait_for(lambda: self.log().count("WARN Dump dropped, more than 5 reports in 600 seconds") == 15,
                 seconds=60, what="the line for each dump that was dropped")
        self.assertEqual(5, len(self.report_folders()))
        wait_for(lambda: not list((self.store / "crashpad" / "reports").glob("*.dmp")), what="the end of the last dump")
        host = self.host(report_limit=(5, 600))
        self.assertTrue(host.do("post", "asan", "text").startswith("8 8 "))
        self.assertTrue(host.do("post", "feedback", "is not limited", "").startswith("0 "))
        host.close()
        self.host(report_limit=(6, 600)).crash("access-violation")
        self.wait_for_reports(7)
        told = [self.record(folder)["attributes"].get("wrenfall.dropped") for folder in self.report_folders()]
        self.assertEqual(["16"], [one for one in told if one])

    def test_nothing_changes_when_nothing_is_used(self):
        """The setters with 0 are as good as none: the monitor's command line, the store and the record's names."""
        seen = []
        for options in ({}, NOTHING):
            store = self.store = self.folder / f"store {len(seen)}"
            host = self.host(**options)
            (monitor,) = processes("WrenfallMonitor.exe", store.name)
            names = re.findall("--annotation=([^=]+)=", command_lines()[monitor])
            self.assertEqual("0", host.do("capture"))
            folder = self.only_report()
            host.do("post", "feedback", "title", "")
            annotations = sorted(annotation.name for annotation in self.dump(folder).annotations)
            files = sorted(file.name for file in store.rglob("*.json"))
            self.assertEqual((10, 0), host.send(folder))
            self.assertFalse(folder.exists())
            host.close()
            seen.append((sorted(names), annotations,
                         [name for name in files if not name[0].isdigit()]))
        self.assertEqual(seen[0], seen[1])
        self.assertEqual([], [name for part in seen[0] for name in part if "retention" in name or "imit" in name
                              or "resend" in name or name == "retry.json"])


class KeepAndSendTest(Keeping, ServiceTest):
    def test_the_service_asks_to_slow_down(self):
        host = self.host(resend=1)
        for name in ("first", "second"):  # the spread comes from the name, and is some minutes for both
            self.make_report(name)
        self.service.fail("first", raw=SLOW_DOWN)
        host.do("post_pending")
        wait_for(lambda: len(self.attempts()) == 2, what="the attempts")
        host.close()  # it would send by itself
        self.service.clear_faults()
        waiting = self.ctl("list")["reports"]
        self.assertEqual(["waiting"] * 2, [report["state"] for report in waiting])
        for report in waiting:
            self.assertGreater(report["retry"]["due"], time.time() + 7000)
        self.assertEqual([], self.ctl("send", "--all")["reports"])
        self.let_time_pass(7200)  # a part of the spread is still to come
        self.assertEqual([], self.ctl("send", "--all")["reports"])
        self.let_time_pass(600)
        sent = self.ctl("send", "first")["reports"] + self.ctl("send", "--all")["reports"]
        self.assertEqual([0, 0], [report["result"] for report in sent])
        self.kept_report("not due", age=0)
        self.assertEqual([0], [report["result"] for report in self.ctl("send", "--all", "--now")["reports"]])
        self.assertEqual([], self.report_folders())

    def test_resending_needs_somebodys_word(self):
        """While the user is to be asked, only what somebody wanted sent before is sent again."""
        host = self.host(resend=1, upload_policy=1)
        self.service.fail("first", status=503)
        for name in ("taken back", "wanted"):
            self.assertEqual(["0", "0"], [host.call("set_consent", consent) for consent in (2, 3)])
            self.assertEqual((11, 503), host.send(self.make_report(name)))
        host.close()
        self.service.clear_faults()
        self.kept_report("not wanted")
        self.let_time_pass()
        host = self.host(resend=1)
        wait_for(lambda: [path.name for path in self.report_folders()] == ["not wanted", "taken back"],
                 what="the delivery")
        wait_for(lambda: "INFO Report not sent, the user has not agreed: " in self.log(), what="the line")
        self.assertEqual(1, sum(report.committed for report in self.service.reports))

    def test_two_hosts_of_one_store(self):
        """Both send what is due; nothing arrives twice."""
        names = [f"report {number}" for number in range(6)]
        for name in names:
            self.kept_report(name)
        self.service.fail("commit", delay=0.2)
        hosts = [self.host(resend=1) for _ in range(2)]
        for host in hosts:
            host.do("post_pending")
        wait_for(lambda: not self.report_folders(), what="the delivery")
        for host in hosts:
            host.close()
        self.assertEqual(len(names), len(self.service.reports))

    def test_what_cannot_arrive_is_given_up(self):
        host = self.host(resend=1)
        rows = [
            # fault, attempts before, whether it is kept
            ({"status": 400}, 1, False),
            ({"status": 413}, 1, False),
            ({"status": 404}, 1, False),
            ({"status": 507}, 1, True),
            ({"status": 507}, 29, False),
        ]
        for fault, attempts, kept in rows:
            with self.subTest(fault=fault, attempts=attempts):
                folder = self.kept_report("report", attempts)
                self.service.fail("first", **fault)
                host.send(folder)
                self.service.clear_faults()
                self.assertEqual({"report": attempts + 1} if kept else {}, self.attempts())
                if kept:
                    host.do("discard", windows_path(folder))
        self.assertEqual(1, self.log().count("INFO Report given up after 30 attempts in 1 days: "), self.log())


if __name__ == "__main__":
    unittest.main()
