"""A headless browser that a test drives: the WebDriver protocol of Debian's chromium-driver, by the standard library."""

import base64
import contextlib
import json
import re
import shutil
import subprocess
import time
import urllib.error
import urllib.request

_ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the protocol's name for an element's id
_ARGUMENTS = ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--hide-scrollbars",
              "--disable-background-networking", "--force-color-profile=srgb"]

_BRIGHTNESS = """(async () => {
  const picture = new Image();
  picture.src = "data:image/png;base64,%s";
  await picture.decode();
  const canvas = new OffscreenCanvas(picture.width, picture.height).getContext("2d");
  canvas.drawImage(picture, 0, 0);
  const bytes = canvas.getImageData(0, 0, picture.width, picture.height).data;
  let sum = 0, darkest = 1, brightest = 0;
  for (let at = 0; at < bytes.length; at += 4) {
    const one = (bytes[at] + bytes[at + 1] + bytes[at + 2]) / 765;
    sum += one, darkest = Math.min(darkest, one), brightest = Math.max(brightest, one);
  }
  return [sum / (bytes.length / 4), brightest - darkest];
})()"""


class WebDriver:
    """One browser with a profile of its own, which accepts any certificate. A context manager."""

    def __init__(self, downloads):
        self.process = subprocess.Popen([shutil.which("chromedriver"), "--port=0"], stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True)
        for line in self.process.stdout:
            found = re.search(r"successfully on port (\d+)", line)
            if found:
                break
        self.base = f"http://127.0.0.1:{found[1]}/session"
        options = {"args": _ARGUMENTS, "binary": shutil.which("chromium"),
                   "prefs": {"download.default_directory": str(downloads), "safebrowsing.enabled": False}}
        wanted = {"acceptInsecureCerts": True, "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}
        try:
            self.base += "/" + self.call("", capabilities={"alwaysMatch": wanted})["sessionId"]
        except BaseException:
            self.end()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.call("", "DELETE")
        finally:
            self.end()

    def end(self):
        self.process.terminate()
        self.process.wait(20)
        self.process.stdout.close()

    def call(self, command, method="POST", **values):
        body = json.dumps(values).encode() if method == "POST" else None
        request = urllib.request.Request(self.base + command, body, {"Content-Type": "application/json"}, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def look(self, address, width=1200, height=1000, dark=False):
        """Opens a page in a window of that size."""
        for name, values in (
                ("setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600}),
                ("setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})):
            self.call("/goog/cdp/execute", cmd="Emulation." + name, params=values)
        self.call("/url", url=address)

    def run(self, script):
        """The value of a JavaScript expression in the page."""
        return self.call("/execute/sync", script="return " + script, args=[])

    def find(self, selector):
        return f"/element/{self.call('/element', using='css selector', value=selector)[_ELEMENT]}"

    def click(self, selector):
        self.call(self.find(selector) + "/click")

    def follow(self, selector):
        """Clicks on what leads to another page, and waits until that is there."""
        self.run("(window.isLeft = true)")
        self.click(selector)
        deadline = time.monotonic() + 30
        while time.monotonic() < deadline:
            with contextlib.suppress(urllib.error.HTTPError):  # between the two pages
                if self.run("!window.isLeft && document.readyState === 'complete'"):
                    return
            time.sleep(0.02)
        raise AssertionError(f"{selector} leads nowhere")

    def type(self, selector, text):
        self.call(self.find(selector) + "/value", text=text)

    def text(self, selector="body"):
        return self.call(self.find(selector) + "/text", "GET")

    def complaints(self):
        """What the browser wrote into its console since the last call: errors of the page and of its policy."""
        return [entry["message"] for entry in self.call("/se/log", type="browser")]

    def picture(self):
        """The window as a PNG, how bright it is on average, and how much its darkest and brightest points differ, both 0 to 1."""
        encoded = self.call("/screenshot", "GET")
        return base64.b64decode(encoded), *self.run(_BRIGHTNESS % encoded)
