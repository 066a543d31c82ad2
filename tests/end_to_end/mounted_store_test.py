"""Stores on file systems of their own: read-only ones, and a disk that is really full.

The mounts are made in a private mount namespace, which nothing outside sees. Wine's server opens the files of all
programs, so it has to live there too: the test runs itself again there, with a copy of the build tree's Wine prefix.
Ends with code 77, and says so, where such a namespace is not allowed.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from harness import BIN, BUILD, ROOT, ServiceTest, wait_for, windows_path, wine


INSIDE = "WRENFALL_TEST_MOUNTS"
SKIPPED = 77


def mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True)


class MountedStore(ServiceTest):
    def setUp(self):
        super().setUp()
        self.store.mkdir()

    def mount_store(self, megabytes):
        mount("-t", "tmpfs", "-o", f"size={megabytes}m", "none", self.store)
        self.addCleanup(subprocess.run, ["umount", "-l", self.store], check=True)

    def remount(self, how):
        mount("-o", f"remount,{how}", self.store)

    def list(self):
        process = wine(BIN / "wrenfallctl.exe", "list", "--store", windows_path(self.store), stdin=subprocess.DEVNULL,
                       stdout=subprocess.PIPE)
        out, _ = process.communicate(timeout=60)
        self.assertEqual(0, process.returncode)
        return [[line.split()[0], line.split()[-1]] for line in out.decode("utf-8").splitlines()[1:]]

    def check_uses_of_a_read_only_store(self, host, report):
        """Every call says that it could not; what can be read is read, and nothing changes."""
        before = sorted(self.store.rglob("*"))
        host.do("messages")
        self.assertEqual([report.name], host.pending())
        self.assertEqual((7, 0), host.send(report))
        self.assertEqual("7", host.do("discard", windows_path(report)))
        self.assertEqual("7 7 0 0 0 -", host.do("post", "feedback", "title", "text"))
        self.assertEqual("7", host.do("add_attachment", windows_path(__file__)))
        self.assertEqual("0", host.do("capture"))
        told = host.do("messages")
        for words in ("could not create the report zip (http 0)", "Could not write "):
            self.assertIn(words, told)
        self.assertIn(["pending", report.name], self.list())
        self.assertEqual(before, sorted(self.store.rglob("*")))

    def test_read_only_from_the_start(self):
        self.mount_store(32)
        report = self.make_report()
        self.remount("ro")
        host = self.host(init=False, note_messages=1)
        self.assertEqual("5", host.do("init"))  # The handler has no folder for its dumps.
        self.assertIn("Could not write the session file", host.do("messages"))
        self.remount("rw")
        self.host().close()
        self.remount("ro")
        host = self.host(note_messages=1)
        self.assertIn("Could not write the session file", host.do("messages"))
        self.check_uses_of_a_read_only_store(host, report)
        host.crash("access-violation")
        self.remount("rw")
        host = self.host()
        self.assertEqual((0, 200), host.send(report))
        self.assertEqual([], self.report_folders())

    def test_read_only_since_the_start(self):
        self.mount_store(32)
        host = self.host(note_messages=1)
        report = self.make_report()
        self.remount("ro")
        self.check_uses_of_a_read_only_store(host, report)
        self.remount("rw")
        # All is well again, without another init.
        self.assertEqual((0, 200), host.send(report))
        self.assertEqual("0", host.do("capture"))
        self.assertEqual((0, 200), host.send(self.only_report()))

    def test_full_disk(self):
        """Half a dump makes room for the lines that tell of it, unless not even they fit."""
        self.mount_store(3)
        filler = self.store / "filler"
        for left, is_told in ((200_000, True), (0, False)):
            with self.subTest(left=left):
                host = self.host(dump_type=2)
                self.fill(filler, left)
                lines = self.log().count("no dump written to ")
                self.assertEqual("0", host.do("capture"))
                if is_told:
                    wait_for(lambda: self.log().count("no dump written to ") > lines, what="the line about the capture")
                pid = host.do("pid")
                host.crash("access-violation")
                if is_told:
                    wait_for(lambda: f"ERROR Process {pid} ended with code 0xC0000005, but no dump" in self.log())
                self.assertEqual([], self.report_folders())
                filler.unlink()
                self.assertEqual([], list(self.store.glob("crashpad/reports/*")))
        host = self.host()
        self.assertEqual("0", host.do("capture"))
        self.assertEqual((0, 200), host.send(self.only_report()))

    @staticmethod
    def fill(path, left):
        """Leaves so many bytes of the disk."""
        with open(path, "wb", buffering=0) as file:
            try:
                while shutil.disk_usage(path).free > left:
                    file.write(bytes(4096))
            except OSError:
                pass  # not a byte more


def run_inside():
    """Runs this program again in a mount namespace of its own; its exit code."""
    enter = ["unshare", "-m"] if os.geteuid() == 0 else ["unshare", "-r", "-m"]
    folder = Path(tempfile.mkdtemp(prefix="wineprefix ", dir=BUILD))
    try:
        tried = subprocess.run([*enter, "mount", "-t", "tmpfs", "none", str(folder)], capture_output=True, text=True)
        if tried.returncode != 0:
            print(f"skipped: no private mount namespace here: {tried.stderr.strip()}")
            return SKIPPED
        prefix = Path(os.environ.get("WRENFALL_WINEPREFIX", BUILD / "wineprefix"))
        copy = folder / "prefix"
        subprocess.run(["cp", "-al", prefix, copy], check=True)
        # What Wine writes must not be one file with the original's. The original's server may not have written yet
        # what the certificate's trust is.
        for registry in copy.glob("*.reg"):
            shutil.copy(registry, folder / "registry")
            os.replace(folder / "registry", registry)
        (copy / ".wrenfall-trusts").unlink(missing_ok=True)
        inner = 'scripts/trust-service.sh "$0" && exec "$@"'
        command = [*enter, "scripts/with-wine.sh", "sh", "-c", inner, BUILD, sys.executable, __file__, *sys.argv[1:]]
        environment = {**os.environ, INSIDE: "1", "WRENFALL_WINEPREFIX": str(copy)}
        return subprocess.run(command, cwd=ROOT, env=environment).returncode
    finally:
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    if INSIDE not in os.environ:
        sys.exit(run_inside())
    unittest.main(verbosity=2)
