"""The sections of a report's page. Each gives its contents, empty where there are none."""

from __future__ import annotations

from pathlib import Path
from typing import Any, Dict, Iterable, List, Optional, Sequence, Tuple

from fact_types import Breadcrumb, Facts, Frame, LoadedModule, Thread
from markup import Html, clock_text, joined, markup, plural, size_text
from stack_trace import StackTrace

_MAX_HEAD = 64 * 1024
_MAX_SHOWN = 1000  # rows of one list
_LEVELS = ("debug", "info", "warn", "error")


def fact_list(values: Iterable[Tuple[str, object]]) -> Html:
    """Names and values; empty values are left out."""
    rows = [markup("<div><dt>{}</dt><dd>{}</dd></div>", name, value)
            for name, value in values if str(value)]
    return markup('<dl class="facts">{}</dl>', joined(rows)) if rows else Html()


def pairs(values: Dict[str, str]) -> Html:
    """A table of names and values."""
    rows = [markup('<tr><th scope="row">{}</th><td>{}</td></tr>', name, value)
            for name, value in list(values.items())[:_MAX_SHOWN]]
    return markup('<table class="pairs">{}</table>', joined(rows)) if rows else Html()


def folded_pairs(values: Dict[str, str]) -> Html:
    """The same, to be unfolded."""
    return _folded(plural(len(values), "annotation"), pairs(values)) if values else Html()


def problems(complaints: Sequence[Dict[str, str]], damage: Sequence[str]) -> Html:
    """What was wrong with the calls, and what could not be read."""
    texts = [f"{one.get('call')}, {one.get('check')}: {one.get('text')}" for one in complaints]
    rows = [markup("<li>{}</li>", text) for text in [*texts, *damage][:_MAX_SHOWN]]
    return markup('<ul class="alerts">{}</ul>', joined(rows)) if rows else Html()


def exception(facts: Facts) -> Html:
    """What failed, where, with which registers."""
    hang = f"{facts.hung_seconds:.1f} s" if facts.hung_seconds else facts.hung_ms
    failed = next((thread for thread in facts.threads if thread.crashed), Thread())
    shown = fact_list([
        ("Exception", facts.exception), ("What happened", facts.explanation),
        ("Where", facts.location), ("Hung thread", facts.hung_thread), ("Silent for", hang),
        ("Thread", " ".join(filter(None, [failed.number, failed.name]))),
    ])
    registers = fact_list(facts.registers.items())
    if registers:
        shown = joined([shown, markup('<div class="registers">{}</div>', registers)])
    return shown


def stack(threads: List[Thread], trace: Optional[StackTrace], waiting: bool) -> Html:
    """The stack of the thread that failed."""
    failed = next((thread for thread in threads if thread.crashed and thread.frames), None)
    parts = [_frames(failed.frames)] if failed is not None else []
    if waiting:
        parts.append(Html('<p class="note">The stack trace is being made. This page looks again by '
                          "itself.</p>"))
    warnings = trace.warnings if trace is not None else []
    parts += [markup('<p class="note">{}</p>', warning) for warning in warnings[:_MAX_SHOWN]]
    return joined(parts)


def threads(found: List[Thread]) -> Html:
    """All threads; those with a stack can be unfolded."""
    rows = []
    for thread in found[:_MAX_SHOWN]:
        mark = Html('<span class="badge k-crash">failed</span>') if thread.crashed else Html()
        name = " ".join(filter(None, [thread.number, thread.name])) or "unnamed"
        title = markup('<span class="mono">{}</span> {}', name, mark)
        if thread.frames:
            count = markup('<span class="dim">{}</span>', plural(len(thread.frames), "frame"))
            rows.append(_folded(joined([title, count], " "), _frames(thread.frames)))
        else:
            rows.append(markup('<div class="thread">{}</div>', title))
    return joined(rows)


