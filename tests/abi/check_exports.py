"""Fails when the exports of a DLL or program are not exactly those asked for, or it cannot start without a DLL that is
not allowed: each DLL that is loaded with a process costs its start some milliseconds, and one that the system does not
have, or does not let the process load, costs the start itself.
"""

import argparse
import re
import subprocess
import sys

# What every process has, and what a Crashpad package's client may need besides.
BASE_DLLS = {"kernel32.dll", "msvcrt.dll"}
PACKAGE_DLLS = {"advapi32.dll", "ole32.dll", "powrprof.dll", "user32.dll", "version.dll", "winhttp.dll", "winmm.dll"}

# What a program with windows has besides, and what tells it whether it is elevated.
DIALOG_DLLS = {"advapi32.dll", "comctl32.dll", "gdi32.dll", "ole32.dll", "shell32.dll", "user32.dll"}


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--objdump", required=True)
    parser.add_argument("--file", required=True, help="the DLL or program")
    parser.add_argument("--has-package", action="store_true", help="with the client of a Crashpad package")
    parser.add_argument("--dialog", action="store_true", help="it shows a dialog")
    wanted = parser.add_mutually_exclusive_group(required=True)
    wanted.add_argument("--header", help="all functions that it declares")
    wanted.add_argument("--names", nargs="*", default=[])
    parser.add_argument("--definition", help="the .def file for other linkers, of the same names")
    arguments = parser.parse_args()

    dump = subprocess.run([arguments.objdump, "-p", arguments.file], check=True, capture_output=True, text=True).stdout
    exported = set(re.findall(r"^\s+\[\s*\d+\]\s+(\w+)$", dump, re.MULTILINE))
    imported = {name.lower() for name in re.findall(r"DLL Name: (\S+)", dump)}
    declared = set(arguments.names)
    if arguments.header:
        with open(arguments.header, encoding="utf-8") as file:
            declared = set(re.findall(r"WRENFALL_API[^;]*?\b(wrenfall_\w+)\s*\(", file.read()))
    defined = declared
    if arguments.definition:
        with open(arguments.definition, encoding="utf-8") as file:
            defined = set(file.read().partition("\nEXPORTS\n")[2].split())

    problems = []
    problems += [f"declared but not exported: {name}" for name in sorted(declared - exported)]
    problems += [f"exported but not declared: {name}" for name in sorted(exported - declared)]
    problems += [f"not both exported and in the .def file: {name}" for name in sorted(exported ^ defined)]
    allowed = BASE_DLLS | (PACKAGE_DLLS if arguments.has_package else set()) | (DIALOG_DLLS if arguments.dialog else set())
    problems += [f"loaded at the start: {name}" for name in sorted(imported - allowed)]
    if not imported:
        problems.append("no imported DLL found")
    if arguments.header and not declared:
        problems.append("no function found in the header")
    for problem in problems:
        print(problem)
    print(f"{len(exported)} exports, {len(imported)} imported DLLs")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
