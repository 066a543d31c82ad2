#!/usr/bin/env bash
# Makes the local service's certificates in a build tree and lets the Wine prefix trust their authority, once:
# scripts/trust-service.sh [BUILD], where BUILD is build/mingw unless given. Nothing outside the build trees changes.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=${1:-build/mingw}
python3 tools/crash_service/crash_service.py --certificates "$build/certificates" --make-certificates >/dev/null
authority=$build/certificates/ca.der
trusted="${WRENFALL_WINEPREFIX:-build/mingw/wineprefix}/.wrenfall-trusts"
cmp -s "$authority" "$trusted" && exit 0
scripts/wine.sh "$build/bin/trust_certificate.exe" "$authority" >/dev/null
cp "$authority" "$trusted"
