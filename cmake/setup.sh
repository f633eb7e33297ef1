# shellcheck shell=bash
# What ./run and ./test share: packages, builds, the Wine prefix, a display.
# Sourced by bash; `root` is the top of the tree.

# shellcheck source=cmake/environment.sh
source "$(dirname "${BASH_SOURCE[0]}")/environment.sh"
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
stage=$root/build/stage

# All that a step here or a script of the tests calls and that Debian doesn't
# install by itself. bzip2 and xz-utils unpack the sources of the dependencies.
packages=(g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine wine64 xvfb
  xauth xdotool imagemagick x11-utils cmake ninja-build ccache googletest
  openssl make perl nsis git bzip2 xz-utils)

# The last line of a failure says what to do.
die() { echo "$*" >&2; exit 1; }

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"
  elif command -v sudo >/dev/null; then sudo "$@"
  else die "Only root can do this; run it as root, then start again: $*"
  fi
}

check_home() {
  mkdir -p "${XDG_CACHE_HOME:-$HOME/.cache}" 2>/dev/null &&
    [ -w "${XDG_CACHE_HOME:-$HOME/.cache}" ] ||
    die "Nothing can be kept in ${XDG_CACHE_HOME:-$HOME/.cache}; set XDG_CACHE_HOME to a folder that can be written, then start again."
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
  local missing log=$root/build/packages.log
  mapfile -t missing < <(missing_packages "$@")
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing: ${missing[*]}"
  # An installation that was cut off has to be ended first.
  { as_root dpkg --configure -a && as_root apt-get update; } >"$log" 2>&1 ||
    { tail -n 20 "$log" >&2
      die "The lists of packages can't be read; mend the network or /etc/apt, then start again."; }
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y \
    --no-install-recommends "${missing[@]}" >>"$log" 2>&1 ||
    { tail -n 20 "$log" >&2
      die "Install what is missing by hand, then start again: apt-get install ${missing[*]}"; }
}

# build_preset <preset> [target...]
build_preset() {
  local preset=$1
  shift
  export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
  local earlier=$root/build/$preset/CMakeCache.txt
  # What an earlier configuration left may be cut off or belong to another
  # place of the tree: the second attempt starts without it.
  { [ -e "$earlier" ] && configure_preset "$preset" 2>/dev/null; } ||
    configure_preset "$preset" --fresh ||
    { tail -n 30 "$root/build/configure-$preset.log" >&2
      die "Mend what the lines above name, then start again (all of it: build/configure-$preset.log)."; }
  ninja -C "$root/build/$preset" "$@" ||
    die "Mend the error above (or remove build/$preset, when the tree is unchanged), then start again."
}
configure_preset() {
  local preset=$1
  shift
  (cd "$root" && cmake --preset "$preset" "$@") >"$root/build/configure-$preset.log"
}

# use_wine_prefix <name>: a prefix of this tree with a shell desktop of its
# own, so that there is a notification area.
use_wine_prefix() {
  export WINEPREFIX=$root/build/$1 VEL_WINEPREFIX=$root/build/$1
  # Without its debugger Wine ends a program that crashes with the program's own
  # status; with it, a breakpoint would count as success.
  export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree=;mshtml=;winedbg.exe=d"
  [ -e "$WINEPREFIX/.ready" ] && return
  echo "Making the Wine prefix $WINEPREFIX"
  if [ -e "$WINEPREFIX" ]; then
    wineserver -k || true
    wineserver -w
    rm -rf "$WINEPREFIX"
  fi
  wineboot -i >"$root/build/wineboot.log" 2>&1 ||
    { tail -n 20 "$root/build/wineboot.log" >&2
      die "Wine can't make its prefix; see whether 'wine --version' works and the disk has room, then start again."; }
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
  [ -s "$number_file" ] ||
    die "Xvfb doesn't start; try 'Xvfb :99' by hand, mend what it says, then start again."
  DISPLAY=:$(cat "$number_file")
  export DISPLAY
  rm -f "$number_file"
}

display_works() { [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; }

mkdir -p "$root/build"
check_home
