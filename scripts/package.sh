#!/usr/bin/env bash
# Builds and packs; prints the path of the ZIP. Usage: scripts/package.sh [SERVICE_DOMAIN]
# Without an argument it packs the development build, which reaches only the local service. A release names the domain
# of its service, for example ".crashes.example.com", and is built in a folder of its own, build/package.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh >&2
build=build/mingw
options=()
if [ $# -gt 0 ]; then
  build=build/package
  options=(-DWRENFALL_SERVICE_DOMAIN="$1" -DWRENFALL_BUILD_TESTS=OFF -DWRENFALL_BUILD_EXAMPLES=OFF)
fi
mkdir -p build
log=build/package.log
quietly() {
  "$@" >"$log" 2>&1 || { tail -n 60 "$log" >&2; echo "package: '$*' failed; all of it is in $log" >&2; exit 1; }
}
quietly cmake --preset mingw -B "$build" "${options[@]}"
quietly cmake --build "$build"
quietly cpack --config "$build/CPackConfig.cmake" -B "$PWD/$build"
sed -n 's/^CPack: - package: \(.*-win64\.zip\) generated\.$/\1/p' "$log"
