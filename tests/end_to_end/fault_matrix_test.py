"""Every way a call of an upload can fail, on each of the three calls, through the real library over real HTTPS.

The tables are the test: what goes wrong, and what the host is told. From the HTTP status alone follows whether the
report is kept for another attempt.
"""

import json
import re
import socket
import time
import unittest
from pathlib import Path

from harness import ServiceTest, unix_alone, wait_for, windows_path

TRANSIENT = (500, 502, 503, 504)
SENT = (0, 200)
NO_ANSWER = (10, 0)

# What goes wrong with any of the calls; result and HTTP status if that call is the first, the PUT, the commit.
CALLS = ("first", "put", "commit")
ANY_CALL = [
    # The connection, and answers that are none. Windows passes over informational answers; Wine 8 knows only one without
    # a real one behind it.
    *[(fault, NO_ANSWER, NO_ANSWER, NO_ANSWER) for fault in (
        *[{"connect": how} for how in ("refused", "reset", "garbage", "expired", "wrong-name", "unknown-ca")],
        {"reset": "body"}, {"reset": "before"}, {"close": True}, {"interim": 100},
        {"raw": b"HTTP/1.1 100 Continue\r\n\r\n"}, {"raw": b"SSH-2.0-OpenSSH\r\n"}, {"raw": b"\0\xff" * 50})],
    # An answer that is cut off counts for what came of it. A PUT's body does not matter.
    *[(fault, (12, 200), SENT, (11, 200)) for fault in ({"reset": "middle"}, {"truncate": True})],
    ({"raw": b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n{body}"}, (11, 200), SENT, (11, 200)),
    # The form of the answer.
    *[(fault, SENT, SENT, SENT) for fault in (
        {"reset": "after"}, {"delay": 0.5}, {"chunked": True}, {"raw": b"HTTP/1.1 200 OK\r\n\r\n{body}"},
        {"raw": b"HTTP/1.0 200 OK\r\nX: " + b"x" * 60000 + b"\r\n\r\n{body}"})],
    # The status.
    ({"interim": 103}, (11, 103), (11, 103), (11, 103)),
    *[({"status": status}, (11, status), (11, status), (11, status))
      for status in (201, 204, 206, 300, 304, 401, 403, 404, 408, 500, 501, 502, 503, 504, 505, 599)],
    *[({"status": status, "body": b"no"}, (12, status), (11, status), (11, status)) for status in (400, 413, 429)],
    ({"status": 503, "body": b'{"status":"success","url":"https://127.0.0.1:1/"}'}, (11, 503), (11, 503), (11, 503)),
    # Redirects, by the system's rules: 301 and 302 turn a POST into a GET, and a file is not sent a second time. Wine 8
    # does not know 303 and 308, and takes every Location that is no URL for a path.
    ({"redirect": True, "times": 1}, SENT, NO_ANSWER, SENT),
    *[({"redirect": True, "status": status, "times": 1}, (12, 400), NO_ANSWER, NO_ANSWER) for status in (301, 302)],
    *[({"redirect": True, "status": status, "times": 1}, (11, status), (11, status), (11, status))
      for status in (303, 308)],
    *[({"redirect": to}, NO_ANSWER, NO_ANSWER, NO_ANSWER) for to in (True, "https://127.0.0.1:1/")],
    ({"redirect": "nonsense:"}, (11, 404), NO_ANSWER, (11, 404)),
]

# What the answer to the first call says, with status 200; result and HTTP status.
UPLOAD_LOCATIONS = [
    *[(body, (12, 200)) for body in (
        b"not JSON", b"null", b'"success"', b"{}", b'{"status":"success"}', b'{"url":"https://127.0.0.1/"}',
        b'{"status":"failure","url":"https://127.0.0.1/"}', b'{"status":"Success","url":"https://127.0.0.1/"}',
        b'{"status":true,"url":"https://127.0.0.1/"}', b'{"status":"success","url":7}',
        b'{"status":"success","url":null}', b'{"status":"success","url":"\xff\xfe"}', b"\x00", b"[" * 500000,
        b'{"status":"success","url":"https://127.0.0.1/",}', b'{"status":"success","url":"x"} {}',
        # Of duplicate keys the last one counts.
        b'{"status":"success","url":"https://127.0.0.1:1/","status":"failure"}',
        # Would begin another header.
        b'{"status":"success","url":"https://127.0.0.1:1/\\r\\nHost: x"}')],
    (b"", (11, 200)),
    # URLs that lead nowhere; nothing but http and https is ever asked for.
    *[(b'{"status":"success","url":"%b"}' % url, NO_ANSWER) for url in (
        b"", b"no scheme", b"/upload/1", b"https://", b"ftp://127.0.0.1:1/", b"file:///c:/windows/win.ini",
        b"file://127.0.0.1/share", b"C:\\\\windows\\\\win.ini", b"https://127.0.0.1:1/", b"http://127.0.0.1:1/",
        b"https://127.0.0.1:99999/", b"https://127.0.0.1:1/" + b"p" * 5000)],
]

# What the answer to the commit says, with status 200; result, crash id, stack key id, info URL.
NOT_COMMITTED = (11, 0, 0, "-")
S = b'"status":"success"'
COMMITS = [
    *[(body, NOT_COMMITTED) for body in (
        b"", b"not JSON", b"null", b"{}", b'{"status":"failure"}', b'{"status":7}', b"[" * 500000,
        b'{"a":"\xff",%b}' % S, b'{"status":"success","status":"failure"}', b'{%b,"crashId":1e999}' % S,
        *[b'{%b,"%b":%b}' % (S, name, value) for name in (b"crashId", b"stackKeyId", b"messageId")
          for value in (b'"7"', b"null", b"[7]")])],
    (b"{%b}" % S, (0, 0, 0, "-")),
    (b'{%b,"crashId":5,"stackKeyId":6,"messageId":7,"infoUrl":"https://127.0.0.1/i"}' % S,
     (0, 5, 6, "https://127.0.0.1/i")),
    # Unsigned ids keep their bits; numbers that fit no id count as none.
    (b'{%b,"crashId":9223372036854775808,"stackKeyId":-1e19}' % S, (0, -(2**63), 0, "-")),
    # The host is told whatever the service says; opening it is another matter.
    (b'{%b,"infoUrl":7}' % S, (0, 0, 0, "-")),
    (b'{%b,"infoUrl":"file:///c:/windows/system32/calc.exe"}' % S, (0, 0, 0, "file:///c:/windows/system32/calc.exe")),
]


class FaultMatrix(ServiceTest):
    def setUp(self):
        super().setUp()
        self.sender = self.host()

    def send(self, call, **fault):
        """Sends a report while the call fails so; the words of the host's answer."""
        self.service.clear_faults()
        self.service.fail(call, **fault)
        self.folder_sent = self.make_report(f"report {time.monotonic_ns()}")
        earlier = self.service.reports
        started = time.monotonic()
        answer = self.sender.do("send", windows_path(self.folder_sent)).split(" ", 4)
        self.assertLess(time.monotonic() - started, 30)
        # One of an earlier report may come late, over a connection that was given up.
        self.requests = [request for report in self.service.reports if report not in earlier
                         for request in report.requests]
        return answer

    def check_kept(self, result, status):
        """Whether the report is still there follows from the status alone; if so, its result tells of the failure."""
        self.assertEqual(status in TRANSIENT, self.folder_sent.exists())
        if self.folder_sent.exists():
            told = json.loads((self.folder_sent / "result.json").read_text())
            self.assertEqual(("failed", result, status), (told["status"], told["errorCode"], told["httpStatus"]))
            self.assertEqual(1, self.record(self.folder_sent)["retryCount"])
        if result != 0:
            self.assertRegex(self.log().splitlines()[-1],
                             rf"ERROR Report not sent: .*{self.folder_sent.name}: .* \(http {status}\)$|^.{{4095,}}$")

    def check_requests(self, call, fault):
        """No call is made again unless it was redirected, none after the one that failed, and no archive goes twice."""
        allowed = 12 if fault.get("redirect") else 1
        made = [request.call for request in self.requests]
        for name in CALLS:
            self.assertLessEqual(made.count(name), allowed if name == call else 1)
        sizes = [request.body_size for request in self.requests if request.call == "put"]
        self.assertLessEqual(sum(sizes), 4096)

    def test_any_call(self):
        for fault, *outcomes in ANY_CALL:
            for call, expected in zip(CALLS, outcomes):
                with self.subTest(call=call, fault=str(fault)[:100]):
                    answer = self.send(call, **fault)
                    self.assertEqual(expected, tuple(map(int, answer[:2])))
                    if expected != SENT:
                        self.assertEqual(["0", "0", "-"], answer[2:])
                        self.assertNotIn("commit" if call != "commit" else "", [r.call for r in self.requests])
                    self.check_requests(call, fault)
                    self.check_kept(*expected)

    def test_silent_service_holds_up_nothing_but_the_send(self):
        hosts = {}
        for number, call in enumerate(CALLS, 1):
            self.store = self.folder / call
            folder = self.make_report()
            host = self.host()
            self.service.fail(call, never=True, times=1)
            self.assertEqual("0", host.do("post_pending"))
            wait_for(lambda: sum(bool(request.fault) for request in self.service.requests) == number)
            self.assertEqual(["0", windows_path(folder), "0"],
                             [host.do(*words) for words in (("set_notes", "n"), ("pending",), ("shutdown",))])
            hosts[folder] = host
        self.assertEqual([True] * 3, [folder.exists() for folder in hosts])
        self.service.stop()
        for folder in hosts:
            wait_for(lambda: not folder.exists(), what="the end of sending")
            wait_for(lambda: re.search(r"ERROR Report not sent: .*report: .*win32 error \d+ \(http 0\)\n",
                                       (folder.parent / "Wrenfall.log").read_text("utf-8")), what="the line about it")

    def test_upload_locations(self):
        for body, expected in UPLOAD_LOCATIONS:
            with self.subTest(body=body[:100]):
                answer = self.send("first", body=body)
                self.assertEqual([*map(str, expected), "0", "0", "-"], answer)
                self.assertEqual(["first"], [request.call for request in self.requests])
                self.check_kept(*expected)

    def test_commits(self):
        for body, (result, *ids) in COMMITS:
            with self.subTest(body=body[:100]):
                answer = self.send("commit", body=body)
                self.assertEqual([str(result), "200"], answer[:2])
                if result == 0 or body.startswith(b"["):
                    self.assertEqual(list(map(str, ids)), answer[2:])
                self.check_kept(result, 200)

    def test_nothing_goes_out_in_plain_text_after_a_redirect(self):
        """A secure call that is sent on to plain HTTP does not go there."""
        with socket.create_server(("127.0.0.1", 0)) as listener:
            listener.settimeout(0.5)
            for call in CALLS:
                with self.subTest(call=call):
                    answer = self.send(call, redirect=f"http://127.0.0.1:{listener.getsockname()[1]}/")
                    self.assertEqual(["10", "0", "0", "0", "-"], answer)
                    with self.assertRaises(TimeoutError):
                        listener.accept()

    def test_huge_answers(self):
        """Of 64 MiB of blanks around the answer no more is held than the library reads."""
        unix_alone("it reads what the Unix below Wine says of memory")
        status = Path(f"/proc/{self.sender.process.pid}/status")
        for call in CALLS:
            with self.subTest(call=call):
                answer = self.send(call, huge=64 << 20)
                self.assertEqual(["0", "200"], answer[:2])
        peak = int(re.search(r"VmHWM:\s*(\d+) kB", status.read_text())[1]) >> 10
        self.assertLess(peak, 64)


if __name__ == "__main__":
    unittest.main(verbosity=2)
