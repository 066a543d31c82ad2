#!/usr/bin/env bash
# What a million clients mean for a service (docs/scale.md): prints the figures, and draws them where a file is named.
#
#   scripts/fleet.sh [docs/images/scale.svg]
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
unset WRENFALL_BUILD # All of this is in build/mingw.
scripts/build.sh >&2
cmake --preset mingw -DWRENFALL_BUILD_BENCHMARKS=ON >build/fleet.log
cmake --build --preset mingw --target fleet >>build/fleet.log || { tail -n 40 build/fleet.log >&2; exit 1; }
scripts/with-wine.sh scripts/wine.sh build/mingw/bin/fleet.exe "$@"
