"""Packs into a folder with a blank and a letter beyond ASCII, and unpacks there, for the tests of the package."""

import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "end_to_end"))

from harness import BUILD


def run(*command, **settings):
    """The standard output of a command that succeeds."""
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, errors="surrogateescape", check=False, **settings)
    if done.returncode != 0:
        raise AssertionError(f"{command} gave {done.returncode}:\n{done.stdout}")
    return done.stdout


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="wrenfall päckage ", dir=BUILD))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        run("cpack", "--config", BUILD / "CPackConfig.cmake", "-B", cls.folder / "packed")
        cls.zips = sorted((cls.folder / "packed").glob("*.zip"))
        for path in cls.zips:
            with zipfile.ZipFile(path) as archive:
                archive.extractall(cls.folder / path.stem)
