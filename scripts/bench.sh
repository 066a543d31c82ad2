#!/usr/bin/env bash
# Measures each operation of the library beside its limit and prints one table:
#   scripts/bench.sh [--check] [PROGRAM ...]     for example scripts/bench.sh setters store
# A run of all programs takes about ten minutes and writes the table, with a picture, into docs/performance.md. With
# --check nothing is written: it ends with 1 when a ratio is more than 1.25 times what the document says.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
unset WRENFALL_BUILD # All of this is in build/mingw.
scripts/build.sh
cmake --preset mingw -DWRENFALL_BUILD_BENCHMARKS=ON >build/bench.log
cmake --build --preset mingw >>build/bench.log || { tail -n 40 build/bench.log >&2; exit 1; }
action=()
if [ "${1:-}" = --check ]; then
  action=(--check)
  shift
elif [ $# -eq 0 ]; then
  action=(--write)
fi
programs=("$@")
[ $# -gt 0 ] || programs=(setters logging idle store capture upload)
results=build/bench.txt
: >"$results"
for program in "${programs[@]}"; do
  echo "bench_$program" >&2
  xvfb-run -a scripts/with-wine.sh scripts/wine.sh "build/mingw/bin/bench_$program.exe" >>"$results"
done
python3 bench/table.py "${action[@]}" "$results"
