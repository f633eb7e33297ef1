#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "support/LogFile.h"

namespace vel::test {
namespace fs = std::filesystem;

ScratchDirectory::ScratchDirectory() {
  static std::atomic<unsigned> serial{0};
  wchar_t temp[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, temp);
  BOOL created = FALSE;
  do {
    wchar_t name[64];
    _snwprintf(name, 64, L"veltest-%x-%u", GetCurrentProcessId(), ++serial);
    _path = std::wstring(temp) + name;
    created = CreateDirectoryW(_path.c_str(), nullptr);
    // A test that was cut off may have left one, and the id comes again.
  } while (!created && GetLastError() == ERROR_ALREADY_EXISTS);
  EXPECT_TRUE(created) << GetLastError();
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  fs::remove_all(_path, ignored);
}

std::wstring ScratchDirectory::File(const std::wstring& name) const {
  return _path + L"\\" + name;
}

std::wstring ScratchDirectory::Write(const std::wstring& name,
                                     const std::string& bytes) const {
  const fs::path path = File(name);
  fs::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(out.good());
  return path.wstring();
}

std::string ScratchDirectory::Read(const std::wstring& name) const {
  return ReadBytes(File(name));
}

bool FileExists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace vel::test
