"""What a received report says, of whatever kind it is: one form for the pages and the index.

The values come from a failed program or from anybody who can send a request. They are texts to be
shown, never markup or paths to be used, and any of them may be empty.
"""

from __future__ import annotations

import dataclasses
import hashlib
import json
from pathlib import Path
from typing import Any, Dict, List

import dump_facts
import text_facts
from archive import MAX_DUMP, Entry, list_entries, read_entry
from fact_types import Breadcrumb, Facts

_MAX_TEXT = 16 << 20
_SHOWN_LOG = 64 * 1024
_SHOWN_LOGS = 8
# The hash of no signature at all, which reports without a stack send.
_EMPTY_HASH = hashlib.sha256(b"").hexdigest()

_STRUCTURED_TYPE, _SANITIZER_TYPE, _FEEDBACK_TYPE = "21", "25", "36"


def read_facts(archive: Path, crash_type: str = "") -> Facts:
    """The facts of an archive. An attachment may have the name of another kind's main file, so the
    crash type, as the report's query gives it, decides where it can."""
    entries = list_entries(archive)
    named = {entry.name.lower(): entry for entry in reversed(entries)}
    facts = _main_facts(archive, named, crash_type)
    crumbs = named.get("breadcrumbs.json")
    if crumbs is not None:
        facts.breadcrumbs = _read_breadcrumbs(read_entry(archive, crumbs.index, _MAX_TEXT) or b"")
    logs = [entry for entry in entries if entry.name.lower().endswith((".log", ".txt"))]
    for entry in logs[:_SHOWN_LOGS]:
        data = read_entry(archive, entry.index, _MAX_TEXT)
        if data is not None:
            facts.logs[entry.name] = data[-_SHOWN_LOG:].decode(errors="replace")
    return facts


def grouping_text(facts: Facts, application: str, signature_hash: str) -> str:
    """What reports of one stack key have in common: the sender's signature, else what the archive
    gives: kind, exception and place."""
    if signature_hash and signature_hash != _EMPTY_HASH:
        return signature_hash
    # A hang is caught at another instruction each time.
    place = facts.hung_thread if facts.kind == "hang" else facts.top_frame or facts.location
    return "\n".join([application, facts.kind, facts.exception, place])


def form_attributes(fields: Dict[str, str]) -> Dict[str, str]:
    """The attributes of the commit's form."""
    try:
        value = json.loads(fields.get("attributes") or "{}")
    except (ValueError, RecursionError):
        return {}
    return {str(key): str(item) for key, item in value.items()} if isinstance(value, dict) else {}


def _main_facts(archive: Path, named: Dict[str, Entry], crash_type: str) -> Facts:
    """Those of the report's main file."""
    text_readers = (
        (_STRUCTURED_TYPE, "wfcrashreport.json", text_facts.read_json_report),
        (_STRUCTURED_TYPE, "wfcrashreport.xml", text_facts.read_xml_report),
        (_SANITIZER_TYPE, "wfasanreport.xml", text_facts.read_sanitizer_report),
        (_FEEDBACK_TYPE, "feedback.json", text_facts.read_feedback),
    )
    dumps = [entry for name, entry in named.items() if name.endswith(".dmp")]
    dump = named.get("minidump.dmp") or (dumps[-1] if dumps else None)
    of_type = [row for row in text_readers if row[0] == crash_type and row[1] in named]
    if dump is not None and not of_type:
        data = read_entry(archive, dump.index, MAX_DUMP)
        if data is None:
            text = f"the dump of {dump.size} bytes is damaged or too large to be read here"
            return Facts(kind="crash", problems=[text])
        return dump_facts.read_dump(data)
    for _, name, reader in of_type or text_readers:
        if name in named:
            data = read_entry(archive, named[name].index, _MAX_TEXT)
            if data is None:
                return Facts(problems=[f"{named[name].name} is damaged or too large"])
            return reader(data)
    return Facts()


def _read_breadcrumbs(data: bytes) -> List[Breadcrumb]:
    names = [field.name for field in dataclasses.fields(Breadcrumb)]
    rows: List[Dict[str, Any]] = text_facts.dictionaries(text_facts.parse_json(data))
    keys = dict(zip(names, ("time", "level", "threadId", "category", "message")))
    return [
        Breadcrumb(**{name: text_facts.text(row.get(keys[name])) for name in names})
        for row in rows
    ]
