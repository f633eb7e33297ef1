#include "sync/CurrentThread.h"

#include "sync/NtApi.h"

namespace vel {

bool ThreadIsTerminating() noexcept {
  ULONG terminating = 0;
  const NTSTATUS status =
      nt::ZwQueryInformationThread(GetCurrentThread(), nt::kThreadIsTerminating,
                                   &terminating, sizeof(terminating), nullptr);
  return nt::succeeded(status) && terminating != 0;
}

}  // namespace vel
