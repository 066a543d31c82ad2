"""Every way a call of an upload can fail, on each of the three calls, through the real library over real HTTPS.

The tables are the test: what goes wrong, and what the host is told. From the HTTP status alone follows whether the
report is kept for another attempt.

    fault_matrix_test.py --time-limits    waits for the ends of the long time limits alone, which takes five minutes
"""

import json
import os
import re
import socket
import sys
import threading
import time
import unittest
from pathlib import Path

from harness import EndToEndTest, start_service, wait_for, windows_path

TRANSIENT = (500, 502, 503, 504)
SENT = (0, 200)
NO_ANSWER = (10, 0)

# What goes wrong with any of the calls; result and HTTP status if that call is the first, the PUT, the commit.
CALLS = ("first", "put", "commit")
ANY_CALL = [
    # The connection.
    *[({"connect": how}, NO_ANSWER, NO_ANSWER, NO_ANSWER)
      for how in ("refused", "reset", "garbage", "expired", "wrong-name", "unknown-ca")],
    ({"reset": "body"}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"reset": "before"}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"close": True}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"close": True, "delay": 0.5}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    # An answer that is cut off counts for what came of it. A PUT's body does not matter.
    ({"reset": "middle"}, (12, 200), SENT, (11, 200)),
    ({"truncate": True}, (12, 200), SENT, (11, 200)),
    ({"reset": "after"}, SENT, SENT, SENT),
    ({"delay": 0.5}, SENT, SENT, SENT),
    # The form of the answer.
    ({"chunked": True}, SENT, SENT, SENT),
    # Windows passes over informational answers; Wine 8 knows only one without a real one behind it.
    ({"interim": 100}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"interim": 103}, (11, 103), (11, 103), (11, 103)),
    ({"raw": b"HTTP/1.1 200 OK\r\n\r\n{body}"}, SENT, SENT, SENT),
    ({"raw": b"HTTP/1.1 200 \r\n\r\n{body}"}, SENT, SENT, SENT),
    ({"raw": b"HTTP/1.0 200 OK\r\nX: " + b"x" * 60000 + b"\r\n\r\n{body}"}, SENT, SENT, SENT),
    ({"raw": b"HTTP/1.1 100 Continue\r\n\r\n"}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"raw": b"SSH-2.0-OpenSSH\r\n"}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"raw": b"\0\xff" * 50}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"raw": b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n{body}"}, (11, 200), SENT, (11, 200)),
    # The status.
    *[({"status": status}, (11, status), (11, status), (11, status))
      for status in (201, 204, 206, 300, 304, 401, 403, 404, 408, 500, 501, 502, 503, 504, 505, 599)],
    *[({"status": status, "body": b"no"}, (12, status), (11, status), (11, status)) for status in (400, 413, 429)],
    ({"status": 503, "body": b'{"status":"success","url":"https://127.0.0.1:1/"}'}, (11, 503), (11, 503), (11, 503)),
    # Redirects, by the system's rules: 301 and 302 turn a POST into a GET, and a file is not sent a second time. Wine 8
    # does not know 303 and 308, and takes every Location that is no URL for a path.
    ({"redirect": True, "times": 1}, SENT, NO_ANSWER, SENT),
    ({"redirect": True, "status": 301, "times": 1}, (12, 400), NO_ANSWER, NO_ANSWER),
    ({"redirect": True, "status": 302, "times": 1}, (12, 400), NO_ANSWER, NO_ANSWER),
    ({"redirect": True, "status": 303, "times": 1}, (11, 303), (11, 303), (11, 303)),
    ({"redirect": True, "status": 308, "times": 1}, (11, 308), (11, 308), (11, 308)),
    ({"redirect": True}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"redirect": "https://127.0.0.1:1/"}, NO_ANSWER, NO_ANSWER, NO_ANSWER),
    ({"redirect": "nonsense:"}, (11, 404), NO_ANSWER, (11, 404)),
]

# What the answer to the first call says, with status 200; result and HTTP status.
UPLOAD_LOCATIONS = [
    *[(body, (12, 200)) for body in (
        b"not JSON", b"null", b"[]", b"7", b'"success"', b"{}", b'{"status":"success"}', b'{"url":"https://127.0.0.1/"}',
        b'{"status":"failure","url":"https://127.0.0.1/"}', b'{"status":"Success","url":"https://127.0.0.1/"}',
        b'{"status":true,"url":"https://127.0.0.1/"}', b'{"status":"success","url":7}',
        b'{"status":"success","url":null}', b'{"status":"success","url":["https://127.0.0.1/"]}',
        b'{"status":"success","url":{}}', b'{"status":"success","url":"\xff\xfe"}', b"\xef\xbb\xbf", b"\x00", b"[" * 500000,
        b'{"status":"success","url":"https://127.0.0.1/",}', b'{"status":"success","url":"x"} {}',
        # Of duplicate keys the last one counts.
        b'{"status":"success","url":"https://127.0.0.1:1/","status":"failure"}',
        b'{"status":"success","url":"https://127.0.0.1:1/","url":1e999}')],
    # Control characters would cut the URL, or begin another header.
    *[(b'{"status":"success","url":"https://127.0.0.1:1/%b"}' % end, (12, 200)) for end in (
        b"\\u0000/x", b"\\r\\nHost: x", b"\\u007f")],
    (b"", (11, 200)),
    # URLs that lead nowhere; nothing but http and https is ever asked for.
    *[(b'{"status":"success","url":"%b"}' % url, NO_ANSWER) for url in (
        b"", b"no scheme", b"/upload/1", b"//127.0.0.1/", b"https:", b"https://", b"https:///x", b"ftp://127.0.0.1:1/",
        b"file:///c:/windows/win.ini", b"file://127.0.0.1/share", b"javascript:alert(1)", b"C:\\\\windows\\\\win.ini",
        b"https://127.0.0.1:1/", b"http://127.0.0.1:1/", b"https://127.0.0.1:99999/", b"https://127.0.0.1:x/",
        b"https://127.0.0.1:1/" + b"p" * 5000, b"https://" + b"h" * 300 + b"/", b"https://127.0.0.1:1/\xc3\xbc\xf0\x9f\x92\xa5")],
]

