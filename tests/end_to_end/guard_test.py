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

FILLED_MB = 200  # of a host's memory, so that its dump takes long enough to strike in the middle of it

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
        self.stopped = []
        test.addCleanup(self.close)

    def init(self, application="Guard Test", dump_type=0):
        self.host.set_options(self.store, application, dump_type=dump_type, **self.monitor)
        assert self.host.do("init") == "0", self.log()

    def log(self):
        return (self.store / "Wrenfall.log").read_text("utf-8", "replace")

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

    def close(self):
        self.end_stopped()
        self.host.close()

    def run(self, names, blow, when, message):
        """False when the strike came too late."""
        waits_long = blow == freeze_process or (self.resumed and MONITOR in names)
        with contextlib.nullcontext() if waits_long else DUMPS:
            is_in_time = self.lose(names, blow, when, message)
        if is_in_time:
            with DUMPS:
                self.start_again(slow=(blow, when) == (freeze_process, "before"))
        return is_in_time

    def lose(self, names, blow, when, message):
        self.init(dump_type=2 if when == "middle" else 0)
        if when == "middle":
            self.host.do("fill_memory", FILLED_MB)
            striker = threading.Thread(target=self.strike_in_the_middle, args=(names, blow))
            striker.start()
        else:
            self.strike(names, blow)
        low, high = (115, 170) if blow == freeze_process else (0, 150)
        answer, seconds = self.capture()
        if when == "middle":
            striker.join()
            if answer == "0":
                wait_for(lambda: self.has_dump(FILLED_MB << 20), what="the dump of a capture that succeeded")
                return False
        assert answer == "5" and low <= seconds <= high, (answer, seconds, self.log())
        assert LOST + message in self.log(), self.log()
        if self.resumed:
            wait_for(lambda: f"resumed: {self.resumed}\n" in self.log(), what="the line about it")
        if (names, blow) == ((HANDLER,), end_process):  # the monitor starts another one
            wait_for(lambda: self.host.do("capture") == "0", 150, "the end of the damage")
        else:
            answer, seconds = self.capture()
            assert answer == "5" and seconds <= 20, (answer, seconds, self.log())
        return True

    def capture(self):
        """The answer, and the seconds until it came."""
        started = time.monotonic()
        return self.host.do("capture"), time.monotonic() - started

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
        # Its file is there before the host is suspended, and at the beginning single threads are suspended once more: a host
        # whose handler and monitor are frozen then has nobody who resumes it. All the memory comes last.
        wait_for(lambda: self.has_dump(16 << 20), what="a dump being written")
        self.strike(names, blow)
        if self.resumed and MONITOR in names:
            self.helper.set_options(self.store, "Helper")
            assert self.helper.do("init") == "0", self.log()

    def has_dump(self, size):
        """Whether the store holds a dump of more bytes."""
        with contextlib.suppress(FileNotFoundError):  # the monitor moves it
            return any(path.stat().st_size > size for path in self.store.rglob("*.dmp"))

    def crash(self):
        self.init()
        self.strike((HANDLER, MONITOR), freeze_process)
        started = time.monotonic()
        self.host.crash("access-violation", seconds=170)
        assert time.monotonic() - started > (115 if STAND_IN else 55)


def play(test, name, resumed, *story):
    """Plays a case; again, at most twice, when a busy machine lets the strike come after the dump is complete."""
    for turn in range(3):
        case = Case(test, f"{name} {turn}", resumed)
        is_in_time = case.run(*story)
        case.close()
        if is_in_time:
            return
    raise AssertionError("each strike came too late")


class GuardTest(EndToEndTest):
    def test_every_wait_has_an_end(self):
        cases = [case for case in CASES if STAND_IN or case[2] != "middle"]
        self.monitors()  # copies the other handler before the cases share it
        with concurrent.futures.ThreadPoolExecutor(len(cases) + 1) as pool:  # most of the time is waiting
            plays = [(case, pool.submit(play, self, f"störe {number}", *(case[4:] or (None,)), *case[:4]))
                     for number, case in enumerate(cases)]
            plays.append(("crash", pool.submit(Case(self, f"störe {len(cases)}").crash)))
        self.assertEqual([], [(case, repr(play.exception())) for case, play in plays if play.exception()])
        if len(cases) < len(CASES):
            with self.subTest(when="middle"):
                self.skipTest("an installed Crashpad writes no dump so large that it can be struck in the middle")


if __name__ == "__main__":
    unittest.main(verbosity=2)
