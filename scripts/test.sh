#!/usr/bin/env bash
# Builds and runs all tests. Arguments go to ctest, for example: scripts/test.sh -R store
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/build.sh
ctest --preset mingw "$@"
