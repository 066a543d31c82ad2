#!/usr/bin/env bash
# Makes the local service's certificates in a build tree and lets the Wine prefix trust their authority, once:
# scripts/trust-service.sh [BUILD], where BUILD is $WRENFALL_BUILD or build/mingw unless given. Nothing outside the build
# trees changes.
set -eu
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(realpath "${1:-${WRENFALL_BUILD:-$root/build/mingw}}")
export WRENFALL_BUILD=$build
python3 "$root/tools/crash_service/crash_service.py" --certificates "$build/certificates" --make-certificates >/dev/null
authority=$build/certificates/ca.der
trusted=${WRENFALL_WINEPREFIX:-$build/wineprefix}/.wrenfall-trusts
cmp -s "$authority" "$trusted" && exit 0
"$root/scripts/wine.sh" "$build/bin/trust_certificate.exe" "$authority" >/dev/null
cp "$authority" "$trusted"
