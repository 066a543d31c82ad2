"""Fails when something of the released interface is gone or changed, in the header or in the DLL."""

import argparse
import re
import subprocess
import sys

from check_exports import exported_names, headers_of


def parse(text):
    """(kind, name, rest) of each line that says something."""
    for line in text.splitlines():
        if line and not line.startswith("#"):
            kind, name, rest = re.fullmatch(r"(\w+) ([\w.]+): (.+)", line).groups()
            yield kind, name, rest


def assertion(kind, name, rest):
    """What the compiler is to find true of the header."""
    if kind == "constant":
        return f"{name} == {rest}"
    if kind == "size":
        return f"sizeof({name}) == {rest}"
    if kind == "type":
        return f"__builtin_types_compatible_p({name}, {rest})"
    if kind == "function":
        return f"__builtin_types_compatible_p(__typeof__({name}), {rest})"
    if kind == "field":
        record, field = name.split(".")
        offset, type_name = rest.split(" ", 1)
        return (f"offsetof({record}, {field}) == {offset} && "
                f"__builtin_types_compatible_p(__typeof__((({record}*)0)->{field}), {type_name})")
    raise ValueError(f"unknown kind of line: {kind}")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--include", required=True)
    parser.add_argument("--objdump", required=True)
    parser.add_argument("--dll", required=True)
    parser.add_argument("--released", required=True)
    arguments = parser.parse_args()

    with open(arguments.released, encoding="utf-8") as file:
        released = list(parse(file.read()))
    lines = [f'_Static_assert({assertion(*line)}, "{line[1]}");' for line in released]
    source = "\n".join(["#include <wrenfall/wrenfall.h>", "#include <stddef.h>", *lines])
    compiled = subprocess.run(
        [arguments.compiler, "-std=gnu11", "-fsyntax-only", "-fdiagnostics-color=never",
         f"-I{arguments.include}", "-x", "c", "-"], input=source, capture_output=True, text=True, check=False)
    problems = re.findall(r"error: .*", compiled.stderr)
    if compiled.returncode != 0 and not problems:
        problems.append(compiled.stderr)

    names = {name for kind, name, _ in released if kind == "function"}
    exported = exported_names(headers_of(arguments.objdump, arguments.dll))
    problems += [f"not exported any more: {name}" for name in sorted(names - exported)]
    if not names:
        problems.append("the list of the released interface is empty")
    for name in sorted(exported - names):
        print(f"new, not in a release yet: {name}")
    for problem in problems:
        print(problem)
    print(f"{len(released)} released names, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
