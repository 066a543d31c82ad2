"""What `wrenfallctl stack --json` says of a dump. It is made of a dump's contents, and so may be
anything."""

from __future__ import annotations

import json
from typing import List, NamedTuple, Optional

from fact_types import MAX_FRAMES, Frame, Thread
from text_facts import dictionaries, dictionary, number, parse_json, text


class StackTrace(NamedTuple):
    """The threads with their stacks, and what could not be said."""

    threads: List[Thread]
    warnings: List[str]

    @property
    def top_place(self) -> str:
        """The innermost call of the thread that the report is about, empty when there is none."""
        for thread in self.threads:
            if thread.crashed and thread.frames:
                return thread.frames[0].place
        return ""


def parse(document: Optional[str]) -> StackTrace:
    """The contents of a document; empty for None and for anything that is no such document."""
    content = dictionary(parse_json((document or "").encode(errors="replace")))
    threads = []
    for thread in dictionaries(content.get("threads")):
        frames = [_read_frame(frame) for frame in dictionaries(thread.get("frames"))[:MAX_FRAMES]]
        crashed = thread.get("crashed") is True
        threads.append(Thread(text(thread.get("id")), text(thread.get("name")), crashed, frames))
    warnings = content.get("warnings")
    return StackTrace(threads, [text(one) for one in warnings] if isinstance(warnings, list) else [])


def failure(explanation: str) -> str:
    """A document that only says why there is no stack trace."""
    return json.dumps({"threads": [], "warnings": [explanation]})


def _read_frame(frame: dict) -> Frame:
    return Frame(
        text(frame.get("function")), text(frame.get("module")), text(frame.get("offset")),
        text(frame.get("address")), text(frame.get("file")), number(frame.get("line")),
        frame.get("inline") is True, frame.get("scanned") is True,
    )
