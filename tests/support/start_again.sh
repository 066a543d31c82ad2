#!/usr/bin/env bash
# Runs a command, and again when it ends with 1 and has printed nothing or with 127, at most three times in all: at
# random addresses Wine cannot start a program now and then, and its loaders end like that. A test that fails has
# printed why.
set -u
output=$(mktemp)
trap 'rm -f "$output"' EXIT
for _ in 1 2 3; do
  "$@" | tee "$output"
  status=${PIPESTATUS[0]}
  if [ "$status" -ne 127 ] && { [ "$status" -ne 1 ] || [ -s "$output" ]; }; then break; fi
done
exit "$status"
