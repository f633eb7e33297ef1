#!/usr/bin/env bash
# in_own_prefix.sh <command...>: runs a command in a Wine prefix of its own.
set -u
kept=()
for name in VEL_E2E_STAGE "${!GTEST_@}"; do
  kept+=("$name=${!name:-}")
done
# shellcheck source=tests/e2e/shell/own_prefix.sh
source "$(dirname "$0")/own_prefix.sh"
export "${kept[@]}"
"$@"
