"""The package holds all that it should, and everything in it says the version that src/support/version.h says."""

import json
import os
import re
import struct
import unittest

from package import PackageTest, run
from harness import ROOT

VERSION_FILE = (ROOT / "src" / "support" / "version.h").read_text()
TEXT = re.search(r'WRENFALL_VERSION_TEXT "(.*)"', VERSION_FILE).group(1)
NUMBERS = [int(re.search(rf"WRENFALL_VERSION_{part} (\d+)", VERSION_FILE).group(1))
           for part in ("MAJOR", "MINOR", "PATCH")]
NAME = f"Wrenfall-{TEXT}-win64"
# The other ones are built where what they need is installed.
PROGRAMS = {"Wrenfall.dll", "WrenfallMonitor.exe", "WrenfallReporter.exe", "crashpad_handler.exe"}
OPTIONAL_PROGRAMS = {"WrenfallWer.dll", "wrenfallctl.exe"}
FILES = {"lib/libWrenfall.dll.a", "lib/Wrenfall.lib", "lib/Wrenfall.def", "include/wrenfall/wrenfall.h",
         "lib/cmake/Wrenfall/WrenfallConfig.cmake", "lib/cmake/Wrenfall/WrenfallConfigVersion.cmake",
         "lib/pkgconfig/wrenfall.pc"}
# These lie below the pages' folder as in the source tree.
PAGES = "share/doc/Wrenfall"
SOURCES = ("README.md", "CHANGELOG.md", "CONTRIBUTING.md", "docs/*.md", "docs/images/*", "examples/*.[ch]*",
           "scripts/*.ps1", "scripts/*.reg", "tools/crash_service/[!t]*.*", "tools/crash_service/trust*.cpp",
           "fallback/crashpad/README.md")
# A sentence of each licence.
LICENCES = {"nlohmann-json": "MIT", "zlib": "Jean-loup Gailly", "gcc": "GCC RUNTIME LIBRARY EXCEPTION",
            "mingw-w64": "winpthreads"}


def versions(program):
    """The numbers and the texts of a program's version resource, which lies near its end."""
    data = program.read_bytes()
    at = data.rindex(struct.pack("<II", 0xFEEF04BD, 0x10000))
    texts = dict(re.findall("(FileVersion|ProductVersion|OriginalFilename)\0+([^\0]+)",
                            data[at:at + 2048].decode("utf-16-le", "replace")))
    return [[word >> 16, word & 0xFFFF] for word in struct.unpack_from("<4I", data, at + 8)], texts


class ContentsTest(PackageTest):
    def setUp(self):
        self.root = self.folder / NAME / NAME

    def test_names(self):
        self.assertEqual([f"{NAME}-symbols.zip", f"{NAME}.zip"], [path.name for path in self.zips])
        self.assertEqual([NAME], [path.name for path in (self.folder / NAME).iterdir()])

    def test_files(self):
        files = {path.relative_to(self.root).as_posix() for path in self.root.rglob("*") if path.is_file()}
        pages = {f"{PAGES}/{path.relative_to(ROOT)}" for pattern in SOURCES for path in ROOT.glob(pattern)}
        licences = {f"{PAGES}/third-party/{name}" for name in ["THIRD-PARTY.md", *(f"{one}.txt" for one in LICENCES)]}
        programs = {f"bin/{name}" for name in PROGRAMS}
        self.assertEqual(programs | licences | pages | FILES, files - {f"bin/{name}" for name in OPTIONAL_PROGRAMS})
        symbols = self.folder / f"{NAME}-symbols" / f"{NAME}"
        self.assertEqual({path.name + ".debug" for path in (self.root / "bin").iterdir()},
                         {path.name for path in symbols.rglob("*") if path.is_file()})
        notices = self.root / PAGES / "third-party"
        for name, sentence in LICENCES.items():
            self.assertIn(f"{name}.txt", (notices / "THIRD-PARTY.md").read_text("utf-8"))
            self.assertIn(sentence, (notices / f"{name}.txt").read_text("utf-8"))

    def test_links(self):
        links = [(page, link) for page in self.root.rglob("*.md")
                 for link in re.findall(r"\]\(([^)#\s]+)", page.read_text("utf-8")) if not link.startswith("http")]
        self.assertEqual([], [(page.name, link) for page, link in links if not (page.parent / link).exists()])
        self.assertGreater(len(links), 30)

    def test_no_path_of_this_machine(self):
        for path in [*self.root.glob("lib/**/*.cmake"), *self.root.glob("lib/pkgconfig/*")]:
            self.assertNotIn(str(ROOT), path.read_text())

    def test_versions(self):
        self.assertTrue(TEXT.startswith(".".join(map(str, NUMBERS))), TEXT)
        for program in (self.root / "bin").iterdir():
            with self.subTest(program=program.name):
                numbers, texts = versions(program)
                self.assertEqual([NUMBERS[:2], [NUMBERS[2], 0]] * 2, numbers)
                self.assertEqual({"FileVersion": TEXT, "ProductVersion": TEXT,
                                  "OriginalFilename": program.name}, texts)
        library = self.root / "lib"
        environment = {**os.environ, "PKG_CONFIG_LIBDIR": str(library / "pkgconfig")}
        self.assertEqual(TEXT, run("pkgconf", "--modversion", "wrenfall", env=environment).strip())
        config = (library / "cmake" / "Wrenfall" / "WrenfallConfig.cmake").read_text()
        self.assertIn(f'set(Wrenfall_VERSION_TEXT "{TEXT}")', config)
        self.assertIn(f'set(PACKAGE_VERSION "{".".join(map(str, NUMBERS))}")',
                      (library / "cmake" / "Wrenfall" / "WrenfallConfigVersion.cmake").read_text())
        self.assertEqual(TEXT, json.loads((ROOT / "vcpkg.json").read_text())["version-string"])
        self.assertIn(f'"{TEXT}"', (self.root / "include" / "wrenfall" / "wrenfall.h").read_text("utf-8"))
        self.assertIn(f"\n## {TEXT}", (ROOT / "CHANGELOG.md").read_text("utf-8"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
