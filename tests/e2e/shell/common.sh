# shellcheck shell=bash
# What the scripts of the end-to-end tests share. Sourced by bash; the script's
# arguments are the staged product's folder, the folder of the test programs and
# a folder for pictures and traces.

stage=$1 helpers=$2 results=$3
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../.." && pwd)
readonly skipped=77

skip() { echo "Skipped: $*"; exit $skipped; }
fail() {
  echo "FAILED: $*"
  [ -e "$product/events.log" ] && cat "$product/events.log"
  take_picture failed
  exit 1
}

# A prefix that somebody works in isn't touched: these tests end all of its
# programs.
[ -n "${VEL_WINEPREFIX:-}" ] ||
  skip "VEL_WINEPREFIX names no Wine prefix for the tests"
for tool in wine wineserver xdotool import xdpyinfo; do
  command -v $tool >/dev/null || skip "$tool isn't installed"
done
xdpyinfo >/dev/null 2>&1 || skip "there is no display"
export WINEPREFIX=$VEL_WINEPREFIX
# The desktop has to come up on this display.
wineserver -k 2>/dev/null
wineserver -w

windows() { "$root/cmake/wine-run" "$@" 2>&1; }

windows reg query 'HKCU\Software\Wine\Explorer' /v Desktop 2>/dev/null |
  grep -q shell || skip "the Wine prefix has no shell desktop"

product=$(mktemp -d)
batches=$(mktemp -d)
mkdir -p "$results"
finish() {
  cp "$product"/*.log "$results" 2>/dev/null
  wineserver -k 2>/dev/null
  wineserver -w
  rm -rf "$product" "$batches"
}
trap finish EXIT

# The product with the test library as its only plug-in and as its session
# library.
cp -r "$stage/." "$product/"
cp "$helpers/e2e_library.dll" "$product/Plugins/test.dll"
cp "$helpers/e2e_library.dll" "$product/VELUL.dll"
printf 'test.dll\r\n' >"$product/Plugins/plugins.txt"

# run_line <program> <arguments...>: starts it with the arguments as they stand.
# Through a batch file, since Wine escapes the quotes of what it is given by a
# Unix program.
run_line() {
  local batch program
  batch=$(mktemp -p "$batches" --suffix=.bat)
  program=$(winepath -w "$1")
  shift
  printf '@"%s" %s\r\n@exit %%errorlevel%%\r\n' "$program" "$*" >"$batch"
  windows cmd /c "$(winepath -w "$batch")"
}
brindlemar() { run_line "$product/Brindlemar.exe" "$@"; }
start_tray() { brindlemar "$@" >/dev/null & }

take_picture() { import -window root "$results/$1.png" 2>/dev/null || true; }

# wait_until <seconds> <command...>
wait_until() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [ $SECONDS -lt $end ] || return 1
    sleep 0.1
  done
}

# How often the plug-in or the session library has seen an event.
seen() {
  cat "$product/events.log" 2>/dev/null | grep -ac "^$1\$" || true
}
seen_times() { [ "$(seen "$1")" -ge "$2" ]; }
# expect_event <event> [<times>]
expect_event() {
  wait_until 20 seen_times "$1" "${2:-1}" ||
    fail "the event '$1' wasn't seen ${2:-1} times"
}
