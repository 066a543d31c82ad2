"""How the last run ended, as the next one is told: with processes that end in each way."""

import json
import threading
import unittest

from harness import BIN, EndToEndTest, alive, end_process, freeze_process, run_program, wait_for, windows_path

NONE, CLEAN, CRASHED, HUNG, ENDED, UNKNOWN = range(6)


class LastRunTest(EndToEndTest):
    def start(self, **options):
        """A host, and what it is told of the last run."""
        host = self.host(**options)
        return host, dict(zip(("state", "exception", "exit", "start", "end", "crashes", "uptime"),
                              map(int, host.do("last_run").split())))

    def file(self):
        return json.loads((self.store / "last_run.json").read_text())

    def end_companion(self, program):
        pid = self.only_process(program, self.folder.name)
        end_process(pid)
        wait_for(lambda: not alive(pid), what="the companion's end")

    def kill_monitor(self, host):
        self.end_companion("WrenfallMonitor.exe")
        host.process.kill()

    def slow_monitor(self, _):
        """The library itself waits for this one's record of the end."""
        monitor = self.only_process("WrenfallMonitor.exe", self.folder.name)
        freeze_process(monitor)
        timer = threading.Timer(1, freeze_process, (monitor, False))
        self.addCleanup(timer.join)
        timer.start()

    def lose_handler(self):
        before = self.log().count("started again")
        self.end_companion("crashpad_handler.exe")
        wait_for(lambda: self.log().count("started again") > before, what="another handler")

    def test_each_end(self):
        rows = [
            ("clean", lambda host: host.do("shutdown"), (CLEAN, 0, 0, 0)),
            ("crash", lambda host: host.crash("access-violation"), (CRASHED, 0xC0000005, 0xC0000005, 1)),
            ("another crash", lambda host: host.crash("exception"), (CRASHED, 0xE0000042, 0xE0000042, 2)),
            ("killed monitor", self.kill_monitor, (UNKNOWN, 0, 0, 2)),
            ("no dump", lambda host: host.crash("fail-fast"), (CRASHED, 0xC0000409, 0xC0000409, 3)),
            ("no shutdown", lambda host: host.close(), (ENDED, 0, 0, 0)),
            ("slow monitor", self.slow_monitor, (ENDED, 0, 0, 0)),
            ("lost handler", lambda host: self.lose_handler(), (ENDED, 0, 0, 0)),
            ("clean without a handler", lambda host: (self.lose_handler(), host.do("shutdown")), (CLEAN, 0, 0, 0)),
        ]
        host, last = self.start()
        self.assertEqual(NONE, last["state"])
        for name, end, expected in rows:
            end(host)
            host.close()
            if name not in ("killed monitor", "slow monitor"):
                wait_for(lambda: self.file()["run"]["state"] != "running", what="the record of the end")
            before = self.file()["run"]["startTime"]
            host, last = self.start()
            with self.subTest(name):
                self.assertEqual(expected, (last["state"], last["exception"], last["exit"], last["crashes"]))
                self.assertEqual(before, last["start"])
                known = last["state"] != UNKNOWN
                self.assertEqual(known, last["start"] < last["end"])
                self.assertEqual(last["end"] - last["start"] if known else 0, last["uptime"])
                # Asked again it says the same.
                self.assertEqual(str(last["state"]), host.do("last_run").split()[0])

    def test_hang_that_was_ended(self):
        host, _ = self.start()
        host.do("shutdown")
        host.set_options(self.store)
        host.call("options_set_hang_detection", 500, 1)
        host.do("init")
        host.process.wait(60)
        _, last = self.start()
        self.assertEqual((HUNG, 0), (last["state"], last["crashes"]))

    def test_runs_of_one_store_at_once_and_damage(self):
        first, _ = self.start()
        second, last = self.start()
        self.assertEqual(UNKNOWN, last["state"])
        first.close()
        wait_for(lambda: second.do("last_run").split()[0] == str(ENDED), what="the end of the first run")
        second.close()
        wait_for(lambda: self.file()["run"]["state"] == "ended", what="the end of the second run")
        (self.store / "last_run.json").write_text("{")
        self.assertEqual(UNKNOWN, self.start()[1]["state"])

    def test_nobody_asked(self):
        for _ in range(2):
            host = self.host()
            host.crash("access-violation")
        self.wait_for_reports(2)
        self.assertFalse((self.store / "last_run.json").exists())

    def test_safe_mode(self):
        def run(*arguments):
            lines = run_program(BIN / "safe_mode.exe", windows_path(self.store), *arguments)[1].splitlines()
            return lines[0].split(",")[0].split(": ")[1], lines[1].split(": ")[1]
        expected = [("none", "normal"), ("crashed", "normal"), ("crashed", "normal"), ("crashed", "safe"),
                    ("ended", "normal"), ("clean", "normal")]
        actions = ["--crash", "--crash", "--crash", "--just-return", "", ""]
        self.assertEqual(expected, [run(action) for action in actions])


if __name__ == "__main__":
    unittest.main(verbosity=2)
