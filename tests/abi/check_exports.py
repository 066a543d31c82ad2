"""Fails when a DLL's exports are not exactly those asked for, or it needs a DLL that is not the system's."""

import argparse
import re
import subprocess
import sys

SYSTEM_DLLS = {
    "advapi32.dll", "bcrypt.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "shell32.dll",
    "user32.dll", "winhttp.dll",
}


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--objdump", required=True)
    parser.add_argument("--dll", required=True)
    wanted = parser.add_mutually_exclusive_group(required=True)
    wanted.add_argument("--header", help="all functions that it declares")
    wanted.add_argument("--names", nargs="+", default=[])
    parser.add_argument("--definition", help="the .def file for other linkers, of the same names")
    arguments = parser.parse_args()

    dump = subprocess.run([arguments.objdump, "-p", arguments.dll], check=True, capture_output=True, text=True).stdout
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
    problems += [f"not a system DLL: {name}" for name in sorted(imported - SYSTEM_DLLS)]
    if not declared:
        problems.append("no function found in the header")
    for problem in problems:
        print(problem)
    print(f"{len(exported)} exports, {len(imported)} imported DLLs")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
