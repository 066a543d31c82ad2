#!/usr/bin/env bash
# Makes the local service's certificates (build/mingw/certificates) and lets the Wine prefix of the build tree trust
# their authority, once. Nothing outside the build tree changes.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
certificates=build/mingw/certificates
python3 tools/crash_service/crash_service.py --certificates "$certificates" --make-certificates >/dev/null
authority=$certificates/ca.der
trusted="${WRENFALL_WINEPREFIX:-build/mingw/wineprefix}/.wrenfall-trusts"
cmp -s "$authority" "$trusted" && exit 0
scripts/wine.sh build/mingw/bin/trust_certificate.exe "$authority" >/dev/null
cp "$authority" "$trusted"
