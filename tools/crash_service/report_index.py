"""The index of all reports, in SQLite beside the archives: what the list shows, and stack keys.

The folders hold the truth. An index that is missing, damaged or of another form is made again from
them, so nothing but time is lost with it. One that another program has locked, or that a full disk
keeps from being opened, is left as it is.
"""

from __future__ import annotations

import contextlib
import sqlite3
import threading
from pathlib import Path
from typing import Any, Dict, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Tuple

FILE_NAME = "reports.sqlite"
UNFINISHED = 0  # the stack key of reports that were not committed
_MAX_LISTED = 400  # characters of each text in the list
_MAX_SEARCHED = 1 << 16  # characters of a report that are searched
_FIRST_STACK_KEY = 1001  # Apart from the crash ids, so that a mix-up shows.

_FORM = 2  # of the tables below; counted up with each change of theirs
_TABLES = """
CREATE TABLE reports (
  number INTEGER PRIMARY KEY AUTOINCREMENT, received REAL NOT NULL, stack_key INTEGER NOT NULL,
  application TEXT NOT NULL, version TEXT NOT NULL, kind TEXT NOT NULL, exception TEXT NOT NULL,
  place TEXT NOT NULL, words TEXT NOT NULL, user TEXT NOT NULL, problems INTEGER NOT NULL,
  search TEXT NOT NULL);
CREATE INDEX by_stack ON reports (stack_key, received);
CREATE INDEX by_time ON reports (received);
CREATE TABLE stack_keys (signature TEXT PRIMARY KEY, number INTEGER NOT NULL UNIQUE);
CREATE TABLE stacks (
  report INTEGER PRIMARY KEY, document TEXT NOT NULL, failed INTEGER NOT NULL);
"""


class Row(NamedTuple):
    """What the list shows of a report. `received` is in seconds since 1970; `place` is the top
    frame where a stack is known, else where the exception happened; `search` is `search_text`."""

    number: int
    received: float
    stack_key: int
    application: str
    version: str
    kind: str
    exception: str
    place: str
    words: str
    user: str
    problems: int
    search: str


class Group(NamedTuple):
    """The reports of one stack key that a filter lets through."""

    stack_key: int
    count: int
    first: float
    last: float
    newest: Row


class Filter(NamedTuple):
    """Which reports are meant; empty members let all through."""

    words: str = ""
    kind: str = ""
    stack_key: Optional[int] = None

    def condition(self) -> Tuple[str, List[Any]]:
        """A WHERE clause and its values."""
        parts, values = [], []
        for word in search_text([self.words]).split():
            parts.append("search LIKE ? ESCAPE '!'")
            for special in "!%_":
                word = word.replace(special, "!" + special)
            values.append(f"%{word}%")
        if self.kind:
            parts.append("kind = ?")
            values.append(self.kind)
        if self.stack_key is not None:
            parts.append("stack_key = ?")
            values.append(self.stack_key)
        return ("WHERE " + " AND ".join(parts) if parts else ""), values


def search_text(texts: Iterable[str]) -> str:
    """Texts in the form in which they are searched: without case."""
    return "\n".join(filter(None, texts)).casefold()


def _storable(text: str) -> str:
    """The text in a form that SQLite takes. JSON can name halves of characters, which are no UTF-8."""
    return text.encode("utf-8", "replace").decode()


def _stored_values(row: Row) -> List[Any]:
    """A row's values, with texts so short that one report makes neither list nor search slow."""
    values = [_storable(value)[:_MAX_LISTED] if isinstance(value, str) else value for value in row]
    values[-1] = _storable(row.search)[:_MAX_SEARCHED]
    return values


