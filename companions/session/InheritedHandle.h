// The attribute list that lets a new process inherit one handle and no other.
#ifndef VEL_COMPANIONS_SESSION_INHERITEDHANDLE_H_
#define VEL_COMPANIONS_SESSION_INHERITEDHANDLE_H_

#include <windows.h>

namespace velul {

// `handle` has to be inheritable; null makes a list that is none.
class [[nodiscard]] InheritedHandle {
 public:
  [[nodiscard]] explicit InheritedHandle(HANDLE handle) : _handle(handle) {
    SIZE_T size = sizeof _list;
    const auto list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(_list);
    if (!handle || !InitializeProcThreadAttributeList(list, 1, 0, &size)) {
      return;
    }
    _made = list;
    if (!UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                   &_handle, sizeof _handle, nullptr,
                                   nullptr)) {
      clear();
    }
  }
  ~InheritedHandle() { clear(); }
  InheritedHandle(const InheritedHandle&) = delete;
  InheritedHandle& operator=(const InheritedHandle&) = delete;

  // False when the list couldn't be made; the last error says why.
  bool usable() const { return !_handle || _made; }
  LPPROC_THREAD_ATTRIBUTE_LIST list() const { return _made; }

 private:
  void clear() {
    if (_made) DeleteProcThreadAttributeList(_made);
    _made = nullptr;
  }

  // A list of one attribute takes 48 bytes on x64.
  alignas(void*) unsigned char _list[128];
  HANDLE _handle;
  LPPROC_THREAD_ATTRIBUTE_LIST _made = nullptr;
};

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_INHERITEDHANDLE_H_
