#!/usr/bin/env bash
# Style, the direction of the includes, whether the table of known faults fits the code, whether MSVC would take the code,
# static analysis: scripts/check.sh [format|includes|mutants|msvc|tidy]; without an argument all of them. tidy needs a configured
# build/mingw; clang-tidy gets the headers of the cross compiler, so it sees the same code.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
what=${1:-all}

sources() { git ls-files --cached --others --exclude-standard -- "$@"; }

if [ "$what" = all ] || [ "$what" = format ]; then
  sources '*.cpp' '*.h' '*.c' | xargs -d '\n' clang-format --dry-run --Werror
  echo "format: clean"
fi

if [ "$what" = all ] || [ "$what" = includes ]; then
  python3 scripts/check_includes.py
  echo "includes: clean"
fi

if [ "$what" = all ] || [ "$what" = mutants ]; then
  python3 scripts/mutants.py --check
fi

if [ "$what" = all ] || [ "$what" = msvc ]; then
  python3 scripts/check_msvc.py
fi

if [ "$what" = all ] || [ "$what" = tidy ]; then
  command -v clang-tidy >/dev/null || { echo "check: install clang-tidy" >&2; exit 1; }
  version=$(x86_64-w64-mingw32-g++-posix -dumpversion)
  cxx=/usr/lib/gcc/x86_64-w64-mingw32/$version/include/c++
  sources 'src/*.cpp' 'companions/*.cpp' 'fallback/*.cpp' 'tools/*.cpp' |
    xargs -d '\n' -n 4 -P "$(nproc)" clang-tidy --quiet -p build/mingw \
      --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-isystem"$cxx" \
      --extra-arg=-isystem"$cxx/x86_64-w64-mingw32" --extra-arg=-Wno-unknown-warning-option \
      --extra-arg=-Wno-unused-command-line-argument 2>/dev/null
  echo "tidy: clean"
fi
