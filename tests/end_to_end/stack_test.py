"""wrenfallctl stack: real dumps of the project's own programs, with symbols, without, and damaged."""

import json
import os
import random
import shutil
import struct
import subprocess
import unittest
import unittest.mock
import zipfile

from harness import BIN, ON_WINDOWS, ROOT, EndToEndTest, Host, run_program, start_program, windows_path

PROGRAMS = ("Wrenfall.dll", "WrenfallMonitor.exe", "WrenfallReporter.exe", "crashpad_handler.exe")


def line_of(source, text):
    """The number of the line of an example that holds the text."""
    lines = (ROOT / "examples" / source).read_text("utf-8").splitlines()
    (number,) = [i for i, line in enumerate(lines, 1) if text in line]
    return number


def rebuilt(dump, thread_count=1, module_path=""):
    """The dump with so many threads, all on the stack of the crash, and one path for all modules if it is given."""
    grown = bytearray(dump)

    def number(at):
        return int.from_bytes(grown[at:at + 4], "little")

    def put(at, *values):
        grown[at:at + 4 * len(values)] = struct.pack(f"<{len(values)}I", *values)

    entries = {number(at): at for at in range(number(12), number(12) + 12 * number(8), 12)}
    threads, modules, exception = (number(entries[kind] + 8) for kind in (3, 4, 6))
    at = threads + number(entries[3] + 4) - 48 * number(threads)
    thread = next(grown[i:i + 40] for i in range(at, len(grown), 48) if number(i) == number(exception))
    thread += grown[exception + 160:exception + 168]
    put(entries[3] + 4, 4 + thread_count * 48, len(grown))
    put(len(grown), thread_count)
    for i in range(thread_count):
        grown += thread[:4] if i == 0 else (100000 + i).to_bytes(4, "little")
        grown += thread[4:]
    if module_path:
        at = modules + number(entries[4] + 4) - 108 * number(modules)
        for i in range(number(modules)):
            put(at + 108 * i + 20, len(grown))
        path = module_path.encode("utf-16-le")
        grown += len(path).to_bytes(4, "little") + path
    return grown


