#include "sync/VelThreadFlag.h"

#include <bit>
#include <map>

#include "sync/LastErrorKeeper.h"
#include "sync/Trap.h"
#include "sync/VelSpinLock.h"

namespace vel {
namespace {

// The bits that are taken in each slot. There while there is a flag.
using SlotMap = std::map<DWORD, std::uint64_t>;

constinit VelSpinLock slots_lock;
constinit SlotMap* slots VEL_GUARDED_BY(slots_lock) = nullptr;

std::uint64_t bits_of_thread(DWORD slot) noexcept {
  static_assert(sizeof(void*) == sizeof(std::uint64_t));
  return reinterpret_cast<std::uint64_t>(TlsGetValue(slot));
}

void set_bits_of_thread(DWORD slot, std::uint64_t bits) noexcept {
  TlsSetValue(slot, reinterpret_cast<void*>(bits));
}

}  // namespace

VelThreadFlag::VelThreadFlag() {
  const VelSpinLock::Scope scope(slots_lock);
  if (slots == nullptr) slots = new SlotMap;
  for (auto& [slot, taken] : *slots) {
    if (taken == ~std::uint64_t{0}) continue;
    _slot = slot;
    _mask = std::uint64_t{1} << std::countr_one(taken);
    taken |= _mask;
    return;
  }
  _slot = TlsAlloc();
  if (_slot == TLS_OUT_OF_INDEXES) vel_trap_in_lock();
  _mask = 1;
  try {
    slots->emplace(_slot, _mask);
  } catch (...) {
    TlsFree(_slot);
    throw;
  }
}

VelThreadFlag::~VelThreadFlag() {
  const VelSpinLock::Scope scope(slots_lock);
  const auto entry = slots->find(_slot);
  entry->second &= ~_mask;
  if (entry->second != 0) return;
  TlsFree(_slot);
  slots->erase(entry);
  if (!slots->empty()) return;
  delete slots;
  slots = nullptr;
}

bool VelThreadFlag::is_clear() const noexcept {
  LastErrorKeeper keeper;
  return (bits_of_thread(_slot) & _mask) == 0;
}

bool VelThreadFlag::try_set() noexcept {
  LastErrorKeeper keeper;
  const std::uint64_t bits = bits_of_thread(_slot);
  if ((bits & _mask) != 0) return false;
  set_bits_of_thread(_slot, bits | _mask);
  return true;
}

void VelThreadFlag::clear() noexcept {
  LastErrorKeeper keeper;
  set_bits_of_thread(_slot, bits_of_thread(_slot) & ~_mask);
}

}  // namespace vel
