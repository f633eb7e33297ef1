#!/usr/bin/env bash
# What a user of the shipped plug-ins sees at the icon: the tooltip, and the menu
# with its list of sessions. Leaves tooltip.png and menu.png, each the lower
# right corner of the desktop.
set -u
# shellcheck source=tests/e2e/shell/common.sh
source "$(dirname "$0")/common.sh"
# shellcheck source=tests/e2e/shell/icon.sh
source "$(dirname "$0")/icon.sh"

# corner <width> <height> <file>: its picture.
corner() {
  import -window root -crop "$1x$2+$((icon_x + 11 - $1))+$((icon_y + 10 - $2))" \
    +repage -strip -colors 64 "$3"
}
corner_pixels() { corner "$1" "$2" rgb:- | md5sum; }
corner_differs() { [ "$(corner_pixels "$1" "$2")" != "$3" ]; }
# expect_over_icon <name> <width> <height> <command...>: the command brings
# something up in this corner, and its picture is kept.
expect_over_icon() {
  local name=$1 width=$2 height=$3 before
  shift 3
  mouse_away
  sleep 1
  before=$(corner_pixels "$width" "$height")
  "$@"
  wait_until corner_differs "$width" "$height" "$before" ||
    fail "no $name comes up at the icon"
  # It may be painted in steps.
  sleep 1
  corner "$width" "$height" "png8:$results/$name.png"
}
point_at_icon() { xdotool mousemove "$icon_x" "$icon_y"; }
# Opens the menu with the list of sessions.
open_sessions() {
  click_icon 3
  sleep 0.5
  xdotool mousemove $((icon_x - 60)) $((icon_y - 125))
  sleep 0.5
  xdotool mousemove $((icon_x - 65)) $((icon_y - 108))
  sleep 1
}

start_tray '/icon="hidden"'
wait_until tray_is_up || fail "the tray doesn't come up"
learn_empty_place
# A session whose application, one without a window, ends at once.
brindlemar '/icon="shown" /shex_cfg="Privacy" /shex_file="C:\windows\system32\rundll32.exe"' ||
  fail "the hand-over failed"
wait_until icon_shows || fail "the icon doesn't come"

expect_over_icon tooltip 300 80 point_at_icon
expect_over_icon menu 400 220 open_sessions
xdotool key Escape Escape
brindlemar '/start_mode="shutdown"' || fail "the shutdown failed"
wait_until tray_is_gone || fail "the tray doesn't end"
echo "Passed"
