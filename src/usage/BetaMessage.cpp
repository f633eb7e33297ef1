#include "usage/BetaMessage.h"

#include <windows.h>

#include <algorithm>
#include <ctime>
#include <cwctype>

#include "foundation/CodePageConverter.h"
#include "foundation/CommandLine.h"
#include "foundation/Registry.h"
#include "log/VelLog.h"

namespace vel {
namespace {

// One value for each message that was shown, named by its id.
constexpr wchar_t kShownKey[] = L"Software\\Tessavane\\VEL\\BetaMsg";
constexpr wchar_t kCaption[] = L"Brindlemar Beta Message";

// Whether the character would end the URL as a parameter, or hide in it.
bool is_unsafe(wchar_t character) {
  constexpr wchar_t kLastC0 = 0x1F;
  constexpr wchar_t kDelete = 0x7F;
  constexpr wchar_t kLastC1 = 0x9F;
  return character <= kLastC0 ||
         (character >= kDelete && character <= kLastC1) || character == L'"' ||
         character == L'\\' || std::iswspace(character) != 0;
}

bool may_be_opened(const std::wstring& url) {
  return (url.starts_with(L"http://") || url.starts_with(L"https://")) &&
         std::none_of(url.begin(), url.end(), is_unsafe);
}

}  // namespace

void show_beta_message(const std::wstring& reply,
                       void (*open)(const std::wstring& url)) {
  const std::wstring message = get_param(reply, L"msg");
  if (message.empty()) return;
  const std::wstring id = get_param(reply, L"id");
  if (id.empty()) return;
  if (RegGetQword(HKEY_CURRENT_USER, kShownKey, id, nullptr) != 0) return;
  const std::wstring text = CodePageConverter(CP_UTF8).to_wide(narrow(message));
  const std::wstring url = get_param(reply, L"url");
  const int answer = MessageBoxW(nullptr, text.c_str(), kCaption,
                                 url.empty() ? MB_OK : MB_YESNO);
  if (answer == IDYES && may_be_opened(url)) {
    open(url);
  } else if (answer == IDYES) {
    VelLog_Print(kLogWarning, L"show_beta_message(%s) - not a URL to be opened",
                 id.c_str());
  }
  RegSetQword(HKEY_CURRENT_USER, kShownKey, id,
              static_cast<std::uint64_t>(_time64(nullptr)));
}

}  // namespace vel
