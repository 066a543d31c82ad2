"""Crashpad and miniz as installed packages, in the shape that vcpkg gives them: made of the stand-ins' libraries and
headers. The build takes them, and what needs them works, in a build folder of another name."""

import os
import shutil
import tempfile
import unittest
from pathlib import Path

from package_test import BUILD, ROOT, run


class InstalledTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="wrenfall installed ", dir=BUILD))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.package, self.build = self.folder / "my packages", self.folder / "my build"
        compiler = "ccache" if shutil.which("ccache") else ""
        self.environment = {"WRENFALL_WINEPREFIX": str(BUILD / "wineprefix"), **os.environ,
                            "WRENFALL_BUILD": str(self.build),
                            "CMAKE_C_COMPILER_LAUNCHER": compiler, "CMAKE_CXX_COMPILER_LAUNCHER": compiler}
        self.run_here("cmake", f"-DBUILD={BUILD}", f"-DPREFIX={self.package}",
                         "-P", ROOT / "tests/package/ports/lay_out.cmake")

    def run_here(self, *command):
        return " ".join(run(*command, cwd=ROOT, env=self.environment).split())

    def configure(self, *options):
        """An option without a dash is set in the environment."""
        environment = [option for option in options if not option.startswith("-")]
        options = [option for option in options if option.startswith("-")]
        return self.run_here("cmake", "-E", "env", *environment, "cmake", "--preset", "mingw", "-B", self.build,
                             "-DCMAKE_BUILD_TYPE=", *options)

    def test_packages(self):
        output = self.configure(f"-DCMAKE_FIND_ROOT_PATH={self.package}", "-DWRENFALL_CRASHPAD=installed",
                                "-DWRENFALL_MINIZ=installed")
        notices = (self.build / "third-party" / "THIRD-PARTY.md").read_text()
        for name, where in (("crashpad", "crash capture"), ("miniz", "ZIP"), ("zlib", "deflate, in crashpad_handler.exe")):
            self.assertIn(f"({name}.txt): {where}", notices)
            self.assertEqual(f"the licence of {name}", (self.build / "third-party" / f"{name}.txt").read_text())
            if name != "zlib":
                self.assertIn(f"Dependency {name}: installed ({self.package}/share/{name})", output)
        self.assertIn("mini_chromium.txt", notices)
        self.run_here("cmake", "--build", self.build, "--parallel", "2", "--target", "test_host", "session",
                      "WrenfallMonitor", "WrenfallReporter")
        # These packages hold the stand-in, whatever the build was told.
        (self.build / "crashpad-handler").write_text("stand-in\n")
        output = self.run_here("ctest", "--test-dir", self.build, "-R", r"^end_to_end\.(crash|metadata)$", "-V")
        self.assertIn("100% tests passed, 0 tests failed out of 2", output)
        # The handler is always that of the Crashpad which is named, or the one that the user names.
        other = shutil.copytree(self.package, self.folder / "other")
        for options, package in ((["-Dcrashpad_DIR={other}/share/crashpad"], other),
                                 (["-DWRENFALL_CRASHPAD_HANDLER={package}/tools/crashpad/crashpad_handler.exe"], self.package),
                                 ([], self.package)):
            output = self.configure(*(option.format(other=other, package=self.package) for option in options))
            self.assertIn(f"its handler is {package}/tools/crashpad/crashpad_handler.exe", output)

    def test_refused(self):
        """What is asked for and is not there, or is there and cannot be used, is not replaced."""
        (self.package / "tools" / "crashpad" / "crashpad_handler.exe").unlink()
        broken = self.folder / "broken"
        broken.mkdir()
        (broken / "miniz-config.cmake").write_text("include(CMakeFindDependencyMacro)\nfind_dependency(nothing)\n")
        asked_for, no_handler = "package crashpad was asked for, but is not found", "no tools/crashpad/crashpad_handler.exe"
        clean = ("-UWRENFALL_*", "-U*_DIR", "-Ucrashpad_ROOT", "-UCMAKE_PREFIX_PATH")
        for option, error in (("-DWRENFALL_CRASHPAD=installed", asked_for),
                              ("-DWRENFALL_MINIZ=installed", "package miniz was asked for, but is not found"),
                              ("-Dcrashpad_ROOT=/nowhere", asked_for),
                              ("crashpad_ROOT=/nowhere", asked_for),
                              (f"-DCMAKE_PREFIX_PATH={broken}", "because dependency nothing could not be found"),
                              (f"-DCMAKE_PREFIX_PATH={self.package}", no_handler),
                              (f"CMAKE_PREFIX_PATH=/nowhere:{self.package}", no_handler),
                              (f"-Dcrashpad_ROOT={self.package}", no_handler),
                              (f"crashpad_ROOT={self.package}", no_handler),
                              (f"-Dcrashpad_DIR={self.package}/share/crashpad", no_handler),
                              ("-DWRENFALL_MINIZ=maybe", "must be auto, installed or fallback"),
                              ("-Dcrashpad_DIR=/nowhere", asked_for),
                              (None, asked_for)):  # the folder that was named before
            with self.subTest(option=option), self.assertRaises(AssertionError) as failure:
                self.configure(*((*clean, option) if option else ()))
            self.assertIn(error, " ".join(str(failure.exception).split()))


if __name__ == "__main__":
    unittest.main(verbosity=2)
