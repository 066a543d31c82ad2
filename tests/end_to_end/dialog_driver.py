"""Reads the dialogs that are on the display, and drives them with real key presses."""

import struct
import subprocess
import zlib

from harness import BIN, run_program, start_program, unix_alone, wait_for, windows_path

# The controls, by their ids.
SEND, CLOSE = 1, 2
(HEADING, MESSAGE, FILES_LABEL, FILES, EMAIL_LABEL, EMAIL, DESCRIPTION_LABEL, DESCRIPTION, HINT, PROGRESS, SUPPORT_LABEL, SUPPORT,
 SHOW_DETAILS, DETAILS, TRY_AGAIN, DONT_SEND, OPEN_FOLDER, ALWAYS_SEND, SHOW_FILES, RESTART, PRIVACY, OPEN_FILE, BACK,
 PROGRESS_TEXT, COPY, OPEN_PAGE) = range(101, 127)
PATIENCE = 60.0  # seconds for each step, on a machine that is busy with something else


class Window(dict):
    """What the reader prints of a dialog: texts by control id."""

    title = ""
    focus = None


def windows():
    """The dialogs on the screen, the topmost first."""
    reader = start_program(BIN / "dialog_reader.exe", stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    try:
        output = reader.communicate(timeout=PATIENCE)[0].decode("utf-8")
    finally:
        reader.kill()
        reader.wait()
    found = []
    for line in output.splitlines():
        key, text = line.rstrip("\r").split("\t", 1)
        if key == "window":
            found.append(Window())
            found[-1].title = text
        elif key == "focus":
            found[-1].focus = int(text)
        else:
            found[-1][int(key)] = text
    return found


def hold_clipboard():
    """Holds the clipboard until the program's input is closed. Its output is a line with the text on it."""
    return start_program(BIN / "dialog_reader.exe", "--clipboard", stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL)


def xdotool(*words):
    unix_alone("keys are pressed by xdotool")
    done = subprocess.run(["xdotool", *map(str, words)], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          timeout=PATIENCE, check=False)
    return done.stdout.decode().split()


class Picture:
    """What the first dialog looks like, without its frame: four bytes a pixel, blue first."""

    def __init__(self, folder):
        path = folder / "picture.raw"
        if run_program(BIN / "dialog_reader.exe", windows_path(path))[0] != 0:
            raise AssertionError("no picture")
        size, self.pixels = path.read_bytes().split(b"\n", 1)
        self.width, self.height = map(int, size.split())

    def brightness(self):
        """The mean of the green parts, 0 to 255."""
        return sum(self.pixels[1::4]) / (self.width * self.height)

    def middle(self, color):
        """Where the pixels of about that colour are on the average: 0 is the left edge, 1 the right one."""
        blue, green, red = color & 0xFF, color >> 8 & 0xFF, color >> 16
        parts = zip(self.pixels[0::4], self.pixels[1::4], self.pixels[2::4])
        columns = [place % self.width for place, (b, g, r) in enumerate(parts)
                   if max(abs(b - blue), abs(g - green), abs(r - red)) < 8]
        if not columns:
            raise AssertionError(f"no pixel has the colour {color:06X}")
        return sum(columns) / len(columns) / self.width

    def save(self, path):
        """As a PNG."""
        rows = bytearray()
        for y in range(self.height):
            row = self.pixels[y * self.width * 4:(y + 1) * self.width * 4]
            pixels = bytearray(3 * self.width)
            pixels[0::3], pixels[1::3], pixels[2::3] = row[2::4], row[1::4], row[0::4]
            rows += b"\0" + pixels
        def chunk(name, data):
            return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
        path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", self.width, self.height, 8, 2, 0, 0, 0)) +
                         chunk(b"IDAT", zlib.compress(bytes(rows), 9)) + chunk(b"IEND", b""))


class DialogDriver:
    """For test cases."""

    def wait_for_window(self, title, *focus):
        """The dialog of that title once the keyboard goes to one of these controls."""
        def look():
            for window in windows():
                if title in window.title and window.focus in focus:
                    return window
            return None
        # The page may change while it is read: the focus is of the new one then, and the texts are of the old one.
        for _ in range(2):
            window = wait_for(look, PATIENCE, f"a window '{title}' with the focus on {focus}")
        return window

    def wait_for_text(self, control, text):
        wait_for(lambda: any(window.get(control) == text for window in windows()), PATIENCE,
                 f"'{text}' in {control}")

    def focus(self, title):
        """Gives the keyboard to the window of that title; whether the window's own thread knows that it has it."""
        found = xdotool("search", "--onlyvisible", "--name", title)
        if not found:
            return False
        xdotool("windowfocus", found[-1])
        if any(title in window.title and window.focus is not None for window in windows()):
            return xdotool("getwindowfocus") == [found[-1]]
        # A window that came up in the background takes the keyboard only with a click.
        xdotool("mousemove", "--window", found[-1], 5, 5, "click", 1)
        return False

    def press(self, title, *keys, text=None):
        """Real key presses for the window of that title: `keys` by their names, or `text`."""
        wait_for(lambda: self.focus(title), PATIENCE, f"the focus on '{title}'")
        if text is None:
            xdotool("key", "--delay", 50, *keys)
        else:
            xdotool("type", "--delay", 50, text)
