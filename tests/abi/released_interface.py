"""Fails when something of the released interface is gone from the header, or changed there.

    released_interface.py COMPILER INCLUDE-FOLDER LIST
"""

import re
import subprocess
import sys


def assertion(kind, name, rest):
    """What the compiler is to find true of the header."""
    record, _, field = name.partition(".")
    offset, _, type_name = rest.partition(" ")
    return {
        "constant": f"{name} == {rest}",
        "size": f"sizeof({name}) == {rest}",
        "type": f"__builtin_types_compatible_p({name}, {rest})",
        "function": f"__builtin_types_compatible_p(__typeof__({name}), {rest})",
        "field": f"offsetof({record}, {field}) == {offset} && "
                 f"__builtin_types_compatible_p(__typeof__((({record}*)0)->{field}), {type_name})",
    }[kind]


def main() -> int:
    compiler, include, released_file = sys.argv[1:]
    with open(released_file, encoding="utf-8") as file:
        # Kind, name, rest.
        released = [re.fullmatch(r"(\w+) ([\w.]+): (.+)", line).groups()
                    for line in file.read().splitlines() if line and not line.startswith("#")]
    lines = [f'_Static_assert({assertion(*line)}, "{line[1]}");' for line in released]
    source = "\n".join(["#include <wrenfall/wrenfall.h>", "#include <stddef.h>", *lines])
    compiled = subprocess.run(
        [compiler, "-std=gnu11", "-fsyntax-only", "-fdiagnostics-color=never",
         f"-I{include}", "-x", "c", "-"], input=source, capture_output=True, text=True, check=False)
    problems = re.findall(r"error: .*", compiled.stderr)
    if compiled.returncode != 0 and not problems:
        problems.append(compiled.stderr)

    if not released:
        problems.append("the list of the released interface is empty")
    for problem in problems:
        print(problem)
    print(f"{len(released)} released names, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
