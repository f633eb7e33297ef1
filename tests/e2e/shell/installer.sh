#!/usr/bin/env bash
# The installer as an administrator runs it in silence: install, use, install
# over it, a removal that a plug-in refuses, removal. Afterwards the machine is
# as it was before.
set -u
# shellcheck source=tests/e2e/shell/common.sh
source "$(dirname "$0")/common.sh"
setup=${4:?the installer}
setup=Z:${setup//\//\\}
installed=$WINEPREFIX/drive_c/"Program Files"/Brindlemar
rm -rf "$product"
product=$installed
run_key='HKLM\Software\Microsoft\Windows\CurrentVersion\Run'

# The registry and the files, but for what Wine writes by itself: the state of
# its desktop and its services, and times and sizes of its own files. And but
# for Internet Explorer's search scopes: the uninstall adds the partner's where
# it is missing, on purpose.
snapshot() {
  local branch
  for branch in 'HKLM\Software' 'HKCU' 'HKLM\System\CurrentControlSet\Services'
  do
    windows reg export "$branch" 'C:\snapshot.reg' /y >/dev/null
    iconv -f UTF-16LE -t UTF-8 "$WINEPREFIX/drive_c/snapshot.reg" | tr -d '\r' |
      awk '/^\[/ {key = $0; print key; next} NF {print key " " $0}'
    rm "$WINEPREFIX/drive_c/snapshot.reg"
  done | grep -vE 'Software\\\\?(Wine|Microsoft\\Internet Explorer(\\SearchScopes|\])|Microsoft\\(Windows\\CurrentVersion\\Explorer|Cryptography\\RNG))|VolatileEnv' |
    sort -u
  (cd "$WINEPREFIX/drive_c" && find . | grep -vE '/(Temp|Recent)/.*\.tmp$|/Prefetch/' | sort)
}
# What Wine itself makes for a user at his first console window and his first
# request to a server, and never removes.
use_console_and_internet() {
  windows cmd /c start /wait cmd /c exit
  printf '%s\r\n' 'var request = new ActiveXObject("Msxml2.XMLHTTP");' \
    'request.open("GET", "http://127.0.0.1:1/", false);' \
    'try { request.send(); } catch (nobody_answers) {}' >"$batches/request.js"
  windows cscript /nologo "$(winepath -w "$batches/request.js")"
}
add_test_plugin() {
  cp "$helpers/e2e_library.dll" "$installed/Plugins/test.dll"
  printf 'test.dll\r\nVELMENUS.dll\r\n' >"$installed/Plugins/plugins.txt"
}
service_runs() { windows sc query "$1" | grep -q 'STATE.*RUNNING'; }
gone() { [ ! -e "$installed" ]; }

use_console_and_internet
wineserver -w
snapshot >"$results/before"

windows "$setup" /S || fail "the installer ended with $?"
for service in VELKL VelSvc; do
  wait_until service_runs $service || fail "$service doesn't run"
done
windows reg query 'HKLM\Software\Tessavane\VEL\Volatile\InstallPending' \
  >/dev/null && fail "the tray waits for a reboot"
command=$(windows reg query "$run_key" /v Brindlemar | tr -d '\r' |
  sed -n 's/.*REG_SZ *//p')
[ "$command" = '"C:\Program Files\Brindlemar\Brindlemar.exe" /start_mode="auto"' ] ||
  fail "the Run key holds: $command"

add_test_plugin
start_tray '/start_mode="auto"'
expect_event 'broadcast VELGUI_INITIALIZED'
expect_event 'broadcast VELSVC_INITIALIZED'
brindlemar http://example.invalid/ || fail "the hand-over ended with $?"
take_picture installed

echo 1 >"$installed/veto"
# With the folder named the uninstaller waits for its end.
run_line "$installed/Uninstall.exe" /S '_?=C:\Program Files\Brindlemar'
[ $? -eq 2 ] || fail "the veto was overruled"
service_runs VelSvc || fail "the service went in spite of the veto"
rm "$installed/veto"

windows "$setup" /S || fail "the installer ended with $? over an older copy"
wait_until service_runs VelSvc || fail "the service doesn't come back"
seen_times destroy 1 || fail "the older tray wasn't ended"

rm "$installed"/Plugins/test.dll "$installed"/*.log
start_tray
wait_until tray_is_up || fail "the new copy doesn't start"
windows 'C:\Program Files\Brindlemar\Uninstall.exe' /S || fail "the uninstaller ended with $?"
wait_until gone || fail "left behind: $(find "$installed")"
wineserver -w
snapshot >"$results/after"
diff "$results/before" "$results/after" >"$results/left-behind" ||
  fail "left behind: $(cat "$results/left-behind")"
echo "Passed"
