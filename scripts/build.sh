#!/usr/bin/env bash
# Installs what is missing and builds into build/mingw. Prints little unless something fails.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
unset WRENFALL_BUILD # All of this is in build/mingw.
scripts/setup.sh
mkdir -p build
log=build/build.log
quietly() {
  "$@" >"$log" 2>&1 || { tail -n 60 "$log" >&2; echo "build: '$*' failed; all of it is in $log" >&2; exit 1; }
}
echo "Building (build/mingw)"
quietly cmake --preset mingw
grep -E '^-- Dependency' "$log" | sed 's/^-- /  /' || true
quietly cmake --build --preset mingw
scripts/wine-prefix.sh
