#!/usr/bin/env bash
# Builds the fuzzers and runs each for some seconds, or one of them: scripts/fuzz.sh SECONDS [TARGET]
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
seconds=${1:?usage: scripts/fuzz.sh SECONDS [TARGET]}
scripts/setup.sh
cmake --preset linux-fuzz >/dev/null
cmake --build --preset linux-fuzz
failed=
for corpus in tests/fuzz/corpus/${2:-*}; do
  name=$(basename "$corpus")
  echo "== $name"
  scripts/fuzz-target.sh "build/linux-fuzz/bin/fuzz_$name" "$seconds" -verbosity=0 || failed+=" $name"
done
[ -z "$failed" ] || { echo "fuzz: failed:$failed" >&2; exit 1; }
