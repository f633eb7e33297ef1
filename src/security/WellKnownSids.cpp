#include "security/WellKnownSids.h"

#include <sddl.h>

#include <utility>

#include "security/KeptUntilExit.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constinit VelFastMutex sids_lock;

// One of the six, which share the lock. No destructor: it may be asked for
// after it was freed.
class KeptSid {
 public:
  explicit constexpr KeptSid(const wchar_t* literal) noexcept
      : _literal(literal) {}
  KeptSid(const KeptSid&) = delete;
  KeptSid& operator=(const KeptSid&) = delete;

  PSID get();
  // Under the lock, which FreeAtExit takes.
  void free() noexcept VEL_NO_THREAD_ANALYSIS {
    LocalFree(std::exchange(_sid, nullptr));
  }

 private:
  const wchar_t* const _literal;
  PSID _sid VEL_GUARDED_BY(sids_lock) = nullptr;
};

constinit KeptSid local{L"S-1-2-0"};
constinit KeptSid everyone{L"S-1-1-0"};
constinit KeptSid restricted{L"S-1-5-12"};
constinit KeptSid local_system{L"S-1-5-18"};
constinit KeptSid interactive{L"S-1-5-4"};
constinit KeptSid administrators{L"S-1-5-32-544"};
const FreeAtExit free_sids(sids_lock, local, everyone, restricted, local_system,
                           interactive, administrators);

PSID KeptSid::get() {
  const VelFastMutex::Scope scope(sids_lock);
  if (_sid != nullptr) return _sid;
  const LastErrorKeeper keeper;
  PSID made = nullptr;
  if (ConvertStringSidToSidW(_literal, &made)) _sid = made;
  return _sid;
}

}  // namespace

PSID LookupSidLocal() {
  return local.get();
}

PSID LookupSidEveryone() {
  return everyone.get();
}

PSID LookupSidRestricted() {
  return restricted.get();
}

PSID LookupSidSystem() {
  return local_system.get();
}

PSID LookupSidInteractive() {
  return interactive.get();
}

PSID LookupSidAdministrators() {
  return administrators.get();
}

}  // namespace vel
