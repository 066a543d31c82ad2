"""Ends the host, the monitor, the handler and the reporter at random moments: nothing is torn, lost or sent twice.

One store and one service for all rounds. Each round starts a host, lets it capture, crash or post, and ends one or
more of the processes at a random moment (which runs no code of theirs). Then a fresh host looks at the store
and sends what is pending. The service always answers well, so that no report may ever be given up. docs/reliability.md
says what counts as lost, torn or sent again.

A second test does the same while the store is kept in bounds: old reports are removed, the service fails now and then,
and what it did not take is kept and sent again. Every report must arrive all the same, but for the old ones.

    kill_test.py [--rounds N] [--seed S]
"""

import argparse
import collections
import concurrent.futures
import contextlib
import datetime
import json
import os
import random
import sys
import threading
import time
import unittest
import uuid
import zipfile

from harness import (BIN, RECORD, EndToEndTest, Host, command_lines, end_process, has_module, processes, run_program,
                     start_service, wait_for, windows_path)

PROGRAMS = {"host": "test_host.exe", "monitor": "WrenfallMonitor.exe", "handler": "crashpad_handler.exe",
            "reporter": "WrenfallReporter.exe"}
ACTIONS = ("start", "capture", "capture", "crash", "crash", "feedback", "send")
VICTIMS = (["host"], ["monitor"], ["handler"], ["reporter"], ["reporter"], ["reporter"], ["monitor", "handler"],
           ["reporter", "monitor"], list(PROGRAMS))
WAITING = {"pending", "owned", "sending"}  # what wrenfallctl may call a report that was not tried yet
WINDOW = 5.0  # seconds that a busy machine may take from a commit to the mark in the folder, or to the service's note of it
OLD = "old"  # the id of reports that are to be removed
ROUNDS = 12
SEED = 0


def repeat(action, pause, ended):
    """Does the same again and again, beside all that happens to the store."""
    while not ended.wait(pause):
        action()


class Watcher:
    """Reads every file of the store, as another program might."""

    def __init__(self, store):
        self.store = store
        self.torn = []
        self.promised = set()
        self.marked = {}  # when a report was first seen marked as sent

    def look(self):
        for pattern in ("*/" + RECORD, "*/result.json", "*/breadcrumbs.json", "last_run.json", "*/retry.json",
                        "reportLimit.json", "sessions/*.json"):
            for path in self.store.glob(pattern):
                # A file that another program holds for long is not replaced but written in place, beside its new content.
                in_place = path.with_name(path.name + ".tmp").exists()
                try:
                    text = path.read_bytes()
                except OSError:
                    continue  # gone between the listing and the look
                try:
                    content = json.loads(text)
                except ValueError:
                    if not in_place:
                        self.torn.append((path.name, text[:200]))
                    continue
                if path.name == RECORD:
                    name = content["attributes"].get("id")
                    if name not in (None, OLD):
                        self.promised.add(name)
                elif path.name == "result.json" and content["status"] == "uploaded":
                    with contextlib.suppress(OSError, ValueError):
                        name = json.loads((path.parent / RECORD).read_bytes())["attributes"].get("id")
                        self.marked.setdefault(name, time.time())


class Lister:
    """Has wrenfallctl list the store."""

    def __init__(self, store):
        self.store = store
        self.faults = []
        self.lock = threading.Lock()

    def waiting(self):
        """The folders with a record and without a result."""
        return {path.parent.name for path in self.store.glob("*/" + RECORD)
                if not (path.parent / "result.json").exists()}

    def list(self):
        """The states by folder; what is wrong with the listing goes to the faults."""
        with self.lock:
            before = self.waiting()
            status, out, err = run_program(BIN / "wrenfallctl.exe", "list", "--store", windows_path(self.store), "--json")
            always = before & self.waiting()  # no folder comes twice, so these waited all the time
            states = {}
            if status != 0 or err:
                self.faults.append(("failed", status, out, err))
            else:
                reports = json.loads(out)["reports"]
                states = {report["folder"]: report["state"] for report in reports}
                # One that is being sent may be on its way out, its record gone already.
                self.faults += [("half a report", report) for report in reports
                                if report["state"] in ("pending", "owned") and report["application"] != "Kill Test"]
            self.faults += [("torn", name, out) for name, state in states.items() if state == "damaged"]
            self.faults += [("left out", name, out) for name in always if states.get(name) not in WAITING]
            return states


def runs(pid, program):
    """Whether that is the program itself: some programs name others in their arguments."""
    return command_lines().get(pid, "").split(".exe")[0].endswith(program[:-len(".exe")])


def received(request):
    return datetime.datetime.fromisoformat(request.received).timestamp()


