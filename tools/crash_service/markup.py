"""Builds HTML in which every value is escaped: only literal templates are markup."""

from __future__ import annotations

import datetime
import html
import re
from typing import Iterable, Union

# Control characters, and those that turn the direction of the text after them.
_INVISIBLE = re.compile("[\x00-\x08\x0b-\x1f\x7f-\x9f\u061c\u200e\u200f\u202a-\u202e\u2028\u2029"
                        "\u2066-\u2069\ud800-\udfff\ufeff\ufffe\uffff]")


class Html(str):
    """Text that is markup already."""


def markup(template: str, *values: object, **named: object) -> Html:
    """The template, with the values in their places; those that are no Html are escaped."""
    return Html(template.format(*map(escaped, values),
                                **{name: escaped(value) for name, value in named.items()}))


def joined(parts: Iterable[Union[Html, str]], between: str = "") -> Html:
    """The parts one after the other, each escaped unless it is Html."""
    return Html(escaped(between).join(map(escaped, parts)))


def escaped(value: object) -> Html:
    """The value as text in which nothing is markup, and everything can be seen."""
    return value if isinstance(value, Html) else Html(html.escape(visible(str(value))))


def visible(text: str) -> str:
    """The text with control characters as escapes; line ends and tabs stay."""
    return _INVISIBLE.sub(lambda found: found[0].encode("unicode_escape").decode(),
                          text.replace("\r\n", "\n"))


def size_text(size: int) -> str:
    """A number of bytes for people."""
    if size == 1:
        return "1 byte"
    value, units = float(size), ["bytes", "KB", "MB", "GB", "TB"]
    while value >= 1000 and len(units) > 1:
        value /= 1024
        units.pop(0)
    digits = 0 if units[0] == "bytes" or value >= 100 else 1
    return f"{value:.{digits}f} {units[0]}"


def time_markup(seconds: float, form: str = "%Y-%m-%d %H:%M") -> Html:
    """A moment in the service's own time zone; in UTC as a hint and for machines."""
    moment = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
    return markup('<time datetime="{}" title="{}">{}</time>', moment.strftime("%Y-%m-%dT%H:%M:%SZ"),
                  moment.strftime("%Y-%m-%d %H:%M:%S UTC"), moment.astimezone().strftime(form))


def sent_time(text: str) -> object:
    """A moment that a report names, like the others where it can be read, else as it came."""
    try:
        moment = datetime.datetime.fromisoformat(text.replace("Z", "+00:00"))
        return time_markup(moment.timestamp(), "%Y-%m-%d %H:%M:%S")
    except (ValueError, OverflowError, OSError):
        return text


def clock_text(text: str) -> str:
    """The clock's part of a moment in ISO 8601; anything else as it came."""
    found = re.fullmatch(r"\d{4}-\d\d-\d\dT(\d\d:\d\d:\d\d(?:\.\d{1,6})?)Z", text)
    return found[1] if found else text


def plural(count: int, noun: str) -> str:
    """The count with its noun."""
    return f"{count:,} {noun}" if count == 1 else f"{count:,} {noun}s"
