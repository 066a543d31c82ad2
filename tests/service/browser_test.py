"""The local service's pages in a real browser: what a person clicks, on a wide and a narrow screen, light and dark.

WRENFALL_PICTURES names a folder for the pictures of the documentation, service.png and service_report.png.
"""

import datetime
import json
import os
import random
import tempfile
import time
import unittest
from pathlib import Path

from samples import HOSTILE, ON_DEMAND, Client, make_dump, make_zip, structured
from web_driver import WebDriver

from crash_service import CrashService
from report_index import FILE_NAME

CRUMBS = json.dumps([
    {"time": f"2026-01-31T09:41:0{at}.{at}12Z", "level": level, "threadId": 36, "category": category, "message": message}
    for at, (level, category, message) in enumerate((
        ("INFO", "app", "started with 2 files"), ("INFO", "file", "opened holiday.pnt, 14 layers"),
        ("DEBUG", "ui", "tool: brush, 240 px"), ("WARN", "memory", "undo history is cut to 64 steps"),
        ("ERROR", "filter", "layer 3 has no tiles")))])
DUMP = {"minidump_dmp": make_dump(wrenfall__sdkVersion="9.0.0-dev"), "breadcrumbs_json": CRUMBS, "paint_log": "09:41:02 brush 240 px\n"}
HANG = {"minidump_dmp": make_dump(ON_DEMAND, wrenfall__reportKind="hang", wrenfall__hangThread="main", wrenfall__hangDurationMs=7400)}
OVERFLOW = {"minidump_dmp": make_dump(code=0xC00000FD, offset=0x1FFE0, modules=("codec.dll", "paint.exe"))}
STRUCTURED = {"wfCrashReport_json": structured(), "breadcrumbs_json": CRUMBS, "layers_json": "{}"}
FEEDBACK = {"feedback_json": json.dumps({"title": "Colour picker", "description": "Please keep the last ten colours."})}
# How often, crash type, files, fields.
REPORTS = ((9, "1", DUMP, {"description": "I painted with the big brush and pressed undo twice."}), (2, "1", HANG, {}),
           (4, "1", OVERFLOW, {"description": "A file from the camera, as always."}),
           (5, "21", STRUCTURED, {"crashHash": "5f3a", "description": "Blur on the top layer."}), (1, "36", FEEDBACK, {}),
           (1, "21", {"wfCrashReport_json": structured(HOSTILE)}, {"crashHash": "0", "description": HOSTILE}))


@unittest.skipIf(os.name == "nt", "the browser is Debian's")
class BrowserTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.pictures = Path(os.environ.get("WRENFALL_PICTURES", cls.folder))
        with CrashService(cls.folder / "service", certificates=cls.folder) as service:
            client = Client(service.port, cls.folder / "ca.pem")
            for count, kind, files, fields in REPORTS:
                archive = make_zip(**files)
                for at in range(count):
                    client.upload(archive, name="Paint%20Studio", version=f"2.1.{7 - at % 2}", crash_type=kind, user="Ada", **fields)
        cls.spread_over_time()
        cls.service = cls.enterClassContext(CrashService(cls.folder / "service", certificates=cls.folder))
        cls.downloads = cls.folder / "downloads"
        cls.browser = cls.enterClassContext(WebDriver(cls.downloads))

    @classmethod
    def spread_over_time(cls):
        """Lets the reports have come during three weeks, which the service finds out when it makes its index."""
        (cls.folder / "service" / FILE_NAME).unlink()
        random.seed(5)
        for folder in (cls.folder / "service").glob("report-*"):
            moment = datetime.datetime.now(datetime.timezone.utc) - datetime.timedelta(days=abs(random.gauss(0, 8)))
            for path in folder.glob("requests/*.json"):
                request = json.loads(path.read_text("utf-8"))
                path.write_text(json.dumps({**request, "received": moment.isoformat()}), "utf-8")

    def look(self, address, **window):
        self.browser.look(self.service.base_url + address, **window)

    def wait_for_download(self, name):
        deadline = time.monotonic() + 20
        while not (self.downloads / name).exists() and time.monotonic() < deadline:
            time.sleep(0.05)
        return (self.downloads / name).read_bytes()

    def test_a_person_finds_a_report(self):
        """From the list to a group, a report, a file, and back by a search."""
        browser = self.browser
        self.look("/")
        self.assertEqual(len(REPORTS), browser.run("document.querySelectorAll('.group').length"))
        self.assertIn("22\nreports", browser.text(".figures"))
        self.assertEqual(22, browser.run("[...document.querySelectorAll('.chart title')]"
                                         ".reduce((sum, one) => sum + Number(one.textContent.split(': ')[1]), 0)"))
        browser.follow("a[href='/?stack=1001'].more")
        self.assertEqual(9, browser.run("document.querySelectorAll('.rows li').length"))
        browser.follow(".rows a")
        self.assertIn("paint.exe+0x8252", browser.text("h1"))
        self.assertIn("I painted with the big brush", browser.text("main > section"), "the user's words come first")
        self.assertIn("when writing address 0x18", browser.text("#exception"))
        browser.click("#modules summary")
        self.assertIn("ntdll.dll", browser.text("#modules"))
        self.assertEqual([], list(self.downloads.glob("*")))
        browser.click("#files a")
        self.assertEqual(DUMP["minidump_dmp"], self.wait_for_download("minidump.dmp"))
        browser.type(".search input", "FilterBrush blur")
        browser.follow(".search button")
        self.assertIn("FilterBrush::apply", browser.text("h2"))
        self.assertEqual((1, "FilterBrush blur"), (browser.run("document.querySelectorAll('.group').length"),
                                                   browser.run("document.querySelector('.search input').value")))
        browser.follow(".rows a")
        self.assertIn("filter_brush.cpp:214", browser.text("#stack"))
        self.assertEqual([], browser.complaints())

    def test_every_screen_has_room(self):
        """Nothing is wider than the screen, the browser has nothing to complain about, and colours follow the system."""
        for address in ("/", "/?stack=1001", "/report/1", "/report/22", "/?q=nothing+like+it"):
            colours = set()
            for width in (1200, 360):
                for dark in (False, True):
                    with self.subTest(address=address, width=width, dark=dark):
                        self.look(address, width=width, dark=dark)
                        self.assertEqual(width, self.browser.run("document.documentElement.scrollWidth"))
                        self.assertEqual([], self.browser.complaints())
                        self.assertEqual(0, self.browser.run("document.scripts.length"))
                        colours.add(self.browser.run("getComputedStyle(document.body).backgroundColor"))
            self.assertEqual(2, len(colours))

    def test_pictures(self):
        for name, address, height, dark in (("service", "/", 900, False), ("service_report", "/report/18", 1180, True)):
            shown = {}
            for shade in (not dark, dark):
                self.look(address, width=1200, height=height, dark=shade)
                picture, shown[shade], contrast = self.browser.picture()
                self.assertGreater(contrast, 0.7, "text can be read")
            self.assertLess(shown[True], 0.3)
            self.assertGreater(shown[False], 0.7)
            (self.pictures / f"{name}.png").write_bytes(picture)


if __name__ == "__main__":
    unittest.main(verbosity=2)
