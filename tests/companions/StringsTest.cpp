#include <regex>

#include "companions/CompanionLibrary.h"
#include "vel/StringIds.h"

namespace {

constexpr UINT kNumbers[] = {
#include "StringIdList.inc"
};

// The text in exactly this language, without the fallbacks of LoadStringW.
std::wstring TextOf(HMODULE module, UINT number, WORD language) {
  const HRSRC block =
      FindResourceExW(module, reinterpret_cast<const wchar_t*>(RT_STRING),
                      MAKEINTRESOURCEW(number / 16 + 1), language);
  if (!block) return {};
  auto text =
      static_cast<const wchar_t*>(LockResource(LoadResource(module, block)));
  for (UINT skip = number % 16; skip > 0; --skip) text += 1 + *text;
  return {text + 1, static_cast<std::size_t>(*text)};
}

std::wstring PlacesOf(const std::wstring& text) {
  return std::regex_replace(text, std::wregex(L"[^%]*(%.|$)"), L"$1");
}

TEST(StringsTest, EveryLanguageHasEveryTextWithTheSamePlaces) {
  constexpr WORD kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_DEFAULT);
  const vel::test::CompanionLibrary texts(L"VELRCS.dll",
                                          DONT_RESOLVE_DLL_REFERENCES);
  for (const WORD language :
       {kEnglish, WORD{LANG_GERMAN}, WORD{LANG_FRENCH}, WORD{LANG_SPANISH}}) {
    for (const UINT number : kNumbers) {
      SCOPED_TRACE(testing::Message() << number << " in " << language);
      const std::wstring text = TextOf(texts.get(), number, language);
      EXPECT_FALSE(text.empty());
      EXPECT_EQ(PlacesOf(TextOf(texts.get(), number, kEnglish)),
                PlacesOf(text));
    }
  }
  // Letters beyond ASCII come through the resource compiler.
  EXPECT_EQ(TextOf(texts.get(), VEL_STRING_MENU_OPEN_BROWSER, LANG_GERMAN),
            L"Browser \u00F6&ffnen");
}

}  // namespace
