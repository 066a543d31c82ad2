#!/usr/bin/env python3
"""A local crash-collection service over HTTPS: the command line.

Python programs put this folder on sys.path and use `from crash_service import CrashService`.
"""

from __future__ import annotations

import argparse
import contextlib
import errno
import json
import os
import signal
import sqlite3
import sys
import threading
import time
from pathlib import Path
from types import FrameType
from typing import List, Optional

import protocol
import summary
from certificates import VARIANTS, CertificateError, ensure_certificates
from faults import FaultError, parse_fault
from service import CrashService
from stack_tool import StackTool

__all__ = ["CrashService", "main"]

EXIT_OK = 0
EXIT_PROBLEMS = 1
EXIT_CANNOT_RUN = 2

# On Windows a wait cannot be interrupted: Ctrl-C is seen only after it.
_UNINTERRUPTED_SECONDS = 0.2

_DESCRIPTION = """\
Receives crash reports over HTTPS on 127.0.0.1, checks every request and keeps it raw. A browser
sees the reports at the same address.
It ends by itself (--lifetime, --max-reports), or cleanly on SIGTERM and SIGINT.
"""

_EPILOGUE = """\
faults: --fail CALL:SETTING,SETTING,... with CALL first, put or commit
  status=N          answer with this status (200 to 599)
  body=TEXT         answer with this body, status 200 unless given; takes the rest of
                    the argument, commas included. body=@FILE takes a file's bytes
  redirect          answer 307 to this service again; redirect=URL to another place
  huge=SIZE         fill the answer's body up to SIZE bytes with blanks (K, M, G allowed)
  chunked           answer with a chunked body
  delay=SECONDS     wait before answering
  truncate          promise a longer body than is sent, then close
  reset=body        TCP reset in the middle of the request's body
  reset=before      TCP reset before the answer
  reset=middle      TCP reset in the middle of the answer's body
  close             close without an answer
  never             never answer
  stall=request     read nothing of the request's body, and never answer
  stall=answer      send half of the answer's body, and never the rest
  times=N           only the next N requests of the call (default: all)
Several --fail of one call follow each other.

examples:
  crash_service.py --dir /tmp/reports --build build/mingw
  crash_service.py --dir /tmp/reports --ready-file /tmp/port --max-reports 1
  crash_service.py --dir /tmp/reports --fail first:status=503 --fail put:delay=2,times=1
  crash_service.py --dir /tmp/reports --fail 'commit:body={"status":"failure"}'
  crash_service.py --dir /tmp/reports --variant expired
  crash_service.py --make-certificates --certificates /tmp/certificates
  crash_service.py --summary /tmp/reports

exit codes:
  0  ended as it should; with --summary: reports were received, all without problems
  1  only with --summary: a problem was recorded, or nothing was received
  2  wrong usage, the port is in use, or the certificates, folders or index cannot be made
"""


def main(arguments: Optional[List[str]] = None) -> int:
    """Runs the command line and returns the exit code."""
    options = _parser().parse_args(arguments)
    if options.summary is not None:
        return _print_summary(options.summary, options.json)
    certificates = options.certificates or (options.build or options.dir) / "certificates"
    try:
        if options.port is None:
            options.port = _usual_port(options.build)
        if options.make_certificates:
            return _make_certificates(certificates, options.variant, options.json)
        return _serve(options, certificates)
    except FaultError as error:
        return _complain(f"--fail: {error}")
    except CertificateError as error:
        return _complain(str(error))
    except sqlite3.Error as error:
        return _complain(f"the index of the reports cannot be used: {error}")
    except OSError as error:
        if error.errno == errno.EADDRINUSE:
            return _complain(f"port {options.port} of 127.0.0.1 is in use")
        return _complain(str(error))


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        description=_DESCRIPTION,
        epilog=_EPILOGUE,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    add = parser.add_argument
    add("--dir", type=Path, default=Path("crash_service_reports"), metavar="DIR",
        help="where reports are kept; an existing folder is continued (default: %(default)s)")
    add("--build", type=Path, metavar="DIR",
        help="be the service of this build tree: at the port that its programs look for, with its certificates")
    add("--port", type=int, metavar="N",
        help="port to listen on, 0 for any free one (default: that of --build, or of the package "
             "that this is a part of, else 0)")
    add("--certificates", type=Path, metavar="DIR",
        help="folder of the test CA and the server certificate, made when missing or expiring "
             "(default: certificates in --build, else in --dir)")
    add("--certificate", type=Path, metavar="FILE",
        help="serve with this certificate and key, both in one PEM file, and make none (default on "
             "Windows: what windows_certificate.ps1 has made, unless --certificates is given)")
    add("--variant", choices=VARIANTS, default="good",
        help="serve with this certificate (default: %(default)s)")
    add("--fail", action="append", default=[], metavar="FAULT",
        help="fail on purpose, see below; may be repeated")
    add("--lenient", action="store_true",
        help="record problems, but answer as if there were none (otherwise: 400)")
    add("--user-agent", default=protocol.DEFAULT_USER_AGENT, metavar="TEXT",
        help="the User-Agent that is expected (default: %(default)s)")
    add("--stacks", nargs="?", const="", metavar="PROGRAM",
        help="show the stack traces of dumps, made by wrenfallctl.exe (default: that of --build, or "
             "of the package), which runs under Wine where this is not Windows")
    add("--symbols", default="", metavar="DIR[;DIR]",
        help="where --stacks looks for debug information, too")
    add("--ready-file", type=Path, metavar="FILE",
        help="written with the port number, in one step, once the service listens")
    add("--lifetime", type=_positive_number, default=600.0, metavar="SECONDS",
        help="end after this time (default: %(default)g)")
    add("--max-reports", type=_positive_count, metavar="N",
        help="end after N completed commits")
    add("--make-certificates", action="store_true",
        help="only make the certificates, print their paths and end")
    add("--summary", type=Path, metavar="DIR",
        help="only print what the service folder DIR received, and end")
    add("--json", action="store_true",
        help="print --summary or --make-certificates as JSON")
    return parser


