#!/usr/bin/env python3
"""Compiles every unit of the Windows build as MSVC would, as far as that can be done without MSVC: with clang, MSVC's
target, options, rules and sizes, and warnings as errors. The system's headers are those of MinGW. Our own code is read
after them, without the macros of GCC and with the words that MSVC does not know forbidden. Prints what is wrong, and
then ends with 1. Arguments are parts of the paths to check; without any it checks all.

What it cannot see: MSVC's own warnings, what its standard library leaves out, and linking.
"""
import json
import os
import re
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "msvc"

# In MinGW's headers and not in MSVC's.
MISSING_HEADERS = ["unistd.h", "dirent.h", "getopt.h", "libgen.h", "pthread.h", "strings.h", "sys/file.h",
                   "sys/param.h", "sys/time.h", "utime.h"]
FORBIDDEN = """__attribute__ __int128 __int128_t __uint128_t __asm__ __typeof__ typeof __label__ __extension__
__PRETTY_FUNCTION__ __restrict__ __builtin_expect __builtin_unreachable __builtin_trap __builtin_memcpy
__builtin_offsetof __builtin_constant_p __builtin_types_compatible_p __builtin_choose_expr __builtin_alloca
__builtin_return_address __builtin_frame_address __builtin_popcount __builtin_popcountl __builtin_popcountll
__builtin_clz __builtin_clzl __builtin_clzll __builtin_ctz __builtin_ctzl __builtin_ctzll __builtin_bswap16
__builtin_bswap32 __builtin_bswap64 __builtin_add_overflow __builtin_sub_overflow __builtin_mul_overflow
__sync_fetch_and_add __sync_synchronize __sync_bool_compare_and_swap __atomic_load_n __atomic_store_n
__atomic_fetch_add ssize_t pid_t useconds_t asprintf vasprintf strcasecmp strncasecmp strndup strtok_r gmtime_r
localtime_r gettimeofday clock_gettime nanosleep usleep sleep mkstemp ftruncate getopt snwprintf""".split()
# MSVC knows attributes of the standard alone; it warns of others, and a warning is an error.
ATTRIBUTE = re.compile(r"\[\[\s*(?:gnu|clang)::|\b__mingw_\w+")

CHECK_OPTIONS = ["/Zs", "-Wno-clang-cl-pch", "-Wno-macro-redefined", "-D__STRICT_ANSI__", "-D__declspec=__declspec",
                 "-D_CRT_RAND_S", "-Xclang", "-fgnuc-version=12.2"]


def run(command, **settings):
    return subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", check=False, **settings)


def system_folders():
    """Where MinGW's headers of C++, then those of C and of the system are."""
    told = run(["x86_64-w64-mingw32-g++-posix", "-E", "-x", "c++", "-v", os.devnull]).stdout
    listed = [Path(line.strip()).resolve() for line in
              told.partition("search starts here:\n <")[0].partition("search starts here:")[2].splitlines()
              if line.startswith(" /")]
    cpp = [folder for folder in listed if "c++" in folder.parts]
    c = [folder for folder in listed if "c++" not in folder.parts and (folder / "windows.h").is_file()]
    return cpp, c


def configure():
    environment = {name: value for name, value in os.environ.items() if not name.endswith("_COMPILER_LAUNCHER")}
    done = run(["cmake", "-G", "Ninja", "-S", ROOT, "-B", BUILD, "--toolchain", ROOT / "cmake" / "clang-msvc.cmake",
                "-DCMAKE_BUILD_TYPE=", "-DCMAKE_MSVC_RUNTIME_LIBRARY=MultiThreaded", "-DWRENFALL_BUILD_BENCHMARKS=ON",
                "-DWRENFALL_CRASHPAD=fallback", "-DWRENFALL_MINIZ=fallback",
                "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"], env=environment)
    if done.returncode != 0:
        sys.exit(done.stdout + "\ncheck: build/msvc was not configured")
    units = json.loads((BUILD / "compile_commands.json").read_text("utf-8"))
    return [unit for unit in units if Path(unit["file"]).is_relative_to(ROOT) and not unit["file"].endswith(".rc")]


def sources():
    for folder in ("bench", "companions", "examples", "fallback", "include", "src", "tests", "tools"):
        for path in (ROOT / folder).rglob("*"):
            if path.suffix in (".c", ".cpp", ".h", ".hpp"):
                yield path.relative_to(ROOT).as_posix(), path.read_text("utf-8")


