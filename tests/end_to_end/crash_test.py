"""From a real process that crashes to the report folder in the store."""

import contextlib
import json
import shutil
import threading
import unittest

from harness import BIN, STAND_IN, EndToEndTest, alive, end_process, processes, run_program, wait_for, windows_path


THEME_DIR = 'C:\\my "folder", a=b €\\'  # nothing that a command line could change
STARTUP = {
    "database": "127",
    "prod": "Test Host",
    "version": "1.2/3",
    "wrenfall.policy": "manual",
    "wrenfall.dumpType": "normal",
    "wrenfall.minidumpFlags": "4096",
    "wrenfall.themeDir": THEME_DIR,
    "wrenfall.openSupportUrl": "1",
    "wrenfall.crashTypeId": "7",
    "wrenfall.sdkVersion": "9.0.0-dev",
}


class CrashTest(EndToEndTest):
    def test_crash_becomes_report(self):
        attachment = self.folder / "notes ü.txt"
        attachment.write_text("attached")
        host = self.host(crash_type_id=7, minidump_flags=4096, user="Jürgen", notes="n" * 5000, key="K",
                         theme_dir=THEME_DIR, attachment=[windows_path(attachment), windows_path(self.folder / "no")])
        pid = int(host.do("pid"))
        host.crash("exception")
        folder = self.only_report()
        record = self.record(folder)
        expected = {
            "appName": "Test Host", "appVersion": "1.2/3", "database": "127", "crashTypeId": "7",
            "user": "Jürgen", "notes": "n" * 5000, "key": "K", "email": "",
            "captureBackend": "crashpad", "reportKind": "crash", "dumpFormat": "minidump",
            "dumpType": "normal", "uploadPolicy": "manual", "quietMode": False,
            "platform": "windows", "arch": "x64", "sdkVersion": "9.0.0-dev", "ownerPid": 0,
            "processId": pid, "attachments": ["notes ü.txt"], "retryCount": 0,
            "signalOrExceptionCode": "0xE0000042",
        }
        self.assertEqual(expected, {key: record[key] for key in expected})
        self.assertRegex(record["osVersion"], r"^Windows .* x64$")
        self.assertRegex(record["locale"], r"^[a-z]{2,3}(-\w+)*$")
        self.assertEqual("attached", (folder / "notes ü.txt").read_text())
        self.check_dump(self.dump(folder), 0xE0000042, pid)

    def check_dump(self, dump, code, pid):
        self.assertEqual(code, dump.exception_code)
        self.assertGreaterEqual(dump.thread_count, 1)
        modules = [name.replace("\\", "/").split("/")[-1].lower() for name in dump.module_names]
        self.assertEqual("test_host.exe", modules[0])
        self.assertIn("wrenfall.dll", modules)
        startup = dict(dump.startup_annotations)
        session = startup.pop("wrenfall.session").split("-")
        self.assertEqual(str(pid), session[0])
        self.assertGreater(int(session[1]), 130_000_000_000_000_000)  # a FILETIME of this century
        self.assertEqual(windows_path(self.store), startup.pop("wrenfall.store"))
        self.assertIn("WrenfallReporter.exe", startup.pop("wrenfall.reporter"))
        self.assertEqual(STARTUP, startup)
        live = dict(dump.live_annotations)
        self.assertEqual("Jürgen", live["user"])
        self.assertEqual("n" * 5000, live["notes"])
        self.assertTrue(live["wrenfall.environment"].startswith("Windows"))
        self.assertNotIn("email", live)

    def test_former_monitors_end_when_a_later_run_is_up(self):
        """Whether the handlers end by themselves or not; and each run's crash is one report."""
        for settings in self.monitors():
            with self.subTest(**settings):
                host = self.host(**settings)
                for last in (False, False, True):
                    host.do("shutdown")
                    self.assertEqual(2, len(self.companions()))  # until then they see a crash
                    host.set_options(self.store, **settings)
                    self.assertEqual("0", host.do("init"), self.log())
                    if not last:  # the crash finds two monitors, one of which is about to end
                        wait_for(lambda: len(self.companions()) == 2, what="the end of the former monitor and handler")
                host.crash("access-violation")
                folder = self.only_report()
                wait_for(lambda: not self.companions(), what="the end of the companions")
                self.assertNotIn("no dump of a crash came", self.log())
                self.assertNotIn("started again", self.log())
                shutil.rmtree(folder)

    def companions(self):
        return processes("--initial-client-data", windows_path(self.store))

    def test_handler_that_was_killed_is_replaced(self):
        for settings in self.monitors():
            with self.subTest(**settings):
                host = self.host(**settings)
                before = self.log().count("started again")
                end_process(self.only_process("crashpad_handler.exe", windows_path(self.store)))
                wait_for(lambda: self.log().count("started again") > before, what="another handler")
                self.assertEqual("0", host.do("capture"), self.log())
                host.crash("access-violation")
                kinds = sorted(self.record(folder)["reportKind"] for folder in self.wait_for_reports(2))
                self.assertEqual(["capture", "crash"], kinds)
                for folder in self.report_folders():
                    shutil.rmtree(folder)

    def test_host_that_a_killed_handler_left_suspended_is_resumed_under_a_debugger(self):
        debugger, host = self.host(init=False), self.host()
        pid = host.do("pid")
        self.assertEqual(("1", "0"), (debugger.do("debug", pid), debugger.do("suspend", pid)))
        end_process(self.only_process("crashpad_handler.exe", windows_path(self.store)))
        wait_for(lambda: f"Process {pid} resumed: its capture handler ended" in self.log(), what="the line about it")
        wait_for(lambda: "started again" in self.log(), what="another handler")
        self.assertEqual("0", host.do("capture"), self.log())

    def test_larger_dump_types_hold_more(self):
        sizes = []  # the stand-in's writer under Wine knows no type between a small and a full dump
        for number, name in ((0, "normal"), (1, "heap"), (2, "full"), (3, "normal")):
            self.store = self.folder / str(number)
            self.assertEqual("0", self.host(dump_type=number).do("capture"))
            folder = self.only_report()
            record = self.record(folder)
            self.assertEqual(name if STAND_IN else "normal", record["dumpType"])  # what was written
            sizes.append((folder / record["dumpFile"]).stat().st_size)
        if STAND_IN:
            self.assertLess(2 * max(sizes[:2]), sizes[2])

    def test_second_run_in_one_process(self):
        host = self.host(user="first", notes="only in the first")
        host.do("shutdown")
        host.set_options(self.store, version="2", user="second")
        self.assertEqual("0", host.do("init"))
        wait_for(lambda: len(processes("crashpad_handler.exe", self.folder.name)) == 1, what="the first handler's end")
        database = windows_path(self.store / "crashpad")
        self.assertTrue(processes("crashpad_handler.exe", "--no-periodic-tasks", "--no-rate-limit",
                                  f"--database={database}", f"--metrics-dir={database}"))
        host.crash("access-violation")
        record = self.record(self.only_report())
        self.assertEqual(("second", "", "2", "1"),
                         tuple(record[key] for key in ("user", "notes", "appVersion", "crashTypeId")))

    def test_limits_of_init(self):
        host = self.host(init=False, attachment=[f"Z:\\{i}" for i in range(25)])
        for i in range(64):
            host.call("options_set_attribute", f"name {i:02}", str(i))
        host.call("options_set_attribute", "name 00", "too late")
        host.call("options_set_attribute", "name 64", "too many")
        self.assertEqual("0", host.do("init"))
        pid = host.do("pid")
        (session,) = (self.store / "sessions").iterdir()
        self.assertTrue(session.name.startswith(pid + "-") and session.name.endswith(".json"))
        start = int(session.name[len(pid) + 1:-len(".json")])
        self.assertEqual(
            {"pid": int(pid), "startTime": start, "attachments": [f"Z:\\{i}" for i in range(24)]},
            json.loads(session.read_text()))
        host.do("capture")
        attributes = self.record(self.only_report())["attributes"]
        self.assertEqual({f"name {i:02}": str(i) for i in range(64)}, attributes)
        host.do("shutdown")
        self.assertFalse(session.exists())

    def test_dumps_of_a_run_without_monitor_are_adopted(self):
        """The handler outlives its monitor, and the next monitor makes reports of what it wrote."""
        note = self.folder / "note.txt"
        note.write_text("x")
        host = self.host(init=False, attachment=windows_path(note))
        host.call("options_set_hang_detection", 500, 0)
        host.call("hang_pause")
        self.assertEqual("0", host.do("init"))
        monitor = self.only_process("WrenfallMonitor.exe", self.folder.name)
        end_process(monitor)
        wait_for(lambda: not alive(monitor), what="the end of the monitor")
        self.assertEqual("0", host.do("capture"), self.log())
        host.call("hang_resume")
        wait_for(lambda: "INFO hang report captured" in self.log(), what="the hang report")
        host.crash("access-violation")
        self.assertEqual([], self.report_folders())
        self.host()
        records = map(self.record, self.wait_for_reports(3))
        self.assertEqual([("capture", ["note.txt"]), ("crash", ["note.txt"]), ("hang", ["note.txt"])],
                         sorted((record["reportKind"], record["attachments"]) for record in records))

    def test_two_hosts_share_a_store(self):
        hosts = [self.host(user=name) for name in ("one", "two")]
        for host in hosts:
            host.do("capture")
        for host in hosts:
            host.crash("access-violation")
        records = [self.record(folder) for folder in self.wait_for_reports(4)]
        self.assertEqual(
            [("capture", "one"), ("capture", "two"), ("crash", "one"), ("crash", "two")],
            sorted((record["reportKind"], record["user"]) for record in records))

    @unittest.skipUnless(STAND_IN, "the line is the stand-in's")
    def test_a_host_that_is_ended_during_a_capture_has_not_crashed(self):
        for _ in range(5):  # a busy machine may complete the dump before
            host = self.host(dump_type=2)
            host.do("fill_memory", 300)
            capture = threading.Thread(target=host.do, args=("capture",))
            capture.start()
            wait_for(lambda: self.is_being_written(16 << 20) or not capture.is_alive(), what="a dump being written")
            end_process(host.process.pid)
            capture.join()
            wait_for(lambda: not self.companions(), what="the end of the companions")
            if "the process was ended meanwhile\n" in self.log():
                break
        self.assertIn("the process was ended meanwhile\n", self.log())
        self.assertNotIn("crash", [self.record(folder)["reportKind"] for folder in self.report_folders()])

    def is_being_written(self, size):
        """Whether the handler has written more bytes of a dump."""
        with contextlib.suppress(FileNotFoundError):  # the monitor moves it
            return any(path.stat().st_size > size for path in self.store.glob("crashpad/reports/*.dmp"))

    def test_example_in_cpp(self):
        _, out, err = run_program(BIN / "session.exe", windows_path(self.store))
        lines = (out + err).split("\r\n")
        self.assertEqual(["1 left", "attribute without a name: something that is required is missing", "last run: 0",
                          "pending: a capture", "pending: a report of its own", "posted, HTTP status 0",
                          "second session: the library is initialized already"], sorted(filter(None, lines)))
        self.assertIn("INFO wrenfall shutdown\n", self.log())
        folder = self.only_report()
        self.assertEqual(("customer 4711", {"language": "C++"}),
                         (self.record(folder)["user"], self.record(folder)["attributes"]))
        (crumb,) = json.loads((folder / "breadcrumbs.json").read_text("utf-8"))
        self.assertEqual(("work", "the long part begins"), (crumb["category"], crumb["message"]))


if __name__ == "__main__":
    unittest.main(verbosity=2)
