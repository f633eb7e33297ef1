#include "sync/VelSpinLock.h"

#include "log/VelLog.h"
#include "log/VelProfileHolder.h"
#include "sync/CurrentThread.h"
#include "sync/NtApi.h"

namespace vel {
namespace {

using Word = std::atomic<std::uint32_t>;

constexpr unsigned kLastThreadMask = 0xFF;
constexpr unsigned kProbePasses = 0x10000;
constexpr LARGE_INTEGER kProbePause = {.QuadPart = -500'000};  // 50 ms

unsigned shown(const Word* word) {
  return static_cast<unsigned>(reinterpret_cast<UINT_PTR>(word));
}

// Gives the owner that was found, 0 when the lock is taken.
std::uint32_t try_take(Word* word, std::uint32_t me) {
  std::uint32_t seen = 0;
  word->compare_exchange_strong(seen, me);
  return seen;
}

NTSTATUS probe_thread(std::uint32_t id) {
  OBJECT_ATTRIBUTES attributes = {};
  attributes.Length = sizeof(attributes);
  CLIENT_ID client = {};
  client.UniqueProcess =
      reinterpret_cast<HANDLE>(UINT_PTR{current_process_id()});
  client.UniqueThread = reinterpret_cast<HANDLE>(UINT_PTR{id});
  HANDLE thread = nullptr;
  const NTSTATUS status =
      nt::ZwOpenThread(&thread, SYNCHRONIZE, &attributes, &client);
  if (nt::succeeded(status)) nt::ZwClose(thread);
  return status;
}

bool steal_as_last(Word* word, std::uint32_t owner, std::uint32_t me) {
  if (!ThreadIsTerminating()) return false;
  std::uint32_t seen = owner;
  if (!word->compare_exchange_strong(seen, me)) return false;
  VelLog_Print(kLogError,
               L"VelSpinLock(0x%x)::WaitLoop - locker=0x%x, but I'm last",
               shown(word), owner);
  return true;
}

bool steal_from_dead(Word* word, std::uint32_t owner, std::uint32_t me) {
  const NTSTATUS status = probe_thread(owner);
  if (nt::succeeded(status) || status == nt::kStatusAccessDenied) return false;
  std::uint32_t seen = owner;
  if (!word->compare_exchange_strong(seen, me)) return false;
  VelLog_Print(kLogError, L"VelSpinLock(0x%x)::WaitLoop - locker=0x%x rv=0x%x",
               shown(word), owner, static_cast<unsigned>(status));
  return true;
}

}  // namespace

void VelSpinLock::WaitLoop(Word* word) {
  VEL_PROFILE_SCOPE("VelSpinLock::WaitLoop");
  const std::uint32_t me = current_thread_id();
  unsigned passes = 1;
  // `seen` is the owner of this very pass: the word can change hands meanwhile,
  // and only that owner may be robbed.
  for (std::uint32_t seen = try_take(word, me); seen != 0;
       seen = try_take(word, me), ++passes) {
    if ((passes & kLastThreadMask) == 0) {
      if (steal_as_last(word, seen, me)) return;
      if (passes >= kProbePasses) {
        if (steal_from_dead(word, seen, me)) return;
        nt::ZwDelayExecution(FALSE, &kProbePause);
        passes = 1;
      }
    }
    nt::ZwYieldExecution();
  }
}

}  // namespace vel
