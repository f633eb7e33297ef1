#include "proptree/VelPropTreeStore.h"

#include <windows.h>

#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>

#include "log/VelLog.h"
#include "proptree/VelFileStream.h"
#include "proptree/VelPropPacker.h"

namespace vel {

namespace {

// What a failure leaves as the last error: that of the call that failed, or
// what it was before. A throw may change it, the first of a process does.
std::uint32_t failure_of(const VelFileStream& stream, std::uint32_t before) {
  return stream.error() != ERROR_SUCCESS ? stream.error() : before;
}

}  // namespace

bool VelPropTreeStore::LoadPlain(const std::wstring& path) {
  const DWORD before = GetLastError();
  VelFileStream stream(path, false);
  try {
    if (!stream.IsOpen()) {
      throw std::runtime_error("Failed to open plain storage");
    }
    VelPropPacker(_root).Load(VelStreamIo(&stream));
    return true;
  } catch (const std::exception& error) {
    VelLog_Print(kLogError, L"VelPropTreeStore::LoadPlain('%s'): %hs",
                 path.c_str(), error.what());
    SetLastError(failure_of(stream, before));
    return false;
  }
}

bool VelPropTreeStore::StorePlain(const std::wstring& path) {
  const DWORD before = GetLastError();
  const std::wstring temp_path = path + L".tmp";
  std::optional<VelFileStream> stream(std::in_place, temp_path, true);
  try {
    if (!stream->IsOpen()) {
      throw std::runtime_error("Failed to create plain storage");
    }
    VelPropPacker(_root).Save(VelStreamIo(&*stream));
  } catch (const std::exception& error) {
    VelLog_Print(kLogError, L"VelPropTreeStore::StorePlain('%s'): %hs",
                 path.c_str(), error.what());
    const DWORD failure = failure_of(*stream, before);
    stream.reset();
    SetLastError(failure);
    return false;
  }
  stream.reset();
  return RenameTemp(temp_path, path);
}

bool VelPropTreeStore::RenameTemp(const std::wstring& temp_path,
                                  const std::wstring& path) {
  if (MoveFileExW(temp_path.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    return true;
  }
  VelLog_Print(kLogError, L"VelPropTreeStore::RenameTemp('%s', '%s'): le=%u",
               temp_path.c_str(), path.c_str(), GetLastError());
  return false;
}

}  // namespace vel
