#include "foundation/LongPath.h"

#include <functional>

#include "foundation/FindHandle.h"
#include "foundation/PathParts.h"
#include "foundation/Text.h"
#include "sync/LastErrorKeeper.h"
#include "sync/OnceGuard.h"

namespace vel {
namespace {

bool may_be_short(const std::wstring& component) {
  return component.find(L'~') != std::wstring::npos &&
         component.find_first_of(L"*?") == std::wstring::npos;
}

DWORD look_up_name(const std::wstring& path, std::wstring& name) {
  const FindScope find(win32_path(path));
  if (!find) return GetLastError();
  name = find.data().cFileName;
  return ERROR_SUCCESS;
}

bool is_missing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// Never destroyed: threads ask for paths until the very end.
LongPathCache& long_path_cache() {
  return once_static([] { return std::ref(*new LongPathCache); }).get();
}

}  // namespace

bool LongPathCache::Entry::is_live(std::uint64_t now) const {
  return now < last_use.load(std::memory_order_relaxed) + kLifetime;
}

std::optional<std::wstring> LongPathCache::find(const std::wstring& path,
                                                std::uint64_t now) {
  {
    VelRWLock::ReadScope scope(_lock);
    const auto found = _entries.find(path);
    if (found == _entries.end()) return std::nullopt;
    if (found->second.is_live(now)) {
      found->second.last_use.store(now, std::memory_order_relaxed);
      return found->second.long_form;
    }
  }
  VelRWLock::WriteScope scope(_lock);
  const auto found = _entries.find(path);
  if (found != _entries.end() && !found->second.is_live(now)) {
    _entries.erase(found);
  }
  return std::nullopt;
}

void LongPathCache::enter(const std::wstring& path,
                          const std::wstring& long_form, std::uint64_t now) {
  VelRWLock::WriteScope scope(_lock);
  if (_entries.size() >= kLimit) {
    prune(now);
    return;
  }
  const auto [entry, is_new] = _entries.try_emplace(path, long_form, now);
  if (is_new) return;
  entry->second.long_form = long_form;
  entry->second.last_use = now;
}

std::size_t LongPathCache::size() {
  VelRWLock::ReadScope scope(_lock);
  return _entries.size();
}

void LongPathCache::prune(std::uint64_t now) {
  if (now < _next_prune) return;
  _next_prune = now + kPrunePause;
  std::erase_if(_entries, [now](const auto& entry) {
    return !entry.second.is_live(now);
  });
}

namespace {

// Where the names below a network share begin, 0 for other paths: the share
// itself can't be looked up.
std::size_t below_share(const std::wstring& path) {
  if (!StartsWith(path, L"\\\\")) return 0;
  const std::size_t server_end = path.find(L'\\', 2);
  return server_end == std::wstring::npos ? server_end
                                          : path.find(L'\\', server_end + 1);
}

}  // namespace

LongForm lengthen_path(const std::wstring& path, NameLookup look_up) {
  const std::size_t start =
      StartsWith(path, kNtPathPrefix) ? kNtPathPrefix.size() : 0;
  LongForm form = {path.substr(0, start), true};
  // Nothing lies below what isn't there, unless the path goes up again.
  const bool goes_up = path.find(L"..") != std::wstring::npos;
  const std::size_t share_end = below_share(path);
  bool may_exist = true;
  for (std::size_t begin = start;;) {
    const std::size_t end = path.find(L'\\', begin);
    std::wstring component = path.substr(begin, end - begin);
    const std::size_t place = form.text.size();
    form.text += component;
    if (begin != start && may_be_short(component)) {
      may_exist &= form.text.size() <= kLongestPath;
      const DWORD error =
          may_exist ? look_up(form.text, component) : ERROR_PATH_NOT_FOUND;
      form.text.replace(place, std::wstring::npos, component);
      form.is_complete &= error == ERROR_SUCCESS;
      may_exist &= goes_up || begin < share_end || !is_missing(error);
    }
    if (end == std::wstring::npos) return form;
    form.text += L'\\';
    begin = end + 1;
  }
}

std::wstring long_path(const std::wstring& path) {
  if (path.empty() || path.size() > kLongestPath) return path;
  LastErrorKeeper keeper;
  LongPathCache& cache = long_path_cache();
  if (auto known = cache.find(path, GetTickCount64())) return *known;
  const LongForm form = lengthen_path(path, &look_up_name);
  if (form.is_complete) cache.enter(path, form.text, GetTickCount64());
  return form.text;
}

std::wstring short_path(const std::wstring& path) {
  if (path.size() > kLongestPath) return path;
  LastErrorKeeper keeper;
  wchar_t buffer[MAX_PATH] = {};
  const DWORD length = GetShortPathNameW(path.c_str(), buffer, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return path;
  return std::wstring(buffer, length);
}

}  // namespace vel
