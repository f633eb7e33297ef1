#include "proptree/VelPropTreeStore.h"

#include <windows.h>

#include <exception>
#include <stdexcept>

#include "log/VelLog.h"
#include "proptree/VelFileStream.h"
#include "proptree/VelPropPacker.h"

namespace vel {

bool VelPropTreeStore::LoadPlain(const std::wstring& path) {
  try {
    VelFileStream stream(path, false);
    if (!stream.IsOpen()) {
      throw std::runtime_error("Failed to open plain storage");
    }
    VelPropPacker(_root).Load(VelStreamIo(&stream));
    return true;
  } catch (const std::exception& error) {
    VelLog_Print(kLogError, L"VelPropTreeStore::LoadPlain('%s'): %hs",
                 path.c_str(), error.what());
    return false;
  }
}

bool VelPropTreeStore::StorePlain(const std::wstring& path) {
  const std::wstring temp_path = path + L".tmp";
  try {
    {
      VelFileStream stream(temp_path, true);
      if (!stream.IsOpen()) {
        throw std::runtime_error("Failed to create plain storage");
      }
      VelPropPacker(_root).Save(VelStreamIo(&stream));
    }
    return RenameTemp(temp_path, path);
  } catch (const std::exception& error) {
    VelLog_Print(kLogError, L"VelPropTreeStore::StorePlain('%s'): %hs",
                 path.c_str(), error.what());
    return false;
  }
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