class ReportIndex:
    """Any thread may use it. The constructor raises sqlite3.OperationalError when the file cannot be
    used at this moment. After `close` every use raises sqlite3.ProgrammingError."""

    def __init__(self, directory: Path) -> None:
        self._lock = threading.Lock()
        self._path = directory / FILE_NAME
        try:
            self._connection = self._open()
        except sqlite3.OperationalError:
            raise  # It may be a good index: it is locked, or the disk is full.
        except sqlite3.DatabaseError:
            for ending in ("", "-wal", "-shm"):
                with contextlib.suppress(FileNotFoundError):
                    Path(f"{self._path}{ending}").unlink()
            self._connection = self._open()

    def close(self) -> None:
        """Ends the use of the file."""
        with self._lock:
            self._connection.close()

    def stack_key(self, signature: str) -> int:
        """The same number for the same signature, also after a restart."""
        signature = _storable(signature)
        with self._changing() as connection:
            found = connection.execute(
                "SELECT number FROM stack_keys WHERE signature = ?", [signature]).fetchone()
            if found is not None:
                return int(found[0])
            (last,) = connection.execute("SELECT MAX(number) FROM stack_keys").fetchone()
            number = _FIRST_STACK_KEY if last is None else int(last) + 1
            connection.execute("INSERT INTO stack_keys VALUES (?, ?)", [signature, number])
            return number

    def restore_stack_key(self, signature: str, number: int) -> None:
        """Takes over a number that a former index gave out, unless the signature or the number
        is known already."""
        with self._changing() as connection:
            connection.execute(
                "INSERT OR IGNORE INTO stack_keys VALUES (?, ?)", [_storable(signature), number])

    def put(self, rows: Iterable[Row]) -> None:
        """Adds reports, or replaces what was known of them."""
        places = ", ".join("?" * len(Row._fields))
        with self._changing() as connection:
            connection.executemany(f"INSERT OR REPLACE INTO reports VALUES ({places})",
                                   map(_stored_values, rows))

    def highest(self) -> int:
        """The highest number of any report, also of one that was forgotten; 0 when nothing is known."""
        rows = self._read("SELECT seq FROM sqlite_sequence WHERE name = 'reports'", [])
        return int(rows[0][0]) if rows else 0

    def forget_all_but(self, numbers: Iterable[int]) -> None:
        """Forgets all other reports, with their stacks."""
        with self._changing() as connection:
            connection.execute("CREATE TEMP TABLE kept (number INTEGER PRIMARY KEY)")
            connection.executemany("INSERT INTO kept VALUES (?)", ([number] for number in numbers))
            connection.execute("DELETE FROM reports WHERE number NOT IN kept")
            connection.execute("DELETE FROM stacks WHERE report NOT IN kept")
            connection.execute("DROP TABLE kept")

    def finished(self) -> List[int]:
        """The numbers of all reports that were committed."""
        rows = self._read("SELECT number FROM reports WHERE stack_key != ?", [UNFINISHED])
        return [row[0] for row in rows]

    def row(self, number: int) -> Optional[Row]:
        """What is known of one report."""
        rows = self._read("SELECT * FROM reports WHERE number = ?", [number])
        return Row(*rows[0]) if rows else None

    def rows(self, chosen: Filter, limit: int, offset: int = 0) -> List[Row]:
        """Reports, the newest first."""
        where, values = chosen.condition()
        return [Row(*row) for row in self._read(
            f"SELECT * FROM reports {where} ORDER BY received DESC, number DESC LIMIT ? OFFSET ?",
            [*values, limit, offset])]

    def groups(self, chosen: Filter, limit: int, offset: int = 0) -> List[Group]:
        """Groups by stack key, that of the newest report first."""
        where, values = chosen.condition()
        found = self._read(
            "SELECT stack_key, COUNT(*), MIN(received), MAX(received), MAX(number) FROM reports "
            f"{where} GROUP BY stack_key ORDER BY MAX(received) DESC, stack_key LIMIT ? OFFSET ?",
            [*values, limit, offset])
        groups = []
        for key, count, first, last, newest in found:
            row = self.row(newest)
            if row is not None:
                groups.append(Group(key, count, first, last, row))
        return groups

    def count(self, chosen: Filter) -> Tuple[int, int]:
        """How many reports and groups there are."""
        where, values = chosen.condition()
        rows = self._read(
            f"SELECT COUNT(*), COUNT(DISTINCT stack_key) FROM reports {where}", values)
        return (rows[0][0], rows[0][1]) if rows else (0, 0)

    def count_since(self, chosen: Filter, since: float) -> int:
        """How many reports came at that time or later."""
        where, values = chosen.condition()
        where += (" AND " if where else "WHERE ") + "received >= ?"
        return int(self._read(f"SELECT COUNT(*) FROM reports {where}", [*values, since])[0][0])

    def kinds(self, chosen: Filter) -> Dict[str, int]:
        """How many reports there are of each kind, whichever kind the filter asks for."""
        where, values = chosen._replace(kind="").condition()
        return dict(self._read(
            f"SELECT kind, COUNT(*) FROM reports {where} GROUP BY kind", values))

    def span(self, chosen: Filter) -> Optional[Tuple[float, float]]:
        """The times of the first and the last report."""
        where, values = chosen.condition()
        rows = self._read(f"SELECT MIN(received), MAX(received) FROM reports {where}", values)
        return (rows[0][0], rows[0][1]) if rows and rows[0][0] is not None else None

    def times(
        self, chosen: Filter, since: float, step: float, groups: Sequence[int] = ()
    ) -> List[Tuple[int, str, int, int]]:
        """How many reports came in each step of time: stack key (0 where no groups are asked for),
        kind, step, count."""
        where, values = chosen.condition()
        key = "0"
        if groups:
            key = "stack_key"
            places = ", ".join("?" * len(groups))
            where += (" AND " if where else "WHERE ") + f"stack_key IN ({places})"
            values += groups
        return self._read(
            f"SELECT {key}, kind, CAST((received - ?) / ? AS INTEGER), COUNT(*) FROM reports "
            f"{where} GROUP BY 1, 2, 3", [since, step, *values])

    def keep_stack(self, number: int, document: str, place: str, failed: bool) -> None:
        """Keeps what the stack tool said of a report; a place becomes what the list shows."""
        document, place = _storable(document), _storable(place)[:_MAX_LISTED]
        with self._changing() as connection:
            connection.execute(
                "INSERT OR REPLACE INTO stacks VALUES (?, ?, ?)", [number, document, failed])
            if place:
                connection.execute(
                    "UPDATE reports SET place = ?, search = search || ? WHERE number = ?",
                    [place, search_text(["\n" + place]), number])

    def stack(self, number: int) -> Optional[str]:
        """What the stack tool said of a report; None before it did."""
        rows = self._read("SELECT document FROM stacks WHERE report = ?", [number])
        return rows[0][0] if rows else None

    def forget_failed_stacks(self) -> None:
        """Has the reports looked at again for which the stack tool failed."""
        with self._changing() as connection:
            connection.execute("DELETE FROM stacks WHERE failed")

    def _open(self) -> sqlite3.Connection:
        connection = sqlite3.connect(self._path, check_same_thread=False, isolation_level=None)
        try:
            connection.execute("PRAGMA journal_mode = WAL")
            connection.execute("PRAGMA synchronous = NORMAL")
            (form,) = connection.execute("PRAGMA user_version").fetchone()
            if form not in (0, _FORM):
                raise sqlite3.DatabaseError(f"the index has the form {form}")
            (found,) = connection.execute("PRAGMA quick_check(1)").fetchone()
            if found != "ok":
                raise sqlite3.DatabaseError(f"the index is damaged: {found}")
            if form == 0:
                connection.executescript(
                    f"BEGIN; {_TABLES} PRAGMA user_version = {_FORM}; COMMIT")
        except BaseException:
            connection.close()
            raise
        return connection

    @contextlib.contextmanager
    def _changing(self) -> Iterator[sqlite3.Connection]:
        """The connection inside a transaction."""
        with self._lock:
            self._connection.execute("BEGIN")
            try:
                yield self._connection
            except BaseException:
                self._connection.execute("ROLLBACK")
                raise
            self._connection.execute("COMMIT")

    def _read(self, query: str, values: Sequence[Any]) -> List[Tuple[Any, ...]]:
        with self._lock:
            return self._connection.execute(query, values).fetchall()
