// The language resources and the dialog library.
#include <gtest/gtest.h>

#include "foundation/DialogFactory.h"
#include "foundation/I18N.h"
#include "foundation/Paths.h"
#include "support/LogCapture.h"
#include "support/ScopedVariable.h"
#include "support/ScratchDirectory.h"
#include "support/Thrown.h"

namespace vel {
namespace {

// With an empty directory that VELDIR names, for children too.
class ResourcesTest : public testing::Test {
 protected:
  // Copies a library of the tests there, as one of the product.
  void Install(const wchar_t* fixture, const wchar_t* name) {
    const std::wstring from = directory_of(module_path(nullptr)) + fixture;
    EXPECT_TRUE(CopyFileW(from.c_str(), _scratch.File(name).c_str(), FALSE));
  }
  const test::ScratchDirectory _scratch;
  const test::ScopedVariable _variable{L"VELDIR", _scratch.path()};
};

TEST_F(ResourcesTest, GiveTextsByNumber) {
  EXPECT_EQ(test::Thrown([] { I18NModule none; }),
            "I18NApi: failed to load resource dll");
  Install(L"foundation_strings.dll", L"VELRCS.dll");
  I18NModule i18n;
  EXPECT_EQ(i18n.load_string(100), L"first text");
  EXPECT_EQ(i18n.load_string(102), L"cut");
  SetLastError(1234);
  EXPECT_EQ(i18n.load_string(103), L"");
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST_F(ResourcesTest, DialogLibraryTriesAgain) {
  const test::LogCapture log;
  DialogLibrary library;
  EXPECT_EQ(library.factory(), nullptr);
  EXPECT_TRUE(log.Contains(
      3, L"VELDLGLoad: path='" + _scratch.File(L"VELDLG.dll") + L"' le="));
  Install(L"foundation_dialogs_old.dll", L"VELDLG.dll");
  EXPECT_EQ(library.factory(), nullptr);
  EXPECT_TRUE(log.Contains(2, L"VELDLGFactory(0x1): not supported"));
  FreeLibrary(library.load());
}

}  // namespace
}  // namespace vel