class KillTest(EndToEndTest):
    limits = {}  # the host's, for its store

    def setUp(self):
        super().setUp()
        self.random = random.Random(SEED)
        self.counts = collections.Counter()
        self.told = []
        self.promised = set()
        self.kills = []  # when senders were ended, or ended by themselves in the middle of sending
        self.hosted = None
        self.begun = threading.Event()
        self.policy = 0
        self.service = start_service(self, self.folder / "service")
        for call in ("first", "put", "commit"):
            self.service.fail(call, delay=0.15)  # leaves time to be ended in each of them
        self.store.mkdir()
        self.watcher = Watcher(self.store)
        self.lister = Lister(self.store)

    def living(self, program):
        if program == "host":
            return [self.hosted.process.pid] if self.hosted.process.poll() is None else []
        return [pid for pid in processes(PROGRAMS[program], self.folder.name) if runs(pid, PROGRAMS[program])]

    def kill(self, programs):
        for program in programs:
            for pid in self.living(program):
                if not end_process(pid):
                    continue
                self.counts["ended: " + program] += 1
                if program in ("host", "reporter"):
                    self.kills.append(time.time())

    def end_half_started(self):
        """Ends companions that never ran their first instruction. A process that is ended while it starts another one
        leaves that so, with the host's output open. Neither can prevent it: the system starts a process in steps."""
        for pid in self.living("monitor") + self.living("handler") + self.living("reporter"):
            if not has_module(pid, "kernel32.dll"):
                end_process(pid)

    def act(self, host, action, name):
        """Runs in a thread of its own; the host may end at any moment."""
        try:
            host.set_options(self.store, "Kill Test", upload_policy=self.policy, breadcrumbs=9, **self.limits)
            host.call("options_set_attribute", "id", name)
            if action == "start":
                self.begun.set()
            if host.do("init") != "0":
                return
            host.call("breadcrumb_add", 1, "kill", name)
            self.told.append(int(host.do("last_run").split()[0]))
            self.begun.set()
            if action == "crash":
                host.do("crash", "access-violation")
            elif action in ("capture", "feedback"):
                words = ("capture",) if action == "capture" else ("post", "feedback", "title", "text")
                if host.do(*words).split()[:1] == ["0"]:
                    self.promised.add(name)
            elif action == "send":
                host.do("post_pending")
                time.sleep(1)
        except (OSError, ValueError):
            pass  # it was ended
        finally:
            self.begun.set()

    def prepare_round(self):
        pass

    def kept(self):
        """The folders of the reports that wait to be sent again."""
        return []

    def play_round(self, number):
        self.prepare_round()
        action = self.random.choice(ACTIONS)
        self.policy = self.random.choice((1, 1, 2))
        victims = self.random.choice(VICTIMS)
        if victims == ["reporter"]:
            action, self.policy = self.random.choice(("capture", "crash")), 1
        name = str(uuid.UUID(int=self.random.getrandbits(128)))
        host = Host()
        self.hosted = host
        self.begun.clear()
        acting = threading.Thread(target=self.act, args=(host, action, name))
        acting.start()
        self.begun.wait(60)
        deadline = time.monotonic() + 60
        if victims == ["reporter"]:
            # It lives for moments only.
            while not self.living("reporter") and time.monotonic() < deadline:
                time.sleep(0.01)
            time.sleep(self.random.uniform(0, 0.8))
        else:
            time.sleep(self.random.uniform(0, 1) ** 2 * 3)
        self.kill(victims)
        if self.random.random() < 0.2:
            acting.join(self.random.uniform(0, 2))
            self.kill(["host"])
        deadline = time.monotonic() + 100
        while acting.is_alive() and time.monotonic() < deadline:
            acting.join(5)
            if host.process.poll() is not None:
                self.end_half_started()
        self.assertFalse(acting.is_alive(), f"round {number}: the host blocks")
        host.close()
        if action == "send" or self.limits:  # the host itself was sending
            self.kills.append(time.time())
        self.recover()

    def recover(self, undisturbed=False):
        """A fresh host reads the store and sends what is pending. True when there was nothing."""
        host = Host()
        self.hosted = host
        host.set_options(self.store, "Kill Test", **self.limits)
        self.assertEqual("0", host.do("init"), self.log())
        pending = [path for path in host.do("pending").split("\t") if path]
        if not undisturbed:
            # Only reporters send now, and they own their reports.
            listed = self.lister.list()
            again = host.do("pending").split("\t")
            names = {path.split("\\")[-1] for path in pending if path in again}
            self.assertEqual(set(), {name for name in names if listed.get(name) not in WAITING}, listed)
        self.assertEqual("0", host.do("post_pending"))
        if undisturbed:
            # The end of the process would cut the sending off.
            wait_for(lambda: not host.do("pending") and not self.kept(), 120, "the end of sending")
        else:
            time.sleep(self.random.uniform(0, 1))
            if self.random.random() < 0.3:
                self.kill(["host"])
        host.close()
        self.kills.append(time.time())
        return not pending

    def recover_all(self):
        """Some more hosts, until all is sent: a dump that a killed monitor left becomes a report at the next start."""
        def is_quiet():
            self.end_half_started()
            return (self.recover(undisturbed=True) and not self.living("reporter")
                    and not list(self.store.glob("*.sending"))
                    and not list(self.store.glob("crashpad/reports/*.dmp")))
        try:
            wait_for(is_quiet, 240)
        except AssertionError:
            left = [str(path.relative_to(self.store)) for path in self.store.rglob("*")]
            self.fail(f"not all was sent: {left}\n{self.log()}")
        for folder in self.report_folders():
            # Deleting it was cut off; it is marked as sent.
            self.assertEqual("uploaded", json.loads((folder / "result.json").read_text())["status"])

    def check(self):
        committed = collections.defaultdict(list)
        for report in self.service.reports:
            if not report.committed:
                continue
            self.assertEqual([], report.problems)
            name = json.loads(report.fields.get("attributes", "{}")).get("id")
            if name is None:
                self.counts["without facts"] += 1
            if name in (None, OLD):
                continue
            with zipfile.ZipFile(report.archive_path) as archive:
                self.assertEqual([name], [one["message"] for one in json.loads(archive.read("breadcrumbs.json"))])
            committed[name].append(report)
        promised = self.promised | self.watcher.promised
        self.assertEqual(set(), promised - set(committed), "lost")
        self.counts["reports committed"] = len(committed)
        self.counts["reports promised"] = len(promised)
        for name, reports in committed.items():
            # What is marked as sent is never sent again.
            marked = self.watcher.marked.get(name, time.time())
            self.assertEqual([], [report for report in reports if received(report.requests[0]) > marked], name)
            for report in reports[:-1]:
                self.counts["committed again"] += 1
                self.assertTrue(self.was_cut_off(report), f"{name} sent twice")
        # Of a crash whose host was ended before the handler had read all of it.
        self.assertLessEqual(self.counts["without facts"], self.counts["ended: host"])
        self.assertEqual([], self.watcher.torn)
        self.assertEqual([], self.lister.faults)
        self.assertLessEqual(set(self.told), set(range(6)))
        if self.told:  # then the end of the last host, which nobody ended, is recorded
            wait_for(lambda: json.loads((self.store / "last_run.json").read_text())["run"]["state"] == "ended")

    def was_cut_off(self, report):
        """Whether a sender was ended right after it had committed the report. The service notes a commit when it reads it,
        which on a busy machine may be after that end."""
        (commit,) = [request for request in report.requests if request.made_commit]
        committed = received(commit)
        return any(committed - WINDOW <= ended <= committed + WINDOW for ended in self.kills)

    def test_kills(self):
        print(f"seed {SEED}, {ROUNDS} rounds{', within limits' if self.limits else ''}", flush=True)
        ended = threading.Event()
        with concurrent.futures.ThreadPoolExecutor() as pool:
            readers = [pool.submit(repeat, self.watcher.look, 0.02, ended),
                       pool.submit(repeat, self.lister.list, 0.5, ended)]
            try:
                for number in range(ROUNDS):
                    self.play_round(number)
                self.recover_all()
            finally:
                ended.set()
        for reader in readers:
            reader.result()  # raises what it has raised
        try:
            self.check()
        finally:
            for name, count in sorted(self.counts.items()):
                print(f"  {name:24} {count}")


