#!/usr/bin/env bash
# Makes the Wine prefix of the build tree, once. WRENFALL_BUILD is the path of that tree, build/mingw unless given.
set -eu
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
prefix="${WRENFALL_WINEPREFIX:-${WRENFALL_BUILD:-$root/build/mingw}/wineprefix}"
[ -e "$prefix/.wrenfall-ready" ] && exit 0
mkdir -p "$prefix"
# Two that start at once make it once.
exec 9>"$prefix/.wrenfall-lock"
flock 9
[ -e "$prefix/.wrenfall-ready" ] && exit 0
export WINEPREFIX="$prefix" WINEARCH=win64 WINEDEBUG=-all
/usr/lib/wine/wine64 wineboot -i >/dev/null 2>&1 9>&-
# Wine's own debugger would print pages of text at each crash, and take seconds for it.
/usr/lib/wine/wine64 reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' \
  /v Debugger /t REG_SZ /d false /f >/dev/null 2>&1 9>&-
/usr/lib/wine/wineserver -w
touch "$prefix/.wrenfall-ready"
