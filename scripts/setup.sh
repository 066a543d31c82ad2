#!/usr/bin/env bash
# Installs the Debian packages that building and testing need and that are missing.
set -eu

packages=(
  cmake ninja-build                      # the build
  g++-mingw-w64-x86-64-posix             # the cross compiler
  libz-mingw-w64-dev                     # deflate, for the stand-in of the ZIP library
  nlohmann-json3-dev googletest          # JSON; the test framework's sources
  clang libclang-rt-dev                  # the native builds with sanitizers and fuzzers, and their libraries:
  g++ zlib1g-dev libgtest-dev libssl-dev libexpat1-dev
  wine64                                 # runs what was built
  python3 openssl                        # the local crash-collection service and its certificates
  chromium chromium-driver               # a browser without a window looks at the service's pages,
  fonts-liberation2                      # in this font
  xvfb xauth                             # a display for the tests that have windows
  xdotool                                # presses the keys in them
  clang-format                           # the style check
  doxygen                                # the API reference
  llvm lld pkgconf                       # the package: an import library for MSVC, a linker like MSVC's, pkg-config
)

missing=()
for package in "${packages[@]}"; do
  state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$state" = installed ] || missing+=("$package")
done
# These tools may be installed in another way.
still_missing=()
for package in "${missing[@]}"; do
  case $package in
    cmake | python3 | openssl | clang | clang-format | chromium) command -v "$package" >/dev/null || still_missing+=("$package") ;;
    chromium-driver) command -v chromedriver >/dev/null || still_missing+=("$package") ;;
    ninja-build) command -v ninja >/dev/null || still_missing+=("$package") ;;
    *) still_missing+=("$package") ;;
  esac
done
[ ${#still_missing[@]} -eq 0 ] && exit 0

echo "Installing: ${still_missing[*]}"
if ! command -v apt-get >/dev/null; then
  echo "setup: this is not a Debian system. Install what corresponds to: ${still_missing[*]}" >&2
  exit 1
fi
as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup: not root, and no sudo. As root: apt-get install ${still_missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! "${as_root[@]}" apt-get update >"$log" 2>&1 ||
  ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${still_missing[@]}" >>"$log" 2>&1; then
  tail -n 20 "$log" >&2
  echo "setup: could not install. By hand: apt-get install ${still_missing[*]}" >&2
  exit 1
fi
