"""Holds the table of docs/crash-coverage.md: what becomes of every kind of crash."""

import os
import re
import subprocess
import time
import unittest
from pathlib import Path

from harness import (BIN, ROOT, EndToEndTest, end_process, has_module, processes, start_program,
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
    """(test, outcome, code, seconds) of each row that has a test."""
    pattern = r"^\|[^|]+\| `([\w-]+)` \| (report|no report|goes on)(?:, (0x[0-9A-F]{8}))? \| (\d+) s \|"
    found = re.findall(pattern, DOCUMENT.read_text("utf-8"), re.M)
    return [(test, outcome, int(code or "0", 16), int(seconds)) for test, outcome, code, seconds in found]


class CrashCoverageTest(EndToEndTest):
    def test_table(self):
        self.assertGreater(len(rows()), 25)
        self.assertLessEqual(set(STORIES), {test for test, *_ in rows()})
        for test, outcome, code, seconds in rows():
            with self.subTest(test=test):
                self.store = self.folder / test
                end, threads = self.play(test, seconds)
                wait_for(lambda: not processes("WrenfallMonitor.exe", self.folder.name, test),
                         what="the end of the monitor")
                self.assertEqual(code, end)
                dumps = self.dumps("crash")
                self.assertEqual([code] if outcome == "report" else [], [dump.exception_code for dump in dumps])
                if outcome == "report":
                    self.assertIn(dumps[0].exception_thread, threads)
                    self.assertTrue(any(name.endswith("test_host.exe") for name in dumps[0].module_names))
                elif outcome == "goes on":
                    self.assertEqual(-1, threads[-1])  # the host's answer after a crash that was none

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
        start_service(self, self.folder / "service").fail("first", never=True)
        host = self.host(upload_policy=1)
        self.assertEqual("0", host.do("capture"))
        pipes = {os.readlink(f"/proc/self/fd/{end.fileno()}") for end in (host.process.stdin, host.process.stdout)}
        # Monitor, handler, and the reporter, which waits for the service. Each has the store among its arguments.
        companions = wait_for(lambda: len(found := processes(self.folder.name)) == 3 and found, what="the reporter")
        for pid in companions:
            held = {os.readlink(entry) for entry in Path(f"/proc/{pid}/fd").iterdir()}
            self.assertEqual(set(), held & pipes)

    def dumps(self, kind):
        return [self.dump(folder) for folder in self.report_folders() if self.record(folder)["reportKind"] == kind]

    def test_example_reports_failures_of_its_runtime(self):
        played = re.findall(r"^\|[^|]+\| `([\w-]+)` \| report, 0x(\w{8})(, with `wrenfall.what`)? \|",
                            DOCUMENT.read_text("utf-8").partition("## What a host should install")[2], re.M)
        self.assertEqual(6, len(played))
        for kind, code, has_what in played:
            with self.subTest(kind=kind):
                code = int(code, 16)
                self.store = self.folder / kind
                file = self.folder / "exit code"
                start_program(BIN / "exit_code.exe", windows_path(file), BIN / "runtime_failures.exe", windows_path(self.store),
                     kind, stderr=subprocess.DEVNULL).wait(60)
                self.assertEqual(code, int(file.read_text()))
                record = self.record(self.only_report())
                self.assertEqual(f"0x{code:08X}", record["signalOrExceptionCode"])
                self.assertEqual({"wrenfall.what": "nobody catches this"} if has_what else {}, record["attributes"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
