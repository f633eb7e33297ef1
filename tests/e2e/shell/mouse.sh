#!/usr/bin/env bash
# A user at the icon: mouse and keyboard on the real notification area, and
# the death of the shell.
set -u
source "$(dirname "$0")/common.sh"

desktop() { xdotool search --name 'Wine desktop' 2>/dev/null | head -n 1; }
desktop_is_up() { [ -n "$(desktop)" ]; }

# The place of the only icon: the lower right corner of the desktop.
find_icon_place() {
  local X Y WIDTH HEIGHT
  eval "$(xdotool getwindowgeometry --shell "$(desktop)" | grep -E '^(X|Y|WIDTH|HEIGHT)=')"
  icon_x=$((X + WIDTH - 11))
  icon_y=$((Y + HEIGHT - 10))
}
# What is to be seen there.
icon_pixels() {
  import -window root -crop "18x18+$((icon_x - 9))+$((icon_y - 9))" rgb:- |
    md5sum
}
icon_shows() { [ "$(icon_pixels)" != "$empty" ]; }
icon_is_gone() { [ "$(icon_pixels)" = "$empty" ]; }

mouse_away() { xdotool mousemove $((icon_x - 500)) $((icon_y - 400)); sleep 0.2; }
click_icon() {
  mouse_away
  xdotool mousemove $icon_x $icon_y
  sleep 0.2
  xdotool click "$@"
}
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
wait_until 20 desktop_is_up || fail "no desktop"
xdotool windowfocus "$(desktop)"
sleep 1
find_icon_place
mouse_away
empty=$(icon_pixels)
brindlemar '/icon="shown" /shex_file="x"' || fail "the hand-over failed"
wait_until 10 icon_shows || fail "the icon doesn't come"

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
wait_until 5 icon_shows || fail "the veto doesn't keep the icon"

brindlemar '/icon="hidden"' || fail "the tray has gone"
wait_until 10 icon_is_gone || fail "the icon isn't hidden"
brindlemar '/icon="shown"' || fail "the tray has gone"
wait_until 10 icon_shows || fail "the icon isn't shown again"

open_menu 3
xdotool key Down Return
expect_event 'query 0 session agreed'
expect_event destroy
mouse_away
wait_until 10 icon_is_gone || fail "the icon stays behind"

echo "Passed"
