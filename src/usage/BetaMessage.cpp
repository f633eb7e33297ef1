#include "usage/BetaMessage.h"

#include <windows.h>

#include <ctime>

#include "browser/OpenInDefaultBrowser.h"
#include "foundation/CodePageConverter.h"
#include "foundation/CommandLine.h"
#include "foundation/Registry.h"

namespace vel {
namespace {

// One value for each message that was shown, named by its id.
constexpr wchar_t kShownKey[] = L"Software\\Tessavane\\VEL\\BetaMsg";
constexpr wchar_t kCaption[] = L"Brindlemar Beta Message";

}  // namespace

void show_beta_message(const std::wstring& reply) {
  const std::wstring message = get_param(reply, L"msg");
  if (message.empty()) return;
  const std::wstring id = get_param(reply, L"id");
  if (id.empty()) return;
  if (RegGetQword(HKEY_CURRENT_USER, kShownKey, id, nullptr) != 0) return;
  const std::wstring text = CodePageConverter(CP_UTF8).to_wide(narrow(message));
  const std::wstring url = get_param(reply, L"url");
  const int answer = MessageBoxW(nullptr, text.c_str(), kCaption,
                                 url.empty() ? MB_OK : MB_YESNO);
  if (answer == IDYES) open_in_default_browser(url);
  RegSetQword(HKEY_CURRENT_USER, kShownKey, id,
              static_cast<std::uint64_t>(_time64(nullptr)));
}

}  // namespace vel
