"""Hangs of a real process, with a window under a virtual display and without, up to the report folder."""

import os
import subprocess
import time
import unittest

from harness import BIN, EndToEndTest, Host, end_process, processes, start_program, wait_for, windows_path


class HangingHost(Host):
    """An example host that hangs on command. It prints what it does."""

    def __init__(self, *arguments):
        self.process = start_program(BIN / "hanging_host.exe", *arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL)

    def say(self, command):
        self.process.stdin.write((command + "\n").encode())
        self.process.stdin.flush()

    def wait_for_line(self, part):
        lines = []
        while not lines or part not in lines[-1]:
            lines.append(self.process.stdout.readline().decode())
            if not lines[-1]:
                raise AssertionError(f"ended without {part!r}: {lines}")


class HangTest(EndToEndTest):
    def hanging_host(self, *arguments):
        host = HangingHost("--store", windows_path(self.store), *arguments)
        self.addCleanup(host.close)
        return host

    def check_report(self, thread, least_ms, policy):
        folder = self.only_report()
        record = self.record(folder)
        self.assertEqual("hang", record["reportKind"])
        self.assertGreater(record["hangDurationMs"], least_ms)
        self.assertEqual("", record["signalOrExceptionCode"])
        dump = self.dump(folder)
        # The process's first thread is the main one, and of those that are asked for the watchdog takes the dump.
        main, live = next(iter(dump.stacks)), dump.live_annotations
        hung = int(live["wrenfall.hangThreadId"])
        self.assertEqual(thread == "main", hung == main)
        self.assertNotIn(live["wrenfall.threadId"], (str(hung), str(main)))
        self.check_shown_thread(dump, hung)
        self.assertEqual(dump.contexts[hung], dump.exception_context)
        self.assertEqual({"wrenfall.hangThread": thread, "wrenfall.hangThreadId": str(hung),
                          "wrenfall.hangPolicy": policy}, record["attributes"])
        self.assertEqual((thread, str(record["hangDurationMs"]), policy, "hang"),
                         (live["wrenfall.hangThread"], live["wrenfall.hangDurationMs"],
                          live["wrenfall.hangPolicy"], live["wrenfall.reportKind"]))
        log = self.log()
        duration = record["hangDurationMs"]
        self.assertIn(f"WARN hang detected on thread '{thread}' after {duration} ms\n", log)
        wait_for(lambda: f"INFO hang report captured for thread '{thread}' ({duration} ms)\n" in self.log(),
                 what="the line of the captured report")
        return folder

    def test_heartbeats_alone(self):
        host = self.hanging_host("--no-window", "--threshold", "1000")
        host.wait_for_line("hang detection on: 1000 ms, policy report")
        host.say("hang main 5")
        host.wait_for_line("main goes on")
        self.check_report("main", 1000, "report")
        # Once a hang, and no other report in the cool-down.
        host.say("hang main 2")
        host.wait_for_line("main goes on")
        self.assertEqual(0, host.close())
        self.assertEqual(1, self.log().count("hang detected"))

    def test_watched_thread(self):
        host = self.hanging_host("--no-window", "--threshold", "1000")
        host.wait_for_line("hang detection on")
        host.say("hang worker 5")
        host.wait_for_line("worker goes on")
        self.check_report("worker", 1000, "report")

    def test_terminate(self):
        host = self.hanging_host("--no-window", "--threshold", "1000", "--terminate")
        host.wait_for_line("hang detection on: 1000 ms, policy report+terminate")
        host.say("hang main 120")
        # The status is Wine's: that of whichever thread ended last.
        host.process.wait(90)
        wait_for(lambda: "ended, as its hang policy says" in self.log(), what="the monitor's line")
        folder = self.only_report()
        self.assertTrue((folder / "minidump.dmp").exists())
        self.assertEqual("terminate", self.record(folder)["attributes"]["wrenfall.hangPolicy"])

    @unittest.skipUnless(os.environ.get("DISPLAY"), "needs a display")
    def test_window(self):
        host = self.hanging_host("--threshold", "3000")
        host.wait_for_line("hang detection on")
        # The loop serves the window; nobody sends a heartbeat.
        time.sleep(5)
        self.assertNotIn("hang detected", self.log())
        host.say("hang main 8")
        host.wait_for_line("main goes on")
        self.check_report("main", 3000, "report")

    def test_what_a_hang_leaves_behind(self):
        """Of a hang's annotations only the policy stays, and a capture that fails is not told as one."""
        host = self.host(init=False)
        host.call("options_set_hang_detection", 500, 0)
        host.do("init")
        captured = "INFO hang report captured"
        wait_for(lambda: captured in self.log(), what="the hang report of a host that nobody talks to")
        self.assertEqual("0", host.do("capture"))
        (folder,) = [path for path in self.wait_for_reports(2) if self.record(path)["reportKind"] == "capture"]
        dump = self.dump(folder)
        live = dump.live_annotations
        self.check_shown_thread(dump, int(live["wrenfall.threadId"]))
        self.assertEqual(next(iter(dump.stacks)), dump.exception_thread)  # which asked for it
        self.assertEqual({"wrenfall.hangPolicy": "report"}, {key: live[key] for key in live if "hang" in key})
        host.do("shutdown")

        host.set_options(self.store)
        host.call("options_set_hang_detection", 500, 0)
        host.call("hang_pause")
        self.assertEqual("0", host.do("init"))
        for program in ("WrenfallMonitor.exe", "crashpad_handler.exe"):
            for pid in processes(program, self.folder.name):
                end_process(pid)
        host.call("hang_resume")
        wait_for(lambda: "ERROR Capture failed" in self.log(), what="the capture that fails")
        host.do("shutdown")
        self.assertEqual(1, self.log().count(captured))

    def test_pause_and_debugger(self):
        debugger, host = self.host(init=False), self.host(init=False)
        self.assertEqual("1", debugger.do("debug", host.do("pid")))
        host.call("options_set_hang_detection", 500, 1)
        host.call("hang_pause")
        self.assertEqual("0", host.do("init"))
        wait_for(lambda: "INFO hang detection held: the host has paused it\n" in self.log(), what="the pause")
        self.assertEqual("0", host.call("hang_resume"))
        wait_for(lambda: "not ended: a debugger is attached\n" in self.log(), what="the end that is left out")
        host.do("shutdown")

        host.set_options(self.store)
        host.call("options_set_hang_detection", 100, 1)
        host.call("options_set_hang_ignore_debugger", 1)
        self.assertEqual("0", host.do("init"))
        wait_for(lambda: "INFO hang detection held: a debugger is attached\n" in self.log(), what="the debugger")
        time.sleep(1)
        self.assertEqual(1, self.log().count("hang detected"))

    def test_off(self):
        host = self.host()
        self.assertEqual(("0", "9"), (host.do("has_capability", 3), host.do("watch", "x")))
        host = self.host(init=False)
        host.call("options_set_hang_detection", -5, 0)
        host.do("init")
        self.assertEqual("0", host.do("has_capability", 3))
        host = self.host(init=False)
        host.call("options_set_hang_detection", 3600000, 0)
        host.do("init")
        self.assertEqual(("1", "0", "0"), (host.do("has_capability", 3), host.do("watch"), host.do("watch", "x")))
        started = time.monotonic()
        host.do("shutdown")
        self.assertLess(time.monotonic() - started, 5)


if __name__ == "__main__":
    unittest.main(verbosity=2)
