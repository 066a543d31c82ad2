"""Holds the table of docs/crash-coverage.md: what becomes of every kind of crash."""

import contextlib
import os
import re
import time
import unittest
from pathlib import Path

from harness import (BIN, ON_WINDOWS, ROOT, EndToEndTest, end_process, has_module, processes, run_program,
                     start_service, unix_alone, wait_for, windows_path)

DOCUMENT = ROOT / "docs" / "crash-coverage.md"

# Test: options of the host, what it does first, and the kind of crash that follows where it is not the test's name.
# A message at which the logging callback crashes needs no other crash.
STORIES = {
    "before-init": ({}, [], "access-violation"),
    "init-before-handler": ({"crash_at_message": "wrenfall 9"}, ["init"], None),
    "init-after-handler": ({"crash_at_message": "SetUnhandledExceptionFilter guarded"}, ["init"], None),
    "logging-callback": ({"crash_at_message": "holds no report"}, ["init", "send\tZ:\\no"], None),
    "stack-overflow-thread-unguaranteed": ({"stack_guarantee": 0}, ["init"], "stack-overflow-thread"),
    "stack-overflow-older-thread": ({}, ["crash\tolder-thread", "init"], "stack-overflow-older-thread"),
    "after-shutdown": ({}, ["init", "shutdown"], "access-violation"),
    "foreign-filter-unguarded": ({"protect_exception_filter": 0}, ["init"], "foreign-filter"),
}


def rows():
    """(test, what the document says of this platform, seconds) of each row that has a test."""
    pattern = r"^\|[^|]+\| `([\w-]+)` \|([^|]+)\| (\d+) s \|([^|]+)\|"
    found = re.findall(pattern, DOCUMENT.read_text("utf-8"), re.M)
    return [(test, on_windows if ON_WINDOWS else under_wine, int(seconds)) for test, under_wine, seconds, on_windows in found]


def outcomes(cell):
    """The exit code of each outcome that a cell of the document allows; None where any will do, as on Windows alone."""
    found = re.findall(r"\b(report|none|goes on)\b(?:, (0x[0-9A-F]{8}))?", cell)
    return {outcome: int(code, 16) if code else None if ON_WINDOWS else 0 for outcome, code in found}


class CrashCoverageTest(EndToEndTest):
    def test_table(self):
        self.assertGreater(len(rows()), 25)
        self.assertLessEqual(set(STORIES), {test for test, *_ in rows()})
        for test, cell, seconds in rows():
            with self.subTest(test=test):
                self.store = self.folder / test
                end, threads = self.play(test, seconds)
                # -1 is the host's answer after a crash that was none.
                for dump in self.dumps_after(test, end, cell, goes_on=threads[-1:] == [-1]):
                    self.assertIn(dump.exception_thread, threads)
                    self.assertTrue(any(name.endswith("test_host.exe") for name in dump.module_names))

    def dumps_after(self, test, end, cell, goes_on=False):
        """The dumps of kind "crash" of a host that ended so, at most one, once it is known that the cell allows it all."""
        wait_for(lambda: not processes("WrenfallMonitor.exe", self.folder.name, test), what="the end of the monitor")
        dumps = self.dumps("crash")
        outcome = "report" if dumps else "goes on" if goes_on else "none"
        self.assertIn(outcome, outcomes(cell))
        self.assertIn(outcomes(cell)[outcome], (end, None), f"{outcome}, 0x{end:08X}")
        self.assertEqual([end] if outcome == "report" else [], [dump.exception_code for dump in dumps])
        return dumps

    def play(self, test, seconds):
        """Tells a host the whole story at once; its exit code and the threads that it named."""
        options, commands, kind = STORIES.get(test, ({}, ["init"], test))
        file = self.folder / "exit code"
        host = self.host(init=False, exit_code_file=file, **options)
        if kind is not None:
            commands = commands + ["crash\t" + kind]
        start = time.monotonic()
        output, _ = host.process.communicate("".join(line + "\n" for line in commands).encode(), timeout=120)
        self.assertLess(time.monotonic() - start, seconds, "from init to the end")
        return int(file.read_text()), [int(word) for word in output.split()]

    def test_a_crash_in_the_middle_of_init_leaves_no_companion_behind(self):
        for milliseconds in range(0, 60, 5):
            host = self.host(init=False, crash_while_starting=milliseconds)
            host.process.communicate(b"init\n", timeout=120)
        time.sleep(1)  # for those that have not read their program yet
        # What Wine leaves of a process that was ended before it had read its program waits for ever, but is no process to
        # Wine any more. One that a host left suspended has read it.
        wait_for(lambda: not any(has_module(pid, "WrenfallMonitor.exe")
                                 for pid in processes("WrenfallMonitor.exe", self.folder.name)),
                 what="the end of the monitors")
        for pid in processes("WrenfallMonitor.exe", self.folder.name):
            end_process(pid)

    def test_companions_hold_none_of_the_hosts_standard_handles(self):
        unix_alone("it reads what the Unix below Wine says of open files")
        service = start_service(self, self.folder / "service")
        service.fail("first", never=True)
        host = self.host(upload_policy=1)
        self.assertEqual("0", host.do("capture"))
        pipes = {os.readlink(f"/proc/self/fd/{end.fileno()}") for end in (host.process.stdin, host.process.stdout)}
        # Monitor, handler, and the reporter, which waits for the service. Each has the store among its arguments.
        wait_for(lambda: service.requests, what="the reporter's request")
        companions = wait_for(lambda: len(found := processes(self.folder.name)) == 3 and found, what="three companions")
        for pid in companions:
            for entry in Path(f"/proc/{pid}/fd").iterdir():
                with contextlib.suppress(FileNotFoundError):  # closed since it was listed
                    self.assertNotIn(os.readlink(entry), pipes)

    def dumps(self, kind):
        return [self.dump(folder) for folder in self.report_folders() if self.record(folder)["reportKind"] == kind]

    def test_example_reports_failures_of_its_runtime(self):
        played = re.findall(r"^\|[^|]+\| `([\w-]+)` \|([^|]+)\|([^|]+)\|$",
                            DOCUMENT.read_text("utf-8").partition("## What a host should install")[2], re.M)
        self.assertEqual(6, len(played))
        for kind, under_wine, on_windows in played:
            with self.subTest(kind=kind):
                cell = on_windows if ON_WINDOWS else under_wine
                self.store = self.folder / kind
                file = self.folder / "exit code 試"
                run_program(BIN / "exit_code.exe", windows_path(file), BIN / "runtime_failures.exe", windows_path(self.store), kind)
                if self.dumps_after(kind, end := int(file.read_text()), cell):
                    record = self.record(self.only_report())
                    self.assertEqual(f"0x{end:08X}", record["signalOrExceptionCode"])
                    self.assertEqual({"wrenfall.what": "nobody catches this"} if "wrenfall.what" in cell else {}, record["attributes"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
