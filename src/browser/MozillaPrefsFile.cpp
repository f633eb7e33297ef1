#include "browser/MozillaPrefsFile.h"

#include <cctype>
#include <cstdlib>
#include <new>
#include <utility>

#include "browser/PrefsScanner.h"
#include "foundation/Text.h"
#include "foundation/WildcardMatch.h"
#include "proptree/FileContents.h"

namespace vel {

// The sets that the scan makes leave the object dirty, and that is meant: a
// file with preferences is always written in its canonical form.
MozillaPrefsFile::MozillaPrefsFile(std::wstring path) : _path(std::move(path)) {
  try {
    const FileContents file(_path, true);
    _size_hint = file.data().size();
    scan_prefs(file.data(), *this);
  } catch (const std::bad_alloc&) {
    // Half a table must not take the place of the file, nor what is set later.
    _prefs.clear();
    _lost = true;
  }
}

MozillaPrefsFile::~MozillaPrefsFile() {
  if (!_dirty || _lost) return;
  try {
    std::string text;
    append_text(text);
    FileContents(_path, false).edit() = std::move(text);
  } catch (const std::bad_alloc&) {
    // The file stays as it is.
  }
}

void MozillaPrefsFile::append_text(std::string& out) const {
  out.reserve(out.size() + _size_hint);
  out += "# Mozilla User Preferences\r\n\r\n";
  for (const auto& [name, value] : _prefs) {
    out += "user_pref(\"";
    out += name;
    out += "\", ";
    out += value->to_text();
    out += ");\r\n";
  }
}

void MozillaPrefsFile::set_bool(std::string_view name, bool value) {
  set(name, std::make_shared<BoolPrefValue>(value));
}

void MozillaPrefsFile::set_int(std::string_view name, std::int64_t value) {
  set(name, std::make_shared<IntPrefValue>(value));
}

void MozillaPrefsFile::set_string(std::string_view name, std::string_view raw) {
  set(name, std::make_shared<StringPrefValue>(raw));
}

void MozillaPrefsFile::set(std::string_view name,
                           std::shared_ptr<PrefValue> value) {
  _dirty = true;
  // Files are mostly sorted: then each name belongs behind the last one.
  const bool is_last = _prefs.empty() || _prefs.rbegin()->first < name;
  const auto at = is_last ? _prefs.end() : _prefs.lower_bound(name);
  if (at != _prefs.end() && at->first == name) {
    at->second = std::move(value);
  } else {
    _prefs.emplace_hint(at, name, std::move(value));
  }
}

const PrefValue* MozillaPrefsFile::find(std::string_view name) const {
  const auto found = _prefs.find(name);
  return found == _prefs.end() ? nullptr : found->second.get();
}

bool MozillaPrefsFile::get_text(std::string_view name, std::string& out) const {
  const PrefValue* value = find(name);
  if (!value) return false;
  out = value->to_text();
  return true;
}

bool MozillaPrefsFile::get_string(std::string_view name,
                                  std::string& out) const {
  std::string text;
  if (!get_text(name, text) || text.size() < 2 || text.front() != '"' ||
      text.back() != '"') {
    return false;
  }
  out = text.substr(1, text.size() - 2);
  return true;
}

bool MozillaPrefsFile::get_bool(std::string_view name, bool& out) const {
  std::string text;
  if (!get_text(name, text) || (text != "true" && text != "false")) {
    return false;
  }
  out = text == "true";
  return true;
}

bool MozillaPrefsFile::get_int(std::string_view name, std::int64_t& out) const {
  std::string text;
  if (!get_text(name, text) || text.empty() ||
      !std::isdigit(static_cast<unsigned char>(text.front()))) {
    return false;
  }
  out = _atoi64(text.c_str());
  return true;
}

void MozillaPrefsFile::copy_if_differs(std::string_view name,
                                       std::string_view target,
                                       std::string_view raw) {
  const PrefValue* value = find(name);
  if (!value || find(target) || value->equals_string(raw)) return;
  set(target, value->clone());
}

void MozillaPrefsFile::set_int_where_name_contains(std::string_view part,
                                                   std::int64_t value) {
  for (auto& [name, old_value] : _prefs) {
    if (name.find(part) == std::string::npos) continue;
    auto new_value = std::make_shared<IntPrefValue>(value);
    if (new_value->to_text() == old_value->to_text()) continue;
    old_value = std::move(new_value);
    _dirty = true;
  }
}

void MozillaPrefsFile::collect_matching(
    const std::string& pattern, std::map<std::string, std::string>& out) const {
  const std::wstring wide_pattern = WideFromAnsi(pattern);
  for (const auto& [name, value] : _prefs) {
    if (wide_pattern.empty() ||
        VelWildcardMatch(WideFromAnsi(name), wide_pattern)) {
      out[name] = value->to_text();
    }
  }
}

std::string escape_pref_string(std::string_view text) {
  std::string raw;
  raw.reserve(text.size());
  for (const char byte : text) {
    switch (byte) {
      case '\n':
        raw += "\\n";
        break;
      case '\r':
        raw += "\\r";
        break;
      case '"':
      case '\\':
        raw += '\\';
        [[fallthrough]];
      default:
        raw += byte;
    }
  }
  return raw;
}

std::string unescape_pref_string(std::string_view raw) {
  std::string text;
  text.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    char byte = raw[i];
    if (byte == '\\' && i + 1 < raw.size()) {
      byte = raw[++i];
      if (byte == 'n') byte = '\n';
      if (byte == 'r') byte = '\r';
    }
    text += byte;
  }
  return text;
}

}  // namespace vel
