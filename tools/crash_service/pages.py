"""The pages that a browser gets: an overview, and one page a report."""

from __future__ import annotations

import html
from pathlib import Path
from typing import Optional

import summary

_PAGE = """<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>{title}</title></head>
<body><h1>{title}</h1>
{content}
</body></html>
"""


def overview_page(directory: Path) -> str:
    """All reports of the folder, with links to their pages."""
    content = summary.read_folder(directory)
    rows = []
    for report in content["reports"]:
        number = int(report["name"].partition("-")[2])
        first = report["query"].get("first", {})
        title = f"{first.get('appName', '?')} {first.get('appVersion', '?')}"
        count = len(report["problems"])
        rows.append(
            f'<li><a href="/report/{number}">{html.escape(report["name"])}</a>: '
            f"{html.escape(title)}, {'committed' if report['ids'] else 'not committed'}, "
            f"{count} problem(s)</li>"
        )
    listing = f"<ul>\n{chr(10).join(rows)}\n</ul>" if rows else "<p>No report has come yet.</p>"
    others = len(content["otherProblems"])
    listing += f"\n<p>{others} problem(s) in requests without a report.</p>"
    return _PAGE.format(title="Crash reports", content=listing)


def report_page(directory: Path, number: int) -> Optional[str]:
    """What was received for one report; None when there is no such report."""
    folder = directory / f"report-{number:04}"
    if not folder.is_dir():
        return None
    text = summary.format_report(summary.read_report(folder))
    content = f'<pre>{html.escape(text)}</pre>\n<p><a href="/">All reports</a></p>'
    return _PAGE.format(title=f"Crash report {number}", content=content)