def _positive_number(text: str) -> float:
    value = float(text)
    if not 0 < value <= threading.TIMEOUT_MAX:
        raise argparse.ArgumentTypeError(f"{text} is not a usable number of seconds")
    return value


def _positive_count(text: str) -> int:
    value = int(text)
    if value < 1:
        raise argparse.ArgumentTypeError(f"{text} is less than 1")
    return value


def _print_summary(directory: Path, as_json: bool) -> int:
    content = summary.read_folder(directory)
    if as_json:
        _say(json.dumps({**content, "good": summary.is_good(content)}, indent=2))
    else:
        _say(summary.format_folder(content))
    return EXIT_OK if summary.is_good(content) else EXIT_PROBLEMS


def _make_certificates(folder: Path, variant: str, as_json: bool) -> int:
    paths = ensure_certificates(folder, variant).as_dict()
    if as_json:
        _say(json.dumps(paths, indent=2))
    else:
        _say("\n".join(f"{name}: {path}" for name, path in paths.items()))
    return EXIT_OK


def _serve(options: argparse.Namespace, certificates: Path) -> int:
    if not 0 <= options.port <= 65535:
        return _complain(f"--port {options.port} is not between 0 and 65535")
    if options.ready_file:
        with contextlib.suppress(FileNotFoundError):
            options.ready_file.unlink()  # A file of an earlier run would look like this run's.
    service = CrashService(
        options.dir, options.port, certificates, options.variant,
        user_agent=options.user_agent, strict=not options.lenient, log=_say,
        stacks=_stack_tool(options),
        certificate=options.certificate or _windows_certificate(options),
    )
    for text in options.fail:
        service.add_fault(*parse_fault(text))
    ended = threading.Event()

    def on_signal(_number: int, _frame: Optional[FrameType]) -> None:
        ended.set()

    for number in (signal.SIGTERM, signal.SIGINT):
        signal.signal(number, on_signal)
    with service:
        _say(f"listening at {service.base_url}, reports in {options.dir}")
        _say(f"to be trusted: {service.certificates.ca_der}")
        if options.ready_file:
            _write_whole(options.ready_file, f"{service.port}\n")
        if options.max_reports:
            _end_after_commits(service, options.max_reports, options.lifetime, ended)
        _say("ended" if _wait(ended, options.lifetime) else "ended: the lifetime is over")
    return EXIT_OK


def _wait(ended: threading.Event, seconds: float) -> bool:
    """Whether the event came within that time. Signals are handled meanwhile, on Windows too."""
    deadline = time.monotonic() + seconds
    while (left := deadline - time.monotonic()) > 0:
        if ended.wait(min(left, _UNINTERRUPTED_SECONDS)):
            return True
    return ended.is_set()


def _usual_port(build: Optional[Path]) -> int:
    """That of the build tree, else the one that a package says its library looks for, else any."""
    if build is not None:
        return int((build / "service-port").read_text())
    packed = Path(__file__).parent / "service-port"
    return int(packed.read_text()) if packed.exists() else 0


def _stack_tool(options: argparse.Namespace) -> Optional[StackTool]:
    """What --stacks asks for. Raises FileNotFoundError when something is missing for it."""
    if options.stacks is None:
        return None
    # In a package this folder is five below the one that has the programs.
    root = options.build or Path(__file__).parent.joinpath(*[".."] * 5).resolve()
    prefix = os.environ.get("WRENFALL_WINEPREFIX") or (options.build or options.dir) / "wineprefix"
    program = Path(options.stacks) if options.stacks else root / "bin" / "wrenfallctl.exe"
    return StackTool(program, Path(prefix), options.symbols)


def _windows_certificate(options: argparse.Namespace) -> Optional[Path]:
    """The file of windows_certificate.ps1, where it was run and nothing else is asked for."""
    if os.name != "nt" or options.certificates or options.build or options.variant != "good":
        return None
    path = Path(os.environ.get("LOCALAPPDATA", ""), "WrenfallCrashService", "certificate.pem")
    return path if path.exists() else None


def _end_after_commits(
    service: CrashService, count: int, lifetime: float, ended: threading.Event
) -> None:
    def watch() -> None:
        if service.wait_for_commits(count, lifetime):
            ended.set()

    threading.Thread(target=watch, daemon=True).start()


def _write_whole(path: Path, text: str) -> None:
    temporary = path.with_name(f".{path.name}.{os.getpid()}")
    temporary.write_text(text)
    os.replace(temporary, path)


def _say(line: str) -> None:
    # The reader of the lines may be gone, or take only some characters; the service goes on.
    encoding = getattr(sys.stdout, "encoding", None) or "utf-8"
    with contextlib.suppress(BrokenPipeError):
        print(line.encode(encoding, "backslashreplace").decode(encoding), flush=True)


def _complain(text: str) -> int:
    print(f"crash_service: {text}", file=sys.stderr)
    return EXIT_CANNOT_RUN


if __name__ == "__main__":
    sys.exit(main())
