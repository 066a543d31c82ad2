#!/usr/bin/env bash
# Runs a Windows program under Wine, in the prefix of the build tree: scripts/wine.sh PROGRAM [ARGUMENT ...]
# The user's own prefix is never touched. WRENFALL_BUILD is the path of the build tree, build/mingw unless
# given. The prefix is made where it is missing.
set -eu
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX="${WRENFALL_WINEPREFIX:-${WRENFALL_BUILD:-$root/build/mingw}/wineprefix}"
export WINEARCH=win64 WINEDEBUG="${WINEDEBUG:--all}"
[ -e "$WINEPREFIX/.wrenfall-ready" ] || "$root/scripts/wine-prefix.sh"
# The loader itself: the usual wrapper prints advice about 32-bit packages at each start.
exec /usr/lib/wine/wine64 "$@"
