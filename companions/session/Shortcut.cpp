#include "session/Shortcut.h"

#include <objbase.h>
#include <shlobj.h>

namespace velul {
namespace {

class [[nodiscard]] ComOnThread {
 public:
  [[nodiscard]] ComOnThread()
      : _result(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
  ~ComOnThread() {
    if (SUCCEEDED(_result)) CoUninitialize();
  }
  ComOnThread(const ComOnThread&) = delete;
  ComOnThread& operator=(const ComOnThread&) = delete;

 private:
  HRESULT _result;
};

template <class Interface>
class [[nodiscard]] ComPtr {
 public:
  ComPtr() = default;
  ~ComPtr() {
    if (_object) _object->Release();
  }
  ComPtr(const ComPtr&) = delete;
  ComPtr& operator=(const ComPtr&) = delete;
  Interface* operator->() const { return _object; }
  void** put() { return reinterpret_cast<void**>(&_object); }

 private:
  Interface* _object = nullptr;
};

HRESULT read_link(const std::wstring& path, Shortcut* shortcut) {
  const ComOnThread com;
  ComPtr<IShellLinkW> link;
  ComPtr<IPersistFile> file;
  HRESULT hr = CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IShellLinkW, link.put());
  if (SUCCEEDED(hr)) hr = link->QueryInterface(IID_IPersistFile, file.put());
  if (SUCCEEDED(hr)) hr = file->Load(path.c_str(), STGM_READ);
  if (FAILED(hr)) return hr;
  wchar_t target[MAX_PATH] = L"";
  wchar_t arguments[INFOTIPSIZE] = L"";
  wchar_t directory[MAX_PATH] = L"";
  hr = link->GetPath(target, MAX_PATH, nullptr, 0);
  if (SUCCEEDED(hr)) hr = link->GetArguments(arguments, INFOTIPSIZE);
  if (SUCCEEDED(hr)) hr = link->GetWorkingDirectory(directory, MAX_PATH);
  if (SUCCEEDED(hr)) *shortcut = {target, arguments, directory};
  return hr;
}

}  // namespace

DWORD read_shortcut(const std::wstring& path, Shortcut* shortcut) {
  Shortcut read;
  const HRESULT hr = read_link(path, &read);
  if (FAILED(hr)) {
    return HRESULT_FACILITY(hr) == FACILITY_WIN32
               ? static_cast<DWORD>(HRESULT_CODE(hr))
               : DWORD{ERROR_GEN_FAILURE};
  }
  if (read.file.empty()) return ERROR_NO_ASSOCIATION;
  *shortcut = read;
  return ERROR_SUCCESS;
}

}  // namespace velul