def modules(found: List[LoadedModule]) -> Html:
    """The modules, to be unfolded."""
    rows = [
        markup('<tr><th scope="row">{}</th><td>{}</td><td class="mono">{}</td><td>{}</td>'
               '<td class="path">{}</td></tr>', module.name, module.version, module.base,
               size_text(module.size), module.path)
        for module in found
    ]
    head = Html("<thead><tr><th>Name</th><th>Version</th><th>Base</th><th>Size</th><th>Path</th></tr>"
                "</thead>")
    table = markup('<div class="scroll"><table>{}<tbody>{}</tbody></table></div>', head, joined(rows))
    return _folded(plural(len(rows), "module"), table) if rows else Html()


def breadcrumbs(found: List[Breadcrumb]) -> Html:
    """What the program did last, oldest first."""
    rows = []
    for crumb in found[-_MAX_SHOWN:]:
        level = crumb.level.lower() if crumb.level.lower() in _LEVELS else "info"
        rows.append(markup(
            '<li class="level-{}"><time title="{}">{}</time><b>{}</b><span class="category">{}</span>'
            '<span class="message">{}</span></li>', level, crumb.time,
            clock_text(crumb.time), crumb.level, crumb.category, crumb.message))
    return markup('<ol class="crumbs">{}</ol>', joined(rows)) if rows else Html()


def long_text(text: str) -> Html:
    """A text as it came, in a box that scrolls."""
    return markup('<pre tabindex="0">{}</pre>', text) if text else Html()


def logs(found: Dict[str, str]) -> Html:
    """The ends of log and text files."""
    return joined(_folded(name, long_text(text), opened=at == 0)
                  for at, (name, text) in enumerate(found.items()))


def files(number: int, entries: Sequence[Dict[str, Any]]) -> Html:
    """The archive's files, and the archive itself."""
    rows = [
        markup('<li><a href="/report/{}/file/{}" download>{}</a><span class="dim">{}</span></li>',
               number, at, entry["name"], size_text(entry["size"]))
        for at, entry in enumerate(entries[:_MAX_SHOWN])
    ]
    if not rows:
        return Html()
    whole = markup('<li><a href="/report/{}/archive.zip" download>archive.zip</a>'
                   '<span class="dim">everything, as it came</span></li>', number)
    return markup('<ul class="files">{}{}</ul>', joined(rows), whole)


def calls(number: int, folder: Path, requests: Sequence[Dict[str, Any]]) -> Html:
    """Each request as it came, with its answer."""
    rows = []
    for request in requests:
        stem = f"{request['sequence']:04}-{request['call']}"
        status = request["status"] if request["status"] is not None else "no answer"
        title = markup('<b>{}</b> <span class="mono">{}</span> <span class="dim">{} → {}</span>',
                       request["call"], request["method"], size_text(request["bodySize"]), status)
        link = f"/report/{number}/call/{stem}"
        body = markup('<p><a href="{}.head" download>Head</a> <a href="{}.body" download>Body</a></p>',
                      link, link)
        parts = [long_text(_head_text(folder, stem)), body]
        if request["answer"]:
            parts.insert(1, markup("<h3>Answer</h3>{}", long_text(request["answer"])))
        rows.append(_folded(title, joined(parts)))
    return joined(rows)


def _frames(frames: List[Frame]) -> Html:
    rows = []
    for frame in frames:
        where = f"{frame.file}:{frame.line}" if frame.file and frame.line > 0 else frame.file
        module = f"{frame.module}+{frame.offset}" if frame.module and frame.offset else frame.module
        notes = ["inlined"] if frame.inline else []
        notes += ["found by a search"] if frame.scanned else []
        rows.append(markup(
            '<li><span class="function">{}</span><span class="module">{}</span>'
            '<span class="file">{}</span><span class="dim">{}</span></li>',
            frame.function or frame.place or "unknown", module if frame.function else "", where,
            ", ".join(notes)))
    return markup('<ol class="frames" start="0">{}</ol>', joined(rows))


def _folded(title: object, content: Html, opened: bool = False) -> Html:
    return markup("<details{}><summary>{}</summary>{}</details>", Html(" open" if opened else ""),
                  title, content)


def _head_text(folder: Path, stem: str) -> str:
    try:
        with open(folder / "requests" / f"{stem}.head", "rb") as file:
            return file.read(_MAX_HEAD).decode("latin-1")
    except OSError:
        return ""
