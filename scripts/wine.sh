#!/usr/bin/env bash
# Runs a Windows program under Wine, in the prefix of the build tree: scripts/wine.sh PROGRAM [ARGUMENT ...]
# The user's own prefix is never touched.
set -eu
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX="${WRENFALL_WINEPREFIX:-$root/build/mingw/wineprefix}"
export WINEARCH=win64 WINEDEBUG="${WINEDEBUG:--all}"
# The loader itself: the usual wrapper prints advice about 32-bit packages at each start.
exec /usr/lib/wine/wine64 "$@"
