#!/usr/bin/env bash
# Builds the portable parts for this machine with sanitizers, and runs their tests and fuzzers. The arguments are passed
# to each ctest.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build
run=()
# The sanitizers expect programs at certain addresses, Thread most of all; newer kernels place them at random over a wider range.
# Some containers do not allow fixed addresses.
if [ "$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 28)" -gt 28 ]; then
  if setarch -R true 2>/dev/null; then
    run=(setarch -R)
  else
    echo "native-tests: setarch -R is refused here, so a program with a sanitizer may end at its start, for example with" \
         "\"unexpected memory mapping\". Docker allows it with --security-opt seccomp=unconfined" >&2
  fi
fi
status=0
for preset in linux-asan linux-tsan linux-fuzz; do
  echo "Building (build/$preset)"
  log=build/$preset.log
  if ! { cmake --preset "$preset" && cmake --build --preset "$preset"; } >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    echo "native-tests: $preset was not built; all of it is in $log" >&2
    exit 1
  fi
  "${run[@]}" ctest --preset "$preset" "$@" || status=1
done
exit $status
