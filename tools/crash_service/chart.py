"""Charts of how many reports came when: inline SVG with bars, and no script."""

from __future__ import annotations

import datetime
from typing import Dict, List, NamedTuple, Sequence, Tuple

from markup import Html, joined, markup

# Steps that people think in, and the longest chart's number of bars.
_STEPS = (600, 3600, 3 * 3600, 86400, 7 * 86400, 30 * 86400, 365 * 86400)
_MAX_BARS = 60
_MIN_BARS = 24
_BAR, _GAP, _HEIGHT = 10, 2, 100
# From the bottom of each bar to its top.
KINDS = ("crash", "hang", "structured", "sanitizer", "capture", "feedback", "other", "unfinished")


class Scale(NamedTuple):
    """The chart's time: where it begins, how long a bar lasts, and how many there are."""

    start: float
    step: int
    bars: int

    @property
    def end(self) -> float:
        """Where the last bar ends."""
        return self.start + self.step * self.bars


def choose_scale(first: float, last: float) -> Scale:
    """The finest scale on which everything has room. Bars of days begin at local midnight."""
    shift = datetime.datetime.fromtimestamp(last).astimezone().utcoffset() or datetime.timedelta()
    offset = shift.total_seconds()
    for step in _STEPS:
        bars = int((last + offset) // step - (first + offset) // step) + 1
        if bars <= _MAX_BARS:
            break
    bars = min(max(bars, _MIN_BARS), _MAX_BARS)
    end = ((last + offset) // step + 1) * step - offset
    return Scale(end - bars * step, step, bars)


def step_name(step: int) -> str:
    """What a bar lasts, in words."""
    names = {600: "ten minutes", 3600: "hour", 10800: "three hours", 86400: "day",
             604800: "week", 2592000: "30 days", 31536000: "year"}
    return names[step]


def bars(scale: Scale, counts: Dict[Tuple[str, int], int], label: str, css: str) -> Html:
    """A picture of counts by kind and bar, in the width that there is. Each bar's text is shown
    when it is pointed at."""
    sums = [sum(counts.get((kind, at), 0) for kind in KINDS) for at in range(scale.bars)]
    highest = max([*sums, 1])
    columns = [_column(scale, counts, at, sums[at], highest) for at in range(scale.bars)]
    return markup(
        '<svg class="{}" viewBox="0 0 {} {}" preserveAspectRatio="none" role="img" '
        'aria-label="{}">{}</svg>',
        css, scale.bars * _BAR - _GAP, _HEIGHT, label, joined(columns))


def axis(scale: Scale) -> Sequence[str]:
    """The texts below the first, the middle and the last bar."""
    form = "%H:%M" if scale.step < 86400 else "%d %b" if scale.step < 30 * 86400 else "%b %Y"
    if scale.step * scale.bars > 86400 > scale.step:
        form = "%d %b %H:%M"
    return [_local(scale.start + scale.step * at).strftime(form)
            for at in (0, scale.bars // 2, scale.bars - 1)]


def _column(
    scale: Scale, counts: Dict[Tuple[str, int], int], at: int, total: int, highest: int
) -> Html:
    left, bottom = at * _BAR, float(_HEIGHT)
    parts: List[Html] = []
    if total == 0:
        return markup('<rect class="none" x="{}" y="{}" width="{}" height="1.5"/>',
                      left, _HEIGHT - 1.5, _BAR - _GAP)
    for kind in KINDS:
        count = counts.get((kind, at), 0)
        if count:
            height = max(_HEIGHT * count / highest, 3.0)
            bottom -= height
            parts.append(markup('<rect class="k-{}" x="{}" y="{}" width="{}" height="{}"/>', kind,
                                left, f"{bottom:.1f}", _BAR - _GAP, f"{height:.1f}"))
    when = _local(scale.start + scale.step * at).strftime(
        "%Y-%m-%d %H:%M" if scale.step < 86400 else "%Y-%m-%d")
    return markup("<g><title>{}: {}</title>{}</g>", when, total, joined(parts))


def _local(seconds: float) -> datetime.datetime:
    return datetime.datetime.fromtimestamp(seconds)
