"""Hosts built from the package alone, in the ways that their developers do, crash, and their reports arrive."""

import os
import shutil
import subprocess
import unittest

from package import PackageTest, run
from harness import RECORD, ROOT, start_service, wait_for, windows_path, wine


COMPILER = "x86_64-w64-mingw32-gcc"
CMAKE_PROJECT = """
cmake_minimum_required(VERSION 3.20)
project(hosts C CXX)
find_package(Wrenfall 9.0 CONFIG REQUIRED)
find_package(Wrenfall 10 CONFIG QUIET)
if(Wrenfall_FOUND)
  message(FATAL_ERROR "Version 9 was taken for version 10.")
endif()
find_package(Wrenfall 9.0 CONFIG REQUIRED)
add_executable(c_host crashing_host.c)
target_link_libraries(c_host PRIVATE Wrenfall::Wrenfall)
add_executable(cpp_host host.cpp)
target_link_libraries(cpp_host PRIVATE Wrenfall::Wrenfall)
install(TARGETS c_host cpp_host)
install(FILES ${Wrenfall_RUNTIME_FILES} DESTINATION bin)
"""
# Sends what an earlier run has left, until its standard input ends.
CPP_HOST = r"""
#include <cstdio>
#include <wrenfall/wrenfall.h>

int main() {
  wrenfall_options* options = wrenfall_options_new("127", "C++ Host", "1.0");
  wrenfall_options_set_store_dir(options, "store test_cmake");
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  if (wrenfall_init(options) != WRENFALL_OK) return 2;
  if (wrenfall_post_pending_reports_async() != WRENFALL_OK) return 3;
  while (std::getchar() != EOF) {}
  wrenfall_shutdown();
  return 0;
}
"""
# Needs no C run-time library.
MSVC_HOST = """
#include <wrenfall/wrenfall.h>

int start(void) {
  return wrenfall_abi_version() == 1 && wrenfall_version_string()[0] == '9' &&
         wrenfall_init(0) == WRENFALL_ERROR_INVALID_ARGUMENT ? 42 : 1;
}
"""


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
        (cls.sources / "host.cpp").write_text(CPP_HOST)
        (cls.sources / "msvc.c").write_text(MSVC_HOST)
        (cls.sources / "CMakeLists.txt").write_text(CMAKE_PROJECT)

    def setUp(self):
        name = self.id().rsplit(".", 1)[-1]
        self.store = self.folder / f"store {name}"
        self.service = start_service(self, self.folder / f"service {name}")

    def run_host(self, program, *arguments):
        """The exit code of a host, and what it said. Into a file: a reporter that lives longer holds a pipe open."""
        with open(self.folder / "output.txt", "w+b") as output:
            host = wine(program, *arguments, cwd=self.folder, stdout=output, stderr=subprocess.STDOUT)
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
        self.assertNotIn(code, (0, 1, 2), output)

    def assert_sent(self):
        self.assertTrue(self.service.wait_for_commits(1, 60))
        wait_for(lambda: not self.reports(), 60, "an empty store")
        (report,) = self.service.reports
        self.assertEqual([], self.service.problems)
        self.assertEqual("Crashing Host", report.query["commit"]["appName"])
        self.assertIn("minidump.dmp", {entry["name"] for entry in report.entries})

    def build_plain(self, name):
        program = self.root / "bin" / f"{name}.exe"
        run(COMPILER, self.sources / "crashing_host.c", f"-I{self.root}/include", f"-L{self.root}/lib",
            "-lWrenfall", "-o", program)
        return program

    def test_plain_compiler(self):
        """The host sends at its next start."""
        program = self.build_plain("plain")
        self.crash(program, "access-violation")
        wait_for(self.reports, 60, "the report of the crash")
        code, output = self.run_host(program, "--store", windows_path(self.store), "--send-pending")
        self.assertEqual(0, code, output)
        self.assert_sent()

    def test_pkg_config(self):
        """The reporter sends by itself."""
        program = self.root / "bin" / "pkg.exe"
        script = 'flags=$(pkgconf --cflags --libs "wrenfall >= 9.0.0-dev") && eval "$0" \'"$1"\' "$flags" -o \'"$2"\''
        run("sh", "-c", script, COMPILER, self.sources / "crashing_host.c", program,
            env={**os.environ, "PKG_CONFIG_LIBDIR": str(self.root / "lib" / "pkgconfig")})
        self.crash(program, "stack-overflow", "quiet")
        self.assert_sent()

    def test_cmake(self):
        """A C host crashes, a C++ host sends, on a thread of its own."""
        build, installed = self.folder / "their build", self.folder / "their program"
        run("cmake", "-G", "Ninja", "-S", self.sources, "-B", build, "-DCMAKE_SYSTEM_NAME=Windows",
            f"-DCMAKE_C_COMPILER={COMPILER}", "-DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++",
            "-DCMAKE_EXE_LINKER_FLAGS=-static", f"-DCMAKE_PREFIX_PATH={self.root}",
            f"-DCMAKE_INSTALL_PREFIX={installed}")
        run("cmake", "--build", build, "--target", "install")
        self.crash(installed / "bin" / "c_host.exe", "division-by-zero")
        wait_for(self.reports, 60, "the report of the C host")
        with wine(installed / "bin" / "cpp_host.exe", cwd=self.folder, stdin=subprocess.PIPE) as host:
            self.addCleanup(host.kill)
            self.assert_sent()
            host.stdin.close()
            self.assertEqual(0, host.wait(60))

    def test_library_for_msvc(self):
        """An object file like MSVC's, linked by a linker like MSVC's."""
        program, compiled = self.root / "bin" / "msvc.exe", self.folder / "msvc.obj"
        clang = shutil.which("clang")
        compiler = [clang, "--target=x86_64-pc-windows-msvc"] if clang else [COMPILER]
        run(*compiler, "-ffreestanding", "-O1", "-c", self.sources / "msvc.c", f"-I{self.root}/include",
            "-o", compiled)
        run("lld-link", "/nodefaultlib", "/entry:start", "/subsystem:console", f"/out:{program}", compiled,
            self.root / "lib" / "Wrenfall.lib")
        self.assertEqual((42, ""), self.run_host(program))


if __name__ == "__main__":
    unittest.main(verbosity=2)
