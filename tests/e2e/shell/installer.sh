#!/usr/bin/env bash
# The installer as an administrator runs it in silence: install, use, install
# over it, a removal that a plug-in refuses, removal. Afterwards the machine is
# as it was before.
set -u
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
add_test_plugin() {
  cp "$helpers/e2e_library.dll" "$installed/Plugins/test.dll"
  printf 'test.dll\r\nVELMENUS.dll\r\n' >"$installed/Plugins/plugins.txt"
}
tray_is_up() { windows winedbg --command 'info wnd' | grep -q VEL_TRAY_WINDOW; }
service_runs() { windows sc query "$1" | grep -q 'STATE.*RUNNING'; }
gone() { [ ! -e "$installed" ]; }

# What other tests have left of the product would go with it.
for key in HKCU\\Software\\Tessavane HKCU\\Software\\AppDataLow \
  HKLM\\Software\\Tessavane; do
  windows reg delete "$key" /f >/dev/null
done
find "$WINEPREFIX/drive_c/users" -depth \( -name VelTmp -o -name Tessavane \
  -o -name 'vel_acc_*' -o -name 'Brindlemar Shared Files' \) -exec rm -rf {} +
wineserver -w
snapshot >"$results/before"

windows "$setup" /S || fail "the installer ended with $?"
for service in VELKL VelSvc; do
  wait_until 20 service_runs $service || fail "$service doesn't run"
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
wait_until 20 service_runs VelSvc || fail "the service doesn't come back"
seen_times destroy 1 || fail "the older tray wasn't ended"

rm "$installed"/Plugins/test.dll "$installed"/*.log
start_tray
wait_until 20 tray_is_up || fail "the new copy doesn't start"
windows 'C:\Program Files\Brindlemar\Uninstall.exe' /S || fail "the uninstaller ended with $?"
wait_until 60 gone || fail "left behind: $(find "$installed")"
wineserver -w
snapshot >"$results/after"
diff "$results/before" "$results/after" >"$results/left-behind" ||
  fail "left behind: $(cat "$results/left-behind")"
echo "Passed"
