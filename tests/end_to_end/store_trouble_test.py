"""A store in trouble: full, unusable, locked, vanishing, linked elsewhere, with names at the limit."""

import itertools
import os
import shutil
import threading
import unittest

from harness import RECORD, STAND_IN, ServiceTest, limit_files, link_folder, long_path, wait_for, windows_path


class StoreTrouble(ServiceTest):
    def test_full_disk_while_sending(self):
        host = self.host()
        folder = self.make_report()
        (folder / "large").write_bytes(os.urandom(200_000))
        limit_files(host.process.pid, 100_000)
        self.assertEqual((7, 0), host.send(folder))
        self.assertFalse(folder.exists())
        self.assertIn("report: could not create the report zip (http 0)", self.log())
        limit_files(host.process.pid, -1)
        self.assertEqual((0, 200), host.send(self.make_report()))

    def test_full_disk_while_posting(self):
        host = self.host()
        limit_files(host.process.pid, 0)
        for words in (("feedback", "title", "text"), ("asan", "text")):
            self.assertEqual("7 7 0 0 0 -", host.do("post", *words))
        self.assertEqual(["Wrenfall.log", "crashpad", "sessions"], sorted(os.listdir(self.store)))
        self.assertEqual(("0", "7"), (host.do("set_notes", "n"), host.do("add_attachment", windows_path(__file__))))
        # Nor can the next run write its session file, and runs all the same.
        host.do("shutdown")
        host.set_options(self.store, note_messages=1)
        self.assertEqual("0", host.do("init"))
        self.assertIn("Could not write the session file", host.do("messages"))
        limit_files(host.process.pid, -1)
        self.assertEqual("0 0 0 0 0 -", host.do("post", "feedback", "title", "text"))
        self.only_report()

    def test_full_disk_while_capturing(self):
        """Half a dump is no report, does not stay, and does not keep the next one from being taken."""
        limit = 100_000 if STAND_IN else 20_000  # below the size of a dump
        for settings in self.monitors():
            with self.subTest(**settings):
                limit_files(0, limit)  # The monitor and the handler inherit it.
                try:
                    host = self.host(dump_type=2, **settings)
                finally:
                    limit_files(0, -1)
                self.assertEqual("0", host.do("capture"))
                pid = host.do("pid")
                host.crash("access-violation")
                line = f"ERROR Process {pid} ended with code 0xC0000005, but no dump of a crash came"
                wait_for(lambda line=line: line in self.log(), what="the line about the crash")
                self.assertEqual([], list(self.store.glob("crashpad/reports/*")))
                self.assertEqual([], self.report_folders())
        host = self.host(dump_type=2)
        self.assertEqual("0", host.do("capture"))
        folder = self.only_report()
        self.assertGreater((folder / "minidump.dmp").stat().st_size, limit)

    def test_unusable_stores(self):
        (self.folder / "file").write_text("x")
        for place in ("Z:\\proc\\wrenfall", "Q:\\nowhere", windows_path(self.folder / "file"),
                      windows_path(self.folder / "file" / "below"), "\\\\?\\", "C:\\a|b", "con\\x"):
            with self.subTest(place=place):
                host = self.host(init=False, store_dir=place)
                self.assertEqual(["5", "", "3"], [host.do("init"), host.do("pending"), host.do("capture")])
                self.assertEqual("x", (self.folder / "file").read_text())
                # The process can start over with a better one.
                host.set_options(self.store)
                self.assertEqual("0", host.do("init"))

    def test_locked_files(self):
        """Another process has a file of the report open without sharing it."""
        table = [
            # which file; the send's result; what is left; the line in the log
            ("data.txt", (7, 0), {RECORD, "data.txt", "result.json"}, "could not create the report zip (http 0)"),
            (RECORD, (7, 0), {RECORD, "data.txt"}, "cannot be read"),
            ("WrenfallCrash.zip", (7, 0), {RECORD, "WrenfallCrash.zip", "result.json"}, "could not create the report"),
            ("result.json", (0, 200), {"result.json"}, ""),
        ]
        host, other = self.host(), self.host()
        for name, result, left, line in table:
            with self.subTest(name=name):
                folder = self.make_report()
                (folder / name).touch()
                self.assertEqual("0", other.do("hold", windows_path(folder / name)))
                self.assertEqual(result, host.send(folder))
                self.assertEqual(left, set(os.listdir(folder)))
                self.assertIn(line, self.log().splitlines()[-1])
                self.assertEqual([], host.pending())
                self.assertEqual("7", host.do("discard", windows_path(folder)))
                self.assertEqual("0", other.do("hold", ""))
                self.assertEqual([], host.pending())
                self.assertEqual("0", host.do("discard", windows_path(folder)))
                self.assertFalse(folder.exists())

    def test_folder_that_vanishes_while_it_is_sent_stays_away(self):
        host = self.host()
        for status in (503, 404, 200):
            folder = self.make_report(f"r{status}")
            self.service.clear_faults()
            self.service.fail("put", delay=2.0)
            self.service.fail("commit", status=status)
            got = []
            sender = threading.Thread(target=lambda: got.append(host.send(folder)))
            before = len(self.service.requests)
            sender.start()
            wait_for(lambda: len(self.service.requests) >= before + 2)
            wait_for(lambda: not shutil.rmtree(folder, ignore_errors=True) and not folder.exists())
            sender.join()
            self.assertEqual([(0 if status == 200 else 11, status)], got)
            self.assertFalse(folder.exists(), os.listdir(folder) if folder.exists() else "")

    def outside(self):
        """A folder of the user's that is a report as well; and what is in it."""
        outside = self.folder / "outside"
        shutil.rmtree(outside, ignore_errors=True)
        shutil.copytree(self.make_report("template"), outside)
        shutil.rmtree(self.store / "template")
        (outside / "mine").mkdir()
        for name in ("mine.txt", "mine.json", "mine/x.json", "minidump.dmp"):
            (outside / name).write_text("the user's own")
        return outside

    def test_links_lead_nobody_out_of_the_store(self):
        """Of a link at most the link is removed. Wine cannot even do that, and a discard says so. The links are those
        of the Unix below Wine, which shows them as reparse points and makes none of its own."""
        host = self.host()
        for act, inside in itertools.product(("discard", "send", "fail"), ("", "sub", "deep/sub")):
            with self.subTest(act=act, inside=inside):
                outside = self.outside()
                report = self.store / "report"
                if inside:
                    self.make_report("report")
                link = report / inside
                link.parent.mkdir(parents=True, exist_ok=True)
                link_folder(link, outside)
                self.service.clear_faults()
                if act == "fail":
                    self.service.fail("first", status=404)
                command = "discard" if act == "discard" else "send"
                result = host.do(command, windows_path(report)).split()[0]
                self.assertIn(result, {"discard": "07", "send": "0", "fail": ("11",)}[act])
                if act != "discard":
                    self.assertEqual([], host.pending())
                for name in ("mine.txt", "mine.json", "mine/x.json", "minidump.dmp", "data.txt", RECORD):
                    self.assertTrue((outside / name).exists(), name)
                link.unlink(missing_ok=True)
                shutil.rmtree(report, ignore_errors=True)

    def test_store_that_is_a_link(self):
        """It serves like any other. What an attachment's path leads to through a link is copied, and stays."""
        outside, real = self.folder / "outside", self.folder / "real"
        outside.mkdir()
        (outside / "mine.txt").write_text("mine")
        real.mkdir()
        link_folder(self.store, real)
        link_folder(self.folder / "link", outside)
        host = self.host(attachment=windows_path(self.folder / "link" / "mine.txt"))
        self.assertEqual("0", host.do("capture"))
        folder = self.only_report()
        self.assertEqual("mine", (folder / "mine.txt").read_text())
        self.assertEqual([folder.name], host.pending())
        self.assertEqual((0, 200), host.send(folder))
        for act in ("discard", "send"):
            self.assertEqual("0", host.do(act, windows_path(self.make_report(act))).split()[0])
        self.assertEqual([], self.report_folders())
        host.do("shutdown")
        self.assertTrue(self.store.is_symlink())
        self.assertEqual({"Wrenfall.log", "crashpad", "sessions"}, set(os.listdir(real)))
        self.assertEqual("mine", (outside / "mine.txt").read_text())

    def test_linked_sessions_are_not_swept(self):
        outside = self.outside()
        self.store.mkdir(exist_ok=True)
        link_folder(self.store / "sessions", outside)
        link_folder(self.store / "half made", outside)
        (outside / RECORD).unlink()
        os.utime(outside / "minidump.dmp", (1, 1))
        host = self.host()
        host.do("capture")
        self.wait_for_reports(1)
        host.do("shutdown")
        self.assertLessEqual({"mine.txt", "mine.json", "mine", "minidump.dmp", "data.txt"}, set(os.listdir(outside)))
        self.assertNotIn(RECORD, os.listdir(outside))

    def test_names_at_the_limit(self):
        self.store = long_path(self.store)
        host = self.host()
        folder = self.make_report("n" * 255)
        self.assertEqual(["n" * 255], host.pending())
        self.assertEqual((0, 200), host.send(folder))
        # Attachments of one long name, which a number must not make too long.
        for number in range(3):
            path = long_path(self.folder) / str(number) / ("a" * 251 + ".txt")
            path.parent.mkdir()
            path.write_text(str(number))
            self.assertEqual("0", host.do("add_attachment", windows_path(path)))
        host.do("capture")
        folder = self.only_report()
        names = self.record(folder)["attachments"]
        self.assertEqual(["0", "1", "2"], [(folder / name).read_text() for name in names])
        self.assertEqual((0, 200), host.send(folder))
        self.assertEqual(4, len(self.service.reports[-1].entries))


if __name__ == "__main__":
    unittest.main(verbosity=2)
