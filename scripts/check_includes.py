#!/usr/bin/env python3
"""Checks that includes only run down: a file uses its own layer and the layers below it, and a companion only itself and
what companions share. System headers of Windows stay in the files named *_win. And that file calls of the system get their
path from system_path(), so that it may have any length, which std::filesystem does not allow for. Prints each line that does not, and then ends with 1."""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

# What each folder may include besides itself. Fixed by docs/architecture.md.
SUPPORT = {"support"}
STORE = SUPPORT | {"report/store"}
BACKEND = SUPPORT | {"backend"}
LAYERS = {
    "support": SUPPORT,
    "report/store": STORE,
    "backend": BACKEND,
    "upload": STORE | {"upload"},
    "hang": BACKEND | {"hang"},
}
LAYERS["report"] = LAYERS["upload"] | BACKEND | {"report"}
LAYERS["api"] = LAYERS["report"] | {"hang", "api"}
SHARED = LAYERS["report"] | {"common"}
COMPANIONS = {
    "common": SUPPORT | {"common"},
    "minidump": SUPPORT | {"minidump"},
    "stack": SUPPORT | {"common", "minidump", "stack"},
    "monitor": SHARED | {"minidump", "monitor"},
    "ctl": SHARED | {"minidump", "stack", "ctl"},
    "reporter": SHARED | {"reporter"},
    "wer": SHARED | {"wer"},
}
OWN_HEADER = re.compile(r'^#include "([^"]+)/([^/"]+)"', re.MULTILINE)
WINDOWS_HEADER = re.compile(
    r"^#include <(windows|winhttp|winternl|bcrypt|shlobj|shellapi|objbase|tlhelp32|commctrl|dbghelp|werapi)\.h>",
    re.MULTILINE)
# Owns handles; for the _win files alone.
WINDOWS_ONLY_HEADERS = {"win_handle.h"}
# Calls of the system that take a path, with what they are given; LoadImageW takes it as its second argument.
FILE_CALL = re.compile(
    r"\b(CreateFileW|CreateDirectoryW|RemoveDirectoryW|DeleteFileW|(?:Move|Copy|Replace)File\w*|CreateProcessW|_wfopen|"
    r"FindFirst\w+|[GS]etFileAttributes\w*|GetDiskFreeSpace\w*|LoadImageW)\((?:nullptr, )?([^;{]*)")
STANDARD_FILE_CALL = re.compile(
    r"\b((?:fs|std::filesystem)::(?:exists|is_\w+|create_\w+|remove\w*|rename|copy\w*|file_size|equivalent|space|"
    r"permissions|last_write_time|status|(?:recursive_)?directory_iterator))\(")


def calls_with_other_paths(text):
    """The calls whose path does not come from system_path(): in place, or by way of a variable of that file."""
    for call, given in FILE_CALL.findall(text):
        names = re.findall(r"(\w+)\.c_str\(\)", given)
        from_function = given.lstrip().startswith(("system_path(", 'L"')) or names
        if not from_function or any(f"const std::wstring {name} = system_path(" not in text for name in names):
            yield call
    yield from STANDARD_FILE_CALL.findall(text)


def is_for_windows(name):
    return name.rpartition(".")[0].endswith("_win") or name in WINDOWS_ONLY_HEADERS


def wrong_includes(root, rules):
    for path in sorted((ROOT / root).rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        folder = path.parent.relative_to(ROOT / root).as_posix()
        name = path.relative_to(ROOT).as_posix()
        text = path.read_text(encoding="utf-8")
        portable = not is_for_windows(path.name)
        for included, header in OWN_HEADER.findall(text):
            if included not in rules[folder] or (portable and is_for_windows(header)):
                yield f"{name} includes {included}/{header}"
        for header in WINDOWS_HEADER.findall(text) if portable else ():
            yield f"{name} includes <{header}.h>"
        for call in calls_with_other_paths(text):
            yield f"{name}: {call} does not get its path from system_path()"


def main():
    wrong = [*wrong_includes("src", LAYERS), *wrong_includes("companions", COMPANIONS)]
    for line in wrong:
        print(line)
    return 1 if wrong else 0


sys.exit(main())
