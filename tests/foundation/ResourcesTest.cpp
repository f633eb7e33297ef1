// The language resources and the dialog library, found in a product directory
// of the test's own.
#include <gtest/gtest.h>

#include <stdexcept>

#include "foundation/DialogFactory.h"
#include "foundation/I18N.h"
#include "foundation/Paths.h"
#include "support/ScopedVariable.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

// A library of the tests, into `directory` under the name of one of the
// product.
std::wstring install_into(const std::wstring& directory, const wchar_t* fixture,
                          const wchar_t* name) {
  const std::wstring from = directory_of(module_path(nullptr)) + fixture;
  const std::wstring to = with_slash(directory) + name;
  EXPECT_TRUE(CopyFileW(from.c_str(), to.c_str(), FALSE)) << GetLastError();
  return to;
}

// An empty directory that VELDIR names.
class ProductDirectory {
 public:
  std::wstring install(const wchar_t* fixture, const wchar_t* name) const {
    return install_into(_scratch.path(), fixture, name);
  }
  const std::wstring& path() const { return _scratch.path(); }

 private:
  const test::ScratchDirectory _scratch;
  const test::ScopedVariable _variable{L"VELDIR", _scratch.path()};
};

constexpr wchar_t kStrings[] = L"foundation_strings.dll";

TEST(I18NModule, GivesTextsByNumber) {
  ProductDirectory product;
  const std::wstring path = product.install(kStrings, L"VELRCS.dll");
  I18NModule i18n;
  EXPECT_EQ(i18n.path(), path);
  EXPECT_NE(i18n.module(), nullptr);
  EXPECT_EQ(i18n.load_string(100), L"first text");
  EXPECT_EQ(i18n.load_string(101), L"neighbour");
  EXPECT_EQ(i18n.load_string(102), L"cut");
  SetLastError(1234);
  EXPECT_EQ(i18n.load_string(103), L"");
  EXPECT_EQ(i18n.load_string(5000), L"");
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(I18NModule, ThrowsWithoutTheLibrary) {
  const ProductDirectory product;
  try {
    I18NModule i18n;
    FAIL() << "there is no library";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "I18NApi: failed to load resource dll");
  }
}

// The children inherit VELDIR; their argument is the same directory.
VEL_CHILD_MAIN(StartsWithoutTexts) {
  const bool is_stub = get_i18n().module() == nullptr &&
                       get_i18n().path().empty() && load_string(100).empty();
  // What came first stays.
  install_into(argument, kStrings, L"VELRCS.dll");
  return is_stub && load_string(100).empty() ? 0 : 1;
}

VEL_CHILD_MAIN(StartsWithTexts) {
  return load_string(100) == L"first text" && &get_i18n() == &get_i18n() ? 0
                                                                         : 1;
}

TEST(I18N, ProcessKeepsItsFirstAnswer) {
  const ProductDirectory product;
  EXPECT_EQ(test::ChildProcess(L"StartsWithoutTexts", product.path()).Wait(),
            0u);
  EXPECT_EQ(test::ChildProcess(L"StartsWithTexts", product.path()).Wait(), 0u);
}

TEST(DialogLibrary, TriesAgainUntilThereIsALibrary) {
  ProductDirectory product;
  const test::LogCapture log;
  DialogLibrary library;
  EXPECT_EQ(library.load(), nullptr);
  EXPECT_EQ(library.factory(), nullptr);
  EXPECT_TRUE(log.Contains(
      3, L"VELDLGLoad: path='" + component_path(L"VELDLG.dll") + L"' le="));

  product.install(L"foundation_dialogs.dll", L"VELDLG.dll");
  const HMODULE module = library.load();
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(library.load(), module);
  EXPECT_NE(library.factory(), nullptr);
  FreeLibrary(module);
}

// A library that gives no factory, and what the log has to say.
void expect_no_factory(const wchar_t* fixture, unsigned level,
                       const wchar_t* line) {
  ProductDirectory product;
  product.install(fixture, L"VELDLG.dll");
  const test::LogCapture log;
  DialogLibrary library;
  EXPECT_EQ(library.factory(), nullptr);
  EXPECT_TRUE(log.Contains(level, line));
  FreeLibrary(library.load());
}

TEST(DialogLibrary, ReportsALibraryWithoutFactory) {
  expect_no_factory(
      kStrings, 3, L"VELDLGFactory(0x1): failed to get VelDlg_Factory, le=127");
}

TEST(DialogLibrary, ReportsAFactoryThatRefusesTheVersion) {
  expect_no_factory(L"foundation_dialogs_old.dll", 2,
                    L"VELDLGFactory(0x1): not supported");
}

}  // namespace
}  // namespace vel
