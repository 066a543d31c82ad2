"""What the end-to-end tests share: a host process, its store, and the crash-collection service."""

import contextlib
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

from programs import (BIN, BUILD, ON_WINDOWS, ROOT, alive, command_lines, end_process, freeze_process, has_module,
                      limit_files, link_folder, local_path, long_path, processes, run_program, start_program, unix_alone, windows_path)

SERVICE_PORT = int((BUILD / "service-port").read_text())  # what the library reaches as database "127"

sys.path.insert(0, str(ROOT / "tools" / "crash_service"))

import minidump
from service import CrashService

RECORD = "WrenfallCrashData.json"
OTHER_HANDLER = BIN / "other_handler"
# The stand-in's handler heeds the dump type. An installed Crashpad's decides itself what a dump holds, and has no other
# handler beside it.
STAND_IN = (BUILD / "crashpad-handler").read_text().strip() == "stand-in"


def wait_for(condition, seconds=30.0, what="it"):
    """The condition's first true value; fails the test when there is none in time."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"{what} did not happen within {seconds} s")
        time.sleep(0.05)


class Host:
    """A test_host process. `do` sends one command and returns its answer."""

    def __init__(self, folder=BIN, exit_code_file=None):
        for _ in range(3):
            # Keeps this process's signal settings: a write beyond the limit of file sizes fails, but ends no host.
            program = [Path(folder) / "test_host.exe"]
            if exit_code_file:
                program = [BIN / "exit_code.exe", windows_path(exit_code_file), *program]
            self.process = start_program(*program, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, restore_signals=False)
            # At random addresses Wine cannot start a program now and then. Its loader then ends with 1, which would look
            # like the host's exit code.
            with contextlib.suppress(BrokenPipeError):
                if self.do("pid"):
                    return
            self.close()
        raise AssertionError(f"Wine did not start the host: exit code {self.process.returncode}")

    def do(self, *words):
        self.process.stdin.write(("\t".join(map(str, words)) + "\n").encode())
        self.process.stdin.flush()
        return self.process.stdout.readline().decode().rstrip("\r\n")

    def call(self, name, *arguments):
        """Calls an exported function that has no command of its own; its result."""
        return self.do("call", name, *(f"#{one}" if isinstance(one, int) else f"'{one}" for one in arguments))

    def set_options(self, store, name="Test Host", version="1.2/3", **options):
        """Those of the next init. A list calls the setter for each of its values, a tuple holds its arguments."""
        self.do("options", "127", name, version)
        for option, value in {"store_dir": windows_path(store), "upload_policy": 2, **options}.items():
            for one in value if isinstance(value, list) else [value]:
                if option in ("crash_at_message", "crash_while_starting", "note_messages"):
                    self.do("logger", option, one)
                else:
                    self.call("options_add_attachment" if option == "attachment" else "options_set_" + option,
                              *(one if isinstance(one, tuple) else (one,)))

    def send(self, folder):
        """Result and HTTP status."""
        return tuple(map(int, self.do("send", windows_path(folder)).split()[:2]))

    def pending(self):
        """The names of the pending reports' folders, sorted."""
        return sorted(local_path(path).name for path in filter(None, self.do("pending").split("\t")))

    def crash(self, kind, seconds=60):
        """Crashes, and waits for the end of the process."""
        self.process.stdin.write(f"crash\t{kind}\n".encode())
        self.process.stdin.flush()
        self.process.wait(seconds)

    def close(self):
        """Lets the process end by itself; its exit code."""
        if not self.process.stdin.closed:
            with contextlib.suppress(BrokenPipeError):
                self.process.stdin.close()
        try:
            return self.process.wait(60)
        finally:
            if self.process.poll() is None:
                self.process.kill()
                self.process.wait()
            self.process.stdout.close()


def start_service(test, folder):
    """A crash-collection service where the library of this build looks for it, until the test ends."""
    service = CrashService(folder, port=SERVICE_PORT, certificates=BUILD / "certificates")
    service.start()
    test.addCleanup(service.stop)
    return service


class EndToEndTest(unittest.TestCase):
    """A test with a store of its own, in a folder with blanks and letters beyond ASCII."""

    maxDiff = None

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="wrenfall tést ", dir=BUILD))
        self.addCleanup(shutil.rmtree, long_path(self.folder), ignore_errors=True)
        self.store = self.folder / "störe"

    def host(self, init=True, folder=BIN, exit_code_file=None, **options):
        """A running host; options go to the setters. With `init` the library is initialized."""
        host = Host(folder, exit_code_file)
        self.addCleanup(host.close)
        host.set_options(self.store, **options)
        if init:
            self.assertEqual("0", host.do("init"), self.log())
        return host

    def other_monitor(self):
        """A monitor beside a handler that behaves as Crashpad's own; the value for the option."""
        folder = self.folder / "other"
        if not folder.exists():  # a program that is copied again cannot be started meanwhile
            shutil.copytree(OTHER_HANDLER, folder)
            shutil.copy(BIN / "WrenfallMonitor.exe", folder)
        return windows_path(folder / "WrenfallMonitor.exe")

    def monitors(self):
        """The options of a host for each handler that this build has."""
        return [{}, {"monitor_path": self.other_monitor()}] if OTHER_HANDLER.is_dir() else [{}]

    def log(self):
        path = self.store / "Wrenfall.log"
        # Under Wine two processes that write at the same moment may garble a line.
        return path.read_text("utf-8", "replace") if path.exists() else ""

    @staticmethod
    def only_process(*words):
        """The process whose command line holds all the words, once one of an earlier run has ended."""
        return wait_for(lambda: len(found := processes(*words)) == 1 and found, what=f"one process of {words}")[0]

    def report_folders(self):
        if not self.store.exists():
            return []
        return sorted(path.parent for path in self.store.glob("*/" + RECORD))

    def wait_for_reports(self, count):
        return wait_for(lambda: len(self.report_folders()) >= count and self.report_folders(),
                        what=f"report {count} in the store")

    def only_report(self):
        folders = self.wait_for_reports(1)
        self.assertEqual(1, len(folders))
        return folders[0]

    @staticmethod
    def record(folder):
        return json.loads((folder / RECORD).read_text("utf-8"))

    def dump(self, folder):
        return minidump.Minidump((folder / self.record(folder)["dumpFile"]).read_bytes())

    def check_shown_thread(self, dump, thread):
        """The dump names the thread, and the registers that it shows are of its stack."""
        self.assertEqual(thread, dump.exception_thread)
        start, size = dump.stacks[thread]
        self.assertTrue(start <= dump.stack_pointer(dump.exception_context) < start + size)

    def make_report(self, name="report", age=0, **fields):
        """Puts a report folder of one small file into the store, `age` seconds old. As the monitor does, it writes the record
        last and in one step, because other programs may look at the store at any moment."""
        folder = self.store / name
        folder.mkdir(parents=True)
        data, written = folder / "data.txt", folder / (RECORD + ".new")
        data.write_text("some data")
        record = {"database": "127", "appName": "Test Host", "appVersion": "1.2/3", "crashTypeId": "1",
                  **fields}
        written.write_text(json.dumps(record), "utf-8")
        for file in (data, written):
            os.utime(file, (time.time() - age,) * 2)
        written.replace(folder / RECORD)
        return folder


class ServiceTest(EndToEndTest):
    """With a crash-collection service as well."""

    def setUp(self):
        super().setUp()
        self.service = start_service(self, self.folder / "service")