def write_prelude(name, folders, included):
    """A header with all the system's headers that our code includes, after which GCC's words are forbidden."""
    whole = [header for header in sorted(included) if any((folder / header).is_file() for folder in folders)]
    lines = [f"#include <{header}>" for header in ("winsock2.h", "windows.h", "rpc.h", "rpcndr.h")]
    # MinGW's own definition leaves out the identifier, for which its headers have something else when GCC reads them.
    lines += ["#undef MIDL_INTERFACE", "#define MIDL_INTERFACE(id) struct __declspec(uuid(id))"]
    lines += [f"#include <{header}>" for header in whole]
    lines += [f"#undef {macro}" for macro in ("__GNUC__", "__GNUG__", "__MINGW32__", "__MINGW64__")]
    lines += ["#pragma clang poison " + " ".join(FORBIDDEN)]
    (BUILD / name).write_text("\n".join(lines) + "\n")


class Checker:
    def __init__(self, compiler):
        cpp, c = system_folders()
        for language in ("c", "cpp"):
            (BUILD / f"empty.{language}").write_text("")
        (BUILD / "missing" / "sys").mkdir(parents=True, exist_ok=True)
        for header in MISSING_HEADERS:
            (BUILD / "missing" / header).write_text(f'#error "MSVC has no <{header}>"\n')
        self.folders = {"cpp": [*cpp, *c], "c": c}
        third_party = [BUILD / "json-include", Path("/usr/src/googletest/googletest/include")]
        included = {header for _, text in sources() for header in re.findall(r"^\s*#\s*include <(.+)>", text, re.M)}
        # werapi.h lacks half of its declarations, which the stand-in has; delayimp.h can be read only once.
        included -= {"werapi.h", "delayimp.h", *MISSING_HEADERS}
        write_prelude("prelude.cpp.h", [*self.folders["cpp"], *third_party], included)
        write_prelude("prelude.c.h", c, {header for header in included if header.endswith(".h") and "/" not in header})
        self.third_party = third_party
        self.compiler = compiler

    def command(self, unit):
        """The unit's own command, which only reads. Two units with the same first words share a prelude."""
        words = shlex.split(unit["command"])
        language = "cpp" if "-TP" in words else "c"
        words = [word for word in words[:words.index("--")]
                 if word != "-c" and not word.startswith(("/Fo", "/Fd", "-Zi"))]
        return language, [*words, *CHECK_OPTIONS]

    def system(self, language):
        return [f"-imsvc{folder}" for folder in self.folders[language]]

    def compile_prelude(self, language, standard):
        name = f"prelude.{language}.h"
        compiled = BUILD / f"prelude{standard.replace(':', '')}.{language}.pch"
        third_party = [f"-imsvc{folder}" for folder in self.third_party] if language == "cpp" else []
        options = [option for option in CHECK_OPTIONS if option != "/Zs"]
        done = run([self.compiler, "--target=x86_64-pc-windows-msvc", "/nologo",
                    *(["-TP", "/EHsc", "/Zc:__cplusplus"] if language == "cpp" else ["-TC"]), *filter(None, [standard]),
                    "-fms-compatibility-version=19.29", "-DNOMINMAX", "-DUNICODE", "-DWIN32_LEAN_AND_MEAN",
                    "-D_UNICODE", "-D_WIN32_WINNT=0x0A00", "-D_CRT_SECURE_NO_WARNINGS", "/MT", "/permissive-",
                    "/utf-8", "/guard:cf", "-w", *options, *self.system(language), *third_party, f"-I{BUILD}",
                    f"/Yc{name}", f"/FI{name}", f"/Fp{compiled}", f"/Fo{BUILD / 'prelude.obj'}", "/c", "--",
                    BUILD / f"empty.{language}"], cwd=BUILD)
        if done.returncode != 0:
            sys.exit(done.stdout + "\ncheck: the system's headers were not compiled")
        return [f"/Yu{name}", f"/FI{name}", f"-I{BUILD}", f"/Fp{compiled}"]

    def check(self, units):
        commands = [(unit, *self.command(unit)) for unit in units]
        standards = {(language, self.standard(words)) for _, language, words in commands}
        preludes = {which: self.compile_prelude(*which) for which in sorted(standards)}

        def problems_of(job):
            unit, language, words = job
            done = run([*words, *preludes[language, self.standard(words)], f"-imsvc{BUILD / 'missing'}",
                        *self.system(language), "--", unit["file"]], cwd=unit["directory"])
            return done.stdout if done.returncode != 0 or done.stdout.strip() else ""

        with ThreadPoolExecutor(os.cpu_count()) as pool:
            return [problem for problem in pool.map(problems_of, commands) if problem]

    @staticmethod
    def standard(words):
        return next((word for word in words if word.startswith("-std:")), "")


def main():
    units = [unit for unit in configure() if not sys.argv[1:] or any(part in unit["file"] for part in sys.argv[1:])]
    problems = [f"{name}: {match.group()}: MSVC does not know this" for name, text in sources()
                for match in ATTRIBUTE.finditer(text)]
    problems += Checker(shlex.split(units[0]["command"])[0]).check(units)
    print("\n".join(problems), end="\n" if problems else "")
    print(f"msvc: {len(units)} units, {len(problems)} with problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
