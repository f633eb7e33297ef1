# What ./run and ./test share: packages, builds, the Wine prefix, a display.
# Sourced by bash; `root` is the top of the tree.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
stage=$root/build/stage

packages=(g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine wine64 xvfb
  xauth xdotool imagemagick x11-utils cmake ninja-build ccache googletest
  openssl make perl nsis git)

die() { echo "$*" >&2; exit 1; }

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"
  elif command -v sudo >/dev/null; then sudo "$@"
  else die "These packages are missing and only root can install them: $*"
  fi
}

missing_packages() {
  local name
  for name in "$@"; do
    dpkg-query -W -f='${Status}' "$name" 2>/dev/null |
      grep -q 'install ok installed' || echo "$name"
  done
}

# Installs what is missing of the named Debian packages.
install_packages() {
  command -v dpkg-query >/dev/null ||
    die "The set-up installs Debian packages; see README.md for other systems."
  local missing
  missing=$(missing_packages "$@")
  [ -n "$missing" ] || return 0
  echo "Installing:" $missing
  as_root apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive as_root apt-get install -y -qq \
    --no-install-recommends $missing >"$root/build/packages.log" 2>&1 ||
    { tail -n 20 "$root/build/packages.log"; die "Packages can't be installed"; }
}

# build_preset <preset> [target...]
build_preset() {
  local preset=$1
  shift
  export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
  (cd "$root" && cmake --preset "$preset" >"build/configure-$preset.log") ||
    { tail -n 30 "$root/build/configure-$preset.log"; die "CMake failed"; }
  ninja -C "$root/build/$preset" "$@" || die "The build of $preset failed"
}

# use_wine_prefix <name>: a prefix of this tree with a shell desktop of its
# own, so that there is a notification area.
use_wine_prefix() {
  export WINEPREFIX=$root/build/$1 VEL_WINEPREFIX=$root/build/$1
  export WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree=;mshtml="
  [ -e "$WINEPREFIX/.ready" ] && return
  echo "Making the Wine prefix $WINEPREFIX"
  rm -rf "$WINEPREFIX"
  wineboot -i >/dev/null 2>&1 || die "wineboot failed"
  local explorer='HKCU\Software\Wine\Explorer'
  wine reg add "$explorer" /v Desktop /d shell /f >/dev/null
  wine reg add "$explorer\\Desktops" /v shell /d 1024x768 /f >/dev/null
  # A trap ends the program instead of opening a dialog nobody sees.
  wine reg add "HKCU\\Software\\Wine\\WineDbg" /v ShowCrashDialog /t REG_DWORD \
    /d 0 /f >/dev/null
  wineserver -w
  touch "$WINEPREFIX/.ready"
}

# Starts an X server without a screen and sets DISPLAY; its process id goes to
# `xvfb_pid`.
start_xvfb() {
  local number_file
  number_file=$(mktemp)
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp \
    3>"$number_file" >/dev/null 2>&1 &
  xvfb_pid=$!
  local i
  for i in $(seq 100); do
    [ -s "$number_file" ] && break
    sleep 0.1
  done
  [ -s "$number_file" ] || die "Xvfb doesn't start"
  DISPLAY=:$(cat "$number_file")
  export DISPLAY
  rm -f "$number_file"
}

display_works() { [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; }

mkdir -p "$root/build"
