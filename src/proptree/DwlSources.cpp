#include "proptree/DwlSources.h"

#include <windows.h>

#include "foundation/Environment.h"
#include "foundation/Paths.h"

namespace vel {
namespace {

constexpr wchar_t kFileName[] = L"DownloadedFiles.ptp";

// Read once per process: the profile doesn't move under a running one.
const std::wstring& lower_user_profile() {
  static const std::wstring profile = lower_case(get_env(L"USERPROFILE"));
  return profile;
}

// A process without a profile counts as one whose product lies outside of it.
bool lies_in_user_profile(const std::wstring& path) {
  const std::wstring& profile = lower_user_profile();
  return !profile.empty() && lower_case(path).starts_with(profile);
}

}  // namespace

std::wstring DownloadedFilesPath() {
  std::wstring old_place = product_directory() + kFileName;
  if (lies_in_user_profile(old_place)) return old_place;
  std::wstring new_place = app_data_directory() + kFileName;
  if (GetFileAttributesW(new_place.c_str()) == INVALID_FILE_ATTRIBUTES) {
    make_directories(new_place);
    CopyFileW(old_place.c_str(), new_place.c_str(), TRUE);
  }
  return new_place;
}

void DeleteDownloadSources() {
  DeleteFileW(DownloadedFilesPath().c_str());
}

}  // namespace vel
