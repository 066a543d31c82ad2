#!/usr/bin/env bash
# Runs one fuzzer: scripts/fuzz-target.sh PROGRAM SECONDS [LIBFUZZER-OPTION ...]. It starts from the corpus in the
# repository and from the inputs that earlier runs found. Below build/linux-fuzz it puts new inputs: those that reach new
# code into corpus/, those that fail into crashes/; a failure prints the folder.
set -eu
program=$(realpath "$1") seconds=$2
shift 2
cd "$(dirname "${BASH_SOURCE[0]}")/.."
name=$(basename "$program")
name=${name#fuzz_}
found=build/linux-fuzz/corpus/$name crashes=build/linux-fuzz/crashes
mkdir -p "$found" "$crashes"
# A fuzzed program has as much stack as a thread of a host: no recursion may depend on the input.
ulimit -s 1024
status=0
"$program" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=1500 -max_len=4096 -print_final_stats=1 \
  -artifact_prefix="$crashes/$name-" "$@" "$found" "tests/fuzz/corpus/$name" || status=$?
[ "$status" -eq 0 ] || echo "fuzz: $name failed; its input is in $crashes, to run again: $program INPUT" >&2
exit "$status"
