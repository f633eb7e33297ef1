#include "proptree/VelIniFile.h"

#include <utility>

#include "foundation/Text.h"
#include "proptree/FileContents.h"

namespace vel {
namespace {

bool is_section_line(std::wstring_view line) {
  return line.size() >= 2 && line.front() == L'[' && line.back() == L']';
}

bool is_comment(std::wstring_view line) {
  return line.front() == L';' || line.front() == L'#';
}

}  // namespace

VelIniSection::VelIniSection(std::wstring name) : _name(std::move(name)) {}

bool VelIniSection::HasKey(const std::wstring& key) const {
  return _values.contains(key);
}

std::wstring VelIniSection::GetValue(const std::wstring& key,
                                     const std::wstring& default_value) const {
  const auto value = _values.find(key);
  return value == _values.end() ? default_value : value->second;
}

VelIniFile::VelIniFile(std::wstring path) : _path(std::move(path)) {}

void VelIniFile::GetSections(std::list<VelIniSectionPtr>& out) {
  ensure_loaded();
  VelRWLock::ReadScope scope(_lock);
  out = _sections;
}

void VelIniFile::GetSectionNames(std::vector<std::wstring>& out) {
  ensure_loaded();
  out.clear();
  VelRWLock::ReadScope scope(_lock);
  for (const VelIniSectionPtr& section : _sections) {
    out.push_back(section->Name());
  }
}

void VelIniFile::GetKeys(const std::wstring& section,
                         std::vector<std::wstring>& out) {
  ensure_loaded();
  out.clear();
  VelRWLock::ReadScope scope(_lock);
  for (const auto& [key, value] : find_section(section)._values) {
    out.push_back(key);
  }
}

void VelIniFile::GetValue(const std::wstring& section, const std::wstring& key,
                          std::wstring& out) {
  ensure_loaded();
  VelRWLock::ReadScope scope(_lock);
  out = find_section(section).GetValue(key, std::wstring());
}

VelIniSectionPtr VelIniFile::GetSection(const std::wstring& section) {
  ensure_loaded();
  VelRWLock::ReadScope scope(_lock);
  return std::make_shared<VelIniSection>(find_section(section));
}

void VelIniFile::ensure_loaded() {
  if (_loaded.load(std::memory_order_acquire)) return;
  VelRWLock::WriteScope scope(_lock);
  if (_loaded.load(std::memory_order_relaxed)) return;
  _by_name.clear();
  _sections.clear();
  parse(WideFromAnsi(FileContents(_path, true).data()));
  _loaded.store(true, std::memory_order_release);
}

void VelIniFile::parse(std::wstring_view text) {
  while (!text.empty()) {
    const std::size_t end = text.find_first_of(L"\r\n");
    const std::wstring_view line = text.substr(0, end);
    if (!line.empty()) parse_line(line);
    if (end == std::wstring_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

void VelIniFile::parse_line(std::wstring_view line) {
  if (is_section_line(line)) {
    const auto section = std::make_shared<VelIniSection>(
        std::wstring(line.substr(1, line.size() - 2)));
    _sections.push_back(section);
    _by_name[section->Name()] = section;
    return;
  }
  const std::size_t divider = line.find(L'=');
  if (_sections.empty() || is_comment(line) ||
      divider == std::wstring_view::npos) {
    return;
  }
  _sections.back()->_values[std::wstring(line.substr(0, divider))] =
      line.substr(divider + 1);
}

const VelIniSection& VelIniFile::find_section(const std::wstring& name) const {
  const auto section = _by_name.find(name);
  return section == _by_name.end() ? _empty_section : *section->second;
}

}  // namespace vel
