#include "process/ScratchProgram.h"

#include <gtest/gtest.h>

#include "foundation/Product.h"

namespace vel::test {
namespace {

constexpr int kTextControl = 0xFFFF;
constexpr int kLooksForBox = 400;
constexpr DWORD kMsBetweenLooks = 50;

// The build's directory, above that of the test programs.
std::wstring BuildDirectory() {
  const std::wstring program = TestProgramPath();
  return program.substr(0, program.find_last_of(L'\\') + 1) + L"..\\";
}

std::optional<std::wstring> ReadEnvironment(const wchar_t* name) {
  wchar_t value[4096];
  SetLastError(ERROR_SUCCESS);
  const DWORD length = GetEnvironmentVariableW(name, value, ARRAYSIZE(value));
  if (length == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return {};
  return std::wstring(value, length);
}

std::wstring TextOf(HWND window) {
  wchar_t text[1024] = {};
  SendMessageW(window, WM_GETTEXT, ARRAYSIZE(text),
               reinterpret_cast<LPARAM>(text));
  return text;
}

struct BoxSearch {
  DWORD process;
  HWND found;
};

BOOL CALLBACK LookForBox(HWND window, LPARAM parameter) {
  auto* const search = reinterpret_cast<BoxSearch*>(parameter);
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  wchar_t name[32] = {};
  GetClassNameW(window, name, ARRAYSIZE(name));
  if (process != search->process || std::wstring(name) != L"#32770" ||
      !IsWindowVisible(window)) {
    return TRUE;
  }
  search->found = window;
  return FALSE;
}

}  // namespace

ScopedEnvironment::ScopedEnvironment(const wchar_t* name,
                                     const std::wstring& value)
    : _name(name), _before(ReadEnvironment(name)) {
  SetEnvironmentVariableW(name, value.c_str());
}

ScopedEnvironment::~ScopedEnvironment() {
  SetEnvironmentVariableW(_name, _before ? _before->c_str() : nullptr);
}

ScopedUserValue::ScopedUserValue(const wchar_t* name) : _name(name) {
  wchar_t data[1024] = {};
  DWORD size = sizeof data;
  if (RegGetValueW(HKEY_CURRENT_USER, kProductKey, name, RRF_RT_ANY, &_type,
                   data, &size) == ERROR_SUCCESS) {
    _data.assign(data, (size + 1) / sizeof(wchar_t));
  }
}

ScopedUserValue::~ScopedUserValue() {
  Remove();
  if (_type == REG_NONE) return;
  RegSetKeyValueW(
      HKEY_CURRENT_USER, kProductKey, _name, _type, _data.data(),
      static_cast<DWORD>(_type == REG_DWORD ? sizeof(DWORD)
                                            : _data.size() * sizeof(wchar_t)));
}

void ScopedUserValue::Set(DWORD value) {
  ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kProductKey, _name, REG_DWORD,
                            &value, sizeof value),
            ERROR_SUCCESS);
}

void ScopedUserValue::Remove() {
  RegDeleteKeyValueW(HKEY_CURRENT_USER, kProductKey, _name);
}

ScratchProgram::ScratchProgram(Texts texts)
    : _data(L"APPDATA", _scratch.File(L"data")),
      _temp(L"TEMP", _scratch.path()),
      _tmp(L"TMP", _scratch.path()),
      _program_directory(L"VELDIR", L"C:\\nowhere") {
  Add(L"bin\\Brindlemar.exe");
  if (texts == kWithTexts) Add(L"product\\VELRCS.dll");
}

void ScratchProgram::Add(const std::wstring& file) const {
  const std::wstring name = file.substr(file.find_last_of(L'\\') + 1);
  EXPECT_TRUE(CopyFileW((BuildDirectory() + file).c_str(),
                        _scratch.File(name).c_str(), TRUE))
      << GetLastError();
}

std::wstring ScratchProgram::CommandLine(const std::wstring& arguments) const {
  return L"\"" + _scratch.File(L"Brindlemar.exe") + L"\" " + arguments;
}

ChildProcess ScratchProgram::Start(const std::wstring& arguments) const {
  return ChildProcess::Start(CommandLine(arguments));
}

std::optional<DWORD> ScratchProgram::Run(const std::wstring& arguments) const {
  return Start(arguments).Wait();
}

std::wstring ScratchProgram::Text(UINT number) const {
  const HMODULE library = LoadLibraryExW(_scratch.File(L"VELRCS.dll").c_str(),
                                         nullptr, LOAD_LIBRARY_AS_DATAFILE);
  wchar_t text[1024] = {};
  EXPECT_GT(LoadStringW(library, number, text, ARRAYSIZE(text)), 0);
  FreeLibrary(library);
  return text;
}

std::wstring ScratchProgram::DataDirectory() const {
  return _scratch.File(L"data\\Tessavane\\VEL\\");
}

std::optional<SeenMessageBox> DismissMessageBox(const ChildProcess& process) {
  BoxSearch search = {process.id(), nullptr};
  for (int look = 0; look < kLooksForBox && !search.found; ++look) {
    Sleep(kMsBetweenLooks);
    EnumWindows(&LookForBox, reinterpret_cast<LPARAM>(&search));
  }
  if (!search.found) return {};
  const SeenMessageBox box = {TextOf(GetDlgItem(search.found, kTextControl)),
                              TextOf(search.found)};
  PostMessageW(search.found, WM_COMMAND, IDOK, 0);
  return box;
}

}  // namespace vel::test
