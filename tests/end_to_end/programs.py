"""How the drivers start Windows programs, write paths and meet processes: through Wine, or on Windows itself."""

import contextlib
import ctypes
import os
import re
import signal
import subprocess
import sys
import unittest
from pathlib import Path

ON_WINDOWS = sys.platform == "win32"
ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("WRENFALL_BUILD", ROOT / "build" / "mingw"))
BIN = Path(os.environ.get("WRENFALL_BIN", BUILD / "bin"))
LONG_PREFIX = "\\\\?\\"
LISTING = ("[Console]::OutputEncoding = [Text.Encoding]::UTF8; "
           'Get-CimInstance Win32_Process | % { "$($_.ProcessId)`t$($_.CommandLine)" }')

if not ON_WINDOWS:
    import resource


def start_program(*arguments, **settings):
    """Runs a Windows program, as a Popen object."""
    through = [] if ON_WINDOWS else [str(ROOT / "scripts" / "wine.sh")]
    return subprocess.Popen([*through, *map(str, arguments)], **settings)


def run_program(*arguments, **settings):
    """Runs a Windows program to its end: its exit code, and what it printed, errors apart."""
    for _ in range(3):
        process = start_program(*arguments, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **settings)
        try:
            out, err = process.communicate(timeout=300)
        finally:
            process.kill()
        # At random addresses Wine cannot start a program now and then. Its loader ends with 1, but a program that ends with
        # 1 has printed why. Or ld.so gives 127 in place of the program's exit code.
        if (process.returncode, out, err) != (1, b"", b"") and process.returncode != 127:
            break
    return process.returncode, out.decode("utf-8"), err.decode("utf-8")


def windows_path(path):
    return str(path).removeprefix(LONG_PREFIX) if ON_WINDOWS else "Z:" + str(path).replace("/", "\\")


def long_path(path):
    """The same path in the form that Windows takes from Python beyond 259 characters."""
    return Path(LONG_PREFIX + str(path)) if ON_WINDOWS else path


def local_path(path):
    return Path(path if ON_WINDOWS else path[2:].replace("\\", "/"))


def command_lines():
    """The command lines of this user's processes, by process id."""
    if ON_WINDOWS:
        listing = subprocess.check_output(["powershell", "-NoProfile", "-Command", LISTING]).decode("utf-8-sig")
        return {int(pid): line for pid, line in re.findall(r"(?m)^(\d+)\t(.*)\r$", listing)}
    found = {}
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            with contextlib.suppress(OSError):
                found[int(entry.name)] = (entry / "cmdline").read_bytes().decode("utf-8", "replace")
    return found


def processes(*words):
    """The ids of this user's processes whose command line holds all the words."""
    return [pid for pid, line in command_lines().items() if line and all(word in line for word in words)]


def alive(pid):
    if ON_WINDOWS:
        return pid in command_lines()
    try:
        return (Path("/proc") / str(pid) / "stat").read_bytes().rsplit(b")", 1)[1].split()[0] != b"Z"
    except OSError:
        return False


def end_process(pid):
    """Ends a process, which runs no code of its own any more. False when it has ended by itself."""
    try:
        os.kill(pid, signal.SIGTERM if ON_WINDOWS else signal.SIGKILL)
    except OSError:  # Windows has no error of its own for that
        return False
    return True


def freeze_process(pid, frozen=True):
    """Stops a process, or lets it go on."""
    if ON_WINDOWS:
        process = ctypes.windll.kernel32.OpenProcess(0x0800, False, pid)  # PROCESS_SUSPEND_RESUME
        (ctypes.windll.ntdll.NtSuspendProcess if frozen else ctypes.windll.ntdll.NtResumeProcess)(process)
        ctypes.windll.kernel32.CloseHandle(process)
    else:
        os.kill(pid, signal.SIGSTOP if frozen else signal.SIGCONT)


def has_module(pid, name):
    """Whether the process has loaded that program or library. One that was ended while it was started has none."""
    try:
        return ON_WINDOWS or name in Path(f"/proc/{pid}/maps").read_text()
    except OSError:
        return False


def unix_alone(why):
    """Skips a test on Windows, from anywhere in it."""
    if ON_WINDOWS:
        raise unittest.SkipTest("not on Windows: " + why)


def limit_files(pid, size):
    """From now on the process can write no file beyond the size, as on a full disk. -1: no limit; process 0: this one."""
    unix_alone("a process has no limit of its own on the size of files")
    _, most = resource.prlimit(pid, resource.RLIMIT_FSIZE)
    resource.prlimit(pid, resource.RLIMIT_FSIZE, (most if size < 0 else size, most))


def link_folder(path, target):
    unix_alone("the links are those of the Unix below Wine")
    path.symlink_to(target, target_is_directory=True)
