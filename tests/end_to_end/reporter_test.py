"""The reporter's dialog, driven with the keyboard on a real display."""

import json
import os
import subprocess
import unittest

from harness import (BIN, RECORD, ROOT, SERVICE_PORT, ServiceTest, end_process, processes, run_program, start_program, wait_for,
                     windows_path)

from dialog_driver import (ALWAYS_SEND, BACK, CLOSE, COPY, DESCRIPTION, DETAILS, EMAIL, FILES, FILES_LABEL, HEADING, HINT, MESSAGE,
                           OPEN_PAGE, PATIENCE, PRIVACY, RESTART, SEND, SHOW_DETAILS, SHOW_FILES, SUPPORT, TRY_AGAIN, DialogDriver, Picture,
                           hold_clipboard, windows)


class ReporterTest(DialogDriver, ServiceTest):
    def setUp(self):
        super().setUp()
        self.addCleanup(self.end_reporters)

    def reporters(self):
        """Monitors have the reporter's path among their annotations."""
        monitors = processes("--annotation=")
        return [process for process in processes("WrenfallReporter.exe", self.folder.name)
                if process not in monitors]

    def end_reporters(self):
        """Those of a test that failed; they would meet the next one's keys."""
        for process in self.reporters():
            end_process(process)

    def start_reporter(self, name="report", arguments=(), **fields):
        """Makes a report and starts the reporter on it."""
        report = self.make_report(name, **{"uploadPolicy": "dialog", "openSupportUrl": False, **fields})
        return report, self.start_reporter_on(report, *arguments)

    def start_reporter_on(self, report, *arguments):
        process = start_program(BIN / "WrenfallReporter.exe", windows_path(report), *arguments,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def start(self, **fields):
        """The same, and waits until the dialog asks."""
        self.report, _ = self.start_reporter(**fields)
        return self.wait_for_window("Problem report", DESCRIPTION)

    def wait_for_end(self):
        wait_for(lambda: not self.reporters(), PATIENCE, "the reporter's end")

    def test_a_crash_is_asked_about_and_sent(self):
        host = self.host(upload_policy=0, email="old@example.org")
        host.crash("access-violation")
        shown = self.wait_for_window("Test Host - Problem report", DESCRIPTION)
        self.assertEqual("Test Host has stopped working", shown[HEADING])
        self.only_process("WrenfallReporter.exe", self.folder.name, "--program", "test_host.exe", "--restart-in", windows_path(os.getcwd()))
        self.assertRegex(shown[SHOW_FILES], r"\([\d.,]+ [KM]B\)")
        self.assertEqual("old@example.org", shown[EMAIL])
        # While the reporter asks, no other process takes the report.
        self.assertEqual("", self.host().do("pending"))
        self.press("Problem report", text="it broke")
        self.press("Problem report", "Return")
        self.press("Problem report", text="twice")
        self.wait_for_text(DESCRIPTION, "it broke|twice")
        self.press("Problem report", "alt+m")
        self.wait_for_window("Problem report", EMAIL)
        self.press("Problem report", text="new@example.org")
        self.wait_for_text(EMAIL, "new@example.org")
        self.press("Problem report", "Return")
        result = self.wait_for_window("Report sent", CLOSE)
        (report,) = self.service.reports
        self.assertEqual([], self.service.problems)
        self.assertEqual(("new@example.org", "it broke\ntwice"),
                         (report.fields["email"], report.fields["description"]))
        self.assertEqual(["minidump.dmp"], [entry["name"] for entry in report.entries])
        self.assertEqual(("Sent. Report number 1", f"https://127.0.0.1:{SERVICE_PORT}/report/1"),
                         (result[HEADING], result[SUPPORT]))
        # Wine's user is an administrator, with whose rights no page is opened.
        self.assertIn("Support page shown but not opened, this process is elevated", self.log())
        self.assertTrue(COPY in result and not {DETAILS, OPEN_PAGE} & set(result))
        self.assertEqual([], self.report_folders())
        with hold_clipboard() as holder:
            self.assertTrue(holder.stdout.readline())
            self.press("Report sent", "alt+o")
            wait_for(lambda: any("could not be copied" in text for window in windows() for text in window.values()),
                     PATIENCE, "the message")
            holder.communicate()
        self.press("Report sent", "Return")
        self.wait_for_window("Report sent", COPY)
        self.press("Report sent", "alt+o")
        wait_for(lambda: hold_clipboard().communicate(timeout=PATIENCE)[0].strip() == b"1", PATIENCE, "the number")
        self.press("Report sent", "Escape")
        self.wait_for_end()

    def test_closing_keeps_the_report_and_what_was_typed(self):
        host = self.host()
        self.start(userDescription="be")
        self.assertEqual("", host.do("pending"))
        self.press("Problem report", text="fore")
        self.wait_for_text(DESCRIPTION, "before")
        self.press("Problem report", "Escape")
        self.wait_for_end()
        self.assertEqual((0, "before"), tuple(self.record(self.report)[key]
                                              for key in ("ownerPid", "userDescription")))
        self.assertEqual(windows_path(self.report), host.do("pending"))
        self.assertEqual([], self.service.requests)

    def test_failures_are_explained(self):
        rows = [
            # HTTP status, the explanation, the details
            (503, "The service could not take the report (HTTP status 503); the report is kept on this computer.",
             "WRENFALL_ERROR_SERVICE (11), HTTP 503|getCrashUploadUrl returned 503"),
            (429, "The service gets too many reports at present; the report was deleted from this computer.",
             "WRENFALL_ERROR_REJECTED (12), HTTP 429|getCrashUploadUrl: rate limited"),
            (None, "The service could not be reached; the report stays on this computer and will be sent later.",
             "WRENFALL_ERROR_TRANSPORT (10)|getCrashUploadUrl: "),
        ]
        for status, explanation, details in rows:
            with self.subTest(status=status):
                self.service.clear_faults()
                self.service.fail("first", **({"status": status, "body": b""} if status else {"reset": "before"}))
                self.start()
                self.press("Problem report", text="typed")
                self.wait_for_text(DESCRIPTION, "typed")
                self.press("Problem report", "alt+s")
                kept = status != 429
                shown = self.wait_for_window("Report not sent", TRY_AGAIN if kept else CLOSE)
                self.assertEqual(explanation, shown[MESSAGE])
                self.assertNotIn(DETAILS, shown)
                self.press("Report not sent", "alt+d")
                shown = wait_for(lambda: next((window for window in windows() if DETAILS in window), None), PATIENCE, "the details")
                self.assertTrue(shown[DETAILS].startswith(details), shown[DETAILS])
                self.assertEqual((kept, kept), (TRY_AGAIN in shown, self.report.exists()))
                if kept:
                    self.assertEqual("typed", self.record(self.report)["userDescription"])
                    self.assertEqual(status is None, not (self.report / "result.json").exists())
                    self.service.clear_faults()
                    self.press("Report not sent", "alt+t")
                    self.wait_for_window("Report sent", CLOSE)
                    self.assertFalse(self.report.exists())
                self.press("Report", "Escape")
                self.wait_for_end()

    def test_a_file_can_be_left_out_but_not_the_dump(self):
        self.start(dumpFile="minidump.dmp", attachments=["data.txt"])
        self.press("Problem report", "alt+w")
        self.wait_for_window("Problem report", FILES)
        self.press("Problem report", "Home", "space")
        self.wait_for_text(FILES_LABEL, "F&iles (1, 0.0 KB):")
        self.press("Problem report", "Escape")
        self.wait_for_window("Problem report", SHOW_FILES)
        self.press("Problem report", "Escape")
        self.wait_for_end()
        # Closing decides nothing about the report, but no other program may send the file.
        self.assertEqual((False, []), ((self.report / "data.txt").exists(), self.record(self.report)["attachments"]))
        for name, size in (("minidump.dmp", 2048), ("data.txt", 1024)):
            (self.report / name).write_bytes(b"x" * size)
        self.start_reporter_on(self.report)
        self.wait_for_window("Problem report", DESCRIPTION)
        self.press("Problem report", "alt+w")
        shown = self.wait_for_window("Problem report", FILES)
        self.assertEqual("F&iles (2, 3.0 KB):", shown[FILES_LABEL])
        self.press("Problem report", "End", "space", "Home", "space")
        self.wait_for_text(FILES_LABEL, "F&iles (2, 2.0 KB):")
        self.press("Problem report", "Escape")
        self.wait_for_window("Problem report", SHOW_FILES)
        self.press("Problem report", "alt+s")
        self.wait_for_window("Report sent", CLOSE)
        self.assertEqual(["minidump.dmp"], [entry["name"] for entry in self.service.reports[0].entries])
        self.press("Report sent", "Escape")
        self.wait_for_end()

    def test_what_the_user_has_said_counts_while_the_dialog_is_open(self):
        host = self.host()
        self.assertEqual("0", host.call("set_consent", 3))
        shown = self.start()
        self.assertIn("you are asked about it again", shown[HINT])
        for call, delay in (("first", 7), ("put", 30)):  # under Wine a call that is cancelled ends with its answer
            self.service.fail(call, delay=delay)
        self.press("Problem report", "alt+s")
        self.wait_for_window("Sending the report", CLOSE)
        self.press("Sending the report", "Escape")
        shown = self.wait_for_window("Report not sent", TRY_AGAIN)
        self.assertEqual("Sending was cancelled; the report stays on this computer, and you are asked about it again.", shown[MESSAGE])
        self.assertEqual("0", host.call("set_consent", 2))
        self.press("Report not sent", "Return")
        shown = self.wait_for_window("Report not sent", CLOSE)
        self.assertEqual("Sending of reports is turned off; the report stays on this computer and is not sent.", shown[MESSAGE])
        self.assertFalse({TRY_AGAIN, SHOW_DETAILS} & set(shown))
        self.press("Report not sent", "Return")
        self.wait_for_end()
        self.assertTrue(self.report.exists())

    def test_one_dialog_at_a_time(self):
        names = ["first", "second", "third"]
        reports = []
        for name in names:
            report, process = self.start_reporter(name, appName=name)
            if reports:
                self.assertEqual(0, process.wait(PATIENCE))
            else:
                self.wait_for_window("first - Problem report", DESCRIPTION)
            reports.append(report)
        wait_for(lambda: any("answer: 2" in window.get(MESSAGE, "") for window in windows()), PATIENCE, "the count")
        self.assertEqual(1, len(windows()))
        for name in names:
            self.wait_for_window(f"{name} - Problem report", DESCRIPTION)
            self.press(f"{name} - Problem report", *(["Escape"] if name == "second" else ["alt+d"]))
        self.wait_for_end()
        self.assertEqual([False, True, False], [report.exists() for report in reports])
        self.assertEqual((0, []), (self.record(reports[1])["ownerPid"], self.service.requests))

    def test_pending_reports_are_asked_about_until_the_user_wants_them_sent(self):
        host = self.host()
        self.assertEqual("0", host.call("ask_pending_reports_async"))
        wait_for(lambda: "INFO No report waits for the user's answer" in self.log())
        theme = self.folder / "theme"
        theme.mkdir()
        (theme / "strings.json").write_text('{"offerAlwaysSend": true}')
        for day, policy in enumerate(("quiet", "dialog", "dialog"), 1):
            self.make_report(f"r{day}", uploadPolicy=policy, appName=f"r{day}", openSupportUrl=False,
                             crashTime=f"2026-01-0{day}T00:00:00Z", themeDir=windows_path(theme) if day < 3 else "")
        self.assertEqual("0", host.call("set_consent", 3))
        # Two calls, one dialog.
        for _ in range(2):
            self.assertEqual("0", host.call("ask_pending_reports_async"))
        shown = self.wait_for_window("r3 - Problem report", DESCRIPTION)
        wait_for(lambda: len(self.reporters()) == 1, PATIENCE, "one reporter")
        self.only_process("WrenfallReporter.exe", "--ask", self.folder.name, "--program", "test_host.exe", "--application", "Test Host")
        self.assertIn("answer: 2", shown[MESSAGE])
        self.assertNotIn(ALWAYS_SEND, shown)
        self.press("r3 - Problem report", "Escape")
        self.assertIn(ALWAYS_SEND, self.wait_for_window("r2 - Problem report", DESCRIPTION))
        self.press("r2 - Problem report", "alt+a")
        self.wait_for_window("r2 - Problem report", ALWAYS_SEND)
        self.assertEqual({"consent": "ask"}, json.loads((self.store / "consent.json").read_text()))
        self.press("r2 - Problem report", "alt+s")
        self.wait_for_window("Report sent", CLOSE)
        self.assertEqual({"consent": "given"}, json.loads((self.store / "consent.json").read_text()))
        self.press("Report sent", "Escape")
        self.wait_for_end()
        self.assertEqual((["r3"], 2), (host.pending(), len(self.service.reports)))

    def test_one_quiet_reporter_sends_one_report_after_the_other(self):
        """When the service is not reached, it leaves the other reports pending."""
        def start_eight(**fault):
            self.service.fail("first", **fault)
            started = [self.start_reporter(f"r{i}", uploadPolicy="quiet")[1] for i in range(8)]
            wait_for(lambda: sum(process.poll() is None for process in started) == 1, PATIENCE, "one reporter")
            return started
        start_eight(delay=10.0)  # for each report, until the others have ended
        self.service.clear_faults()
        self.wait_for_end()
        self.assertEqual(["first", "put", "commit"] * 8, [request.call for request in self.service.requests])
        self.assertEqual((8, []), (len(self.service.reports), self.report_folders()))
        started = start_eight(never=True)
        self.assertLessEqual(len(self.service.requests), 3 * 8 + 1)
        self.service.stop()
        self.wait_for_end()
        self.assertEqual([0] * 7 + [10], sorted(process.wait(PATIENCE) for process in started))
        self.assertEqual(1, self.log().count("ERROR Report not sent: "))
        self.assertEqual(8, len(self.host().do("pending").split("\t")))

    def close_while_it_sends(self, **fault):
        for call in ("first", "put", "commit"):
            self.service.fail(call, **fault)
        self.start()
        self.press("Problem report", "alt+s")
        self.wait_for_window("Sending the report", CLOSE)
        self.press("Sending the report", "alt+F4")
        wait_for(lambda: not windows(), PATIENCE, "no window")
        self.service.clear_faults()

    def test_closing_while_it_sends(self):
        """Sending goes on without a window, and ends without one when the service has the report."""
        self.close_while_it_sends(delay=10)
        self.wait_for_end()
        self.assertFalse(self.report.exists())
        self.assertTrue(self.service.reports[0].committed)

    def test_closing_while_it_sends_and_fails(self):
        self.close_while_it_sends(never=True)
        self.service.stop()
        # Back in the background.
        shown = self.wait_for_window("Report not sent", TRY_AGAIN, None)
        self.assertIn("could not be reached", shown[MESSAGE])
        self.press("Report not sent", "Escape")
        self.wait_for_end()

    def test_what_cannot_be_saved_is_not_sent(self):
        self.start()
        in_the_way = self.report / (RECORD + ".tmp")
        in_the_way.mkdir()
        self.press("Problem report", text="words")
        self.wait_for_text(DESCRIPTION, "words")
        self.press("Problem report", "alt+s")
        wait_for(lambda: any("could not be saved" in text for window in windows() for text in window.values()),
                 PATIENCE, "the message")
        self.assertEqual([], self.service.requests)
        in_the_way.rmdir()
        self.press("Problem report", "Return")
        self.wait_for_window("Problem report", SEND)
        self.press("Problem report", "alt+s")
        self.wait_for_window("Report sent", CLOSE)
        self.assertEqual("words", self.service.reports[0].fields["description"])
        self.press("Report sent", "Escape")
        self.wait_for_end()

    def test_a_theme_speaks_and_a_strange_address_is_shown(self):
        theme = self.folder / "thème"
        theme.mkdir()
        (theme / "strings.json").write_text('{"title": "Problem report ✓ {application}", "send": 5, "privacyUrl": "https://a/"}', "utf-8")
        (theme / "strings.de.json").write_text('{"back": "&Heim"}', "utf-8")
        (theme / "logo.ico").write_bytes(b"no icon")
        self.service.fail("commit", status=200, body=b'{"status":"success","crashId":7,"infoUrl":"file:///c:/x"}')
        shown = self.start(themeDir=windows_path(theme), openSupportUrl=True, locale="de-AT")
        self.assertEqual(("Problem report ✓ Test Host", "Bericht &senden", "&Datenschutzerklärung"),
                         (shown.title, shown[SEND], shown[PRIVACY]))
        self.press("Problem report", "alt+z")
        shown = self.wait_for_window("Problem report", FILES)
        self.assertEqual(("Was gesendet wird", "&Heim"), (shown[HEADING], shown[BACK]))
        self.press("Problem report", "alt+h")
        self.wait_for_window("Problem report", SHOW_FILES)
        self.press("Problem report", "alt+s")
        shown = self.wait_for_window("Bericht gesendet", CLOSE)
        self.assertEqual(("Gesendet. Berichtsnummer 7", "S&chließen", "file:///c:/x"), (shown[HEADING], shown[CLOSE], shown[SUPPORT]))
        self.assertNotIn(OPEN_PAGE, shown)
        self.press("Bericht gesendet", "Escape")
        self.wait_for_end()
        for word in ('"send" is not a text', "logo.ico is not an icon"):
            self.assertIn(word, self.log())

    def test_the_application_is_started_again_where_the_user_wants_that(self):
        theme = self.folder / "theme"
        theme.mkdir()
        (theme / "strings.json").write_text('{"offerRestart": true}')
        told = self.folder / "told"
        command = f'cmd.exe /c for %f in (strings.json cmd.exe) do if exist %f echo %f>> "{windows_path(told)}"'
        arguments = ("--program", r"C:\windows\system32\cmd.exe", "--restart", command)
        # What is found beside it where it is started, and the folder that it is to be started in.
        for kind, keys, found, folder in (
                ("crash", ("alt+d",), "", theme), ("crash", ("alt+r", "alt+d"), "strings.json", theme), ("hang", ("alt+d",), "", theme),
                ("crash", ("alt+r", "alt+w", "alt+F4"), "cmd.exe", self.folder / "gone")):
            with self.subTest(kind=kind, keys=keys):
                self.start_reporter(kind + keys[0], (*arguments, "--restart-in", windows_path(folder)), reportKind=kind,
                                    themeDir=windows_path(theme))
                shown = self.wait_for_window("Problem report", DESCRIPTION)
                self.assertEqual(kind == "crash", RESTART in shown)
                self.press("Problem report", *keys)
                self.wait_for_end()
                if found:
                    wait_for(lambda: told.exists() and told.read_text().endswith("\n"), PATIENCE, "the start")
                    self.assertEqual(found, told.read_text().strip())
                    told.unlink()
                self.assertFalse(told.exists())

    def test_what_it_looks_like(self):
        """With WRENFALL_PICTURES the pictures of the documents are made again."""
        pictures = ROOT / "docs/images" if "WRENFALL_PICTURES" in os.environ else self.folder
        theme = self.folder / "theme"
        theme.mkdir()
        (theme / "strings.json").write_text('{"offerRestart": true, "offerAlwaysSend": true, "privacyUrl": "https://a.example/"}')
        personal = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Themes\Personalize"
        desktop = r"HKCU\Control Panel\Desktop"
        (theme / "strings.ar.json").write_text('{"direction": "rtl"}')
        rows = (("reporter.png", personal, "AppsUseLightTheme", 1, ""), ("reporter-dark.png", personal, "AppsUseLightTheme", 0, ""),
                ("reporter-150.png", desktop, "LogPixels", 144, ""), ("mirrored.png", personal, "AppsUseLightTheme", 1, "ar"))
        looks = {}
        for name, key, value, number, locale in rows:
            run_program("reg", "add", key, "/v", value, "/t", "REG_DWORD", "/d", number, "/f")
            try:
                self.report, _ = self.start_reporter(
                    name, ("--restart", "planner.exe"), reportKind="crash", appName="Meadow Planner", themeDir=windows_path(theme), locale=locale,
                    email="jürgen@example.org", userDescription="I was moving a flower bed\nwhen the window froze.")
                self.wait_for_window("Problem report", DESCRIPTION)
                wait_for(lambda: self.focus("Problem report"), PATIENCE, "the focus")
                looks[name] = wait_for(self.still_picture, PATIENCE, "a picture")
                looks[name].save((self.folder if locale else pictures) / name)
            finally:
                run_program("reg", "delete", key, "/v", value, "/f")
            self.press("Problem report", "Escape")
            self.wait_for_end()
        light, dark, large, mirrored = looks.values()
        self.assertTrue(light.brightness() > 200 and dark.brightness() < 80, (light.brightness(), dark.brightness()))
        self.assertEqual((light.width, light.height), (dark.width, dark.height))
        self.assertAlmostEqual(1.5, large.width / light.width, delta=0.02)
        self.assertAlmostEqual(1.5, large.height / light.height, delta=0.1)
        link = 0x0058AD
        self.assertTrue(light.middle(link) < 0.3 and mirrored.middle(link) > 0.7, (light.middle(link), mirrored.middle(link)))

    def still_picture(self):
        """Once nothing moves any more; the cursor blinks."""
        picture = Picture(self.folder)
        differing = sum(a != b for a, b in zip(picture.pixels, Picture(self.folder).pixels))
        return picture if differing < 200 else None


if __name__ == "__main__":
    unittest.main(verbosity=2)
