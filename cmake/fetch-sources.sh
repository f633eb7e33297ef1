#!/usr/bin/env bash
# fetch-sources.sh <package>...
#
# Gets the upstream sources of Debian source packages and prints the folder of
# each. They stay in the user's cache, by package and version; what is there
# already isn't fetched again. The machine's apt configuration is only read:
# the lists of the source packages live in the cache too.
set -eu

# shellcheck source=cmake/environment.sh
source "$(dirname "${BASH_SOURCE[0]}")/environment.sh"
cache=${XDG_CACHE_HOME:-$HOME/.cache}/brindlemar
apt_dir=$cache/apt

die() { echo "fetch-sources: $*" >&2; exit 1; }

# apt-get with source lists of its own.
source_apt() {
  apt-get -qq \
    -o Dir::Etc::SourceList=/dev/null \
    -o Dir::Etc::SourceParts="$apt_dir/sources" \
    -o Dir::State::Lists="$apt_dir/lists" \
    -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache= \
    -o APT::Sandbox::User= "$@"
}

# The machine's sources, as sources of source packages.
copy_source_lists() {
  rm -rf "$apt_dir"
  mkdir -p "$apt_dir/sources" "$apt_dir/lists/partial"
  local file
  for file in /etc/apt/sources.list.d/*.sources; do
    [ -e "$file" ] || continue
    sed 's/^Types:.*/Types: deb-src/' "$file" >"$apt_dir/sources/${file##*/}"
  done
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -e "$file" ] || continue
    sed -n 's/^deb\(-src\)\?[[:space:]]/deb-src /p' "$file" |
      sort -u >"$apt_dir/sources/${file##*/}"
  done
  # A lone sources.list needs a name that apt takes from a folder.
  [ ! -e "$apt_dir/sources/sources.list" ] ||
    mv "$apt_dir/sources/sources.list" "$apt_dir/sources/machine.list"
}

update_lists() {
  [ -z "${lists_are_new:-}" ] || return 0
  copy_source_lists
  source_apt update >&2 ||
    die "the lists of source packages can't be read; mend the network or /etc/apt, then start again."
  lists_are_new=1
}

# The newest cached folder of a package; nothing when there is none.
cached_source() {
  find "$cache/sources" -maxdepth 1 -type d -name "$1-[0-9]*" 2>/dev/null |
    sort -V | tail -n 1
}

# Unpacks the upstream archive of `package` into <package>-<version>.
fetch() {
  local package=$1 work archive version target
  update_lists
  # What downloads that were cut off have left; only one runs at a time.
  rm -rf "$cache/sources"/.fetch-*
  work=$(mktemp -d "$cache/sources/.fetch-XXXXXX")
  # Without --tar-only apt asks for more files than each mirror has.
  (cd "$work" && source_apt source --download-only --tar-only "$package" >&2) ||
    { rm -rf "$work"
      die "the source of $package can't be downloaded; mend the network or /etc/apt, then start again."; }
  archive=$(find "$work" -name "${package}_*.orig.tar.*" ! -name '*.asc' |
    head -n 1)
  [ -n "$archive" ] ||
    { rm -rf "$work"; die "Debian's source of $package has no upstream archive"; }
  version=${archive##*/"${package}"_}
  version=${version%%.orig.tar.*}
  target=$cache/sources/$package-$version
  mkdir "$work/unpacked"
  tar -xf "$archive" -C "$work/unpacked" --strip-components=1 ||
    { rm -rf "$work"; die "${archive##*/} can't be unpacked; see the line above"; }
  # By renaming: a folder that is there is whole.
  mv -T "$work/unpacked" "$target"
  rm -rf "$work"
}

[ $# -gt 0 ] || die "usage: fetch-sources.sh <package>..."
mkdir -p "$cache/sources"
exec 9>"$cache/sources/lock"
flock 9
for package in "$@"; do
  [ -n "$(cached_source "$package")" ] || fetch "$package"
  cached_source "$package"
done
