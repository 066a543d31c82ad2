"""Gives the public header to Doxygen, whose own notation would only be in the way of those who read the header itself.

A comment belongs to all declarations up to the next blank line; indented lines in it are kept as they stand.
"""

import re
import sys
import textwrap


def markup(comment):
    """The text of a comment in Doxygen's notation."""
    text = re.sub(r"^[ \t]*\*(?=[ \t]|$)", " ", comment, flags=re.MULTILINE)
    lines = textwrap.dedent("   " + text.strip("\n") if not text.startswith("\n") else text).strip("\n").split("\n")
    margin = min((len(line) - len(line.lstrip()) for line in lines[1:] if line.strip()), default=0)
    out, kept = [], False
    for line in lines:
        indent = len(line) - len(line.lstrip())
        indented = bool(line.strip()) and line is not lines[0] and indent > margin
        if indented != kept and line.strip():
            out.append("@verbatim" if indented else "@endverbatim")
            kept = indented
        out.append(line[margin:] if kept else re.sub(r"([\\@<>&#%\"])", r"\\\1", line.strip()))
    return "\n".join(out + ["@endverbatim"] * kept)


def convert(header):
    parts, position, comment = [], 0, ""
    for match in re.finditer(r"/\*(.*?)\*/|\n[ \t]*\n|;\n(?=WRENFALL_API)", header, flags=re.DOTALL):
        parts.append(header[position:match.start()])
        position = match.end()
        text = match.group(1)
        line_start = header.rfind("\n", 0, match.start()) + 1
        before, after = header[line_start:match.start()].strip(), header[match.end():]
        if match.group(0).startswith(";"):
            parts.append(";\n" + comment)  # the next of the declarations that share it
        elif text is None:
            comment = ""
            parts.append(match.group(0))
        elif match.start() == 0:
            parts.append("/** @file\n" + markup(text) + "\n*/")
        elif before and not before.endswith("{"):
            parts.append("/**< " + markup(text) + " */")  # behind what it explains
        elif "-----" not in text and re.match(r"\s*?\n[ \t]*\w", after):
            comment = "/** " + markup(text) + "\n*/\n"
            parts.append(comment)
        else:
            parts.append(match.group(0))
    return "".join(parts) + header[position:]


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as file:
        sys.stdout.write(convert(file.read()))
