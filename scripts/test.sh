#!/usr/bin/env bash
# Builds and runs all tests. Arguments go to ctest, for example: scripts/test.sh -R store
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/build.sh
# Windows exist only with a display; a virtual one will do.
exec xvfb-run -a scripts/with-wine.sh ctest --preset mingw "$@"
