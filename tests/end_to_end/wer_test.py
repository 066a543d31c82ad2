"""The helper module for Windows Error Reporting: what is told about it, and what it does for a crash no filter sees."""

import shutil
import subprocess
import time
import unittest

from harness import BIN, ROOT, EndToEndTest, end_process, processes, run_program, start_program, unix_alone, wait_for, windows_path

KEY = (r"HKLM\SOFTWARE\Microsoft\Windows\Windows Error Reporting"
       r"\RuntimeExceptionHelperModules")
NO_CLAIM, CLAIMED, E_FAIL = "0x00000000 0", "0x80004005 1", "0x80004005"
HOSTILE = ["no information", "other code", "short information", "no thread", "no process",
           "no context", "unreadable context", "foreign context", "other version", "no request",
           "closed request", "a process as request", "no answer", "exception to nowhere", "exception to code"]
# Real fast fails, and codes that are only said to be theirs.
CODES = [0xC0000409, 0xC0000602, 0xC0000374, 0xC000027B]


def registry(*words):
    """The exit code of a program that changes the registry of the prefix."""
    return run_program(*words)[0]


class AllowListTest(EndToEndTest):
    def setUp(self):
        super().setUp()
        self.library = self.folder / "bin"
        self.library.mkdir()
        for name in ("Wrenfall.dll", "WrenfallMonitor.exe", "WrenfallReporter.exe",
                     "crashpad_handler.exe", "test_host.exe"):
            shutil.copy(BIN / name, self.library)
        self.module = self.library / "WrenfallWer.dll"

    def test_missing(self):
        host = self.host(folder=self.library)
        self.assertEqual("0", host.do("has_capability", 2))
        self.assertIn("WARN WrenfallWer.dll not found next to the library; WER coverage disabled\n", self.log())

    def import_list(self, value):
        """Imports the file that installers start from, with this module and value."""
        text = (ROOT / "scripts" / "wrenfall-wer.reg").read_bytes().decode()
        line = text.splitlines()[-1]
        name = windows_path(self.module).replace("\\", "\\\\")
        file = self.folder / "list.reg"
        # Version 5 files are UTF-16; the one in the repository is plain ASCII.
        file.write_bytes(text.replace(line, f'"{name}"={value}').encode("utf-16"))
        self.assertEqual(0, registry("reg", "import", windows_path(file)))

    def test_allow_list(self):
        unix_alone("the machine's own list stays as it is")
        shutil.copy(BIN / "WrenfallWer.dll", self.module)
        name = windows_path(self.module)
        self.addCleanup(registry, "reg", "delete", KEY, "/v", name, "/f")
        off = "off (add the DLL path to HKLM RuntimeExceptionHelperModules)"
        kept_away = "off (the host's error mode has SEM_NOGPFAULTERRORBOX)"
        for value, listed, mode, ending in ((None, 0, 0, off), ("dword:00000000", 1, 0, "on"), (None, 1, 2, kept_away),
                                            ("-", 0, 0, off)):
            with self.subTest(value=value, mode=mode):
                if value:
                    self.import_list(value)
                host = self.host(init=False, folder=self.library)
                host.do("error_mode", mode)
                self.assertEqual("0", host.do("init"))
                self.assertEqual(str(int(ending == "on")), host.do("has_capability", 2))
                host.do("error_mode", 2 - mode)
                self.assertEqual(str(int(ending == kept_away)), host.do("has_capability", 2))
                lines = [line for line in self.log().splitlines() if " WER helper " in line]
                self.assertTrue(lines[-1].endswith(f"INFO WER helper {name}: registered=1 allow-listed={listed} "
                                                   f"-> coverage {ending}"), lines[-1])
                host.close()


class HelperTest(EndToEndTest):
    """wer_caller plays the part of Windows Error Reporting, which Wine does not have."""

    def fail_fast(self, host, context, code=0):
        """Lets the host fail fast under the eyes of the caller; what the module has answered there."""
        caller = start_program(BIN / "wer_caller.exe", windows_path(BIN / "WrenfallWer.dll"), host.do("pid"), context, code,
                      stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(caller.stdout.close)
        self.addCleanup(caller.wait, 60)
        self.addCleanup(caller.kill)
        self.assertEqual(b"waiting", caller.stdout.readline().strip())
        # Wine gives the exit status of any thread for a process that another one ends.
        host.crash("fail-fast", 120)
        answers = [line.decode().strip().split(": ") for line in caller.stdout]
        self.assertEqual(0, caller.wait(60))
        real = dict(answers).get("real")
        ended = [["ended process", NO_CLAIM]] if real == CLAIMED else []
        self.assertEqual([[name, NO_CLAIM] for name in HOSTILE] + [["real", real]] + ended +
                         [["signature", E_FAIL], ["debugger", E_FAIL]], answers)
        return real

    def registered_host(self, **options):
        host = self.host(init=False, **options)
        self.assertEqual("0", host.do("catch_wer_registration"))
        self.assertEqual("0", host.do("init"))
        return host, host.do("wer_context")

    def test_fail_fast_becomes_a_report(self):
        attachment = self.folder / "notes ü.txt"
        attachment.write_text("attached")
        for code in CODES:
            with self.subTest(code=f"{code:08X}"):
                host, context = self.registered_host(user="Jürgen", attachment=windows_path(attachment))
                host.do("set_notes", "set while it ran")
                pid = int(host.do("pid"))
                self.assertEqual(CLAIMED, self.fail_fast(host, context, code))
                folder = self.only_report()
                record = self.record(folder)
                expected = {"reportKind": "crash", "signalOrExceptionCode": f"0x{code:08X}", "processId": pid,
                            "user": "Jürgen", "notes": "set while it ran", "attachments": ["notes ü.txt"]}
                self.assertEqual(expected, {key: record[key] for key in expected})
                dump = self.dump(folder)
                self.assertEqual(code, dump.exception_code)
                self.assertIn("Wrenfall.dll", " ".join(dump.module_names))
                shutil.rmtree(folder)

    def test_second_run_is_registered_with_the_first(self):
        host, context = self.registered_host(user="first")
        host.do("shutdown")
        host.set_options(self.store, user="second")
        self.assertEqual("0", host.do("init"))
        self.assertEqual("1", host.do("wer_registrations"))
        self.assertEqual(CLAIMED, self.fail_fast(host, context))
        self.assertEqual("second", self.record(self.only_report())["user"])

    def test_no_claim_without_a_handler(self):
        host, context = self.registered_host()
        for pid in processes("--initial-client-data", windows_path(self.store)):
            end_process(pid)
        wait_for(lambda: not processes("--initial-client-data", windows_path(self.store)), what="the handler's end")
        start = time.monotonic()
        self.assertEqual(NO_CLAIM, self.fail_fast(host, context))
        self.assertLess(time.monotonic() - start, 40)  # It does not wait long for an answer that cannot come.
        self.assertEqual([], self.report_folders())


if __name__ == "__main__":
    unittest.main(verbosity=2)
