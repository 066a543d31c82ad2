"""The crash-collection service: an HTTPS server on 127.0.0.1 with one thread a connection."""

from __future__ import annotations

import contextlib
import socket
import sqlite3
import ssl
import threading
import time
from pathlib import Path
from typing import Any, Callable, Dict, List, Optional, Tuple

import protocol
from archive import UNREADABLE
from browser import Browser, is_page
from certificates import HOST, VARIANTS, Certificates, ensure_certificates
from faults import Fault, FaultPlan
from http_message import Answer, HeadError, RequestHead
from indexing import catch_up, index_report
from protocol import Complaint
from report_index import ReportIndex
from reports import Exchange, Problem, Report, ReportStore
from sockets import ACCEPT_POLL_SECONDS, break_off, listen, tls_context
from stack_tool import StackTool
from upload_calls import UploadCalls
from wire import Connection

_IDLE_SECONDS = 120.0
_STOP_SECONDS = 3.0
_FAULT_POLL_SECONDS = 0.01

# The call that a client makes after each; the next report follows a commit.
_NEXT_CALL = {"first": "put", "put": "commit", "commit": "first"}


class CrashService:
    """Receives crash reports into `directory`. A context manager; `start` and `stop` by hand work.

    Port 0 takes any free one; `port` and `base_url` are valid after `start`. `certificates` is the
    folder of the test authority (default: "certificates" in `directory`), `variant` one of
    certificates.VARIANTS. With `strict`, requests with problems are answered 400. `log` gets one
    line a request, `stacks` makes the stack traces of dumps, and `certificate` is a PEM file with
    certificate and key to serve with instead of making any. One object serves once; all methods may
    be called from any thread.
    """

    def __init__(
        self,
        directory: Path,
        port: int = 0,
        certificates: Optional[Path] = None,
        variant: str = "good",
        user_agent: str = protocol.DEFAULT_USER_AGENT,
        strict: bool = True,
        log: Optional[Callable[[str], None]] = None,
        stacks: Optional[StackTool] = None,
        certificate: Optional[Path] = None,
    ) -> None:
        self.directory = Path(directory)
        self.port = port
        self.handshake_failures: List[str] = []
        self._certificate_folder = Path(certificates or self.directory / "certificates")
        self._variant = variant
        self._user_agent = user_agent
        self._strict = strict
        self._log = log
        self._stacks = stacks
        self._certificate = certificate
        self._log_lock = threading.Lock()
        self._plan = FaultPlan()
        self._stopping = threading.Event()
        self._connect_fault: Optional[str] = None  # For the next connections.
        self._listening = threading.Event()
        self._commits = 0
        self._changed = threading.Condition()
        self._connections: Dict[threading.Thread, Tuple[Connection, List[bool]]] = {}
        self._connections_lock = threading.Lock()

    def __enter__(self) -> CrashService:
        self.start()
        return self

    def __exit__(self, *_: object) -> None:
        self.stop()

    def start(self) -> None:
        """Makes missing certificates, then listens. Raises OSError when the port is taken."""
        self.directory.mkdir(parents=True, exist_ok=True)
        if self._certificate is not None:
            self.certificates = Certificates(*[self._certificate] * 4)
        else:
            self.certificates = ensure_certificates(self._certificate_folder, self._variant)
        self._contexts = {self._variant: tls_context(self.certificates)}
        self._listener = listen(self.port)
        self.port = self._listener.getsockname()[1]
        self.base_url = f"https://{HOST}:{self.port}"
        self._index = ReportIndex(self.directory)
        self._store = ReportStore(self.directory, self.base_url, self._index.highest())
        catch_up(self._index, self.directory, self._print)
        self._calls = UploadCalls(
            self._store, self._index, self.base_url, self._user_agent, self._strict
        )
        self._browser = Browser(self.directory, self._index, self._stacks)
        if self._stacks is not None:
            self._stacks.start(self.directory, self._index)
        self._listening.set()
        self._acceptor = threading.Thread(target=self._accept, name="accept", daemon=True)
        self._acceptor.start()

    def stop(self) -> None:
        """Ends idle and stalled connections at once; requests under way get a moment to finish."""
        self._stopping.set()
        with self._changed:
            self._changed.notify_all()
        self._acceptor.join()
        self._listener.close()
        deadline = time.monotonic() + _STOP_SECONDS
        for patient in (True, False):
            with self._connections_lock:
                connections = list(self._connections.items())
            for _, (connection, busy) in connections:
                if not (patient and busy[0]):
                    connection.interrupt()
            for thread, _ in connections:
                thread.join(max(0.1, deadline - time.monotonic()))
        if self._stacks is not None:
            self._stacks.stop()
        self._index.close()

    def fail(self, call: str, **settings: Any) -> None:
        """Makes the next requests of the call ("first", "put", "commit") fail; see faults.Fault."""
        self.add_fault(call, Fault(**settings))

    def add_fault(self, call: str, fault: Fault) -> None:
        """The same with a ready-made fault."""
        if fault.connect in VARIANTS and fault.connect not in self._contexts:
            certificates = ensure_certificates(self._certificate_folder, fault.connect)
            self._contexts[fault.connect] = tls_context(certificates)
        self._plan.add(call, fault)
        if call == "first":
            self._expect(call)

    def clear_faults(self) -> None:
        """From the next request on everything is answered as it should be."""
        self._plan.clear()
        self._connect_fault = None
        self._listening.wait(_STOP_SECONDS)

    def _expect(self, call: str) -> bool:
        """Prepares for the next call; true when it must come on a new connection."""
        self._connect_fault = self._plan.connection(call)
        if self._connect_fault is None:
            return False
        if self._connect_fault == "refused":
            self._listening.clear()
            with contextlib.suppress(OSError):  # Wakes up the acceptor, too.
                self._listener.shutdown(socket.SHUT_RDWR)
        with self._connections_lock:
            connections = list(self._connections.values())
        for connection, busy in connections:
            if not busy[0]:
                connection.interrupt()
        return True

    @property
    def reports(self) -> List[Report]:
        """The reports since the start, in order."""
        return self._store.all()

    @property
    def other(self) -> Report:
        """Holds the requests and problems that belong to no report."""
        return self._store.other

    @property
    def problems(self) -> List[Problem]:
        """Everything that was wrong with any request since the start."""
        return [item for owner in [*self.reports, self.other] for item in owner.problems]

    @property
    def requests(self) -> List[Exchange]:
        """All requests since the start, in the order of their arrival."""
        found = [item for owner in [*self.reports, self.other] for item in owner.requests]
        return sorted(found, key=lambda exchange: exchange.sequence)

    def wait_for_commits(self, count: int, timeout: float) -> bool:
        """Waits until so many commits were answered since the start; false when time is over."""
        with self._changed:
            return self._changed.wait_for(lambda: self._commits >= count, timeout)

    def _accept(self) -> None:
        while not self._stopping.is_set():
            try:
                plain, _ = self._listener.accept()
            except socket.timeout:
                continue
            except OSError:  # For example out of descriptors: other connections must end first.
                self._listen_again()
                continue
            thread = threading.Thread(target=self._serve, args=(plain,), daemon=True)
            thread.start()

    def _listen_again(self) -> None:
        """Waits until connections are no longer to be refused, if they are."""
        if self._listening.is_set():
            self._stopping.wait(ACCEPT_POLL_SECONDS)
            return
        self._listener.close()
        while self._connect_fault == "refused" and not self._stopping.wait(_FAULT_POLL_SECONDS):
            pass
        self._listener = listen(self.port)
        self._listening.set()

    def _serve(self, plain: socket.socket) -> None:
        """A connection's life, in its own thread, the TLS handshake included."""
        fault = self._connect_fault
        if fault in ("reset", "garbage"):
            break_off(plain, fault)
            return
        context = self._contexts.get(fault or "", self._contexts[self._variant])
        with contextlib.ExitStack() as stack:
            try:
                plain.settimeout(_IDLE_SECONDS)
                plain.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                sock = context.wrap_socket(
                    plain, server_side=True, do_handshake_on_connect=False
                )
            except OSError:  # The client is gone already.
                plain.close()
                return
            stack.callback(sock.close)
            connection, busy = Connection(sock), [False]
            thread = threading.current_thread()
            with self._connections_lock:
                self._connections[thread] = (connection, busy)
            stack.callback(self._forget, thread)
            if self._stopping.is_set():
                return
            try:
                sock.do_handshake()
                while self._serve_one(connection, busy):
                    busy[0] = False
                connection.finish()
            except ssl.SSLError as error:  # A client that refuses the certificate ends like this.
                if not self._stopping.is_set():
                    self.handshake_failures.append(str(error))
                    self._print(f"---- TLS failed: {error}")
            except (OSError, sqlite3.Error, *UNREADABLE) as error:
                self._print(f"---- connection lost: {error}")

    def _forget(self, thread: threading.Thread) -> None:
        with self._connections_lock:
            del self._connections[thread]

    def _serve_one(self, connection: Connection, busy: List[bool]) -> bool:
        """Receives and answers one request; whether the connection goes on."""
        if self._stopping.is_set():
            return False
        try:
            raw = connection.read_head()
            busy[0] = True
            if raw is None:
                return False
            head = RequestHead.parse(raw)
            size = head.content_length() or 0
            if head.all("Transfer-Encoding"):
                raise HeadError("Transfer-Encoding is not supported")
        except HeadError as error:
            return self._refuse_head(connection, str(error))
        if is_page(head):
            return self._serve_page(connection, head, size)
        exchange = self._calls.begin(head)
        fault = self._plan.take(exchange.call)
        exchange.fault = fault.describe() if fault else None
        if not self._receive_body(connection, exchange, size, fault):
            return False
        ordinary = self._calls.answer(exchange, fault)
        answer = fault.apply(ordinary, self._calls.redirect_url(exchange)) if fault else ordinary
        if not (fault and fault.is_silent()):
            exchange.status, exchange.answer = answer.status, answer.body
        self._record(exchange)
        try:
            must_end = self._expect(_NEXT_CALL.get(exchange.call, ""))
            return self._deliver(connection, answer, fault, head.wants_close() or must_end)
        finally:
            if exchange.made_commit:
                with self._changed:
                    self._commits += 1
                    self._changed.notify_all()

    def _serve_page(self, connection: Connection, head: RequestHead, size: int) -> bool:
        """Answers a browser. Looking changes nothing, so it is not kept, and no fault meets it."""
        answer = self._browser.answer(head, self.port)
        close = head.wants_close() or size > 0  # A body that nobody expects is not read.
        send = connection.send_head if head.method == "HEAD" else connection.send
        send(answer, close=close)
        self._print(f"---- page {head.target} -> {answer.status}")
        return not close

    def _receive_body(
        self, connection: Connection, exchange: Exchange, size: int, fault: Optional[Fault]
    ) -> bool:
        """Streams the body into its file; false when the connection is over."""
        cut = fault is not None and fault.reset == "body"
        if exchange.head.expects_continue() and size:
            connection.send_continue()
        if fault is not None and fault.stall == "request":
            self._record(exchange)
            self._stopping.wait()
            return False
        with open(exchange.body_path, "wb") as target:
            body = connection.read_body(size // 2 if cut else size, target)
        exchange.body_size, exchange.body_md5 = body.size, body.md5
        exchange.body_complete = body.complete and not cut
        if exchange.body_complete:
            return True
        if not cut:
            text = f"the body ended after {body.size} of {size} bytes"
            self._calls.complain(exchange, [Complaint("body", text)])
        self._record(exchange)
        if cut:
            connection.reset()
        return False

    def _deliver(
        self, connection: Connection, answer: Answer, fault: Optional[Fault], close: bool
    ) -> bool:
        """Sends the answer as the fault wants it; whether the connection goes on."""
        fault = fault or Fault()
        if fault.never:
            self._stopping.wait()
            return False
        if self._stopping.wait(fault.delay) or fault.close:
            return False
        if fault.interim:
            connection.send_interim(fault.interim)
        if fault.raw is not None:
            connection.send_raw(fault.raw.replace(b"{body}", answer.body))
        elif fault.reset == "before":
            connection.reset()
        elif fault.truncate or fault.stall or fault.reset == "middle":
            connection.send_half(answer)
            if fault.stall:
                self._stopping.wait()
            if fault.reset:
                connection.reset()
        else:
            close = close or fault.reset is not None
            connection.send(answer, chunked=fault.chunked, close=close)
            if fault.reset:
                connection.reset()
            return not close
        return False

    def _refuse_head(self, connection: Connection, text: str) -> bool:
        """Answers what is not a usable HTTP request, and ends the connection."""
        with self.other.lock:
            self.other.folder.mkdir(parents=True, exist_ok=True)
            self.other.add_problems("unknown", [Complaint("head", text)])
        self._print(f"---- unreadable request: {text}")
        connection.send(Answer(400, text.encode(), "text/plain"), close=True)
        return False

    def _record(self, exchange: Exchange) -> None:
        exchange.save()
        if exchange.report is not None:
            index_report(self._index, exchange.report.folder, self._print)
            if exchange.made_commit and self._stacks is not None:
                self._stacks.ask(exchange.report.number)
        name = exchange.report.folder.name if exchange.report else "-"
        parts = [
            f"{exchange.sequence:04} {name} {exchange.call} {exchange.head.method}",
            f"{exchange.body_size} bytes -> {exchange.status or 'no answer'}",
        ]
        if exchange.fault:
            parts.append(f"fault {exchange.fault!a}")
        if exchange.complaints:
            texts = [f"{complaint.check}: {complaint.text}" for complaint in exchange.complaints]
            parts.append("PROBLEMS " + "; ".join(texts))
        self._print(", ".join(parts))

    def _print(self, line: str) -> None:
        if self._log is not None:
            with self._log_lock:
                self._log(line)
