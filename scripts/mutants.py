#!/usr/bin/env python3
"""Puts known faults into the code, one at a time, and says which of them no test notices.

scripts/mutants.sh [NAME ...] takes all faults of scripts/mutants.toml, or those whose names begin with one of NAME. Each is
built in a copy of the source tree below build/mutants, with build folders of its own, and the test that must notice it
runs alone. Ends with 1 when a fault survives or cannot be judged. Nothing outside build/mutants changes.
scripts/mutants.sh --check builds nothing and only says which rows do not fit the code any more.

A row of the table:
  name     area and fault, for example "upload.second-location"
  file     the file to break
  find     the exact text, which must be there once (or as often as `count` says)
  replace  what takes its place
  test     the test that must fail: a regular expression for ctest, or a file below tests/end_to_end with the names of
           tests in it, "send_test.py SendTest.test_wire"
  preset   where that test is: "mingw" (the default) or "linux-asan"
"""
import os
import re
import shutil
import subprocess
import sys
import tomllib
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
COPY = ROOT / "build" / "mutants"
LOG = ROOT / "build" / "mutants.log"
# The programs of those tests that have another name than theirs, and what an end-to-end test needs.
PROGRAMS = {"abi": "abi_test", "fallback.crashpad": "fallback_crashpad_test", "fallback.miniz": "fallback_miniz_test"}
HOST_AND_COMPANIONS = ["test_host", "hanging_host", "WrenfallMonitor", "WrenfallReporter", "wrenfallctl",
                       "crashpad_handler", "other_handler", "dialog_reader"]


def run(command, cwd=COPY):
    with open(LOG, "ab") as log:
        log.write(f"$ {' '.join(command)}\n".encode())
        log.flush()
        return subprocess.run(command, cwd=cwd, stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL).returncode


def copy_sources():
    """Brings the copy to the state of the source tree, and leaves the times of unchanged files alone."""
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                           check=True, capture_output=True).stdout.decode().split("\0")
    wanted = {name for name in names if name and (ROOT / name).is_file()}
    for path in [p for p in COPY.rglob("*") if p.is_file() and "build" not in p.relative_to(COPY).parts[:1]]:
        if path.relative_to(COPY).as_posix() not in wanted:
            path.unlink()
    for name in wanted:
        source, target = ROOT / name, COPY / name
        if not target.exists() or source.read_bytes() != target.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(source, target)
            os.utime(target)


def prepare(preset):
    """Makes the build folder ready, with what every end-to-end test needs; true when that worked."""
    if run(["cmake", "--preset", preset]) != 0:
        return False
    if preset != "mingw":
        return True
    programs = ["cmake", "--build", "--preset", preset, "--", *HOST_AND_COMPANIONS, "trust_certificate"]
    trust = ["scripts/with-wine.sh", "ctest", "--preset", preset, "-R", "^end_to_end.certificates$"]
    return run(programs) == 0 and run(["scripts/wine-prefix.sh"]) == 0 and run(trust) == 0


def build(preset, test):
    """Builds what the test needs: a test program that stands alone, or everything."""
    alone = re.fullmatch(r"\^([\w.]+)\$", test)
    targets = [PROGRAMS.get(alone[1], alone[1])] if alone else HOST_AND_COMPANIONS
    return run(["cmake", "--build", "--preset", preset, "--", *targets]) == 0


def run_test(preset, name):
    """True when the test passes; None when there is no such test."""
    wine = ["xvfb-run", "-a", "scripts/with-wine.sh"]
    if ".py " in name:
        file, *names = name.split()
        return run([*wine, sys.executable, f"tests/end_to_end/{file}", *names]) == 0
    ctest = ["ctest", "--preset", preset, "--no-tests=error", "-R", name]
    listed = subprocess.run([*ctest, "-N"], cwd=COPY, capture_output=True, text=True).stdout
    if "Total Tests: 0" in listed:
        return None
    return run([*(wine if preset == "mingw" else []), *ctest]) == 0


def misfit(mutant, root):
    """What keeps the fault from being put into the sources below `root`; empty when nothing does."""
    file = root / mutant["file"]
    count = file.read_text(encoding="utf-8").count(mutant["find"]) if file.is_file() else 0
    return "" if count == mutant.get("count", 1) else f"STALE: the text is in {mutant['file']} {count} times"


def check(mutants):
    stale = [f"{mutant['name']}: {why}" for mutant in mutants if (why := misfit(mutant, ROOT))]
    print("\n".join(stale or ["mutants: all rows fit"]))
    return 1 if stale else 0


def judge(mutant):
    """'caught', 'SURVIVED', or why nothing can be said."""
    preset = mutant.get("preset", "mingw")
    if why := misfit(mutant, COPY):
        return why
    file = COPY / mutant["file"]
    original = file.read_text(encoding="utf-8")
    file.write_text(original.replace(mutant["find"], mutant["replace"]), encoding="utf-8")
    try:
        if not build(preset, mutant["test"]):
            return "NOT BUILT"
        passed = run_test(preset, mutant["test"])
        return "NO TEST" if passed is None else "SURVIVED" if passed else "caught"
    finally:
        file.write_text(original, encoding="utf-8")


def main():
    mutants = tomllib.loads((ROOT / "scripts" / "mutants.toml").read_text(encoding="utf-8"))["mutant"]
    if sys.argv[1:] == ["--check"]:
        return check(mutants)
    wanted = tuple(sys.argv[1:]) or ("",)
    mutants = [mutant for mutant in mutants if mutant["name"].startswith(wanted)]
    if not mutants:
        print("mutants: no fault of that name")
        return 1
    COPY.mkdir(parents=True, exist_ok=True)
    LOG.write_bytes(b"")
    copy_sources()
    # A test that fails without the fault says nothing about it.
    sound = {}
    for preset in sorted({mutant.get("preset", "mingw") for mutant in mutants}):
        if not prepare(preset):
            print(f"mutants: {preset} was not built; see {LOG}")
            return 1
    caught = 0
    for mutant in mutants:
        key = (mutant.get("preset", "mingw"), mutant["test"])
        if key not in sound:
            sound[key] = build(*key) and run_test(*key)
        verdict = judge(mutant) if sound[key] else "NO TEST" if sound[key] is None else "FAILS WITHOUT THE FAULT"
        caught += verdict == "caught"
        print(f"{verdict:10} {mutant['name']}", flush=True)
    print(f"caught {caught} of {len(mutants)}")
    return 0 if caught == len(mutants) else 1


sys.exit(main())
