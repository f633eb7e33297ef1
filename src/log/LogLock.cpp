#include "log/LogLock.h"

#include "sync/NtApi.h"
#include "sync/VelSyncNt.h"

namespace vel {

void LogLock::wait() noexcept {
  std::uint32_t seen;
  do {
    if (ThreadIsTerminating()) return;
    nt::ZwYieldExecution();
    seen = 0;
  } while (!_word.compare_exchange_strong(seen, current_thread_id()));
}

}  // namespace vel
