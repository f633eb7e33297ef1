#include "browser/FirefoxProfiles.h"

#include "browser/PcreRegex.h"
#include "foundation/Product.h"
#include "foundation/Text.h"
#include "proptree/FileContents.h"
#include "sync/OnceGuard.h"

namespace vel {
namespace {

PcreRegex& homepage_value() {
  return once_static([] {
    return PcreRegex(
        R"re(user_pref\("browser\.startup\.homepage",\s*"([^"]+))re");
  });
}

PcreRegex& page_is_1() {
  return once_static([] {
    return PcreRegex(R"re(user_pref\("browser\.startup\.page",\s*1)re");
  });
}

PcreRegex& page_any() {
  return once_static([] {
    return PcreRegex(R"re(user_pref\("browser\.startup\.page",\s*)re");
  });
}

}  // namespace

std::wstring firefox_start_page(const std::wstring& directory) {
  const FileContents prefs(directory + L"prefs.js", true);
  const std::string& text = prefs.data();
  if (!page_is_1().match(text) && page_any().match(text)) {
    return kFirefoxStartPage;
  }
  std::vector<PcreRegex::Range> ranges;
  if (!homepage_value().search(text, ranges)) return kFirefoxStartPage;
  const auto [start, end] = ranges[1];
  const std::string_view value(text.data() + start,
                               static_cast<std::size_t>(end - start));
  const std::wstring page = WideFromAnsi(value);
  return page.find(L"://") == std::wstring::npos ? L"http://" + page : page;
}

}  // namespace vel