class KillWithinLimitsTest(KillTest):
    limits = {"resend": 1, "retention": (0, 30, 0), "report_limit": (1000, 600)}

    def prepare_round(self):
        self.service.clear_faults()
        for call in ("first", "put", "commit"):
            if self.random.random() < 0.5:
                self.service.fail(call, status=503, times=1)
            self.service.fail(call, delay=0.15)
        for _ in range(3):
            self.make_report(str(uuid.uuid4()), age=40 * 86_400, attributes={"id": OLD}, appName="Kill Test")
            self.counts["old reports"] += 1
        self.let_time_pass()

    def let_time_pass(self):
        """What is kept is due."""
        for folder in self.kept():
            with contextlib.suppress(OSError):
                retry = json.loads((folder / "retry.json").read_text())
                retry["lastAttempt"] -= 2 * 86_400
                (folder / "retry.json.new").write_text(json.dumps(retry))
                (folder / "retry.json.new").replace(folder / "retry.json")

    def kept(self):
        found = []
        for path in self.store.glob("*/retry.json"):
            with contextlib.suppress(OSError, ValueError):
                if json.loads((path.parent / "result.json").read_text())["status"] == "failed":
                    found.append(path.parent)
        return found

    def recover(self, undisturbed=False):
        if undisturbed:
            self.service.clear_faults()
            # What a reporter keeps later than this would not be due.
            wait_for(lambda: not self.living("reporter"), 60, "the end of the reporters")
            self.let_time_pass()
        self.counts["kept reports seen"] += len(self.kept())
        return super().recover(undisturbed)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--rounds", type=int, default=ROUNDS)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 32))
    arguments, rest = parser.parse_known_args()
    ROUNDS, SEED = arguments.rounds, arguments.seed
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)
