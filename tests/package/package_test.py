"""What is packed holds all that it should, in one version, and hosts built from it alone crash, and their reports
arrive. It is packed into, and unpacked in, a folder with a blank and a letter beyond ASCII."""

import json
import os
import re
import shutil
import struct
import ssl
import subprocess
import sys
import tempfile
import unittest
import urllib.request
import zipfile
from pathlib import Path
from unittest import mock
from xml.etree import ElementTree

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "end_to_end"))

from harness import (BIN, BUILD, ON_WINDOWS, RECORD, ROOT, start_program, start_service, unix_alone, wait_for,
                     windows_path)

VERSION_FILE = (ROOT / "src" / "support" / "version.h").read_text()
TEXT = re.search(r'WRENFALL_VERSION_TEXT "(.*)"', VERSION_FILE).group(1)
NUMBERS = [int(re.search(rf"WRENFALL_VERSION_{part} (\d+)", VERSION_FILE).group(1))
           for part in ("MAJOR", "MINOR", "PATCH")]
NAME = f"Wrenfall-{TEXT}-win64"
# The other ones are built where what they need is installed.
PROGRAMS = {"Wrenfall.dll", "WrenfallMonitor.exe", "WrenfallReporter.exe", "crashpad_handler.exe"}
OPTIONAL_PROGRAMS = {"WrenfallWer.dll", "wrenfallctl.exe"}
SHIPPED = PROGRAMS | OPTIONAL_PROGRAMS
FILES = {"lib/x64/libWrenfall.dll.a", "lib/x64/Wrenfall.lib", "lib/x64/Wrenfall.def", "include/wrenfall/wrenfall.h",
         "include/wrenfall/wrenfall.hpp", "include/wrenfall/runtime_failures.h",
         "lib/cmake/Wrenfall/WrenfallConfig.cmake", "lib/cmake/Wrenfall/WrenfallConfigVersion.cmake",
         "lib/pkgconfig/wrenfall.pc"}
# These lie below the pages' folder as in the source tree.
PAGES = "share/doc/Wrenfall"
SOURCES = ("README.md", "CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md", "docs/*.md", "docs/images/*", "examples/*.*",
           "scripts/*.ps1", "scripts/*.reg", "tools/crash_service/*.*",
           "fallback/crashpad/README.md")
# So that the development build's package can be tried without a compiler.
READY = {f"{PAGES}/examples/crashing_host.exe", f"{PAGES}/tools/crash_service/service-port"}
# A sentence of each licence.
LICENCES = {"nlohmann-json": "MIT", "zlib": "Jean-loup Gailly", "gcc": "GCC RUNTIME LIBRARY EXCEPTION",
            "mingw-w64": "winpthreads"}
WINDOWS_10 = "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"
COMPILER = "x86_64-w64-mingw32-gcc"
# How others configure; on Windows with what is there by default.
CROSS = ["-G", "Ninja", "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_C_COMPILER={COMPILER}",
         f"-DCMAKE_CXX_COMPILER={COMPILER.replace('gcc', 'g++')}"]
CONFIGURATION, SYMBOLS, FOREIGN = [], "{0.name}.debug", []
if ON_WINDOWS:  # with installed packages, whose handler is their own
    FILES.remove("lib/x64/libWrenfall.dll.a")
    LICENCES = {"nlohmann-json": "MIT", "zlib": "Gailly", "miniz": "MIT", "crashpad": "Apache", "mini_chromium": "Chromium"}
    CROSS, CONFIGURATION, SYMBOLS, FOREIGN = [], ["-C", BIN.name], "{0.stem}.pdb", ["crashpad_handler.exe"]
CMAKE_PROJECT = """
cmake_minimum_required(VERSION 3.20)
project(hosts C)
find_package(Wrenfall 10 CONFIG QUIET)
if(Wrenfall_FOUND)
  message(FATAL_ERROR "Version 9 was taken for version 10.")
endif()
find_package(Wrenfall 9.0 CONFIG REQUIRED)
add_executable(host crashing_host.c)
target_link_libraries(host PRIVATE Wrenfall::Wrenfall)
install(TARGETS host)
install(FILES ${Wrenfall_RUNTIME_FILES} DESTINATION bin)
"""
# Needs no C run-time library.
MSVC_HOST = """
#include <wrenfall/wrenfall.h>

int start(void) {
  return wrenfall_abi_version() == 1 && wrenfall_version_string()[0] == '9' &&
         wrenfall_init(0) == WRENFALL_ERROR_INVALID_ARGUMENT ? 42 : 1;
}
"""


