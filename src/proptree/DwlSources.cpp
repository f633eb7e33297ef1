#include "proptree/DwlSources.h"

#include <windows.h>

#include <ctime>
#include <functional>

#include "foundation/Environment.h"
#include "foundation/LongPath.h"
#include "foundation/Paths.h"
#include "log/VelLog.h"
#include "proptree/VelPropTreeStore.h"
#include "sync/LastErrorKeeper.h"
#include "sync/OnceGuard.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\DwlSources";
constexpr wchar_t kRoot[] = L"root";
constexpr wchar_t kNode[] = L"node";
constexpr wchar_t kPath[] = L"path";
constexpr wchar_t kSource[] = L"source";
constexpr wchar_t kTime[] = L"ts";
constexpr wchar_t kFileName[] = L"DownloadedFiles.ptp";

// Read once per process: the profile doesn't move under a running one. Never
// destroyed: exit handlers may ask for the store.
const std::wstring& lower_user_profile() {
  return once_static([] {
           return std::ref(
               *new std::wstring(lower_case(get_env(L"USERPROFILE"))));
         })
      .get();
}

// A process without a profile counts as one whose product lies outside of it.
bool lies_in_user_profile(const std::wstring& path) {
  const std::wstring& profile = lower_user_profile();
  return !profile.empty() && lower_case(path).starts_with(profile);
}

}  // namespace

std::wstring DownloadedFilesPath() {
  const LastErrorKeeper keeper;
  std::wstring old_place = product_directory() + kFileName;
  if (lies_in_user_profile(old_place)) return old_place;
  std::wstring new_place = app_data_directory() + kFileName;
  if (GetFileAttributesW(new_place.c_str()) == INVALID_FILE_ATTRIBUTES) {
    make_directories(new_place);
    CopyFileW(old_place.c_str(), new_place.c_str(), TRUE);
  }
  return new_place;
}

DwlSources::DwlSources()
    : _lock(CreateMutexW(nullptr, FALSE, L"VEL_DWLSTORE_LOCK")),
      _path(DownloadedFilesPath()) {
  if (_lock) {
    WaitForSingleObject(_lock.get(), INFINITE);
  } else {
    VEL_LOG_WIN32_CALL();
  }
  // Fails at the first use too, when there is no file yet.
  if (!VelPropTreeStore(&_tree).LoadPlain(_path)) VEL_LOG_WIN32_CALL();
}

DwlSources::~DwlSources() {
  if (_lock) ReleaseMutex(_lock.get());
}

void DwlSources::Add(const std::wstring& path, const std::wstring& source) {
  auto root = _tree.FindChild(kRoot);
  if (!root) root = _tree.AddChild(kRoot);
  auto node = root->FindChildByAttribute(kNode, kPath, path);
  if (!node) {
    node = root->AddChild(kNode);
    node->SetText(kPath, path);
  }
  node->SetText(kSource, source);
  node->SetNumber(kTime, _time64(nullptr));
  if (!VelPropTreeStore(&_tree).StorePlain(_path)) VEL_LOG_WIN32_CALL();
}

bool DwlSources::Get(const std::wstring& path, std::wstring& source_out) {
  const auto root = _tree.FindChild(kRoot);
  if (!root) return false;
  const auto node = root->FindChildByAttribute(kNode, kPath, path);
  return node && node->GetText(kSource, source_out);
}

void DwlSources::List(std::vector<std::wstring>& paths_out) {
  paths_out.clear();
  const auto root = _tree.FindChild(kRoot);
  if (!root) return;
  for (std::size_t i = 0; i < root->ChildCount(); ++i) {
    std::wstring path;
    if (root->ChildAt(i)->GetText(kPath, path) && !path.empty()) {
      paths_out.push_back(path);
    }
  }
}

void AddDownloadSource(const std::wstring& file_path,
                       const std::wstring& source) {
  // Ahead of the lock: the look at a path can take long.
  const std::wstring path = long_path(file_path);
  DwlSources().Add(path, source);
}

bool GetDownloadSource(const std::wstring& file_path,
                       std::wstring& source_out) {
  const std::wstring path = long_path(file_path);
  return DwlSources().Get(path, source_out);
}

void ListDownloadSources(std::vector<std::wstring>& paths_out) {
  DwlSources().List(paths_out);
}

void DeleteDownloadSources() {
  DeleteFileW(DownloadedFilesPath().c_str());
}

}  // namespace vel
