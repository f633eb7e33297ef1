#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "companions/CompanionLibrary.h"
#include "vel/StringIds.h"

namespace {

struct Text {
  UINT number;
  const char* name;
};
constexpr Text kTexts[] = {
#include "StringIdList.inc"
};

constexpr WORD kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_DEFAULT);
constexpr WORD kGerman = MAKELANGID(LANG_GERMAN, SUBLANG_NEUTRAL);
constexpr WORD kFrench = MAKELANGID(LANG_FRENCH, SUBLANG_NEUTRAL);
constexpr WORD kSpanish = MAKELANGID(LANG_SPANISH, SUBLANG_NEUTRAL);

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
  std::wstring places;
  for (std::size_t at = 0; (at = text.find(L'%', at)) < text.size(); at += 2) {
    places += text.substr(at, 2);
  }
  return places;
}

}  // namespace

TEST(StringsTest, EveryLanguageHasEveryTextWithTheSamePlaces) {
  // Loaded as the program loads it.
  const HMODULE module =
      LoadLibraryExW(vel::test::CompanionPath(L"VELRCS.dll").c_str(), nullptr,
                     DONT_RESOLVE_DLL_REFERENCES);
  ASSERT_TRUE(module) << GetLastError();
  ASSERT_GT(std::size(kTexts), 25u);
  for (const WORD language : {kEnglish, kGerman, kFrench, kSpanish}) {
    for (const Text& each : kTexts) {
      const std::wstring text = TextOf(module, each.number, language);
      EXPECT_FALSE(text.empty()) << each.name << " in " << language;
      EXPECT_EQ(PlacesOf(TextOf(module, each.number, kEnglish)), PlacesOf(text))
          << each.name << " in " << language;
    }
  }
  // Letters beyond ASCII come through the resource compiler.
  EXPECT_EQ(TextOf(module, VEL_STRING_MENU_OPEN_BROWSER, kGerman),
            L"Browser \u00F6&ffnen");
  FreeLibrary(module);
}
