# shellcheck shell=bash
# What the scripts of the end-to-end tests share. Sourced by bash; the script's
# arguments are the staged product's folder, the folder of the test programs and
# a folder for pictures and traces, where each script has one of its own.

# shellcheck source=tests/e2e/shell/own_prefix.sh
source "$(dirname "${BASH_SOURCE[0]}")/own_prefix.sh"
stage=${1:?the staged product} helpers=${2:?the test programs}
results=${3:?a folder for pictures and traces}/$(basename "$0" .sh)
require_tools xdotool import

fail() {
  echo "FAILED: $*"
  [ -e "$product/events.log" ] && cat "$product/events.log"
  take_picture failed
  exit 1
}

# Runs a Windows program. One that hangs is ended after `limit` seconds, or never
# for 0, with the exit code 124.
limit=100
windows() { timeout --foreground "$limit" "$root/cmake/wine-run" "$@" 2>&1; }

# The test library becomes the only plug-in and the session library.
use_test_library() {
  cp "$helpers/e2e_library.dll" "$product/Plugins/test.dll" &&
    cp "$helpers/e2e_library.dll" "$product/VELUL.dll" &&
    printf 'test.dll\r\n' >"$product/Plugins/plugins.txt" ||
    fail "the test library can't be copied"
}

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
start_tray() { limit=0 brindlemar "$@" >/dev/null & }

tray_is_up() { windows "$stage/velctl.exe" status >/dev/null; }
tray_is_gone() { ! tray_is_up; }

take_picture() { import -window root "$results/$1.png" 2>/dev/null || true; }

# wait_until <command...>: until it succeeds, or too long for a busy machine.
wait_until() {
  local end=$((SECONDS + 60))
  until "$@"; do
    [ $SECONDS -lt $end ] || return 1
    sleep 0.1
  done
}

# How often the plug-in or the session library has seen an event.
seen() {
  if [ -e "$product/events.log" ]; then
    grep -ac "^$1\$" "$product/events.log"
  else
    echo 0
  fi
}
seen_times() { [ "$(seen "$1")" -ge "$2" ]; }
# expect_event <event> [<times>]
expect_event() {
  wait_until seen_times "$1" "${2:-1}" ||
    fail "the event '$1' wasn't seen ${2:-1} times"
}

finish() {
  cp "$product"/*.log "$results" 2>/dev/null
  end_wine
}
trap finish EXIT

# Everything that a run makes lies in its prefix.
product=$WINEPREFIX/product
batches=$WINEPREFIX/batches
rm -rf "$results"
mkdir -p "$batches" "$results"
cp -r "$stage" "$product" || fail "the stage can't be copied"