# What the answer to the commit says, with status 200; result, crash id, stack key id, info URL.
NOT_COMMITTED = (11, 0, 0, "-")
S = b'"status":"success"'
COMMITS = [
    *[(body, NOT_COMMITTED) for body in (
        b"", b"not JSON", b"null", b"[]", b"7", b'"success"', b"{}", b'{"status":"failure"}', b'{"status":7}', b"[" * 500000,
        b"{%b,}" % S, b'{"a":"\xff",%b}' % S, b'{"status":"success","status":"failure"}',
        # Beyond what a number can be.
        b'{%b,"crashId":1e999}' % S,
        *[b'{%b,"%b":%b}' % (S, name, value) for name in (b"crashId", b"stackKeyId", b"messageId")
          for value in (b'"7"', b"null", b"true", b"[7]", b"{}")])],
    (b"{%b}" % S, (0, 0, 0, "-")),
    (b'{%b,"crashId":5,"stackKeyId":6,"messageId":7,"infoUrl":"https://127.0.0.1/i"}' % S,
     (0, 5, 6, "https://127.0.0.1/i")),
    (b'{%b,"crashId":1,"crashId":2}' % S, (0, 2, 0, "-")),
    (b'{%b,"crashId":-1.9,"stackKeyId":1.9e3}' % S, (0, -1, 1900, "-")),
    (b'{%b,"crashId":9223372036854775807,"stackKeyId":-9223372036854775808}' % S, (0, 2**63 - 1, -(2**63), "-")),
    # Unsigned ids keep their bits; numbers that fit no id count as none.
    (b'{%b,"crashId":9223372036854775808,"stackKeyId":-1e19}' % S, (0, -(2**63), 0, "-")),
    (b'{%b,"crashId":1e300,"stackKeyId":%b}' % (S, b"9" * 300), (0, 0, 0, "-")),
    # The host is told whatever the service says; opening it is another matter.
    (b'{%b,"infoUrl":7}' % S, (0, 0, 0, "-")),
    (b'{%b,"infoUrl":"file:///c:/windows/system32/calc.exe"}' % S, (0, 0, 0, "file:///c:/windows/system32/calc.exe")),
]

# A service that falls silent, on which call; result and HTTP status; whether the system's time limit of 300 s ends the
# wait. Wine has no limit for the beginning of an answer, so that only the end of the service does.
SILENCES = [
    ("put", {"stall": "request"}, NO_ANSWER, True),
    ("first", {"stall": "answer"}, (12, 200), True),
    ("put", {"stall": "answer"}, SENT, True),
    ("commit", {"stall": "answer"}, (11, 200), True),
    *[(call, {"never": True}, NO_ANSWER, False) for call in CALLS],
]
CONNECT_LIMIT, SILENCE_LIMIT = 60, 300  # seconds
LATE = 60  # that a busy machine may need beyond them


class Send(threading.Thread):
    """Sends a folder through a host of its own, and keeps the time."""

    def __init__(self, host, folder):
        super().__init__(daemon=True)
        self.host = host
        self.folder = folder
        self.seconds = None
        self.start()

    def run(self):
        started = time.monotonic()
        self.answer = tuple(map(int, self.host.do("send", windows_path(self.folder)).split()[:2]))
        self.seconds = time.monotonic() - started


class FullListener:
    """A port of 127.0.0.1 that neither refuses connections nor takes them: its queue is full."""

    def __init__(self):
        self.sockets = [socket.socket()]
        self.sockets[0].bind(("127.0.0.1", 0))
        self.sockets[0].listen(0)
        self.port = self.sockets[0].getsockname()[1]
        for _ in range(4):
            waiting = socket.socket()
            waiting.setblocking(False)
            waiting.connect_ex(("127.0.0.1", self.port))
            self.sockets.append(waiting)

    def close(self):
        for one in self.sockets:
            one.close()


def faults_met(service):
    return len([request for request in service.requests if request.fault])


