#!/usr/bin/env bash
# Runs one fuzzer: scripts/fuzz-target.sh PROGRAM SECONDS [LIBFUZZER-OPTION ...]. It starts from the corpus in the tree
# and from what earlier runs found. What it finds goes below build/linux-fuzz: inputs that reach new code to corpus/,
# those that fail to crashes/, with a line here that names the folder.
set -eu
program=$(realpath "$1") seconds=$2
shift 2
cd "$(dirname "${BASH_SOURCE[0]}")/.."
name=$(basename "$program")
name=${name#fuzz_}
found=build/linux-fuzz/corpus/$name crashes=build/linux-fuzz/crashes
mkdir -p "$found" "$crashes"
# Of the stack a fuzzed program has as much as a thread of a host: no recursion may depend on its input.
ulimit -s 1024
status=0
"$program" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=1500 -max_len=4096 -print_final_stats=1 \
  -artifact_prefix="$crashes/$name-" "$@" "$found" "tests/fuzz/corpus/$name" || status=$?
[ "$status" -eq 0 ] || echo "fuzz: $name failed; its input is in $crashes, to run again: $program INPUT" >&2
exit "$status"
