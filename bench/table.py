"""Prints what the benchmarks measured as one table. --write puts it and a picture into docs/performance.md; --check
compares the ratios with those of the document and fails when one is more than a quarter above."""

import argparse
import datetime
import html
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs" / "performance.md"
PICTURE = ROOT / "docs" / "images" / "performance.svg"
TOLERANCE = 1.25
BEGIN, END = "<!-- figures -->\n", "<!-- end of figures -->\n"


def time_text(microseconds):
    for unit, size in (("s", 1e6), ("ms", 1e3)):
        if microseconds >= size:
            return f"{microseconds / size:.2f} {unit}"
    return f"{microseconds:.2f} us"


def number(text):
    value = float(text)
    return f"{value:.0f}" if value == int(value) else f"{value:.2f}"


def read(path):
    rows, figures = [], []
    for line in path.read_text("utf-8").splitlines():
        kind, *fields = line.strip().split("|")
        if kind == "bench":
            operation, size, *numbers = fields
            rows.append((operation, number(size), *map(float, numbers)))
        elif kind == "figure":
            name, value, unit, budget = fields
            figures.append((name, float(value), unit, float(budget)))
    return rows, figures


def verdict(value, budget):
    return "" if budget == 0 else "within" if value <= budget else "over"


def tables(rows, figures):
    lines = ["| operation | size | limit | library | ratio | least to largest | budget | |",
             "|---|--:|--:|--:|--:|--:|--:|---|"]
    for operation, size, limit, took, ratio, least, largest, budget in rows:
        shown = f"{budget:g}" if budget else ""
        lines.append(f"| {operation} | {size} | {time_text(limit)} | {time_text(took)} | {ratio:.3g} | "
                     f"{least:.3g} to {largest:.3g} | {shown} | {verdict(ratio, budget)} |")
    lines += ["", "| figure | value | budget | |", "|---|--:|--:|---|"]
    for name, value, unit, budget in figures:
        shown = f"{budget:.4g} {unit}" if budget or not unit else ""
        lines.append(f"| {name} | {value:.3g} {unit} | {shown} | "
                     f"{verdict(value, budget) if budget else 'within' if value == 0 else ''} |")
    return "\n".join(lines) + "\n"


def picture(rows):
    """A bar a row: the ratio to the limit, with a mark at the budget."""
    rows = [row for row in rows if row[7] >= 1]
    widest, line = 4.0, 22
    height = line * len(rows) + 50
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="900" height="{height}" font-family="sans-serif" '
             f'font-size="12"><rect width="900" height="{height}" fill="white"/>',
             '<text x="10" y="20" font-size="14">Time beside the limit (1 = bare system calls; mark = budget)</text>']
    x = lambda ratio: 420 + min(ratio, widest) / widest * 420
    parts.append(f'<line x1="{x(1)}" y1="30" x2="{x(1)}" y2="{height - 10}" stroke="#888" stroke-dasharray="3"/>')
    for index, (operation, size, _, _, ratio, _, _, budget) in enumerate(rows):
        y = 34 + index * line
        color = "#3a7" if ratio <= budget else "#c53"
        parts.append(f'<text x="410" y="{y + 13}" text-anchor="end">{html.escape(operation)}: {size}</text>'
                     f'<rect x="420" y="{y}" width="{x(ratio) - 420:.1f}" height="16" fill="{color}"/>'
                     f'<line x1="{x(budget):.1f}" y1="{y - 2}" x2="{x(budget):.1f}" y2="{y + 18}" stroke="black" '
                     f'stroke-width="2"/><text x="{x(ratio) + 5:.1f}" y="{y + 13}">{ratio:.2f}</text>')
    return "\n".join(parts) + "\n</svg>\n"


def documented():
    """The ratios of the document by operation and size."""
    ratios = {}
    for line in PAGE.read_text("utf-8").partition(BEGIN)[2].partition(END)[0].splitlines():
        cells = [cell.strip() for cell in line.split("|")[1:-1]]
        if len(cells) == 8 and cells[1].isdigit():
            ratios[cells[0], cells[1]] = float(cells[4])
    return ratios


def check(rows):
    """Prints what is slower than documented; the number of such rows, or of all when nothing could be compared."""
    known = documented()
    compared = [(row, known[row[:2]]) for row in rows if row[:2] in known]
    slower = [(row, before) for row, before in compared if row[4] > before * TOLERANCE]
    for (operation, size, _, _, ratio, *_), before in slower:
        print(f"slower: {operation}, {size}: {ratio:.3g} instead of {before:.3g}")
    print(f"{len(slower)} of {len(compared)} rows are more than {TOLERANCE:g} times what the document says")
    return len(slower) if compared else 1


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("results", type=Path)
    arguments = parser.parse_args()
    rows, figures = read(arguments.results)
    table = tables(rows, figures)
    print(table)
    if arguments.write:
        page = PAGE.read_text("utf-8")
        head, _, rest = page.partition(BEGIN)
        tail = rest.partition(END)[2]
        day = datetime.date.today().isoformat()
        PAGE.write_text(f"{head}{BEGIN}\nMeasured on {day}.\n\n{table}\n{END}{tail}", "utf-8")
        PICTURE.write_text(picture(rows), "utf-8")
    return 1 if arguments.check and check(rows) else 0


if __name__ == "__main__":
    sys.exit(main())
