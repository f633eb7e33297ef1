#!/usr/bin/env bash
# What cmake/check-includes refuses and what it lets pass.
source "$(dirname "$0")/cases.sh"

# <file> | <line> | what the refusal says, nothing where it passes
while IFS='|' read -r file line words; do
  expect check-includes $file "$line" "$words"
done <<'END'
src/process/A.cpp|#include "tray/B.h"|
src/process/A.cpp|#include "log/B.h"|
src/sessions/A.h|#include "sessions/B.h"|
src/usage/A.cpp|#include "browser/B.h"|
src/sync/A.cpp|#include "log/VelLog.h"|
src/log/A.cpp|#include "sync/OnceGuard.h"|
src/foundation/A.cpp|#include "vel/GuiIpc.h"|
src/foundation/A.cpp|#include <windows.h>|
src/foundation/A.cpp|#include <openssl/evp.h>|
src/foundation/A.cpp|// #include "tray/B.h"|
include/vel/A.h|#include "vel/B.h"|
companions/menus/A.cpp|#include "common/B.h"|
tools/velctl/A.cpp|#include "tray/GuiIpc.h"|
tools/swlcat/A.cpp|#include "log/LogFormat.h"|
src/tray/A.cpp|#include "process/B.h"|"process/B.h": src/tray/ may include tray/ sessions/
src/sessions/A.cpp|#include "tray/B.h"|src/sessions/ may include
src/foundation/deep/A.h|#include "security/B.h"|src/foundation/ may include
src/sync/A.h|#include "foundation/B.h"|src/sync/ may include
src/browser/A.cpp|#include "usage/B.h"|src/browser/ may include
src/channels/A.cpp|#include "browser/B.h"|src/channels/ may include
src/security/A.cpp|#include "proptree/B.h"|src/security/ may include
src/sync/A.cpp|#include "log/LogLock.h"|src/sync/ may include
src/log/A.cpp|#include "sync/VelSyncNt.h"|src/log/ may include
include/vel/A.h|#include "sync/Trap.h"|include/vel/ may include vel/
companions/menus/A.cpp|#include "sync/Trap.h"|companions/menus/ may include
companions/menus/A.cpp|#include "session/B.h"|companions/menus/ may include
companions/common/A.h|#include "vel/B.h"|companions/common/ may include
companions/menus/A.rc|#include "tray/B.rch"|companions/menus/ may include
companions/driver/A.c|#include "service/B.h"|companions/driver/ may include
tools/swlcat/A.cpp|#include "log/VelLog.h"|tools/swlcat/ may include
src/tray/A.cpp|#include "tests/B.h"|src/tray/ may include
src/tray/A.cpp|  #  include	"process/B.h"|src/tray/ may include
src/tray/A.cpp|#include <process/B.h>|src/tray/ may include
src/tray/A.cpp|#include <Process/B.h>|src/tray/ may include
src/tray/A.cpp|#include <src/process/B.h>|src/tray/ may include
src/tray/A.cpp|#include "B.h"|"B.h": src/tray/ may include
src/foundation/A.cpp|#include "LogKey.h"|src/foundation/ may include
src/tray/A.cpp|#include "../process/B.h"|is relative or absolute
src/tray/A.cpp|#include "tray/../process/B.h"|is relative or absolute
src/tray/A.cpp|#include "process\B.h"|is relative or absolute
src/tray/A.cpp|#include "./B.h"|is relative or absolute
src/tray/A.cpp|#include B_HEADER|names its file
END

# A folder without a row, whatever its files include.
put src/fresh/A.cpp ''
said=$("$root/cmake/check-includes" "$tree") && fail "a folder without a row passes"
[[ $said == "src/fresh/A.cpp:1: this folder has no row"* ]] || fail "fresh: $said"
finish
