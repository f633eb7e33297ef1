// The texts for the user, by number, out of the language-resource library
// VELRCS.dll. The numbers are in vel/StringIds.h.
#ifndef VEL_FOUNDATION_I18N_H_
#define VEL_FOUNDATION_I18N_H_

#include <windows.h>

#include <cstdint>
#include <string>

namespace vel {

inline constexpr wchar_t kResourceLibrary[] = L"VELRCS.dll";

// Where the texts come from. Any thread.
class I18NApi {
 public:
  // Empty for a number without text.
  virtual std::wstring load_string(std::uint32_t number) = 0;
  // The library, loaded as data; null when there is none.
  virtual HMODULE module() = 0;
  virtual std::wstring path() = 0;

 protected:
  ~I18NApi() = default;
};

// The library as component_path() finds it.
class I18NModule final : public I18NApi {
 public:
  // Throws std::runtime_error when the library can't be found or loaded.
  I18NModule();
  ~I18NModule();
  I18NModule(const I18NModule&) = delete;
  I18NModule& operator=(const I18NModule&) = delete;

  std::wstring load_string(std::uint32_t number) override;
  HMODULE module() override { return _module; }
  std::wstring path() override { return _path; }

 private:
  HMODULE _module = nullptr;
  std::wstring _path;
};

// Stands in where there is no library: all texts are empty.
class I18NStub final : public I18NApi {
 public:
  std::wstring load_string(std::uint32_t) override { return {}; }
  HMODULE module() override { return nullptr; }
  std::wstring path() override { return {}; }
};

// The process's texts, made at the first call and kept to its end: of the
// library, or the stand-in if that can't be loaded. module() tells which.
I18NApi& get_i18n();

// get_i18n().load_string(number).
std::wstring load_string(std::uint32_t number);

}  // namespace vel

#endif  // VEL_FOUNDATION_I18N_H_
