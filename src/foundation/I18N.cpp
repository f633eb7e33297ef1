#include "foundation/I18N.h"

#include <stdexcept>

#include "foundation/Paths.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constinit VelFastMutex singleton_lock;
// Never destroyed: texts are asked for until the very end.
constinit I18NApi* singleton VEL_GUARDED_BY(singleton_lock) = nullptr;

I18NApi* make_i18n() {
  try {
    return new I18NModule;
  } catch (const std::exception&) {
    return new I18NStub;
  }
}

}  // namespace

I18NModule::I18NModule() : _path(component_path(kResourceLibrary)) {
  if (_path.empty()) {
    throw std::runtime_error("I18NApi: Failed to locate installation path");
  }
  // The library holds data alone.
  _module = LoadLibraryExW(_path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
  if (_module == nullptr) {
    throw std::runtime_error("I18NApi: failed to load resource dll");
  }
}

I18NModule::~I18NModule() {
  FreeLibrary(_module);
}

std::wstring I18NModule::load_string(std::uint32_t number) {
  LastErrorKeeper keeper;
  // With no room given the answer is a pointer into the resource, which needn't
  // have a zero at its end.
  const wchar_t* text = nullptr;
  const int length =
      LoadStringW(_module, number, reinterpret_cast<wchar_t*>(&text), 0);
  if (length <= 0 || text == nullptr) return {};
  return std::wstring(text, wcsnlen(text, static_cast<std::size_t>(length)));
}

I18NApi& get_i18n() {
  LastErrorKeeper keeper;
  VelFastMutex::Scope scope(singleton_lock);
  if (singleton == nullptr) singleton = make_i18n();
  return *singleton;
}

std::wstring load_string(std::uint32_t number) {
  return get_i18n().load_string(number);
}

}  // namespace vel
