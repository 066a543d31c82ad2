"""What the user has said about sending, as each program that sends reports honours it."""

import unittest

from harness import BIN, ServiceTest, run_program, wait_for, windows_path

UNKNOWN, GIVEN, REFUSED, ASK = range(4)
NO_CONSENT = 13


class ConsentTest(ServiceTest):
    def committed(self):
        return sum(report.committed for report in self.service.reports)

    def by_reporter(self, policy):
        """The reporter is started on the report of a capture."""
        host = self.host(upload_policy=policy)
        lines = self.log().count("the user has not agreed")
        before = self.committed()
        host.do("capture")
        wait_for(lambda: self.committed() > before or self.log().count("the user has not agreed") > lines,
                 what="the reporter's work")
        host.close()

    def by_worker(self):
        host = self.host()
        before = self.committed()
        self.assertEqual("0", host.do("post_pending"))
        wait_for(lambda: self.committed() > before or "Report not sent, the user has" in self.log(), what="the worker's work")
        host.close()

    def by_tool(self):
        self.told, out, err = run_program(BIN / "wrenfallctl.exe", "send", "--all", "--store", windows_path(self.store))
        if self.told:
            self.assertIn("the user has refused that reports are sent", out + err)

    def by_host(self):
        host = self.host()
        self.told = host.send(self.store / "report")[0]
        host.close()

    def by_post(self):
        host = self.host(upload_policy=1)
        self.told = int(host.do("post", "feedback", "title", "text").split()[0])
        host.close()

    def test_every_way_of_sending(self):
        ways = {"host": self.by_host, "post": self.by_post, "worker": self.by_worker, "tool": self.by_tool,
                "quiet": lambda: self.by_reporter(1), "dialog": lambda: self.by_reporter(0)}
        rows = [(UNKNOWN, "host post worker tool quiet", ""), (GIVEN, "host post worker tool quiet dialog", ""),
                (REFUSED, "", "host post worker tool quiet dialog"), (ASK, "host post tool", "worker quiet")]
        for consent, sends, keeps in rows:
            for way in (sends + " " + keeps).split():
                with self.subTest(consent=consent, way=way):
                    self.store = self.folder / f"{consent} {way}"
                    if way in ("host", "worker", "tool"):
                        self.make_report()
                    # Kept for the next run, in which it counts.
                    host = self.host()
                    self.assertEqual("0", host.call("set_consent", consent))
                    host.close()
                    before = self.committed()
                    self.told = None
                    ways[way]()
                    sent = way in sends.split()
                    self.assertEqual(sent, self.committed() == before + 1)
                    self.assertIn(self.told, (None, 0 if sent else NO_CONSENT))
                    if not sent:
                        folder = self.only_report()
                        self.assertFalse((folder / "result.json").exists())
                        self.assertTrue(way == "tool" or "Report not sent, the user has" in self.log())
                        self.assertEqual(consent != UNKNOWN, (self.store / "consent.json").exists())

    def test_no_report_is_made(self):
        host = self.host(drop_without_consent=1, upload_policy=1)
        self.assertEqual("0", host.call("set_consent", REFUSED))
        self.assertEqual(str(NO_CONSENT), host.do("post", "asan", "text").split()[0])
        host.do("capture")
        wait_for(lambda: "WARN Dump dropped, the user has refused that reports are sent" in self.log())
        self.assertEqual([], self.report_folders())
        wait_for(lambda: not list((self.store / "crashpad" / "reports").glob("*.dmp")), what="the end of the dump")
        # A file that cannot be read is no refusal, but nothing is sent by itself.
        (self.store / "consent.json").write_text("{}")
        host.do("capture")
        self.assertEqual([self.only_report()], self.report_folders())
        self.assertEqual("0", host.call("set_consent", UNKNOWN))
        self.assertFalse((self.store / "consent.json").exists())


if __name__ == "__main__":
    unittest.main(verbosity=2)
