"""Has `wrenfallctl stack` say where the reports' dumps crashed, one report after the other.

It runs in a thread of its own, once a report, with a time limit; what it said is kept in the index.
"""

from __future__ import annotations

import contextlib
import os
import queue
import shutil
import sqlite3
import subprocess
import tempfile
import threading
import time
from pathlib import Path
from typing import Dict, List, Set

import stack_trace
from archive import UNUSABLE, list_entries, stream_entry
from report_folder import folder_of
from report_index import ReportIndex

_LIMIT_SECONDS = 60.0
_POLL_SECONDS = 0.05
_MAX_DOCUMENT = 32 << 20  # wrenfallctl itself cuts the stacks before that
_MAX_DUMP = 1 << 30
_MAX_COMPLAINT = 2000
_WINE_PLACES = ("/usr/lib/wine/wine64", "wine64", "wine")


class StackTool:
    """Where `wrenfallctl.exe` is, how it is started, and the thread that starts it.

    `program` is its path, `prefix` the Wine prefix it runs in (elsewhere than on Windows), `symbols`
    the folders with debug information. `ask` may be called from any thread. Raises
    FileNotFoundError when the program, or Wine, is not there.
    """

    def __init__(
        self,
        program: Path,
        prefix: Path,
        symbols: str = "",
        limit: float = _LIMIT_SECONDS,
    ) -> None:
        if not program.is_file():
            raise FileNotFoundError(f"there is no {program}")
        self._loader = [] if os.name == "nt" else [_find_wine()]
        self._program = program.resolve()
        self._prefix = prefix.resolve()
        self._symbols = symbols
        self._limit = limit
        self._asked: Set[int] = set()
        self._waiting: queue.Queue[int] = queue.Queue()
        self._ending = threading.Event()

    def start(self, directory: Path, index: ReportIndex) -> None:
        """From here on the reports that are asked for are looked at."""
        self._directory, self._index = directory, index
        index.forget_failed_stacks()  # They may have failed for want of what is there now.
        self._thread = threading.Thread(target=self._work, name="stacks", daemon=True)
        self._thread.start()

    def stop(self) -> None:
        """Ends the program that runs, and the thread."""
        self._ending.set()
        self._thread.join()

    def ask(self, number: int) -> None:
        """Has a report looked at for which the index has no stack yet."""
        if number not in self._asked:
            self._asked.add(number)
            self._waiting.put(number)

    def _work(self) -> None:
        while not self._ending.is_set():
            with contextlib.suppress(queue.Empty):
                number = self._waiting.get(timeout=_POLL_SECONDS)
                try:
                    document = self._look_at(number)
                except UNUSABLE as error:  # The other reports have their turn in any case.
                    document = stack_trace.failure(f"the stack trace could not be made: {error}")
                if not self._ending.is_set():  # Else the program may have been ended too early.
                    self._keep(number, document)

    def _look_at(self, number: int) -> str:
        """The document about one report."""
        with tempfile.TemporaryDirectory(prefix="crash-service-") as work:
            dump = Path(work, "minidump.dmp")
            if _unpack_dump(folder_of(self._directory, number) / "archive.zip", dump):
                return self._run(dump, Path(work))
        return stack_trace.failure("the report has no dump of a usable size")

    def _keep(self, number: int, document: str) -> None:
        with contextlib.suppress(sqlite3.Error):
            trace = stack_trace.parse(document)
            self._index.keep_stack(number, document, trace.top_place, not trace.threads)

    def _run(self, dump: Path, work: Path) -> str:
        """The program's document, or one that says why there is none. Output goes to files: the
        first program in a Wine prefix starts others, which keep a pipe open for long."""
        command: List[str] = [*self._loader, str(self._program), "stack", "--json", "--all"]
        if self._symbols:
            command += ["--symbols", self._symbols]
        command.append(str(dump) if os.name == "nt" else "Z:" + str(dump).replace("/", "\\"))
        output, complaints = work / "output", work / "complaints"
        with open(output, "wb") as out, open(complaints, "wb") as err:
            process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=out, stderr=err, env=self._environment())
            in_time = self._wait(process)
        if not in_time:
            return stack_trace.failure(f"wrenfallctl did not end within {self._limit:g} s")
        document = _read_start(output, _MAX_DOCUMENT)
        if process.returncode == 0 and any(stack_trace.parse(document)):
            return document
        said = _read_start(complaints, _MAX_COMPLAINT).strip() or "it said nothing"
        return stack_trace.failure(f"wrenfallctl ended with {process.returncode}: {said}")

    def _wait(self, process: subprocess.Popen[bytes]) -> bool:
        """Waits for the end; a program that takes too long is ended."""
        deadline = time.monotonic() + self._limit
        while process.poll() is None:
            if time.monotonic() > deadline or self._ending.wait(_POLL_SECONDS):
                process.kill()
                process.wait()
                return False
        return True

    def _environment(self) -> Dict[str, str]:
        wine = {"WINEDEBUG": "-all", "WINEARCH": "win64", "WINEPREFIX": str(self._prefix)}
        return {**os.environ, **wine}


def _find_wine() -> str:
    for place in _WINE_PLACES:
        found = shutil.which(place)
        if found:
            return found
    raise FileNotFoundError("Wine, which runs wrenfallctl.exe, is not installed")


def _unpack_dump(archive: Path, target: Path) -> bool:
    """Writes the archive's dump to a file; false when it has none, or one that is too large."""
    entries = [entry for entry in list_entries(archive) if entry.name.lower().endswith(".dmp")]
    entries.sort(key=lambda entry: entry.name.lower() != "minidump.dmp")
    if not entries or entries[0].size > _MAX_DUMP:
        return False
    written = 0
    with open(target, "wb") as file:
        for piece in stream_entry(archive, entries[0].index):
            written += file.write(piece)
            if written > _MAX_DUMP:
                return False
    return True


def _read_start(path: Path, size: int) -> str:
    with open(path, "rb") as file:
        return file.read(size).decode(errors="replace")
