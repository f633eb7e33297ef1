#include "support/LogFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>

#include "log/LogFormat.h"
#include "swlcat/StreamFile.h"
#include "sync/ScopedHandle.h"

namespace vel::test {
namespace {

// "[tick:process:thread:level] text"
LogLine ParseLine(const std::wstring& line) {
  LogLine parsed;
  const int fields =
      std::swscanf(line.c_str(), L"[%x:%x:%x:%x] ", &parsed.tick,
                   &parsed.process, &parsed.thread, &parsed.level);
  EXPECT_EQ(fields, 4) << "a record without a prefix";
  if (fields == 4) parsed.text = line.substr(line.find(L"] ") + 2);
  return parsed;
}

}  // namespace

std::wstring PrivateKeyPath() {
  return VEL_LOG_PRIVATE_KEY;
}

bool HasPrivateKey() {
  return !ReadBytes(VEL_LOG_PRIVATE_KEY).empty();
}

std::string ReadBytes(const std::wstring& path) {
  const ScopedFileHandle file(
      CreateFileW(path.c_str(), GENERIC_READ,
                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return {};
  std::string bytes(GetFileSize(file.get(), nullptr), '\0');
  DWORD got = 0;
  EXPECT_TRUE(ReadFile(file.get(), bytes.data(),
                       static_cast<DWORD>(bytes.size()), &got, nullptr));
  bytes.resize(got);
  return bytes;
}

std::string ReadUnits(const std::wstring& path) {
  std::wstring error;
  const auto key = swlcat::PrivateKey::load(PrivateKeyPath(), error);
  const auto file =
      swlcat::StreamFile::open(path, key.value_or(swlcat::PrivateKey()), error);
  EXPECT_TRUE(file) << error;
  if (!file) return std::string(kLogUnitBytes, '\0');
  std::string units;
  unsigned char part[0x1000];
  const std::uint64_t begin = file->begin();
  while (const std::size_t count =
             file->read(begin + units.size(), part, sizeof part)) {
    units.append(reinterpret_cast<char*>(part), count);
  }
  EXPECT_EQ(begin + units.size(), file->size());
  EXPECT_EQ(std::memcmp(units.data(), kLogLeadIn, kLogUnitBytes), 0);
  return units;
}

std::vector<LogLine> ReadLog(const std::wstring& path) {
  const std::string units = ReadUnits(path).substr(kLogUnitBytes);
  std::wstring text(units.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), units.data(), text.size() * sizeof(wchar_t));
  std::vector<LogLine> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    EXPECT_EQ(begin % kLogUnitChars, 0u) << "a record off its place";
    const std::size_t end = text.find(L"\r\n", begin);
    EXPECT_NE(end, std::wstring::npos) << "a record without an end";
    if (end == std::wstring::npos) break;
    lines.push_back(ParseLine(text.substr(begin, end - begin)));
    begin = text.find_first_not_of(L'\0', end + 2);
  }
  return lines;
}

}  // namespace vel::test
