#!/usr/bin/env bash
# What cmake/check-paths refuses and what it lets pass.
command -v git >/dev/null || { echo "Skipped: git isn't installed"; exit 77; }
source "$(dirname "$0")/cases.sh"
unset GIT_DIR GIT_WORK_TREE GIT_INDEX_FILE

status=0
put A.txt 'no git here'
said=$("$root/cmake/check-paths" "$tree") || status=$?
[ $status -eq 77 ] && [[ $said == Skipped:* ]] || fail "without .git: $status, $said"

git init -q "$tree"
prepare() { git -C "$tree" add -A; }

# <line> | what the refusal says, nothing where it passes. An @ stands for a
# slash and a % for a backslash, since this file is tracked too.
while IFS='|' read -r line words; do
  line=${line//%/\\}
  expect check-paths A.txt "${line//@//}" "${words//@//}"
done <<'END'
#!@usr/bin/env bash|
exec 2>@dev/null; cp -r @etc/apt x; ls @usr/src/googletest @opt-in|
scratch=$(mktemp)|
ls @tmp/.X11-unix|
see build@tmp and ${XDG_CACHE_HOME:-~@.cache} and $root@work/x|
L"C:\\Users\\somebody\\Downloads"|
"C:@Users/somebody"|
L"Z:" path and \\srv\share|
http:@@home/page and <root><@root>|
cd @home/ann/brindlemar|@home/ann
-I@root/x|@root/x
x="@tmp/a.log"|@tmp/a.log
${TMPDIR:-@tmp}|@tmp
see @Users/ann.|@Users/ann.
L"Z:%%home%%ann%%x"|Z:
Z:@tmp/x|Z:
PATH=@usr/bin:@opt/x/bin|@opt/x
@workspace/x|@workspace/x
END
expect check-paths A.txt "root=$tree/x" "$tree/x"

# Only what is tracked counts.
put A.txt fine
prepare
put B.txt "$tree"
"$root/cmake/check-paths" "$tree" || fail "a file that isn't tracked is read"
finish
