"""No call of a host waits without end for a capture handler or a monitor that is dead or does not answer."""

import concurrent.futures
import contextlib
import threading
import time
import unittest

from harness import (RECORD, STAND_IN, EndToEndTest, Host, alive, end_process, freeze_process, processes, wait_for,
                     windows_path)

HANDLER, MONITOR = "crashpad_handler.exe", "WrenfallMonitor.exe"
LOST = "ERROR Capture failed: the capture handler "

ENDED, SILENT = "ended before the dump was written", "has not answered for 120 s"
CASES = [
    # the processes, what happens to them, when, what the library says of it
    ((MONITOR, HANDLER), end_process, "before", "has ended"),
    ((HANDLER,), end_process, "middle", ENDED),
    ((MONITOR, HANDLER), end_process, "middle", ENDED),
    ((HANDLER, MONITOR), freeze_process, "before", SILENT),
    ((HANDLER, MONITOR), freeze_process, "middle", SILENT),
    # with a handler that suspends every thread of the host: who resumes it
    ((HANDLER,), end_process, "middle", ENDED, "its capture handler ended in the middle of a dump"),
    ((HANDLER,), freeze_process, "middle", SILENT, "its capture handler has kept it suspended for 60 s"),
    ((MONITOR, HANDLER), end_process, "middle", ENDED, "it was left suspended by a monitor that has ended"),
]


# Dumps of many hosts at once would take so long that the library gave them up.
DUMPS = threading.Lock()


class Case:
    """One host with a store of its own, and what is done to it."""

    def __init__(self, test, name, resumed=None):
        self.store = test.folder / name
        self.resumed = resumed
        self.monitor = {"monitor_path": test.other_monitor()} if resumed else {}
        self.host = Host()
        self.helper = Host()  # another process of the program
        test.addCleanup(self.helper.close)
        test.addCleanup(self.host.close)
        self.stopped = []
        test.addCleanup(self.end_stopped)

    def init(self, application="Guard Test", dump_type=0):
        self.host.set_options(self.store, application, dump_type=dump_type, **self.monitor)
        assert self.host.do("init") == "0", self.log()

    def log(self):
        return (self.store / "Wrenfall.log").read_text("utf-8")

    def strike(self, names, blow):
        pids = []
        for name in names:
            pids += wait_for(lambda name=name: processes(name, windows_path(self.store)), what=name)
        for pid in pids:
            blow(pid)
        if blow == freeze_process:
            self.stopped += pids
        else:
            wait_for(lambda: not any(map(alive, pids)), what=f"the end of {names}")

    def end_stopped(self):
        for pid in self.stopped:
            end_process(pid)
        self.stopped.clear()

    def run(self, names, blow, when, message):
        waits_long = blow == freeze_process or (self.resumed and MONITOR in names)
        with contextlib.nullcontext() if waits_long else DUMPS:
            self.lose(names, blow, when, message)
        with DUMPS:
            self.start_again(slow=(blow, when) == (freeze_process, "before"))

    def lose(self, names, blow, when, message):
        # A dump of all memory takes long enough to strike in the middle of it.
        self.init(dump_type=2 if when == "middle" else 0)
        if when == "middle":
            self.host.do("fill_memory", 600)
            striker = threading.Thread(target=self.strike_in_the_middle, args=(names, blow))
            striker.start()
        else:
            self.strike(names, blow)
        low, high = (115, 170) if blow == freeze_process else (0, 150)
        self.capture_in_vain(low, high)
        if when == "middle":
            striker.join()
        assert LOST + message in self.log(), self.log()
        if self.resumed:
            wait_for(lambda: f"resumed: {self.resumed}\n" in self.log(), what="the line about it")
        if (names, blow) == ((HANDLER,), end_process):  # the monitor starts another one
            wait_for(lambda: self.host.do("capture") == "0", 60, "the end of the damage")
        else:
            self.capture_in_vain(0, 20)

    def capture_in_vain(self, low, high):
        started = time.monotonic()
        assert self.host.do("capture") == "5", self.log()
        assert low <= time.monotonic() - started <= high, time.monotonic() - started

    def start_again(self, slow):
        if slow:
            # A handler that was only slow is trusted again once it has answered.
            for pid in self.stopped:
                freeze_process(pid, False)
            self.stopped.clear()
            wait_for(lambda: self.host.do("capture") == "0", 120, "the slow handler's return")
        started = time.monotonic()
        self.host.do("shutdown")
        assert time.monotonic() - started < 20
        self.init("Second")
        assert self.host.do("capture") == "0", self.log()
        wait_for(lambda: any('"Second"' in path.read_text("utf-8") for path in self.store.glob("*/" + RECORD)),
                 what="the second run's report")

    def strike_in_the_middle(self, names, blow):
        # Its file is there before the host is suspended.
        def is_under_way():
            with contextlib.suppress(FileNotFoundError):
                return any(path.stat().st_size > 0 for path in self.store.glob("crashpad/reports/*.dmp"))

        wait_for(is_under_way, what="a dump being written")
        self.strike(names, blow)
        if self.resumed and MONITOR in names:
            self.helper.set_options(self.store, "Helper")
            assert self.helper.do("init") == "0", self.log()

    def crash(self):
        self.init()
        self.strike((HANDLER, MONITOR), freeze_process)
        started = time.monotonic()
        self.host.crash("access-violation", seconds=170)
        assert time.monotonic() - started > (115 if STAND_IN else 55)


class GuardTest(EndToEndTest):
    def test_every_wait_has_an_end(self):
        cases = [case for case in CASES if STAND_IN or case[2] != "middle"]
        with concurrent.futures.ThreadPoolExecutor(len(cases) + 1) as pool:  # most of the time is waiting
            plays = [(case, pool.submit(Case(self, f"störe {number}", *case[4:]).run, *case[:4]))
                     for number, case in enumerate(cases)]
            plays.append(("crash", pool.submit(Case(self, f"störe {len(cases)}").crash)))
        self.assertEqual([], [(case, repr(play.exception())) for case, play in plays if play.exception()])
        if len(cases) < len(CASES):
            with self.subTest(when="middle"):
                self.skipTest("an installed Crashpad writes no dump so large that it can be struck in the middle")


if __name__ == "__main__":
    unittest.main(verbosity=2)