class StackTest(EndToEndTest):
    def ctl(self, *arguments, code=0):
        status, out, err = run_program(BIN / "wrenfallctl.exe", *arguments)
        self.assertEqual(code, status, err)
        return out, err

    def stack(self, path, *arguments):
        out, err = self.ctl("stack", windows_path(path), "--json", *arguments)
        self.assertEqual("", err)
        return json.loads(out)

    def crash_example(self, kind, folder=BIN):
        run_program(folder / "crashing_host.exe", "--store", windows_path(self.store), kind)
        return self.only_report()

    def calls(self, stack):
        (thread,) = stack["threads"]
        self.assertTrue(thread["crashed"])
        return thread["frames"]

    def test_names_and_lines(self):
        folder = self.crash_example("stack-overflow")
        stack = self.stack(folder)
        self.assertEqual("0xC00000FD", stack["exception"]["code"])
        (thread,) = stack["threads"]
        recursion = [frame for frame in thread["frames"] if frame["function"] == "stack_overflow"]
        self.assertGreater(len(recursion), 100)
        self.assertEqual({True, False}, {frame["inline"] for frame in recursion})
        line = line_of("crashing_host.c", "return stack_overflow(depth + 1)")
        self.assertEqual({("crashing_host.exe", line)}, {(frame["module"], frame["line"]) for frame in recursion[1:]})
        self.assertTrue(all(frame["file"].endswith("crashing_host.c") for frame in recursion))
        # The same by other names.
        store = ("--store", windows_path(self.store))
        text, warnings = self.ctl("stack", "--latest", *store)
        self.assertRegex(text, rf"crashing_host.exe!stack_overflow\+0x\w+ +\S.*crashing_host\.c:{line}\n")
        self.assertEqual("", warnings)
        self.assertEqual(stack, json.loads(self.ctl("show", "--latest", "--stack", "--json", *store)[0])["stack"])
        self.assertIn("!stack_overflow", self.ctl("show", folder.name, "--stack", *store)[0])
        bare = self.folder / "bare"
        bare.mkdir()
        shutil.copy(folder / "minidump.dmp", bare)
        for path in (bare, bare / "minidump.dmp"):
            self.assertEqual(stack["threads"], self.stack(path)["threads"])

    def test_a_hang_shows_the_hung_thread(self):
        process = start_program(BIN / "hanging_host.exe", "--no-window", "--threshold", "1000", "--store",
                                windows_path(self.store), stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        self.addCleanup(process.wait, 60)
        self.addCleanup(process.stdin.close)
        process.stdin.write(b"hang worker 20\n")
        process.stdin.flush()
        stack = self.stack(self.only_report())
        functions = [frame["function"] for frame in self.calls(stack)]
        self.assertIn("hang", functions)
        self.assertIn("RtlUserThreadStart", functions)
        self.assertIsNone(stack["exception"])
        shown = ("show", "--latest", "--stack", "--store", windows_path(self.store))
        self.assertIsNone(json.loads(self.ctl(*shown, "--json")[0])["dump"]["exceptionCode"])
        self.assertEqual(["  no exception"], [line for line in self.ctl(*shown)[0].splitlines() if "xception" in line])
        everything = self.stack(self.only_report(), "--all")
        self.assertEqual(stack["threads"], everything["threads"][:1])
        self.assertGreater(len(everything["threads"]), 2)
        self.assertEqual([], [thread["id"] for thread in everything["threads"] if not thread["frames"]])

    def test_without_symbols_and_without_the_program(self):
        folder = self.folder / "bin"
        folder.mkdir()
        for name in (*PROGRAMS, "crashing_host.exe"):
            shutil.copy(BIN / name, folder)
        report = self.crash_example("access-violation", folder)
        plain = self.calls(self.stack(report))
        if not ON_WINDOWS:  # where the program itself names the place of its symbols
            self.assertEqual([("", "", 0)] * 2,
                             [(frame["function"], frame["file"], frame["line"]) for frame in plain[:2]])
        named = self.stack(report, "--symbols", windows_path(self.folder / "none") + ";" + windows_path(BIN))
        self.assertEqual(["access_violation", "crash", "run", "main"],
                         [frame["function"] for frame in self.calls(named)[:4]])
        self.assertEqual({plain[0]["address"]}, {frame["address"] for frame in self.calls(named)[:4]})
        self.assertIn("full", [one["symbols"] for one in named["modules"] if one["name"] == "crashing_host.exe"])
        # A file of another build is no help.
        program = bytearray((BIN / "crashing_host.exe").read_bytes())
        program[int.from_bytes(program[0x3C:0x40], "little") + 8] ^= 1  # the time of the build
        (folder / "crashing_host.exe").write_bytes(program)
        stack = self.stack(report)
        self.assertRegex(" ".join(stack["warnings"]), "file of crashing_host.exe .*not found")
        calls = self.calls(stack)
        self.assertEqual(("crashing_host.exe", plain[0]["offset"]), (calls[0]["module"], calls[0]["offset"]))
        self.assertTrue(any(frame["scanned"] for frame in calls))
        self.assertIn("RtlUserThreadStart", [frame["function"] for frame in calls])
        with unittest.mock.patch.dict(os.environ, _NT_SYMBOL_PATH="C:\\none;" + windows_path(BIN)):
            self.assertEqual("access_violation", self.calls(self.stack(report))[0]["function"])

    def test_damaged_dumps(self):
        dump = (self.crash_example("access-violation") / "minidump.dmp").read_bytes()
        file = self.folder / "damaged.dmp"
        draw = random.Random(17)
        named = 0
        for i in range(24):
            bytes_ = bytearray(dump[:draw.randrange(200, len(dump))] if i % 2 else dump)
            for _ in range(i):
                at = draw.randrange(32, min(16000, len(bytes_) - 4))
                bytes_[at:at + 4] = draw.randbytes(4)
            file.write_bytes(bytes_)
            stack = self.stack(file, "--all")
            self.assertTrue(stack["threads"] or stack["warnings"], i)
            named += any(frame["function"] for thread in stack["threads"] for frame in thread["frames"])
        self.assertGreater(named, 2)
        name = "\uffee" * 2000  # longer than what the system's library has room for
        file.write_bytes(rebuilt(dump, module_path=name))
        self.assertEqual(name, self.calls(self.stack(file))[0]["module"])
        file.write_bytes(rebuilt(dump, thread_count=8000))
        stack = self.stack(file, "--all")
        self.assertRegex(" ".join(stack["warnings"]), "too many frames")
        self.assertLess(sum(len(thread["frames"]) for thread in stack["threads"]), 60000)
        self.assertEqual(8000, len(stack["threads"]))
        self.assertTrue(stack["threads"][-1]["truncated"])
        for name, content in (("empty", b""), ("text", b"MDMP" * 30), ("missing", None)):
            if content is not None:
                file.write_bytes(content)
            else:
                file.unlink()
            out, err = self.ctl("stack", windows_path(file), code=1 if content is None else 7)
            self.assertEqual("", out, name)
            self.assertRegex(err, "no such report|no minidump")

    def test_a_deep_stack_and_export(self):
        host = Host()
        self.addCleanup(host.close)
        host.set_options(self.store, user="Jürgen")
        self.assertEqual("0", host.do("init"))
        host.crash("stack-overflow")
        folder = self.only_report()
        (thread,) = self.stack(folder)["threads"]
        self.assertEqual((True, "overflow"), (thread["truncated"], thread["frames"][-1]["function"].split("(")[0]))
        archive = self.folder / "für dich.zip"
        mine = self.folder / "für dich.zip.tmp"
        mine.write_text("mine")
        export = ("export", windows_path(folder), windows_path(archive))
        files = {path.name: path.read_bytes() for path in folder.iterdir()}
        self.assertIn(f"{len(files)} files packed into ", self.ctl(*export)[0])
        with zipfile.ZipFile(archive) as packed:
            self.assertEqual(files, {name: packed.read(name) for name in packed.namelist()})
            packed.extractall(self.store / "received")
        shown = json.loads(self.ctl("show", windows_path(self.store / "received"), "--json")[0])
        self.assertEqual("Jürgen", shown["record"]["user"])
        before = archive.read_bytes()
        self.assertIn("--force", self.ctl(*export, code=7)[1])
        self.assertEqual(before, archive.read_bytes())
        answer = json.loads(self.ctl(*export, "--force", "--json")[0])
        self.assertEqual((windows_path(archive), len(files)), (answer["file"], answer["files"]))
        for target, code in ((folder / "x.zip", 1), (self.folder / "no" / "x.zip", 7), (self.folder, 7)):
            self.ctl("export", windows_path(folder), windows_path(target), "--force", code=code)
        (self.store / "no record").mkdir()
        self.ctl("export", windows_path(self.store / "no record"), windows_path(archive), "--force", code=1)
        self.assertEqual(files, {path.name: path.read_bytes() for path in folder.iterdir()})
        self.assertEqual([(mine, "mine")], [(path, path.read_text()) for path in self.folder.glob("*.tmp")])


if __name__ == "__main__":
    unittest.main(verbosity=2)
