"""The page of one report: the user's words first, then what happened, then everything that came."""

from __future__ import annotations

from pathlib import Path
from typing import Any, Dict, List, NamedTuple, Optional, Tuple

import report_sections as sections
from fact_types import Facts
from facts import form_attributes, read_facts
from list_page import address
from markup import Html, joined, markup, plural, sent_time, time_markup
from page_layout import KIND_NAMES, badge, page
from report_folder import read_report
from report_index import UNFINISHED, Filter, ReportIndex, Row
from stack_trace import StackTrace

# The facts that the commit's form gives, with their names on the page.
_FORM_FACTS = (("user", "User"), ("email", "E-mail"), ("appKey", "Key"),
               ("environment", "Environment"), ("notes", "Notes"),
               ("crashSignature", "Signature"), ("crashHash", "Signature hash"))


class Section(NamedTuple):
    """A part of the page that the links at its top lead to. One without contents is left out."""

    name: str
    title: str
    content: Html


def report_page(
    index: ReportIndex, folder: Path, row: Row, trace: Optional[StackTrace], waiting: bool
) -> Html:
    """The page. `trace` is the stack trace of the dump, None where there is none; `waiting` says
    that it is being made, and lets the browser ask again."""
    report = read_report(folder)
    query = {**report["query"].get("first", {}), **report["query"].get("commit", {})}
    facts = read_facts(folder / "archive.zip", query.get("crashTypeId", ""))
    threads = trace.threads if trace is not None and trace.threads else facts.threads
    found = [
        Section("words", "The user's words", _words(report["fields"], facts)),
        Section("problems", "Problems", sections.problems(report["problems"], facts.problems)),
        Section("facts", "Facts", _facts(row, report, query, facts)),
        Section("exception", "Exception", sections.exception(facts)),
        Section("stack", "Stack trace", sections.stack(threads, trace, waiting)),
        Section("threads", "Threads", sections.threads(threads)),
        Section("modules", "Modules", sections.modules(facts.modules)),
        Section("attributes", "Attributes", sections.pairs(form_attributes(report["fields"]))),
        Section("breadcrumbs", "Breadcrumbs", sections.breadcrumbs(facts.breadcrumbs)),
        Section("sanitizer", "Sanitizer's report", sections.long_text(facts.sanitizer_text)),
        Section("log", "Logs", sections.logs(facts.logs)),
        Section("files", "Files", sections.files(row.number, report["entries"])),
        Section("annotations", "Annotations in the dump", sections.folded_pairs(facts.annotations)),
        Section("calls", "Calls", sections.calls(row.number, folder, report["requests"])),
    ]
    shown = [section for section in found if section.content]
    links = joined(markup('<a href="#{}">{}</a>', part.name, part.title) for part in shown)
    body = joined(
        markup('<section class="panel" id="{}"><h2>{}</h2>{}</section>', part.name, part.title,
               part.content)
        for part in shown
    )
    content = joined([_head(index, row, facts),
                      markup('<nav class="toc" aria-label="On this page">{}</nav>', links), body])
    return page(f"#{row.number} {_title(row)}", content, Html(), refresh=waiting)


def _title(row: Row) -> str:
    return row.place or row.exception or KIND_NAMES.get(row.kind, row.kind)


def _head(index: ReportIndex, row: Row, facts: Facts) -> Html:
    trail = [Html('<a href="/">All reports</a>')]
    if row.stack_key != UNFINISHED:
        same = Filter(stack_key=row.stack_key)
        trail.append(markup('<a href="{}">Stack key {}, {}</a>', address(same), row.stack_key,
                            plural(index.count(same)[0], "report")))
    trail.append(markup("<span>#{}</span>", row.number))
    title = _title(row)
    said = " ".join(filter(None, [row.exception, facts.explanation]))
    program = f"{row.application} {row.version}".strip()
    about = [text for text in (said, program) if text and text != title]
    parts = [*(markup("<span>{}</span>", text) for text in about), time_markup(row.received)]
    return markup(
        '<nav class="trail" aria-label="Where this is">{}</nav><header class="title">{}<h1>{}</h1>'
        "<p>{}</p></header>", joined(trail), badge(row.kind), title, joined(parts))


def _words(fields: Dict[str, str], facts: Facts) -> Html:
    words = fields.get("description") or facts.words
    if not words:
        return Html()
    people = " · ".join(filter(None, [fields.get("user"), fields.get("email")]))
    return markup('<blockquote dir="auto">{}</blockquote>{}', words,
                  markup('<p class="who">— {}</p>', people) if people else Html())


def _facts(row: Row, report: Dict[str, Any], query: Dict[str, str], facts: Facts) -> Html:
    fields, ids = report["fields"], report["ids"] or {}
    pairs: List[Tuple[str, object]] = [
        ("Application", row.application), ("Version", row.version),
        ("Happened", sent_time(query.get("crashTime", ""))),
        ("Received", time_markup(row.received, "%Y-%m-%d %H:%M:%S")),
        *facts.system.items(),
        ("Process", facts.annotations.get("wrenfall.session", "").partition("-")[0]),
        ("Library", facts.annotations.get("wrenfall.sdkVersion", "")),
        *((name, fields.get(key, "")) for key, name in _FORM_FACTS),
        ("Crash type", query.get("crashTypeId", "")),
        ("Stack key", row.stack_key or "none: the upload was not finished"),
        ("Crash id", ids.get("crashId", "")), ("Message id", ids.get("messageId", "")),
    ]
    return sections.fact_list(pairs)
