#!/usr/bin/env bash
# Looks for leaks and for rare failures: scripts/soak.sh [MINUTES]
# 1,000 cycles of init and shutdown, MINUTES (10) of mixed use from 16 threads, 200 rounds of kills, and a
# minute of each fuzzer. Takes about an hour; ends with 0 when all is well.
set -u
cd "$(dirname "${BASH_SOURCE[0]}")/.."
unset WRENFALL_BUILD # All of this is in build/mingw.
minutes=${1:-10}
failed=0
run() {
  echo "== $*"
  "$@" || { echo "soak: '$*' failed" >&2; failed=1; }
}
scripts/build.sh || exit 1
with_wine=(xvfb-run -a scripts/with-wine.sh)
run "${with_wine[@]}" scripts/wine.sh build/mingw/bin/soak_test.exe 1000 $((minutes * 60))
run "${with_wine[@]}" python3 tests/end_to_end/kill_test.py --rounds 200
run scripts/fuzz.sh 60
exit $failed
