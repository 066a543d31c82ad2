"""The list of reports: groups by stack key with their latest reports, or one group's reports."""

from __future__ import annotations

import datetime
import time
import urllib.parse
from typing import Dict, List, Tuple

import chart
from markup import Html, joined, markup, plural, time_markup
from page_layout import KIND_NAMES, badge, page
from report_index import UNFINISHED, Filter, Group, ReportIndex, Row

_GROUPS_ON_PAGE = 20
_ROWS_IN_GROUP = 3
_ROWS_ON_PAGE = 50
_DAY = 86400


def list_page(index: ReportIndex, chosen: Filter, number: int, problems: int) -> Html:
    """Page `number` (from 1) of what the filter lets through. `problems` is how many requests fit
    no report."""
    reports, groups = index.count(chosen)
    single = chosen.stack_key is not None
    on_page = _ROWS_ON_PAGE if single else _GROUPS_ON_PAGE
    pages = max(1, -(-(reports if single else groups) // on_page))
    number = min(max(number, 1), pages)
    parts: List[Html] = []
    span = index.span(chosen)
    if span is None:
        parts += [_kinds(index, chosen)] if chosen != Filter() else []
        parts.append(_nothing(chosen))
    else:
        scale = chart.choose_scale(*span)
        recent = index.count_since(chosen, time.time() - _DAY)
        parts.append(_overview(index, chosen, scale, (reports, groups, recent)))
        parts.append(_kinds(index, chosen))
        if single:
            shown = index.groups(chosen, 1)
            rows = index.rows(chosen, on_page, (number - 1) * on_page)
            parts += [_group(group, rows, Html(), single) for group in shown]
        else:
            parts += _groups(index, chosen, scale, number)
        parts.append(_page_links(chosen, number, pages))
    return page("Crash reports", joined(parts), _foot(problems), chosen.words)


def _groups(index: ReportIndex, chosen: Filter, scale: chart.Scale, number: int) -> List[Html]:
    groups = index.groups(chosen, _GROUPS_ON_PAGE, (number - 1) * _GROUPS_ON_PAGE)
    keys = [group.stack_key for group in groups]
    counts: Dict[int, Dict[Tuple[str, int], int]] = {key: {} for key in keys}
    for key, kind, at, count in index.times(chosen, scale.start, scale.step, keys):
        counts[key][kind, at] = count
    parts = []
    for group in groups:
        rows = index.rows(chosen._replace(stack_key=group.stack_key), _ROWS_IN_GROUP)
        label = f"{plural(group.count, 'report')} over time"
        spark = chart.bars(scale, counts[group.stack_key], label, "spark")
        parts.append(_group(group, rows, spark, False))
    return parts


def _overview(
    index: ReportIndex, chosen: Filter, scale: chart.Scale, figures: Tuple[int, int, int]
) -> Html:
    counts = {(kind, at): count
              for _, kind, at, count in index.times(chosen, scale.start, scale.step)}
    names = (f"report{'s' * (figures[0] != 1)}", f"group{'s' * (figures[1] != 1)}", "in 24 hours")
    boxes = joined(markup("<div><b>{}</b><span>{}</span></div>", f"{count:,}", name)
                   for count, name in zip(figures, names))
    label = f"Reports per {chart.step_name(scale.step)}"
    return markup(
        '<section class="panel overview"><div class="figures">{}</div><figure>'
        '<figcaption>{}</figcaption>{}<div class="axis">{}</div></figure></section>',
        boxes, label, chart.bars(scale, counts, label, "chart"),
        joined(markup("<span>{}</span>", text) for text in chart.axis(scale)))


def _kinds(index: ReportIndex, chosen: Filter) -> Html:
    """Links that show one kind alone."""
    counts = index.kinds(chosen)
    choices = [("", "All", sum(counts.values()))]
    choices += [(kind, name, counts[kind]) for kind, name in KIND_NAMES.items() if kind in counts]
    links = [
        markup('<a class="chip k-{}" href="{}"{}>{} <b>{}</b></a>', kind or "all",
               address(chosen._replace(kind=kind)),
               Html(' aria-current="true"' if kind == chosen.kind else ""), name, f"{count:,}")
        for kind, name, count in choices
    ]
    if chosen.stack_key is not None:
        links.append(markup('<a class="chip clear" href="{}">Stack key {} ✕</a>',
                            address(chosen._replace(stack_key=None)), chosen.stack_key))
    if chosen.words:
        links.append(markup('<a class="chip clear" href="{}">“{}” ✕</a>',
                            address(chosen._replace(words="")), chosen.words))
    return markup('<nav class="chips" aria-label="Kinds of reports">{}</nav>', joined(links))


def _group(group: Group, rows: List[Row], spark: Html, whole: bool) -> Html:
    newest = group.newest
    unfinished = group.stack_key == UNFINISHED
    kind_name = KIND_NAMES.get(newest.kind, newest.kind)
    title = newest.place or newest.exception or kind_name
    if unfinished:
        title = "Uploads that were not finished"
    link = address(Filter(stack_key=group.stack_key))
    heading = markup("{}", title) if whole else markup('<a href="{}">{}</a>', link, title)
    said = newest.exception if newest.place and not unfinished else ""
    about = [markup('<span class="exception">{}</span>', said)] if said else []
    if not unfinished:
        about.append(markup("<span>Stack key {}</span>", group.stack_key))
    about.append(markup("<span>Since {}</span>", time_markup(group.first)))
    more = Html()
    if group.count > len(rows) and not whole:
        more = markup('<a class="more" href="{}">All {} →</a>', link, plural(group.count, "report"))
    return markup(
        '<article class="panel group"><header>{}<div class="what"><h2>{}</h2><p>{}</p></div>{}'
        '<div class="count"><b>{}</b><span>{}</span></div></header>'
        '<ol class="rows">{}</ol>{}</article>',
        badge(newest.kind), heading, joined(about), spark, f"{group.count:,}",
        "report" if group.count == 1 else "reports", joined(_row(row, newest) for row in rows), more)


def _row(row: Row, newest: Row) -> Html:
    parts = [
        markup('<span class="number">#{}</span>', row.number), time_markup(row.received),
        markup('<span class="app">{} <i>{}</i></span>', row.application or "Unknown", row.version),
    ]
    extra = [text for text, usual in ((row.exception, newest.exception), (row.place, newest.place))
             if text and text != usual]
    words = markup('<q dir="auto">{}</q>', row.words) if row.words else Html()
    if extra:
        words = markup("<em>{}</em> {}", " · ".join(extra), words)
    parts.append(markup('<span class="words">{}</span>', words))
    if row.problems:
        parts.append(markup('<span class="alert">{}</span>', plural(row.problems, "problem")))
    return markup('<li><a href="/report/{}">{}</a></li>', row.number, joined(parts, " "))


def _nothing(chosen: Filter) -> Html:
    if chosen == Filter():
        return Html('<section class="panel empty"><h1>No report has come yet</h1><p>As soon as a '
                    "program sends one, it is listed here.</p></section>")
    return Html('<section class="panel empty"><h1>Nothing matches</h1><p>Every word of the search '
                'has to be in a report.</p><p><a href="/">All reports</a></p></section>')


def _page_links(chosen: Filter, number: int, pages: int) -> Html:
    if pages == 1:
        return Html()
    newer, older = Html("<span></span>"), Html("<span></span>")
    if number > 1:
        newer = markup('<a class="chip" rel="prev" href="{}">← Newer</a>',
                       address(chosen, number - 1))
    if number < pages:
        older = markup('<a class="chip" rel="next" href="{}">Older →</a>',
                       address(chosen, number + 1))
    return markup('<nav class="pages" aria-label="Pages">{}<span>Page {} of {}</span>{}</nav>',
                  newer, number, pages, older)


def _foot(problems: int) -> Html:
    zone = datetime.datetime.now().astimezone().strftime("%z")
    text = f"Times are those of this machine, UTC{zone[:3]}:{zone[3:]}."
    if problems:
        text += f" {plural(problems, 'problem')} in requests that belong to no report."
    return markup("{}", text)


def address(chosen: Filter, number: int = 1) -> str:
    """Where the list of that filter and page is."""
    parts = {"q": chosen.words, "kind": chosen.kind, "stack": chosen.stack_key,
             "page": number if number > 1 else None}
    query = urllib.parse.urlencode({name: value for name, value in parts.items()
                                    if value not in ("", None)})
    return "/?" + query if query else "/"
