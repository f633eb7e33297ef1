#!/usr/bin/env bash
# build-dependency.sh <library>...
#
# Cross-builds libraries from their Debian sources and prints the folder of
# each, which has include/ and lib/. The results stay in the user's cache, by
# version of the source and by what went into the build (recipe and compiler),
# so a changed recipe builds again.
#
# A library is a function build_<library> <source folder> <result folder>, run
# in a scratch folder; its steps are joined by &&, since its caller tests it.
set -eu

# CMake, which calls this, exports compilers of its own.
# shellcheck source=cmake/environment.sh
source "$(dirname "${BASH_SOURCE[0]}")/environment.sh"
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/brindlemar
jobs=$(nproc)

die() { echo "build-dependency: $*" >&2; exit 1; }

build_benchmark() {
  cmake -G Ninja -S "$1" -B . \
    -DCMAKE_TOOLCHAIN_FILE="$here/toolchain-mingw.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$2" \
    -DCMAKE_INSTALL_LIBDIR=lib -DBENCHMARK_ENABLE_TESTING=OFF \
    -DBENCHMARK_ENABLE_WERROR=OFF -DBENCHMARK_INSTALL_DOCS=OFF &&
  ninja -j "$jobs" install
}

# libcrypto alone, without what opens files, sockets or libraries of its own.
build_openssl() {
  "$1/Configure" mingw64 --cross-compile-prefix=x86_64-w64-mingw32- \
    --prefix="$2" --libdir=lib no-shared no-tests no-ssl no-engine \
    no-dso no-sock no-module no-autoload-config no-ui-console no-async \
    no-legacy no-srp no-ct no-cmp no-cms no-ts no-ocsp &&
  make build_generated &&
  make -j "$jobs" libcrypto.a &&
  mkdir -p "$2/lib" "$2/include" &&
  cp libcrypto.a "$2/lib" &&
  cp -r "$1/include/openssl" "$2/include" &&
  cp -r include/openssl "$2/include"
}

# The 8-bit library alone.
build_pcre3() {
  "$1/configure" --host=x86_64-w64-mingw32 --prefix="$2" \
    CC=x86_64-w64-mingw32-gcc-posix --disable-shared --disable-cpp \
    --disable-dependency-tracking &&
  make -j "$jobs" libpcre.la &&
  mkdir -p "$2/lib" "$2/include" &&
  cp .libs/libpcre.a "$2/lib" &&
  cp pcre.h "$2/include"
}

# What went into the build of a library, as a short text.
build_key() {
  { declare -f "build_$1"
    cat "$here/toolchain-mingw.cmake"
    x86_64-w64-mingw32-g++-posix --version
  } | sha256sum | cut -c 1-12
}

build() {
  local library=$1 source result work log
  source=$("$here/fetch-sources.sh" "$library")
  result=$cache/built/${source##*/}-$(build_key "$library")
  if [ ! -d "$result" ]; then
    echo "Building ${source##*/}" >&2
    # What builds that were cut off have left; only one runs at a time.
    rm -rf "$cache/built"/.build-*
    work=$(mktemp -d "$cache/built/.build-XXXXXX")
    log=$cache/built/$library.log
    mkdir "$work/scratch"
    (cd "$work/scratch" && "build_$library" "$source" "$work/result") \
      >"$log" 2>&1 ||
      { tail -n 30 "$log" >&2
        rm -rf "$work"
        die "$library can't be built: mend what the lines above name (all of them: $log), then start again."; }
    # By renaming: a folder that is there is whole.
    mv -T "$work/result" "$result"
    rm -rf "$work"
  fi
  echo "$result"
}

[ $# -gt 0 ] || die "usage: build-dependency.sh <library>..."
mkdir -p "$cache/built"
exec 8>"$cache/built/lock"
flock 8
for library in "$@"; do
  declare -F "build_$library" >/dev/null || die "no recipe for $library"
  build "$library"
done
