// Where the stream key lives between the processes of a user: a registry key
// that goes away with the user's hive.

#include "log/StreamKey.h"

#include <cstring>
#include <cwchar>

#include "log/LogText.h"
#include "log/NtValue.h"
#include "sync/NtHandle.h"

namespace vel {
namespace {

constexpr wchar_t kSubkey[] = L"\\Software\\AppDataLow\\VELVolatile\\VelLog";
constexpr wchar_t kValue[] = L"key";
constexpr std::size_t kPathChars = 256;

// The patience with another process that is about to store its key.
constexpr int kReads = 101;
constexpr DWORD kReadInterval = 30;  // ms

constexpr std::uint32_t kNoHandle = 5;
enum ReadResult : std::uint32_t {
  kRead = 0,
  kUnreadable = 2,
  kWrongLength = 24,
};

// The full name of the registry key; `below` is where the levels below the
// user's hive begin.
struct KeyPath {
  wchar_t text[kPathChars] = {};
  std::size_t below = 0;

  [[nodiscard]] NTSTATUS init() noexcept {
    UNICODE_STRING user;
    const NTSTATUS status = nt::RtlFormatCurrentUserKeyPath(&user);
    if (!nt::succeeded(status)) return status;
    below = user.Length / sizeof(wchar_t);
    const bool fits = below + std::size(kSubkey) <= kPathChars;
    if (fits) {
      std::wmemcpy(text, user.Buffer, below);
      std::wmemcpy(text + below, kSubkey, std::size(kSubkey));
    }
    nt::RtlFreeUnicodeString(&user);
    return fits ? nt::kStatusSuccess : nt::kStatusBufferTooSmall;
  }
};

ReadResult read_key(HANDLE key, StreamKeyBlock& block) noexcept {
  const NTSTATUS status = read_exact_value(key, kValue, block, kStreamKeyBytes);
  if (nt::succeeded(status)) return kRead;
  return status == nt::kStatusBufferOverflow ||
                 status == nt::kStatusBufferTooSmall
             ? kWrongLength
             : kUnreadable;
}

bool wait_for_key(HANDLE key, StreamKeyBlock& block) noexcept {
  for (int read = 0; read < kReads; ++read) {
    if (read != 0) Sleep(kReadInterval);
    if (read_key(key, block) == kRead) return true;
  }
  return false;
}

bool read_existing(const KeyPath& path, StreamKeyBlock& block) noexcept {
  NtHandle key;
  NtObjectName name(path.text);
  return nt::succeeded(nt::ZwOpenKey(key.put(), KEY_READ, name.attributes())) &&
         read_key(key.get(), block) == kRead;
}

// The registry key, made level by level where it is missing.
class KeyMaker {
 public:
  // The status of the last level; key() has no handle on failure.
  [[nodiscard]] NTSTATUS run(KeyPath path) noexcept {
    NTSTATUS status = nt::kStatusSuccess;
    for (std::size_t end = path.below + 1;; ++end) {
      const wchar_t separator = path.text[end];
      if (separator != L'\\' && separator != L'\0') continue;
      path.text[end] = L'\0';
      status = open_level(path.text, separator == L'\0');
      path.text[end] = separator;
      if (separator == L'\0') return status;
    }
  }

  [[nodiscard]] HANDLE key() const noexcept { return _key.get(); }
  // This process has made the key or one of those above it.
  [[nodiscard]] bool created() const noexcept { return _created; }

 private:
  [[nodiscard]] NTSTATUS open_level(const wchar_t* path, bool last) noexcept {
    NtObjectName name(path);
    NTSTATUS status =
        nt::ZwOpenKey(_key.put(), MAXIMUM_ALLOWED, name.attributes());
    if (nt::succeeded(status)) return status;
    ULONG disposition = 0;
    status = nt::ZwCreateKey(
        _key.put(), MAXIMUM_ALLOWED, name.attributes(), 0, nullptr,
        last ? REG_OPTION_VOLATILE : REG_OPTION_NON_VOLATILE, &disposition);
    if (disposition == REG_CREATED_NEW_KEY) _created = true;
    return status;
  }

  NtHandle _key;
  bool _created = false;
};

std::uint32_t make_and_store(const KeyMaker& maker,
                             StreamKeyBlock& block) noexcept {
  make_stream_key(block);
  StreamKeyBlock other = {};
  if (!maker.created() && read_key(maker.key(), other) == kRead) {
    std::memcpy(block, other, sizeof other);
    return 0;
  }
  UNICODE_STRING name;
  nt::RtlInitUnicodeString(&name, kValue);
  return static_cast<std::uint32_t>(nt::ZwSetValueKey(
      maker.key(), &name, 0, REG_BINARY, block, kStreamKeyBytes));
}

}  // namespace

std::uint32_t get_stream_key(StreamKeyBlock& block) noexcept {
  std::memset(block, 0, sizeof block);
  KeyPath path;
  NTSTATUS status = path.init();
  if (!nt::succeeded(status)) return static_cast<std::uint32_t>(status);
  if (read_existing(path, block)) return 0;
  KeyMaker maker;
  status = maker.run(path);
  if (maker.key() == nullptr) {
    return status != 0 ? static_cast<std::uint32_t>(status) : kNoHandle;
  }
  if (!maker.created() && wait_for_key(maker.key(), block)) return 0;
  return make_and_store(maker, block);
}

}  // namespace vel
