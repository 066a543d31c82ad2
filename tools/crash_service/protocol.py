"""The upload protocol's rules: pure parsing and checking, no sockets and no state.

An upload is three calls: `first` asks for an upload URL, `put` stores the archive there, `commit`
sends the report's texts. Every check returns complaints; an empty list means a good request.
"""

from __future__ import annotations

import json
import re
from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Tuple

from http_message import RequestHead

DEFAULT_USER_AGENT = "Wrenfall/9.0.0-dev"

FIRST_PATH = "/api/getCrashUploadUrl"
COMMIT_PATH = "/api/commitS3CrashUpload"
_UPLOAD_FOLDERS = ("/upload/", "/redirected/")

FIRST_PARTS = ("appName", "appVersion", "crashTypeId", "crashPostSize")
COMMIT_PARTS = ("appName", "appVersion", "s3Key", "md5", "crashTypeId", "crashTime")
_OPTIONAL_PARTS = ("crashTime",)
# Clients percent-encode these two and insert every other value as it is.
_ENCODED_PARTS = ("appName", "appVersion")

FORM_FIELDS = (
    "appKey", "user", "email", "description", "notes", "attributes", "environment",
    "crashSignature", "crashHash",
)

_UNRESERVED = frozenset(b"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~")
_FORM_TYPE = re.compile(r"multipart/form-data; boundary=(----WrenfallFormBoundary[0-9A-Za-z]{16})")
_FORM_PART = re.compile(rb'Content-Disposition: form-data; name="([^"\r\n]*)"')


class Complaint(NamedTuple):
    """One thing that is wrong with a request: the check that found it, and what it saw."""

    check: str
    text: str


class FormError(ValueError):
    """The body is not a well-formed form; the text says where."""


def is_call(target: str) -> bool:
    """Whether the target is an address of the upload protocol, where nothing else is looked for."""
    path = target.partition("?")[0]
    return path in (FIRST_PATH, COMMIT_PATH) or path.startswith(_UPLOAD_FOLDERS)


def percent_encode(text: str) -> str:
    """Encodes every byte that is not unreserved, with upper-case digits."""
    return "".join(chr(b) if b in _UNRESERVED else f"%{b:02X}" for b in text.encode())


def percent_decode(text: str) -> str:
    """Decodes strictly; raises ValueError for a bad escape, a raw non-ASCII byte or bad UTF-8."""
    if re.search("%(?![0-9A-Fa-f]{2})|[^!-~]", text):
        raise ValueError("a bad escape or a byte that a URL may not hold")
    decoded = re.sub("%(..)", lambda escape: chr(int(escape[1], 16)), text)
    return decoded.encode("latin-1").decode("utf-8")


def split_query(query: str, expected: Sequence[str]) -> List[Tuple[str, str]]:
    """The query's parts in order, not decoded. Unknown ones are kept, under their own name.

    `s3Key` is sent unencoded and may hold "&" itself: parts of unknown name that follow it belong
    to it.
    """
    parts: List[Tuple[str, str]] = []
    for segment in query.split("&") if query else []:
        name, _, value = segment.partition("=")
        if name not in expected and parts and parts[-1][0] == "s3Key":
            parts[-1] = ("s3Key", f"{parts[-1][1]}&{segment}")
        else:
            parts.append((name, value))
    return parts


def check_query(query: str, expected: Sequence[str]) -> Tuple[Dict[str, str], List[Complaint]]:
    """Decodes the query's values; complains about missing, unknown, doubled, undecodable parts."""
    parts = split_query(query, expected)
    names = [name for name, _ in parts]
    complaints = [
        Complaint("query", f"the part {name!r} is unknown")
        for name in names
        if name not in expected
    ]
    for name in expected:
        if name not in names and name not in _OPTIONAL_PARTS:
            complaints.append(Complaint("query", f"the part {name!r} is missing"))
        if names.count(name) > 1:
            complaints.append(Complaint("query", f"the part {name!r} occurs more than once"))
    known = [name for name in names if name in expected]
    if known != sorted(known, key=list(expected).index):
        complaints.append(Complaint("query-order", f"the parts come as {', '.join(known)}"))
    values: Dict[str, str] = {}
    for name, raw in parts:
        values[name] = raw
        if name == "s3Key" or name not in expected:
            continue
        if not raw:
            complaints.append(Complaint("query", f"the part {name!r} is empty"))
        try:
            values[name] = percent_decode(raw)
        except ValueError as error:
            complaints.append(Complaint("query", f"the part {name!r} cannot be decoded: {error}"))
            continue
        if name in _ENCODED_PARTS and percent_encode(values[name]) != raw:
            complaints.append(Complaint("query", f"the part {name!r} is not encoded: {raw!r}"))
    return values, complaints