class FaultMatrix(EndToEndTest):
    @classmethod
    def setUpClass(cls):
        """Connections that are not taken are given up after a minute: the last test looks at these."""
        cls.slow = EndToEndTest()
        cls.slow.setUp()
        cls.addClassCleanup(cls.slow.doCleanups)
        service = start_service(cls.slow, cls.slow.folder / "service")
        cls.connecting = []
        for number, scheme in enumerate(("http", "https"), 1):
            listener = FullListener()
            cls.slow.addCleanup(listener.close)
            body = json.dumps({"status": "success", "url": f"{scheme}://127.0.0.1:{listener.port}/"})
            service.fail("first", body=body, times=1)
            cls.connecting.append(Send(cls.slow.host(), cls.slow.make_report(scheme)))
            wait_for(lambda: faults_met(service) == number)
        service.stop()

    def setUp(self):
        super().setUp()
        self.service = start_service(self, self.folder / "service")
        self.sender = self.host()

    def send(self, call, **fault):
        """Sends a report while the call fails so; the words of the host's answer."""
        self.service.clear_faults()
        self.service.fail(call, **fault)
        self.folder_sent = self.make_report(f"report {time.monotonic_ns()}")
        before = len(self.service.requests)
        started = time.monotonic()
        answer = self.sender.do("send", windows_path(self.folder_sent)).split(" ", 4)
        self.assertLess(time.monotonic() - started, 30)
        self.requests = self.service.requests[before:]
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

    def test_waits_for_connections_end_after_a_minute(self):
        for send in self.connecting:
            send.join(CONNECT_LIMIT + LATE)
            self.assertEqual(NO_ANSWER, send.answer)
            self.assertLess(CONNECT_LIMIT - 5, send.seconds)
            self.assertRegex(self.slow.log(), rf"{send.folder.name}: PUT: win32 error \d+ \(http 0\)")
            self.assertFalse(send.folder.exists())

    def test_silent_service_holds_up_nothing_but_the_send(self):
        hosts = {}
        for number, call in enumerate(CALLS, 1):
            self.store = self.folder / call
            folder = self.make_report()
            host = self.host()
            self.service.fail(call, never=True, times=1)
            self.assertEqual("0", host.do("post_pending"))
            wait_for(lambda: faults_met(self.service) == number)
            self.assertEqual(["0", windows_path(folder), "0"],
                             [host.do(*words) for words in (("set_notes", "n"), ("pending",), ("shutdown",))])
            hosts[folder] = host
        self.assertEqual([True] * 3, [folder.exists() for folder in hosts])
        self.service.stop()
        for folder in hosts:
            wait_for(lambda: not folder.exists(), what="the end of sending")
            log = wait_for(lambda: (folder.parent / "Wrenfall.log").read_text("utf-8"))
            self.assertRegex(log, r"ERROR Report not sent: .*report: .*win32 error \d+ \(http 0\)\n")

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
        status = Path(f"/proc/{self.sender.process.pid}/status")
        for call in CALLS:
            with self.subTest(call=call):
                answer = self.send(call, huge=64 << 20)
                self.assertEqual(["0", "200"], answer[:2])
        peak = int(re.search(r"VmHWM:\s*(\d+) kB", status.read_text())[1]) >> 10
        self.assertLess(peak, 64)


class TimeLimits(EndToEndTest):
    def test_silences(self):
        """All at once. Where the system has no limit, the wait ends with the service."""
        service = start_service(self, self.folder / "service")
        sends = []
        for number, (call, fault, _, _) in enumerate(SILENCES, 1):
            service.fail(call, times=1, **fault)
            folder = self.make_report(f"{number} {call} {next(iter(fault))}")
            if fault == {"stall": "request"}:
                (folder / "large").write_bytes(os.urandom(24 << 20))  # far more than the system's buffers hold
            sends.append(Send(self.host(), folder))
            wait_for(lambda: faults_met(service) == number)
        for send, (_, _, expected, limited) in zip(sends, SILENCES):
            with self.subTest(send.folder.name):
                if limited:
                    send.join(SILENCE_LIMIT + LATE)
                    self.assertLess(SILENCE_LIMIT - 5, send.seconds or 0)
                    self.assertEqual(expected, send.answer)
        for send in sends:
            print(f"{send.folder.name}: {send.seconds and round(send.seconds) or 'no limit'}")
        service.stop()
        for send, (_, _, expected, _) in zip(sends, SILENCES):
            with self.subTest(send.folder.name):
                send.join(LATE)
                self.assertIsNotNone(send.seconds, "it still waits")
                self.assertEqual(expected, send.answer)
                self.assertLess(SILENCE_LIMIT - 5, send.seconds)
                self.assertFalse(send.folder.exists())
                if expected == NO_ANSWER:
                    self.assertRegex(self.log(), rf"{send.folder.name}: .*win32 error \d+ \(http 0\)")


if __name__ == "__main__":
    only = "TimeLimits" if "--time-limits" in sys.argv else "FaultMatrix"
    arguments = [argument for argument in sys.argv if argument != "--time-limits"]
    unittest.main(argv=arguments, defaultTest=only, verbosity=2)
