#include "log/LogLock.h"

#include "sync/CurrentThread.h"
#include "sync/NtApi.h"

namespace vel {

void wait_for_word(std::atomic<std::uint32_t>& word,
                   std::uint32_t mark) noexcept {
  std::uint32_t seen;
  do {
    if (ThreadIsTerminating()) return;
    nt::ZwYieldExecution();
    seen = 0;
  } while (!word.compare_exchange_strong(seen, mark));
}

bool try_word(std::atomic<std::uint32_t>& word, std::uint32_t mark,
              DWORD milliseconds) noexcept {
  const DWORD start = GetTickCount();
  for (;;) {
    std::uint32_t seen = 0;
    if (word.compare_exchange_strong(seen, mark)) return true;
    if (seen == mark || GetTickCount() - start >= milliseconds ||
        ThreadIsTerminating()) {
      return false;
    }
    nt::ZwYieldExecution();
  }
}

}  // namespace vel
