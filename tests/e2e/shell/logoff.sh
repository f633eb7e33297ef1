#!/usr/bin/env bash
# Wine's own end of the user's session: refused by a plug-in, then agreed to.
set -u
# shellcheck source=tests/e2e/shell/common.sh
source "$(dirname "$0")/common.sh"
use_test_library

start_tray '/shex_file="x"'
expect_event 'app Normal||x|||'
echo 1 >"$product/veto"
windows wineboot -e && fail "the logoff went on over the veto"
expect_event 'query 2 session refused'
brindlemar '/shex_file="still there"' || fail "the tray doesn't answer"
expect_event 'app Normal||still there|||'

rm "$product/veto"
windows wineboot -e || fail "the logoff was refused"
expect_event 'query 2 session agreed'
expect_event 'release Normal'
expect_event destroy
echo "Passed"
