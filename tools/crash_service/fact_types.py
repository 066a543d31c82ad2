"""The parts of a report's facts. Plain values; every text is as it came and may be empty."""

from __future__ import annotations

import dataclasses
import re
from typing import Dict, List

MAX_FRAMES = 512  # of one thread that are read and shown


@dataclasses.dataclass
class Frame:
    """One call of a thread's stack."""

    function: str = ""
    module: str = ""
    offset: str = ""  # from the module's start
    address: str = ""
    file: str = ""
    line: int = 0
    inline: bool = False
    scanned: bool = False  # found by a search; the frames before it are unknown

    @property
    def place(self) -> str:
        """What a list shows of it."""
        if self.function:
            return self.function
        if self.module:
            return f"{self.module}+{self.offset}" if self.offset else self.module
        return self.address


@dataclasses.dataclass
class Thread:
    """A thread; `frames` are innermost first and empty where no stack was sent along."""

    number: str = ""
    name: str = ""
    crashed: bool = False
    frames: List[Frame] = dataclasses.field(default_factory=list)


@dataclasses.dataclass
class LoadedModule:
    """A module of the process."""

    name: str = ""
    version: str = ""
    base: str = ""
    size: int = 0
    path: str = ""


@dataclasses.dataclass
class Breadcrumb:
    """What the program said about what it did."""

    time: str = ""
    level: str = ""
    thread: str = ""
    category: str = ""
    message: str = ""


@dataclasses.dataclass
class Facts:
    """What the archive of one report says."""

    kind: str = "other"  # or crash, hang, capture, structured, sanitizer, feedback
    exception: str = ""  # the code and its name
    explanation: str = ""
    location: str = ""  # where the exception happened
    hung_thread: str = ""
    hung_ms: str = ""
    words: str = ""  # what feedback says
    sanitizer_text: str = ""
    system: Dict[str, str] = dataclasses.field(default_factory=dict)
    registers: Dict[str, str] = dataclasses.field(default_factory=dict)
    annotations: Dict[str, str] = dataclasses.field(default_factory=dict)
    threads: List[Thread] = dataclasses.field(default_factory=list)
    modules: List[LoadedModule] = dataclasses.field(default_factory=list)
    breadcrumbs: List[Breadcrumb] = dataclasses.field(default_factory=list)
    logs: Dict[str, str] = dataclasses.field(default_factory=dict)
    problems: List[str] = dataclasses.field(default_factory=list)

    @property
    def hung_seconds(self) -> float:
        """How long the hung thread had been silent, 0 when that is unknown."""
        return int(self.hung_ms) / 1000 if re.fullmatch("[0-9]{1,12}", self.hung_ms) else 0.0

    @property
    def top_frame(self) -> str:
        """The innermost call of the thread that failed, where a stack was sent along."""
        for thread in self.threads:
            if thread.crashed and thread.frames:
                return thread.frames[0].place
        return ""
