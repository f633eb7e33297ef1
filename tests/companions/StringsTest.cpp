#include <gtest/gtest.h>
#include <windows.h>

#include <set>
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
constexpr WORD kLanguages[] = {kEnglish, kGerman, kFrench, kSpanish};

// Loaded as the program loads it.
class StringsTest : public testing::Test {
 protected:
  StringsTest()
      : _module(LoadLibraryExW(
            (vel::test::CompanionsDirectory() + L"\\VELRCS.dll").c_str(),
            nullptr, DONT_RESOLVE_DLL_REFERENCES)) {
    EXPECT_TRUE(_module) << GetLastError();
  }
  ~StringsTest() override { FreeLibrary(_module); }

  // The text in exactly this language, without the fallbacks of LoadStringW.
  std::wstring TextOf(UINT number, WORD language) const {
    const HRSRC block =
        FindResourceExW(_module, reinterpret_cast<const wchar_t*>(RT_STRING),
                        MAKEINTRESOURCEW(number / 16 + 1), language);
    if (!block) return {};
    auto text =
        static_cast<const wchar_t*>(LockResource(LoadResource(_module, block)));
    for (UINT skip = number % 16; skip > 0; --skip) text += 1 + *text;
    return {text + 1, static_cast<std::size_t>(*text)};
  }

  HMODULE _module;
};

std::wstring PlacesOf(const std::wstring& text) {
  std::wstring places;
  for (std::size_t at = 0; (at = text.find(L'%', at)) != std::wstring::npos;
       at += 2) {
    places += text.substr(at, 2);
  }
  return places;
}

BOOL CALLBACK AddLanguage(HMODULE, const wchar_t*, const wchar_t*,
                          WORD language, LONG_PTR argument) {
  reinterpret_cast<std::set<WORD>*>(argument)->insert(language);
  return TRUE;
}

}  // namespace

TEST_F(StringsTest, EveryNumberHasATextInEveryLanguage) {
  ASSERT_GT(std::size(kTexts), 25u);
  for (const WORD language : kLanguages) {
    for (const Text& text : kTexts) {
      EXPECT_FALSE(TextOf(text.number, language).empty())
          << text.name << " in language 0x" << std::hex << language;
    }
  }
}

TEST_F(StringsTest, EveryLanguageHasTheSamePlacesForArguments) {
  for (const WORD language : kLanguages) {
    for (const Text& text : kTexts) {
      EXPECT_EQ(PlacesOf(TextOf(text.number, kEnglish)),
                PlacesOf(TextOf(text.number, language)))
          << text.name << " in language 0x" << std::hex << language;
    }
  }
}

TEST_F(StringsTest, NoOtherLanguageHasAPartOfTheTexts) {
  std::set<WORD> languages;
  EnumResourceLanguagesW(_module, reinterpret_cast<const wchar_t*>(RT_STRING),
                         MAKEINTRESOURCEW(VEL_STRING_EXIT / 16 + 1),
                         &AddLanguage, reinterpret_cast<LONG_PTR>(&languages));
  EXPECT_EQ(languages,
            std::set<WORD>(std::begin(kLanguages), std::end(kLanguages)));
}

TEST_F(StringsTest, LettersAreMoreThanAscii) {
  EXPECT_EQ(TextOf(VEL_STRING_MENU_OPEN_BROWSER, kGerman),
            L"Browser \u00F6&ffnen");
  EXPECT_EQ(TextOf(VEL_STRING_MENU_SESSIONS, kSpanish), L"&Sesiones");
}

TEST_F(StringsTest, TheSystemFindsATextByItsNumber) {
  wchar_t text[64];
  ASSERT_GT(LoadStringW(_module, VEL_STRING_PRODUCT_NAME, text, 64), 0);
  EXPECT_STREQ(text, L"Brindlemar");
}
