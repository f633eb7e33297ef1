#include "log/NtValue.h"

#include <cstddef>
#include <cstring>

#include "sync/NtApi.h"

namespace vel {
namespace {

// KEY_VALUE_PARTIAL_INFORMATION, with room for its data.
struct PartialValue {
  ULONG title_index;
  ULONG type;
  ULONG data_length;
  unsigned char data[64];
};

}  // namespace

NTSTATUS read_exact_value(HANDLE key, const wchar_t* name, void* data,
                          ULONG size) noexcept {
  PartialValue value;
  UNICODE_STRING value_name;
  nt::RtlInitUnicodeString(&value_name, name);
  ULONG returned;
  const NTSTATUS status = nt::ZwQueryValueKey(
      key, &value_name, nt::kKeyValuePartialInformation, &value,
      static_cast<ULONG>(offsetof(PartialValue, data)) + size, &returned);
  if (!nt::succeeded(status)) return status;
  if (value.data_length != size) return nt::kStatusBufferTooSmall;
  std::memcpy(data, value.data, size);
  return nt::kStatusSuccess;
}

}  // namespace vel
