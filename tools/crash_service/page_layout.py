"""What all pages share: the frame around the contents, the style sheet, badges."""

from __future__ import annotations

import base64
import hashlib
from pathlib import Path
from typing import Tuple

from markup import Html, markup

_STYLE = (Path(__file__).parent / "pages.css").read_text("utf-8")
_STYLE_HASH = base64.b64encode(hashlib.sha256(_STYLE.encode()).digest()).decode()

# A page may use its own style sheet, and nothing else from anywhere.
PAGE_HEADERS: Tuple[Tuple[str, str], ...] = (
    ("Content-Security-Policy",
     f"default-src 'none'; style-src 'sha256-{_STYLE_HASH}'; img-src data:; form-action 'self'; "
     "base-uri 'none'; frame-ancestors 'none'"),
    ("X-Content-Type-Options", "nosniff"),
    ("Referrer-Policy", "no-referrer"),
    ("Cross-Origin-Resource-Policy", "same-origin"),
    ("Cross-Origin-Opener-Policy", "same-origin"),
    ("Cache-Control", "no-store"),
)

KIND_NAMES = {
    "crash": "Crash", "hang": "Hang", "capture": "Capture", "structured": "Structured",
    "sanitizer": "Sanitizer", "feedback": "Feedback", "other": "Other", "unfinished": "Unfinished",
}

# A pulse that breaks off, as icon of the browser's tab.
_ICON = ("data:image/svg+xml,%3Csvg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 24 24'%3E"
         "%3Crect width='24' height='24' rx='6' fill='%234f46e5'/%3E"
         "%3Cpath d='M3 13h4l2-6 4 11 2-5h2' fill='none' stroke='%23fff' stroke-width='2' "
         "stroke-linecap='round' stroke-linejoin='round'/%3E%3C/svg%3E")
_MARK = Html('<svg class="mark" viewBox="0 0 24 24" aria-hidden="true">'
             '<rect width="24" height="24" rx="6"/><path d="M3 13h4l2-6 4 11 2-5h2"/></svg>')

_PAGE = Html("""<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
{refresh}<title>{title}</title>
<link rel="icon" href="{icon}">
<style>{style}</style>
</head>
<body>
<header class="bar"><div class="wrap">
<a class="brand" href="/">{mark}<span>Crash reports</span></a>
<form class="search" action="/" method="get" role="search">
<input type="search" name="q" value="{words}" placeholder="Words, versions, functions, users"
 aria-label="Search reports" autocomplete="off"><button type="submit">Search</button>
</form>
</div></header>
<main class="wrap">
{content}
</main>
<footer class="wrap foot">{foot}</footer>
</body>
</html>
""")
_REFRESH = Html('<meta http-equiv="refresh" content="2">\n')


def page(title: str, content: Html, foot: Html, words: str = "", refresh: bool = False) -> Html:
    """A whole page; `words` is what was searched for. With `refresh` the browser asks for it again
    after two seconds."""
    return markup(_PAGE, title=title, content=content, foot=foot, words=words, icon=Html(_ICON),
                  style=Html(_STYLE), mark=_MARK, refresh=_REFRESH if refresh else Html())


def message_page(title: str, text: str) -> Html:
    """A page that only says something."""
    content = markup('<section class="panel empty"><h1>{}</h1><p>{}</p>'
                     '<p><a href="/">All reports</a></p></section>', title, text)
    return page(title, content, Html())


def badge(kind: str) -> Html:
    """The mark of a kind of report."""
    known = kind if kind in KIND_NAMES else "other"
    return markup('<span class="badge k-{}">{}</span>', known, KIND_NAMES[known])
