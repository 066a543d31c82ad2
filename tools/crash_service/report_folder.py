"""Reads back what the service has kept of one report; what is missing or unreadable is empty."""

from __future__ import annotations

import json
import re
from pathlib import Path
from typing import Any, Dict, List, Optional

_IDS = ("crashId", "stackKeyId", "messageId", "infoUrl")
_END_OF_NUMBERS = 10**9  # Addresses have room for no more digits.


def read_report(folder: Path) -> Dict[str, Any]:
    """The folder's facts without the archive's contents."""
    requests = read_requests(folder)
    return {
        "name": folder.name,
        "requests": requests,
        "query": read_json(folder / "query.json", {}),
        "fields": read_json(folder / "fields.json", {}),
        "entries": read_json(folder / "entries.json", []),
        "problems": read_json(folder / "problems.json", []),
        "ids": _ids_given(requests),
    }


def read_json(path: Path, default: Any) -> Any:
    """The file's value, or the default."""
    try:
        return json.loads(path.read_text("utf-8"))
    except (OSError, ValueError):
        return default


def read_requests(folder: Path) -> List[Dict[str, Any]]:
    """The requests in the order of their arrival."""
    found = (read_json(path, None) for path in folder.glob("requests/*.json"))
    return sorted(filter(None, found), key=lambda request: request["sequence"])


def number_of(name: str) -> int:
    """The first number in the name of a folder or file, 0 when there is none."""
    digits = re.search("[0-9]+", name)
    return int(digits[0]) if digits else 0


def folders_in(directory: Path) -> Dict[int, Path]:
    """The folders of the reports in a service's folder, by number. Others, like a copy that somebody
    made, are none."""
    found = ((number_of(path.name), path) for path in directory.glob("report-*") if path.is_dir())
    return {number: path for number, path in found
            if path == folder_of(directory, number) and 0 < number < _END_OF_NUMBERS}


def folder_of(directory: Path, number: int) -> Path:
    """Where the report of that number lies."""
    return directory / f"report-{number:04}"


def _ids_given(requests: List[Dict[str, Any]]) -> Optional[Dict[str, Any]]:
    """The ids of the last commit that was answered with success."""
    for request in reversed(requests):
        if request["call"] == "commit" and request["status"] == 200:
            try:
                answer = json.loads(request["answer"])
            except (ValueError, RecursionError):  # A test may have answered with anything.
                continue
            if isinstance(answer, dict):
                return {name: answer[name] for name in _IDS if name in answer}
    return None
