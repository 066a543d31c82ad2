#!/usr/bin/env bash
# Runs a command while the Wine prefix of the build tree is up: scripts/with-wine.sh COMMAND [ARGUMENT ...]
# WRENFALL_BUILD is the path of the build tree, build/mingw unless given.
# The first program in a prefix starts Wine's service processes. They inherit its standard output and live on for a
# while, so that a reader of that output would wait for them. Here another program, with other output, starts them.
set -eu
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# Wine needs some fixed addresses. Where Linux gave one of them away at random, a program does not start (in one of some
# thousand starts), or ends with ld.so's 127 in place of its own exit code. Some containers do not allow fixed addresses.
unrandomized=()
if setarch --addr-no-randomize true 2>/dev/null; then unrandomized=(setarch --addr-no-randomize); fi
# Says when the services are up, then waits for input that never comes. It ends with this script, which closes the pipe.
coproc HOLDER { exec "${unrandomized[@]}" "$root/scripts/wine.sh" cmd /c "echo up& pause" 2>/dev/null; }
holder=$HOLDER_PID
read -r -t 120 _ <&"${HOLDER[0]}" || echo "with-wine: Wine is slow to come up" >&2
finish() {
  status=$?
  kill "$holder" 2>/dev/null || true
  WINEPREFIX="${WRENFALL_WINEPREFIX:-${WRENFALL_BUILD:-$root/build/mingw}/wineprefix}" /usr/lib/wine/wineserver -k 2>/dev/null || true
  exit $status
}
trap finish EXIT
# Scripts that end Wine after their work leave it running when this is set.
export WRENFALL_WINE_IS_HELD=1
"${unrandomized[@]}" "$@"