def run(*command, ends_with=0, **settings):
    """The output of a command that ends as it should."""
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, errors="surrogateescape", check=False, **settings)
    if done.returncode != ends_with:
        raise AssertionError(f"{command} gave {done.returncode}:\n{done.stdout}")
    return done.stdout


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp(prefix="wrenfall päckage ", dir=BUILD))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        run("cpack", *CONFIGURATION, "--config", BUILD / "CPackConfig.cmake", "-B", cls.folder / "packed")
        cls.zips = sorted((cls.folder / "packed").glob("*.zip"))
        for path in cls.zips:
            with zipfile.ZipFile(path) as archive:
                archive.extractall(cls.folder / path.stem)


def versions(program):
    """The numbers and the texts of a program's version resource, which lies near its end."""
    data = program.read_bytes()
    at = data.rindex(struct.pack("<II", 0xFEEF04BD, 0x10000))
    texts = dict(re.findall("(FileVersion|ProductVersion|OriginalFilename)\0+([^\0]+)",
                            data[at:at + 2048].decode("utf-16-le", "replace")))
    return [[word >> 16, word & 0xFFFF] for word in struct.unpack_from("<4I", data, at + 8)], texts


def manifest(program):
    """The settings of a program's manifest, its rights and the assemblies that it depends on."""
    (text,) = re.findall(rb"<assembly .*?</assembly>", program.read_bytes(), re.DOTALL)
    elements = {element.tag.rpartition("}")[2]: element for element in ElementTree.fromstring(text).iter()}
    return {"long": elements["longPathAware"].text, "code page": elements["activeCodePage"].text,
            "system": elements["supportedOS"].get("Id"), "rights": elements["requestedExecutionLevel"].get("level"),
            "depends": "dependency" in elements}


