"""What the documentation promises: links lead somewhere, commands and code work, every log line is explained."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PAGES = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", ROOT / "CHANGELOG.md", ROOT / "SECURITY.md", *sorted((ROOT / "docs").glob("*.md"))]
COMPILER = os.environ.get("WRENFALL_C_COMPILER", "x86_64-w64-mingw32-gcc-posix")

# Commands of the README that run elsewhere: this test is run by the first, which runs the next two; the others need
# Windows, or are what a reader replaces by programs of their own.
RUN_ELSEWHERE = ("scripts/test.sh", "scripts/setup.sh", "scripts/build.sh", "cmake --preset windows",
                 "cmake --build --preset windows", "ctest --preset windows")


def code_blocks(page, language):
    return re.findall(rf"^```{language}\n(.*?)^```", page.read_text("utf-8"), re.MULTILINE | re.DOTALL)


def explained_levels(page, text):
    """The levels of the log lines in a page that hold a text. In a table a line without one has that before it."""
    levels = set()
    for row in page.splitlines():
        level = None if row.startswith("|") else "INFO"
        for line in re.findall(r"`([^`]*)`", row):
            named = re.match("(INFO|WARN|ERROR) ", line)
            level = named.group(1) if named else level
            if text in line:
                levels.add(level)
    return levels


def anchors(page):
    headings = re.findall(r"^#+ (.*)", page.read_text("utf-8"), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


class DocsTest(unittest.TestCase):
    def run_command(self, *command, **options):
        done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              errors="replace", timeout=240, **options)
        self.assertEqual(0, done.returncode, f"{command}\n{done.stdout[-3000:]}")
        return done.stdout

    def test_paths_of_the_code(self):
        """A path that a page names is there, also one without its ending or with a star."""
        checked = 0
        for page in PAGES:
            for path in re.findall(r"`((?:src|companions|fallback|tests|scripts|tools|cmake|bench|examples)/[\w./*-]+)`",
                                   page.read_text("utf-8")):
                checked += 1
                self.assertTrue(any(ROOT.glob(path)) or any(ROOT.glob(path + ".*")), f"{page.name}: {path}")
        self.assertGreater(checked, 50)

    def test_links(self):
        checked = 0
        for page in PAGES:
            for target in re.findall(r"\]\(([^)\s]+)\)", page.read_text("utf-8")):
                if re.match(r"https?:", target):
                    continue
                checked += 1
                path, _, anchor = target.partition("#")
                file = (page.parent / path).resolve() if path else page
                self.assertTrue(file.exists(), f"{page.name}: {target}")
                if anchor:
                    self.assertIn(anchor, anchors(file), f"{page.name}: {target}")
        self.assertGreater(checked, 30)
        readme = (ROOT / "README.md").read_text("utf-8")
        for page in PAGES[1:]:
            self.assertIn(f"({page.relative_to(ROOT).as_posix()}", readme, "linked from the README")

    def test_names_of_the_interface(self):
        """Every function, type, constant and CMake variable that a page names is in a header or in what CMake reads."""
        name = r"(?<![\w/.-])(?:wrenfall|WRENFALL)_\w+(?!\w*\.\w)"
        sources = [*ROOT.glob("include/**/*.h*"), *ROOT.glob("**/CMakeLists.txt"), *ROOT.glob("cmake/*")]
        known = {one for file in sources if ROOT / "build" not in file.parents for one in re.findall(r"\b(?:wrenfall|WRENFALL)_\w+", file.read_text("utf-8"))}
        pages = [ROOT / "README.md", *(ROOT / "docs").glob("*.md")]
        named = {(page.name, one) for page in pages for one in re.findall(name, page.read_text("utf-8"))}
        self.assertEqual([], sorted((page, one) for page, one in named if one not in known))
        self.assertGreater(len(named), 200)

    @unittest.skipIf(sys.platform == "win32", "the commands are those for Debian")
    def test_readme_commands(self):
        lines = [line.split("#")[0].strip() for block in code_blocks(ROOT / "README.md", "sh")
                 for line in block.splitlines()]
        commands = [line for line in lines if line and not line.startswith(RUN_ELSEWHERE)]
        self.assertIn("scripts/demo.sh", commands)
        for command in commands:
            with self.subTest(command):
                self.run_command("bash", "-c", command)

    @unittest.skipIf(sys.platform == "win32", "the compiler's options are GCC's")
    def test_whole_samples(self):
        """They compile as C and as C++, without extensions of the compiler."""
        readme, abi = (code_blocks(ROOT / page, "c") for page in ("README.md", "docs/abi.md"))
        self.assertTrue(readme and abi)
        header = (ROOT / "include/wrenfall/wrenfall.h").read_text("utf-8")
        for block in readme:
            self.assertIn(block.rstrip(), re.sub(r"^ \* ?", "", header, flags=re.MULTILINE), "the header opens with it")
        for block in readme + abi:
            self.assertNotIn("__", block)
            with tempfile.TemporaryDirectory() as folder:
                source = Path(folder) / "host.c"
                source.write_text("void run_the_application(void);\n" + block, "utf-8")
                for language in ("-xc", "-std=c99"), ("-xc++", "-std=c++17"):
                    self.run_command(COMPILER, *language, "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-Wno-unused-function",
                                     "-fsyntax-only", "-Iinclude", source)

    @unittest.skipUnless(shutil.which("doxygen"), "doxygen is not installed")
    def test_api_reference(self):
        self.run_command("doxygen", "docs/Doxyfile")
        for header, page, pattern in (
                ("wrenfall.h", "wrenfall_8h", r"^WRENFALL_API .*?\b(wrenfall_\w+)\("),
                ("runtime_failures.h", "runtime__failures_8h", r"^#define (WRENFALL_CODE_\w+)|void (wrenfall_\w+rs)\("),
                ("wrenfall.hpp", "wrenfall_8hpp", r"^class (?:\[\[nodiscard\]\] )?(\w+)")):
            text = (ROOT / "build/api/html" / (page + ".html")).read_text("utf-8")
            names = re.findall(pattern, (ROOT / "include/wrenfall" / header).read_text("utf-8"), re.MULTILINE)
            self.assertGreater(len(names), 5, header)
            for name in names:
                self.assertIn("".join(name), text)

    def test_privacy_names_every_field(self):
        """Those of a record, and those that are sent."""
        holds, _, sends = (ROOT / "docs/privacy.md").read_text("utf-8").partition("\n## What is sent")
        for source, pattern, page, fewest in (
                ("report/store/crash_data.cpp", r'(?:visit\(|object\[)"(\w+)"', holds, 37),
                ("upload/uploader.cpp", r'form\.add\("(\w+)"', sends, 9),
                ("upload/service_urls.cpp", r"[?&](\w+)=", sends, 7)):
            names = re.findall(pattern, (ROOT / "src" / source).read_text("utf-8"))
            self.assertGreaterEqual(len(names), fewest, source)
            self.assertEqual([], [name for name in names if f"`{name}`" not in page], source)

    def test_log_lines_are_explained(self):
        """The page about log lines has the longest fixed part of each, with its level."""
        page = (ROOT / "docs/troubleshooting.md").read_text("utf-8")
        lines, missing = 0, []
        texts = r'((?:"[^"]*"\s*)+)'
        call = re.compile(rf"(?:logger|log)\w*(?:\.|->)(info|warn|error)\(\s*(?:\w+ \? {texts}: )?{texts}")
        for source in [*ROOT.glob("src/**/*.cpp"), *ROOT.glob("companions/**/*.cpp")]:
            calls = call.findall(source.read_text("utf-8"))
            for level, literals in [(level, one) for level, *both in calls for one in both if one]:
                text = "".join(re.findall(r'"([^"]*)"', literals))
                fixed = max(re.split(r"%[\w*.]+|[():'\[\]]", text), key=len).strip()
                lines += 1
                levels = explained_levels(page, fixed)
                if level.upper() not in levels:
                    missing.append(f"{source.name}: {level} {text}; explained: {levels}")
        self.assertEqual("", "\n".join(missing))
        self.assertGreater(lines, 40)


if __name__ == "__main__":
    unittest.main(verbosity=2)
