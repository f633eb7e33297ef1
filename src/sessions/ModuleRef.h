#ifndef VEL_SESSIONS_MODULEREF_H_
#define VEL_SESSIONS_MODULEREF_H_

#include <windows.h>

namespace vel {

// A counted reference to a loaded library, which is freed with the last one.
// The count is plain: all copies of one reference belong under one lock.
class [[nodiscard]] ModuleRef {
 public:
  // Refers to no library.
  [[nodiscard]] ModuleRef() : ModuleRef(nullptr) {}
  // Takes over `module`, which may be null. When there is no memory for the
  // record, `module` is freed and std::bad_alloc goes out.
  [[nodiscard]] explicit ModuleRef(HMODULE module);
  ModuleRef(const ModuleRef& other);
  ModuleRef& operator=(ModuleRef other);
  ~ModuleRef();

 private:
  struct Record {
    HMODULE module;
    int count;
  };

  Record* _record;
};

}  // namespace vel

#endif  // VEL_SESSIONS_MODULEREF_H_