class ContentsTest(PackageTest):
    def setUp(self):
        self.root = self.folder / NAME / NAME

    def programs(self):
        return [path for path in (self.root / "bin").iterdir() if path.name not in FOREIGN]

    def test_files(self):
        files = {path.relative_to(self.root).as_posix() for path in self.root.rglob("*") if path.is_file()}
        pages = {f"{PAGES}/{path.relative_to(ROOT).as_posix()}" for pattern in SOURCES for path in ROOT.glob(pattern)}
        licences = {f"{PAGES}/third-party/{name}" for name in ["THIRD-PARTY.md", *(f"{one}.txt" for one in LICENCES)]}
        programs = {f"bin/{name}" for name in PROGRAMS}
        self.assertEqual(programs | licences | pages | FILES | READY, files - {f"bin/{name}" for name in OPTIONAL_PROGRAMS})
        symbols = self.folder / f"{NAME}-symbols" / f"{NAME}"
        self.assertEqual({SYMBOLS.format(path) for path in self.programs()},
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
        for program in self.programs():
            with self.subTest(program=program.name):
                numbers, texts = versions(program)
                self.assertEqual([NUMBERS[:2], [NUMBERS[2], 0]] * 2, numbers)
                self.assertEqual({"FileVersion": TEXT, "ProductVersion": TEXT,
                                  "OriginalFilename": program.name}, texts)
                if program.suffix == ".exe":
                    self.assertEqual({"long": "true", "code page": "UTF-8", "rights": "asInvoker", "system": WINDOWS_10,
                                      "depends": program.stem == "WrenfallReporter"}, manifest(program))
        library = self.root / "lib"
        environment = {**os.environ, "PKG_CONFIG_LIBDIR": str(library / "pkgconfig")}
        if not ON_WINDOWS:
            self.assertEqual(TEXT, run("pkgconf", "--modversion", "wrenfall", env=environment).strip())
        config = (library / "cmake" / "Wrenfall" / "WrenfallConfig.cmake").read_text()
        self.assertIn(f'set(Wrenfall_VERSION_TEXT "{TEXT}")', config)
        self.assertIn(f'set(PACKAGE_VERSION "{".".join(map(str, NUMBERS))}")',
                      (library / "cmake" / "Wrenfall" / "WrenfallConfigVersion.cmake").read_text())
        self.assertEqual(TEXT, json.loads((ROOT / "vcpkg.json").read_text())["version-string"])
        self.assertIn(f'"{TEXT}"', (self.root / "include" / "wrenfall" / "wrenfall.h").read_text("utf-8"))
        self.assertIn(f"\n## {TEXT}", (ROOT / "CHANGELOG.md").read_text("utf-8"))


class HostsTest(PackageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        sdk = cls.zips[-1].stem
        cls.root = cls.folder / "elsewhere é" / "wrenfall"
        shutil.copytree(cls.folder / sdk / sdk, cls.root)
        shutil.rmtree(cls.folder / sdk)
        cls.sources = cls.folder / "my sources"
        cls.sources.mkdir()
        for name in ("crashing_host.c", "utf8_arguments.h"):
            shutil.copy(ROOT / "examples" / name, cls.sources)
        (cls.sources / "msvc.c").write_text(MSVC_HOST)
        (cls.sources / "CMakeLists.txt").write_text(CMAKE_PROJECT)

    def setUp(self):
        name = self.id().rsplit(".", 1)[-1]
        self.store = self.folder / f"store {name}"
        self.service = start_service(self, self.folder / f"service {name}")

    def run_host(self, program, *arguments):
        """The exit code of a host, and what it said. Into a file: a reporter that lives longer holds a pipe open."""
        with open(self.folder / "output.txt", "w+b") as output:
            host = start_program(program, *arguments, cwd=self.folder, stdout=output, stderr=subprocess.STDOUT)
            try:
                host.wait(120)
            finally:
                if host.poll() is None:
                    host.kill()
                    host.wait()
            output.seek(0)
            return host.returncode, output.read().decode("utf-8", "replace")

    def reports(self):
        return list(self.store.glob("*/" + RECORD))

    def crash(self, program, kind, policy="manual"):
        code, output = self.run_host(program, "--store", windows_path(self.store), "--policy", policy, kind)
        self.assertNotIn(code, (1, 2), output)  # a handler may end the host, which Unix sees as 0

    def assert_sent(self):
        self.assertTrue(self.service.wait_for_commits(1, 60))
        wait_for(lambda: not self.reports(), 60, "an empty store")
        (report,) = self.service.reports
        self.assertEqual([], self.service.problems)
        self.assertEqual("Crashing Host", report.query["commit"]["appName"])
        self.assertIn("minidump.dmp", {entry["name"] for entry in report.entries})

    def test_pkg_config(self):
        """The reporter sends by itself."""
        unix_alone("the compiler is MinGW's")
        program = self.root / "bin" / "pkg.exe"
        script = 'flags=$(pkgconf --cflags --libs "wrenfall >= 9.0.0-dev") && eval "$0" \'"$1"\' "$flags" -o \'"$2"\''
        run("sh", "-c", script, COMPILER, self.sources / "crashing_host.c", program,
            env={**os.environ, "PKG_CONFIG_LIBDIR": str(self.root / "lib" / "pkgconfig")})
        self.crash(program, "stack-overflow", "quiet")
        self.assert_sent()

    def test_cmake(self):
        """The host sends at its next start. Builds for other machines are refused in words."""
        build, installed = self.folder / "their build", self.folder / "their program"
        configure = ["cmake", *CROSS, "-S", self.sources, f"-DCMAKE_PREFIX_PATH={self.root}"]
        for other in () if ON_WINDOWS else ("-DCMAKE_SYSTEM_PROCESSOR=ARM64", "-DCMAKE_C_FLAGS=-m32"):
            said = run(*configure, "-B", self.folder / "other build", "-DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY",
                       other, ends_with=1)
            self.assertIn("This package of Wrenfall is for x64.", said)
            shutil.rmtree(self.folder / "other build")
        run(*configure, "-B", build, f"-DCMAKE_INSTALL_PREFIX={installed}")
        run("cmake", "--build", build, "--config", "Release", "--target", "install")
        program = installed / "bin" / "host.exe"
        self.crash(program, "division-by-zero")
        wait_for(self.reports, 60, "the report of the crash")
        code, output = self.run_host(program, "--store", windows_path(self.store), "--send-pending")
        self.assertEqual(0, code, output)
        self.assert_sent()

    def test_examples(self):
        """The examples build by themselves, and run from where they are built."""
        build = self.folder / "examples"
        run("cmake", *CROSS, "-S", self.root / PAGES / "examples", "-B", build)
        run("cmake", "--build", build, "--config", "Release")
        built = next(build.rglob("crashing_host.exe")).parent
        self.assertEqual({path.stem for path in (ROOT / "examples").glob("*.c*")},
                         {path.stem for path in built.glob("*.exe")} - {Path(one).stem for one in SHIPPED})
        self.crash(built / "crashing_host.exe", "access-violation", "quiet")
        self.assert_sent()

    def test_quick_start(self):
        """The page's steps, with the package's own service and host. What they name is there."""
        page = (self.root / PAGES / "docs" / "windows-quick-start.md").read_text("utf-8")
        named = re.findall(r"(?:share|\$tools)\\[\w\\.]+\.\w+", page)
        self.assertGreater(len(named), 3)
        for path in named:
            self.assertTrue((self.root / path.replace("$tools", f"{PAGES}/tools/crash_service").replace("\\", "/")).is_file(), path)
        unix_alone("Wine is told there where the library is, and a service to end")
        self.service.stop()
        tools, reports, ready = self.root / PAGES / "tools" / "crash_service", self.folder / "quick", self.folder / "ready"
        service = subprocess.Popen(
            [sys.executable, tools / "crash_service.py", "--dir", reports, "--certificates", BUILD / "certificates", "--stacks",
             "--ready-file", ready, "--lifetime", "200"], stdout=subprocess.DEVNULL,
            env={**os.environ, "WRENFALL_WINEPREFIX": os.environ.get("WRENFALL_WINEPREFIX", str(BUILD / "wineprefix"))})
        try:
            wait_for(ready.exists, 60, "the service")
            self.assertEqual((BUILD / "service-port").read_text(), ready.read_text())
            library = str(self.root / "bin")
            path = {"PATH": f"{library};{os.environ['PATH']}"} if ON_WINDOWS else {"WINEPATH": windows_path(library)}
            with mock.patch.dict(os.environ, path):
                self.crash(self.root / PAGES / "examples" / "crashing_host.exe", "access-violation", "quiet")
            context = ssl.create_default_context(cafile=str(BUILD / "certificates" / "ca.pem"))
            address = f"https://127.0.0.1:{ready.read_text().strip()}"

            def shown():
                with urllib.request.urlopen(address, context=context) as listed:
                    if b"/report/1" not in listed.read():
                        return ""
                with urllib.request.urlopen(address + "/report/1", context=context) as report:
                    stack = report.read().decode().partition('id="stack"')[2].partition("</section>")[0]
                return "" if "being made" in stack else stack

            # The first frames are the host's own; a later one is the system's, with its name.
            stack = wait_for(shown, 120, "the stack trace")
            self.assertRegex(stack, r"crashing_host\.exe\+0x\w+.*RtlUserThreadStart")
            service.terminate()
            self.assertEqual(0, service.wait(60))
        finally:
            if service.poll() is None:
                service.kill()
                service.wait()
        run(sys.executable, tools / "crash_service.py", "--summary", reports)

    def test_library_for_msvc(self):
        """An object file like MSVC's, linked by a linker like MSVC's."""
        unix_alone("the linker itself is used there")
        program, compiled = self.root / "bin" / "msvc.exe", self.folder / "msvc.obj"
        (self.sources / "excpt.h").touch()  # in the place of MSVC's, of which this host needs nothing
        clang = shutil.which("clang")
        compiler = [clang, "--target=x86_64-pc-windows-msvc"] if clang else [COMPILER]
        run(*compiler, "-ffreestanding", "-O1", "-c", self.sources / "msvc.c", f"-I{self.root}/include",
            f"-I{self.sources}", "-o", compiled)
        run("lld-link", "/nodefaultlib", "/entry:start", "/subsystem:console", f"/out:{program}", compiled,
            self.root / "lib" / "x64" / "Wrenfall.lib")
        self.assertEqual((42, ""), self.run_host(program))


if __name__ == "__main__":
    unittest.main(verbosity=2)
