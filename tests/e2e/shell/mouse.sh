#!/usr/bin/env bash
# A user at the icon: mouse and keyboard on the real notification area, and
# the death of the shell.
set -u
# shellcheck source=tests/e2e/shell/common.sh
source "$(dirname "$0")/common.sh"
# shellcheck source=tests/e2e/shell/icon.sh
source "$(dirname "$0")/icon.sh"
use_test_library

# Opens the menu; the keys then go to the window under the pointer, which has
# to be the menu.
open_menu() {
  popups=$(seen popup)
  click_icon "$1"
  expect_event popup $((popups + 1))
  sleep 0.5
  xdotool mousemove $((icon_x - 33)) $((icon_y - 35))
  sleep 0.3
}

# A hidden icon first: that shows what the empty place looks like.
start_tray '/icon="hidden"'
expect_event 'broadcast VELGUI_INITIALIZED'
learn_empty_place
brindlemar '/icon="shown" /shex_file="x"' || fail "the hand-over failed"
wait_until icon_shows || fail "the icon doesn't come"

open_menu 3
take_picture menu
xdotool key p
expect_event 'menu event 5 id 72'

# One left click opens the menu after the time of a double click.
open_menu 1
xdotool key Escape
sleep 0.3
open_menu 1
xdotool key d
expect_event 'menu event 5 id 71'

# The default item, without a menu.
sleep 1
click_icon --repeat 2 --delay 60 1
expect_event 'menu event 5 id 71' 2

# Exit asks; a veto keeps everything running.
echo 1 >"$product/veto"
open_menu 3
xdotool key x
expect_event 'query 0 session refused'
rm "$product/veto"
mouse_away
wait_until icon_shows || fail "the veto doesn't keep the icon"

brindlemar '/icon="hidden"' || fail "the tray has gone"
wait_until icon_is_gone || fail "the icon isn't hidden"
brindlemar '/icon="shown"' || fail "the tray has gone"
wait_until icon_shows || fail "the icon isn't shown again"

open_menu 3
xdotool key Down Return
expect_event 'query 0 session agreed'
expect_event destroy
mouse_away
wait_until icon_is_gone || fail "the icon stays behind"

echo "Passed"
