#include "browser/OpenInDefaultBrowser.h"

#include <windows.h>
#include <shellapi.h>

#include "browser/BrowserDiscovery.h"

namespace vel {

void open_in_default_browser(const std::wstring& url) {
  const std::wstring browser = default_browser_path();
  SHELLEXECUTEINFOW info = {};
  info.cbSize = sizeof(info);
  info.lpVerb = L"open";
  info.lpFile = browser.c_str();
  info.lpParameters = url.c_str();
  info.nShow = SW_SHOWNORMAL;
  ShellExecuteExW(&info);
}

}  // namespace vel
