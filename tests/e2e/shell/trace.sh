#!/usr/bin/env bash
# What a second copy does between its WinMain and its exit: nothing but the
# calls of the hand-over. No file is opened, no library loaded, no registry
# key, resource or log touched.
set -u
# shellcheck source=tests/e2e/shell/common.sh
source "$(dirname "$0")/common.sh"
use_test_library

start_tray
expect_event 'broadcast VELGUI_INITIALIZED'
trace=$product/trace.log
WINEDEBUG=+relay,+file,+reg,+loaddll windows "$product/Brindlemar.exe" \
  http://example.invalid/ >"$trace" || fail "the hand-over failed"
expect_event 'app Normal||http://example.invalid/|||'

# Calls of the program itself return into its image.
base=$(grep -a 'Loaded L".*Brindlemar.exe" at' "$trace" |
  sed 's/.* at 0*\([0-9a-f]*\).*/\1/' | head -n 1)
[ -n "$base" ] || fail "the trace shows no program"
digit='[0-9a-f]'
own="ret=${base%??????}$digit$digit$digit$digit$digit$digit\$"

# From the first call of WinMain to the runtime's exit.
main=$(mktemp -p "$product")
awk -v own="$own" '
  /Call KERNEL32.GetModuleFileNameW\(00000000/ && match($0, own) { inside = 1 }
  inside { print }
  /Call msvcrt.exit/ { inside = 0 }' <(tr -d '\r' <"$trace") >"$main"
for mark in 'L"VELDIR"' 'Call user32.SendMessageW'; do
  grep -aq "$mark" "$main" || fail "the trace doesn't show $mark"
done

report() {
  echo "$1:"
  sed 's/^/  /' "$2" | head -n 20
  failed=1
}
failed=0

grep -aE ':(trace|warn):(file|loaddll|reg):' "$main" >"$product/touched" &&
  report "Files, libraries or keys are touched" "$product/touched"

# The whole set of system calls that the road needs.
allowed='KERNEL32.(GetModuleFileNameW|SetEnvironmentVariableW|GetCommandLineW|GetTickCount|SetLastError|GetLastError|CreateMutexW|CloseHandle)|user32.(FindWindowW|GetWindowThreadProcessId|AllowSetForegroundWindow|SendMessageW)|msvcrt\.[a-z_]+'
grep -aE "Call .*$own" "$main" | grep -aoE 'Call [A-Za-z0-9_]+\.[A-Za-z0-9_]+' |
  sort -u | grep -avE "^Call ($allowed)\$" >"$product/calls" &&
  report "Calls that don't belong to a hand-over" "$product/calls"
grep -aE 'Call msvcrt\.(_?w?f?s?open|_?creat|f(read|write|put|get)|_?read|_?write|_?wtmpnam)' \
  "$main" | grep -aE "$own" >"$product/streams" &&
  report "Files are opened through the runtime" "$product/streams"

# At no time of the process: what only a tray or a tool needs.
grep -aiE 'Loaded L".*\\(vel[a-z]+|shell32|shlwapi|ole32|oleaut32|wininet|netapi32|winmm|ws2_32|winex11)\.(dll|drv)"' \
  "$trace" >"$product/libraries" &&
  report "Libraries are loaded that a hand-over doesn't need" "$product/libraries"

[ $failed -eq 0 ] || fail "the hand-over does more than it has to"
brindlemar '/start_mode="shutdown"' || fail "the shutdown failed"
expect_event destroy
echo "Passed: $(grep -acE "Call .*$own" "$main") calls, none of them beside the hand-over"
