#!/usr/bin/env bash
# Measures each operation of the library beside its limit, prints one table, and writes it, with a picture, into
# docs/performance.md: scripts/bench.sh [PROGRAM ...], for example scripts/bench.sh setters store. Takes about ten
# minutes; only a run of all programs changes the document.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/build.sh
cmake --preset mingw -DWRENFALL_BUILD_BENCHMARKS=ON >build/bench.log
cmake --build --preset mingw >>build/bench.log || { tail -n 40 build/bench.log >&2; exit 1; }
programs=("$@")
[ $# -gt 0 ] || programs=(setters logging idle store capture upload)
results=build/bench.txt
: >"$results"
for program in "${programs[@]}"; do
  echo "bench_$program" >&2
  xvfb-run -a scripts/with-wine.sh scripts/wine.sh "build/mingw/bin/bench_$program.exe" >>"$results"
done
write=()
[ $# -gt 0 ] || write=(--write)
python3 bench/table.py "${write[@]}" "$results"
