# shellcheck shell=bash
# Tells in words what became of a URL or file that the tray was given: which
# program shows it in which session, seen by SessionView's windows, or what the
# product's log has of it. Sourced by bash after cmake/setup.sh.

# A line for each SessionView window: what it was opened with, configuration.
session_windows() {
  timeout 20 wine "$stage/SessionView.exe" --list 2>/dev/null | tr -d '\r' | sort
}

opens_something() {
  case $* in
    *://* | */shex_file=*) true ;;
    '' | /*) false ;;
    *) true ;;
  esac
}

tell_window() {
  local title=${1% - SessionView}
  echo "SessionView.exe has got ${title% - *} in the session ${title##* - }."
}

# What the log has of the last run command. The log is pushed by the first record
# after 5 seconds, and a status query makes one.
logged_start() {
  local log
  sleep 6
  tray_is_up || { echo "The tray has ended."; return; }
  log=$(find "$WINEPREFIX/drive_c/users" -path '*/VelTmp/Logs/VELGUI.swl' | head -n 1)
  [ -n "$log" ] || { echo "There is no log."; return; }
  timeout 20 wine "$stage/swlcat.exe" --key "$root/build/log-key/private.pem" \
    "$(winepath -w "$log")" 2>/dev/null | tr -d '\r' |
    awk '/TrayMenuHolder::process_runcmd/ {lines = ""} {lines = lines $0 "\n"}
      END {printf "%s", lines}' | grep -v 'OnGuiIpc(13'
}

# tell_what_happened <session_windows before> <arguments...>
tell_what_happened() {
  local before=$1 end=$((SECONDS + 20)) title
  shift
  opens_something "$@" || return 0
  while [ $SECONDS -lt $end ]; do
    title=$(comm -13 <(echo "$before") <(session_windows) | head -n 1)
    [ -z "$title" ] || { tell_window "$title"; return; }
    sleep 0.5
  done
  echo "No SessionView window shows it: it was for another program, or it couldn't"
  echo "be opened. The log has of it:"
  logged_start
}
