# shellcheck shell=bash
# A Wine prefix of this run's own, as good as new: nothing that ran before, and
# however it ended, is seen here. Sourced by bash; `root` is the top of the
# tree, and only the variables that cmake/setup.sh keeps are left of the
# caller's environment.

# shellcheck source=cmake/setup.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../../cmake/setup.sh"

readonly skipped=77
skip() { echo "Skipped: $*"; exit $skipped; }

require_tools() {
  local tool
  for tool in "$@"; do
    command -v "$tool" >/dev/null || skip "$tool isn't installed"
  done
}
require_tools wine wineserver xdpyinfo
display_works || skip "there is no display"

end_wine() {
  wineserver -k 2>/dev/null
  wineserver -w
}

# All processes of a run have this file open under this number, so the next run
# finds what a killed one has left.
own_mark=$root/build/wine-e2e.mark
readonly own_mark mark_number=9

end_earlier_run() {
  local opened process found=1
  while [ $found -eq 1 ]; do
    found=0
    for opened in /proc/[0-9]*/fd/$mark_number; do
      [ "$opened" -ef "$own_mark" ] || continue
      process=${opened#/proc/}
      kill -KILL "${process%%/*}" 2>/dev/null && found=1
    done
  done
}

# Copies the template. The programs of Wine, several hundred megabytes that
# nothing writes to, are linked. The user's folders don't lead to the real ones.
copy_prefix() {
  local template=$1 copy=$2
  rm -rf "$copy"
  if ! { cp -al "$template" "$copy" &&
    (cd "$template" && find . -type f ! -name '*.dll' ! -name '*.exe' \
      -exec cp -p --parents --remove-destination -t "$copy" {} +) &&
    find "$copy/drive_c/users" -type l -exec rm {} \; -exec mkdir {} \;; }; then
    die "The Wine prefix can't be copied to $copy"
  fi
}

end_earlier_run
# A desktop comes up on one display only: that of other tests goes.
[ -z "${VEL_WINEPREFIX:-}" ] || WINEPREFIX=$VEL_WINEPREFIX end_wine
use_wine_prefix wine-e2e-template
end_wine
copy_prefix "$WINEPREFIX" "$root/build/wine-e2e"
use_wine_prefix wine-e2e
exec 9>"$own_mark"

trap end_wine EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM
