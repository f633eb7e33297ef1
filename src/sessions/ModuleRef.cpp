#include "sessions/ModuleRef.h"

#include <new>
#include <utility>

namespace vel {

ModuleRef::ModuleRef(HMODULE module)
    : _record(new (std::nothrow) Record{module, 1}) {
  if (_record != nullptr) return;
  if (module != nullptr) FreeLibrary(module);
  throw std::bad_alloc();
}

ModuleRef::ModuleRef(const ModuleRef& other) : _record(other._record) {
  ++_record->count;
}

ModuleRef& ModuleRef::operator=(ModuleRef other) {
  std::swap(_record, other._record);
  return *this;
}

ModuleRef::~ModuleRef() {
  if (--_record->count >= 1) return;
  if (_record->module != nullptr) FreeLibrary(_record->module);
  delete _record;
}

}  // namespace vel
