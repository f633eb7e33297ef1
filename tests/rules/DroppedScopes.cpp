// Compiled by dropped_scopes_test.cmake, with VEL_DROP and without. Each line
// that VEL_DROP adds makes an object that holds something for a scope, and
// drops it at once; the comment at its end names the class that the compiler
// refuses.
#include <windows.h>

#include <string>

#include "common/SrwLock.h"
#include "common/UniqueHandle.h"
#include "dialogs/MenuTree.h"
#include "foundation/FindHandle.h"
#include "foundation/Registry.h"
#include "log/LogLock.h"
#include "log/LogMutex.h"
#include "log/VelProfileHolder.h"
#include "menus/HostRef.h"
#include "process/StartupTrim.h"
#include "proptree/DwlSources.h"
#include "security/Impersonator.h"
#include "session/InheritedHandle.h"
#include "sessions/ModuleRef.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScopedRegistry.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Threads.h"
#include "sync/LastErrorKeeper.h"
#include "sync/NtHandle.h"
#include "sync/ScopedHandle.h"
#include "sync/ServiceHandle.h"
#include "sync/ThreadPriority.h"
#include "sync/VelFastMutex.h"
#include "sync/VelMultiReadSpinLock.h"
#include "sync/VelRWLock.h"
#include "sync/VelRecursiveMutex.h"
#include "sync/VelRecursiveRWLock.h"
#include "sync/VelRecursiveThreadSpinLock.h"
#include "sync/VelSpinLock.h"
#include "tray/GuiIpcBlock.h"
#include "tray/SharedBlock.h"

namespace vel {

struct Locks {
  VelFastMutex fast;
  VelSpinLock spin;
  VelRWLock rw;
  VelRecursiveMutex recursive;
  VelRecursiveRWLock recursive_rw;
  VelRecursiveThreadSpinLock recursive_spin;
  VelMultiReadSpinLock multi_read;
  LogLock log;
  companion::SrwLock srw;
};

ScopedHandle make_handle();

// Scopes as they are meant; the compiler has nothing to say to these.
void keep(Locks& l) {
  const VelFastMutex::Scope scope(l.fast);
  const VelRWLock::ReadScope read_scope{l.rw};
  const LastErrorKeeper keeper;
  const ScopedHandle handle = make_handle();
}

#ifdef VEL_DROP
template <typename Lock>
void drop_in_template(Lock& lock) {
  typename Lock::Scope{lock};  // refused: LockScope
}

void drop(Locks& l, HANDLE handle, const std::wstring& text,
          VelProfileHolder& holder, velmenus::HostRef& host) {
  drop_in_template(l.fast);
  VelFastMutex::Scope{l.fast};                          // refused: LockScope
  VelFastMutex::Scope((l.fast));                        // refused: LockScope
  VelSpinLock::Scope{l.spin};                           // refused: LockScope
  VelRecursiveMutex::Scope{l.recursive};                // refused: LockScope
  VelRecursiveThreadSpinLock::Scope{l.recursive_spin};  // refused: LockScope
  LogLock::Scope{l.log};                                // refused: LockScope
  VelRWLock::ReadScope{l.rw};                      // refused: SharedLockScope
  VelRWLock::WriteScope{l.rw};                     // refused: LockScope
  VelRecursiveRWLock::ReadScope{l.recursive_rw};   // refused: SharedLockScope
  VelRecursiveRWLock::WriteScope{l.recursive_rw};  // refused: LockScope
  VelMultiReadSpinLock::ReadScope{l.multi_read};   // refused: SharedLockScope
  VelMultiReadSpinLock::WriteScope{l.multi_read};  // refused: LockScope
  companion::SrwLock::Scope{l.srw};                // refused: SrwLock::Scope
  LastErrorKeeper{};                               // refused: LastErrorKeeper
  ThreadPriorityScope{1};            // refused: ThreadPriorityScope
  VelProfileScope{holder};           // refused: VelProfileScope
  LogMutex{};                        // refused: LogMutex
  VelImpersonatorBase{};             // refused: VelImpersonatorBase
  VelImpersonateToken{handle};       // refused: VelImpersonateToken
  VelImpersonatePipeClient{handle};  // refused: VelImpersonatePipeClient
  ScopedHandle{handle};              // refused: BasicScopedHandle
  ScopedFileHandle{handle};          // refused: BasicScopedHandle
  NtHandle{handle};                  // refused: BasicScopedHandle
  ServiceHandle{nullptr};            // refused: BasicScopedHandle
  SharedHandle{handle};              // refused: SharedHandle
  make_handle();                     // refused: BasicScopedHandle
  companion::UniqueHandle{handle};   // refused: UniqueHandle
  FindScope{text};                   // refused: FindScope
  RegKeyHolder{HKEY_CURRENT_USER};   // refused: RegKeyHolder
  ModuleRef{nullptr};                // refused: ModuleRef
  GuiIpcBlock{text, text};           // refused: GuiIpcBlock
  SharedBlock{16};                   // refused: SharedBlock
  StartupTrim{1};                    // refused: StartupTrim
  DwlSources{};                      // refused: DwlSources
  velmenus::HostRef::Use{host};      // refused: HostRef::Use
  veldlg::NativeMenu{nullptr};       // refused: NativeMenu
  velul::InheritedHandle{handle};    // refused: InheritedHandle
  test::ScopedRegistry{};            // refused: ScopedRegistry
  test::ScopedVariable{text, text};  // refused: ScopedVariable
  test::ScratchDirectory{};          // refused: ScratchDirectory
  test::LogCapture{1};               // refused: LogCapture
  test::ChildProcess{text};          // refused: ChildProcess
  test::HoldingThread{[] {}};        // refused: HoldingThread
}
#endif

}  // namespace vel
