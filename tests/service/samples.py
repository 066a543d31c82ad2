"""Reports of every kind, as the library sends them, and how they are sent."""

import hashlib
import http.client
import io
import json
import ssl
import struct
import sys
import zipfile
from pathlib import Path

FOLDER = Path(__file__).resolve().parents[2] / "tools" / "crash_service"
sys.path.insert(0, str(FOLDER))

from protocol import FORM_FIELDS

BOUNDARY = "----WrenfallFormBoundary0123456789abcDEF"
HOSTILE = "\"'><script>alert(1)</script>\x1b\u202e{0}"


def make_zip(compression=zipfile.ZIP_DEFLATED, **files):
    """An archive; a name's last underscore is its dot."""
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w", compression) as archive:
        for name, content in files.items():
            archive.writestr(".".join(name.rsplit("_", 1)), content)
    return buffer.getvalue()


def make_damaged_zip(name):
    """An archive with one entry, which is compressed with a method that no client uses, and damaged."""
    data = make_zip(zipfile.ZIP_LZMA, **{name: "MDMP" * 50})
    damaged = 30 + len(name) + 9  # after the entry's head and the method's
    return data[:damaged] + b"\xff" + data[damaged + 1:]


def make_form(names=FORM_FIELDS, **values):
    parts = [f'--{BOUNDARY}\r\nContent-Disposition: form-data; name="{name}"\r\n\r\n{values.get(name, "")}\r\n'
             for name in names]
    return ("".join(parts) + f"--{BOUNDARY}--\r\n").encode()


ON_DEMAND = 0x0517A7ED  # the exception code of hangs and captures


def make_dump(code=0xC0000005, offset=0x8252, modules=("paint.exe", "ntdll.dll"), names=("main", "worker"), **live):
    """A dump with threads, modules, an exception in the first of each, and live annotations ("__" is a dot)."""
    data = bytearray(32)

    def add(layout, *values):
        data.extend(struct.pack("<" + layout, *values))
        return len(data) - struct.calcsize("<" + layout)

    def counted(raw):
        return add(f"I{len(raw)}sxx", len(raw), raw)

    def listed(kind, layout, rows):
        start = add("I", len(rows))
        for row in rows:
            add(layout, *row)
        return kind, len(data) - start, start

    paths = [counted(f"C:\\Program Files\\Paint\\{name}".encode("utf-16-le")) for name in modules]
    titles = [counted(name.encode("utf-16-le")) for name in names]
    texts = [(counted(name.replace("__", ".").encode()), 1, 0, counted(str(value).encode())) for name, value in live.items()]
    streams = [
        listed(4, "QI8xI52s32x", [(0x140000000 + at * 0x1000000, 0x200000, path, struct.pack(
            "<IIII36x", 0xFEEF04BD, 0, 2 << 16 | 1, 7)) for at, path in enumerate(paths)]),
        listed(3, "I20xQII4xI", [(36 + at, 0x5000, 0x100, 32, 32) for at in range(len(names))]),
        listed(24, "IQ", [(36 + at, title) for at, title in enumerate(titles)]),
        (6, 168, add("I4xIIQQI4xQQ104xII", 36, code, 0, 0, 0x140000000 + offset, 2, 1, 0x18, 0, 0)),
        (7, 56, add("H4xBxIII36x", 9, 8, 10, 0, 22631))]
    objects = listed(0, "IHHI", texts)
    information = add("I16xII", 1, objects[1], objects[2])
    links = listed(0, "III", [(0, 28, information)])
    streams.append((0x43500001, 52, add("I32xIIII", 1, 0, 0, links[1], links[2])))
    directory = len(data)
    for stream in streams:
        add("III", *stream)
    data[:16] = struct.pack("<4sIII", b"MDMP", 0xA793, len(streams), directory)
    return bytes(data)


def structured(text=None):
    """A structured report; a text takes the place of each of its own."""
    frames = [{"function": text or function, "file": file, "line": line, "module": "paint.exe", "address": f"{line:016x}"}
              for function, file, line in (("FilterBrush::apply(Layer&, float)", "filter_brush.cpp", 214),
                                           ("Canvas::stroke(Point, Point)", "canvas.cpp", 88), ("wWinMain", "main.cpp", 31))]
    return json.dumps({
        "platform": "windows", "os": text or "Windows 11 23H2",
        "exception": {"code": text or "0xC0000005", "explanation": text or "reading address 0x20",
                      "registers": {"rax": "0000000000000020", "rcx": "0000000000000000", "rip": "00007ff6a2b41c9e", text or "rsp": "9af0"}},
        "threads": [{"name": text or "main", "crashing": True, "frames": frames}, {"name": "worker", "frames": frames[1:]}],
        "modules": [{"name": text or "paint.exe", "path": text or "C:\\Paint\\paint.exe", "base": text or "00007ff6a2b40000",
                     "size": 4096, "fileVersion": text or "2.1.7.0"}]})


class Client:
    """Sends reports to a service whose authority it trusts."""

    def __init__(self, port, authority):
        self.port, self.context = port, ssl.create_default_context(cafile=str(authority))

    def request(self, method, target, body=b"", **headers):
        """Status, headers and body."""
        connection = http.client.HTTPSConnection("127.0.0.1", self.port, context=self.context, timeout=10)
        connection.request(method, target, body, {name.replace("_", "-"): value for name, value in headers.items()})
        response = connection.getresponse()
        answer = response.status, response.headers, response.read()
        connection.close()
        return answer

    def upload(self, archive, deviating=None, change=None, name="My%20App%2F2", version="1.0", crash_type="1", **fields):
        """The statuses of the three calls, up to the first that is refused, and the last answer. One call may deviate
        by its method, agent, type, body, or target (what is replaced, and by what)."""
        start = f"appName={name}&appVersion={version}"
        calls = (
            ("first", "POST", f"/api/getCrashUploadUrl?{start}&crashTypeId={crash_type}&crashPostSize={len(archive)}", None, b""),
            ("put", "PUT", "{path}", "application/zip", archive),
            ("commit", "POST", f"/api/commitS3CrashUpload?{start}&s3Key={{url}}&md5={hashlib.md5(archive).hexdigest()}"
             f"&crashTypeId={crash_type}&crashTime=2024-05-06T07:08:09Z",
             f"multipart/form-data; boundary={BOUNDARY}", make_form(**fields)))
        statuses, url = [], ""
        for call, method, target, kind, body in calls:
            changed = change if call == deviating else {}
            target = target.format(url=url, path=url.partition(str(self.port))[2]).replace(*changed.get("target", ("", "")))
            headers = {"User_Agent": changed.get("agent", "Wrenfall/9.0.0-dev"), "Content_Type": changed.get("type", kind)}
            status, _, answer = self.request(changed.get("method", method), target, changed.get("body", body),
                                             **{key: value for key, value in headers.items() if value is not None})
            statuses.append(status)
            if status != 200:
                break
            url = json.loads(answer)["url"] if call == "first" else url
        return statuses, answer
