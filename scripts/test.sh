#!/usr/bin/env bash
# Builds and runs all tests: first the native ones with sanitizers and the fuzzers, then those under Wine. The arguments
# are passed to each ctest, for example: scripts/test.sh -R store
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
unset WRENFALL_BUILD # All of this is in build/mingw.
scripts/setup.sh
native=0
scripts/native-tests.sh "$@" || native=1
scripts/build.sh
# Windows exist only with a display; a virtual one will do.
xvfb-run -a scripts/with-wine.sh ctest --preset mingw "$@"
exit $native