def check_head(head: RequestHead, method: str, user_agent: str) -> List[Complaint]:
    """What all three calls have in common: method, User-Agent, a size announced up front."""
    complaints = []
    if head.method != method:
        complaints.append(Complaint("method", f"the method is {head.method}, not {method}"))
    if head.all("User-Agent") != [user_agent]:
        seen = ", ".join(map(repr, head.all("User-Agent"))) or "missing"
        complaints.append(Complaint("user-agent", f"User-Agent is {seen}, not {user_agent!r}"))
    if not head.all("Content-Length"):
        complaints.append(Complaint("content-length", "Content-Length is missing"))
    return complaints


def check_first(values: Dict[str, str], body_size: int) -> Tuple[Optional[int], List[Complaint]]:
    """The size that the first call announces (None when unreadable); its body must be empty."""
    complaints = []
    if body_size:
        complaints.append(Complaint("body", f"the body has {body_size} bytes instead of none"))
    text = values.get("crashPostSize", "")
    if not re.fullmatch("[1-9][0-9]{0,17}", text):
        complaints.append(Complaint("size", f"crashPostSize {text!r} is not a positive number"))
        return None, complaints
    return int(text), complaints


def check_put(head: RequestHead, body_size: int, announced: Optional[int]) -> List[Complaint]:
    """The archive's content type, and its size against the one that the first call announced."""
    complaints = []
    if head.all("Content-Type") != ["application/zip"]:
        seen = ", ".join(head.all("Content-Type")) or "missing"
        complaints.append(Complaint("content-type", f"Content-Type is {seen}"))
    if announced is not None and announced != body_size:
        text = f"{body_size} bytes came, the first call announced {announced}"
        complaints.append(Complaint("size", text))
    return complaints


def check_commit(
    values: Dict[str, str], first: Dict[str, str], archive_md5: Optional[str]
) -> List[Complaint]:
    """The commit's MD5 against the stored archive's, and its values against the first call's."""
    complaints = []
    md5 = values.get("md5", "")
    if not re.fullmatch("[0-9a-f]{32}", md5):
        complaints.append(Complaint("md5", f"md5 {md5!r} is not 32 lower-case digits"))
    elif archive_md5 is not None and md5 != archive_md5:
        complaints.append(Complaint("md5", f"md5 is {md5}, the archive's is {archive_md5}"))
    for name in ("appName", "appVersion", "crashTypeId"):
        if values.get(name) != first.get(name):
            text = f"{name} is {values.get(name)!r}, in the first call {first.get(name)!r}"
            complaints.append(Complaint("query", text))
    return complaints


def parse_form(body: bytes, boundary: str) -> List[Tuple[str, bytes]]:
    """The form's fields in order, values as raw bytes. Raises FormError for any deviation."""
    delimiter = b"\r\n--" + boundary.encode()
    chunks = (b"\r\n" + body).split(delimiter)
    if len(chunks) < 2 or chunks[0] != b"":
        raise FormError("the body does not begin with the boundary")
    if chunks[-1] != b"--\r\n":
        raise FormError("the body does not end with the closing boundary")
    fields = []
    for number, chunk in enumerate(chunks[1:-1], start=1):
        head, empty_line, value = chunk.partition(b"\r\n\r\n")
        part = _FORM_PART.fullmatch(head[2:])
        if not head.startswith(b"\r\n") or not empty_line or part is None:
            raise FormError(f"the head of part {number} is malformed")
        fields.append((part[1].decode(errors="replace"), value))
    return fields


def check_form(head: RequestHead, body: bytes) -> Tuple[Dict[str, str], List[Complaint]]:
    """The commit's form fields as text (those that can be read), and what is wrong with the form."""
    types = head.all("Content-Type")
    boundary = _FORM_TYPE.fullmatch(types[0]) if len(types) == 1 else None
    if boundary is None:
        seen = ", ".join(types) or "missing"
        return {}, [Complaint("content-type", f"Content-Type is {seen}")]
    try:
        parts = parse_form(body, boundary[1])
    except FormError as error:
        return {}, [Complaint("form", str(error))]
    complaints = []
    names = [name for name, _ in parts]
    if names != list(FORM_FIELDS):
        complaints.append(Complaint("form-fields", f"the fields are {', '.join(names)}"))
    fields = {}
    for name, value in parts:
        fields[name] = value.decode(errors="replace")
        try:
            value.decode()
        except UnicodeDecodeError as error:
            complaints.append(Complaint("form", f"the field {name!r} is not UTF-8: {error}"))
    complaints += check_attributes(fields.get("attributes", ""))
    return fields, complaints


def check_attributes(text: str) -> List[Complaint]:
    """The attributes are nothing at all or one JSON object of texts."""
    if not text:
        return []
    try:
        value: Any = json.loads(text)
    except (ValueError, RecursionError) as error:
        return [Complaint("attributes", f"not JSON: {error}")]
    if not isinstance(value, dict):
        return [Complaint("attributes", f"not an object but {type(value).__name__}")]
    return [
        Complaint("attributes", f"the value of {key!r} is not a text")
        for key, item in value.items()
        if not isinstance(item, str)
    ]
