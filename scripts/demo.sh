#!/usr/bin/env bash
# The library's main job from end to end: a host process crashes under Wine, the crash becomes a report folder, and the
# next start of the host sends it to a local crash-collection service over HTTPS. Ends with 0 when all of that worked;
# otherwise prints a line that says what failed. With --keep the service goes on, for a browser.
set -eu
cd "$(dirname "${BASH_SOURCE[0]}")/.."
unset WRENFALL_BUILD # All of this is in build/mingw.
keep=
case "${1:-}" in
  "") ;;
  --keep) keep=1 ;;
  *) echo "usage: scripts/demo.sh [--keep]" >&2; exit 2 ;;
esac

fail() {
  echo "demo: $*" >&2
  exit 1
}
step() { printf '\n== %s\n' "$*"; }

scripts/build.sh
scripts/trust-service.sh

work=$(mktemp -d "$PWD/build/demo röport XXXXXX")
service_pid=
stop_service() {
  [ -z "$service_pid" ] || kill "$service_pid" 2>/dev/null || true
  [ -z "$service_pid" ] || wait "$service_pid" 2>/dev/null || true
  service_pid=
}
finish() {
  status=$?
  # It is left running only when all went well.
  [ -n "$keep" ] && [ $status -eq 0 ] && [ -n "$service_pid" ] && return
  stop_service
  # Ends only what runs in the Wine prefix of this build tree.
  [ -n "${WRENFALL_WINE_IS_HELD:-}" ] || WINEPREFIX="$PWD/build/mingw/wineprefix" /usr/lib/wine/wineserver -k 2>/dev/null || true
  if [ $status -eq 0 ]; then rm -rf "$work"; else echo "demo: the files of this run are in $work" >&2; fi
}
trap finish EXIT
trap 'exit 1' INT TERM

host() { scripts/wine.sh build/mingw/bin/crashing_host.exe --store "Z:${store//\//\\}" "$@"; }
store=$work/store
printf 'What the program did last.\n' >"$work/protocol.txt"

step "A crash-collection service on 127.0.0.1"
lifetime=300
[ -z "$keep" ] || lifetime=86400
# In a process group of its own, so that Ctrl-C in the terminal later does not end it.
set -m
python3 tools/crash_service/crash_service.py --dir "$work/service" --build build/mingw --stacks \
  --ready-file "$work/ready" --lifetime $lifetime >"$work/service.log" 2>&1 &
service_pid=$!
set +m
for _ in $(seq 600); do
  [ -e "$work/ready" ] && break
  kill -0 "$service_pid" 2>/dev/null || fail "the service did not start: $(tail -n 1 "$work/service.log")"
  sleep 0.1
done
[ -e "$work/ready" ] || fail "the service did not get ready"
echo "https://127.0.0.1:$(cat "$work/ready")"

step "A host that crashes"
if host --user "Demo User" --attach "Z:${work//\//\\}\\protocol.txt" access-violation; then
  fail "the host did not crash"
fi
record=
for _ in $(seq 200); do
  record=$(find "$store" -mindepth 2 -maxdepth 2 -name WrenfallCrashData.json)
  [ -n "$record" ] && break
  sleep 0.1
done
[ -n "$record" ] || fail "no report folder appeared in the store; see $store/Wrenfall.log"

step "The report folder in the store"
find "$(dirname "$record")" -type f -printf '%10s  %f\n' | sort -k 2
cat "$record"
echo

step "The host's next start sends it"
host --send-pending || fail "the report was not sent"

step "What the service received"
[ -n "$keep" ] || stop_service
python3 tools/crash_service/crash_service.py --summary "$work/service" || fail "the service found something wrong"

left=$(find "$store" -mindepth 2 -maxdepth 2 -name WrenfallCrashData.json)
[ -z "$left" ] || fail "a report is left in the store: $left"
step "Done: the store holds no report any more"
[ -n "$keep" ] || exit 0
cat <<END

The service is still running. In a browser, which warns once because it does not know the test authority:
  https://127.0.0.1:$(cat "$work/ready")/
More reports come with: scripts/wine.sh build/mingw/bin/crashing_host.exe --policy quiet access-violation
It ends by itself after a day, or with: kill $service_pid
Its files are in $work
END
