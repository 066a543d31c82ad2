#!/usr/bin/env bash
# Puts known faults into a copy of the code and says which of them no test notices: scripts/mutants.sh [NAME ...]
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh
exec python3 scripts/mutants.py "$@"
