#!/usr/bin/env bash
# Runs a command while the Wine prefix of the build tree is up: scripts/with-wine.sh COMMAND [ARGUMENT ...]
# The first program in a prefix starts Wine's own service processes, which inherit its standard output and live on for a
# while: whoever reads that output to its end would wait for them. Here a first program with other output holds them.
set -eu
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Says when the services are up, waits for input that never comes, and ends with this script, whose end closes the pipe.
coproc HOLDER { exec "$root/scripts/wine.sh" cmd /c "echo up& pause" 2>/dev/null; }
holder=$HOLDER_PID
read -r -t 120 _ <&"${HOLDER[0]}" || echo "with-wine: Wine is slow to come up" >&2
finish() {
  status=$?
  kill "$holder" 2>/dev/null || true
  WINEPREFIX="${WRENFALL_WINEPREFIX:-$root/build/mingw/wineprefix}" /usr/lib/wine/wineserver -k 2>/dev/null || true
  exit $status
}
trap finish EXIT
# For what would end Wine after its own work.
export WRENFALL_WINE_IS_HELD=1
"$@"
