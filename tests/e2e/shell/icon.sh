# shellcheck shell=bash
# The icon as a user sees it. Sourced after common.sh.

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
  xdotool mousemove "$icon_x" "$icon_y"
  sleep 0.2
  xdotool click "$@"
}

# What the icon's place looks like while the running tray hides its icon.
learn_empty_place() {
  wait_until desktop_is_up || fail "no desktop"
  xdotool windowfocus "$(desktop)"
  sleep 1
  find_icon_place
  mouse_away
  empty=$(icon_pixels)
}
