# What the tests of the checks share: a made-up tree and a table of cases.
# Sourced by bash; `tree` is the tree's folder, gone with the script.

set -eu
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# put <file> <line>: the file with the line in its second place.
put() {
  mkdir -p "$tree/$(dirname "$1")"
  printf '// A made-up file.\n%s\n' "$2" >"$tree/$1"
}

# expect <check> <file> <line> <words...>: with nothing but this file and line
# in the tree the check passes in silence if there are no words, and otherwise
# refuses with the file, the line's number and the words.
expect() {
  local check=$1 file=$2 line=$3 words=${*:4} said status=0
  put "$file" "$line"
  said=$(prepare && "$root/cmake/$check" "$tree" 2>&1) || status=$?
  if [ -z "$words" ]; then
    [ "$status$said" = 0 ] || fail "$file: $line: status $status: $said"
  else
    [ $status -eq 1 ] || fail "$file: $line: status $status, not 1"
    case $said in
      "$file:2:"*"$words"*) ;;
      *) fail "$file: $line: not '$file:2: ... $words' but: $said" ;;
    esac
  fi
  rm -f "${tree:?}/$file"
}
prepare() { :; }

finish() {
  [ $failures -eq 0 ] || exit 1
  echo "All cases went as expected."
}
