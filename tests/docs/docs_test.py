"""What the documentation promises: links lead somewhere, commands and code work, every log line is explained."""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PAGES = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", ROOT / "CHANGELOG.md", *sorted((ROOT / "docs").glob("*.md"))]
COMPILER = os.environ.get("WRENFALL_C_COMPILER", "x86_64-w64-mingw32-gcc-posix")

# Commands of the README that run elsewhere: this test is run by the first, which runs the next two; the others need
# Windows, or are what a reader replaces by programs of their own.
RUN_ELSEWHERE = ("scripts/test.sh", "scripts/setup.sh", "scripts/build.sh", "cmake --preset windows",
                 "cmake --build --preset windows", "ctest --preset windows")


def code_blocks(page, language):
    return re.findall(rf"^```{language}\n(.*?)^```", page.read_text("utf-8"), re.MULTILINE | re.DOTALL)


def anchors(page):
    headings = re.findall(r"^#+ (.*)", page.read_text("utf-8"), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


class DocsTest(unittest.TestCase):
    def run_command(self, *command, **options):
        done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              errors="replace", timeout=240, **options)
        self.assertEqual(0, done.returncode, f"{command}\n{done.stdout[-3000:]}")
        return done.stdout

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
            self.assertIn(f"({page.relative_to(ROOT)}", readme, "linked from the README")

    def test_readme_commands(self):
        lines = [line.split("#")[0].strip() for block in code_blocks(ROOT / "README.md", "sh")
                 for line in block.splitlines()]
        commands = [line for line in lines if line and not line.startswith(RUN_ELSEWHERE)]
        self.assertIn("scripts/demo.sh", commands)
        for command in commands:
            with self.subTest(command):
                self.run_command("bash", "-c", command)

    def test_readme_code(self):
        blocks = code_blocks(ROOT / "README.md", "c")
        self.assertTrue(blocks)
        for block in blocks:
            with tempfile.TemporaryDirectory() as folder:
                source = Path(folder) / "host.c"
                source.write_text("void run_the_application(void);\n" + block, "utf-8")
                self.run_command(COMPILER, "-std=c99", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", "-Iinclude", source)

    def test_api_reference(self):
        self.run_command("doxygen", "docs/Doxyfile")
        page = (ROOT / "build/api/html/wrenfall_8h.html").read_text("utf-8")
        header = (ROOT / "include/wrenfall/wrenfall.h").read_text("utf-8")
        for name in re.findall(r"^WRENFALL_API .*?\b(wrenfall_\w+)\(", header, re.MULTILINE):
            self.assertIn(name, page)

    def test_log_lines_are_explained(self):
        """The longest fixed part of each line that the library or a companion can log stands in the page about them."""
        page = (ROOT / "docs/troubleshooting.md").read_text("utf-8")
        lines, missing = 0, []
        for source in [*ROOT.glob("src/**/*.cpp"), *ROOT.glob("companions/**/*.cpp")]:
            calls = re.findall(r'(?:logger|log)\w*(?:\.|->)(?:info|warn|error)\(\s*((?:"[^"]*"\s*)+)',
                               source.read_text("utf-8"))
            for call in calls:
                text = "".join(re.findall(r'"([^"]*)"', call))
                fixed = max(re.split(r"%[\w*.]+|[():'\[\]]", text), key=len).strip()
                lines += 1
                if fixed not in page:
                    missing.append(f"{source.name}: {text}")
        self.assertEqual("", "\n".join(missing))
        self.assertGreater(lines, 40)


if __name__ == "__main__":
    unittest.main(verbosity=2)
