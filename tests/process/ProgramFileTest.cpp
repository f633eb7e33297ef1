// What the file of the program carries.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <set>
#include <string>

#include "ProductConfig.h"
#include "foundation/ModuleFile.h"
#include "process/ScratchProgram.h"

namespace vel {
namespace {

using test::ScratchProgram;

struct FreeLibraryDeleter {
  void operator()(HMODULE module) const { FreeLibrary(module); }
};
using DataFile =
    std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeLibraryDeleter>;

class ProgramFileTest : public testing::Test {
 protected:
  std::string Resource(WORD number, const wchar_t* type) const {
    const HRSRC place =
        FindResourceW(_file.get(), MAKEINTRESOURCEW(number), type);
    if (!place) return {};
    const auto* const bytes = static_cast<const char*>(
        LockResource(LoadResource(_file.get(), place)));
    return {bytes, SizeofResource(_file.get(), place)};
  }

  const ScratchProgram _program{ScratchProgram::kWithoutTexts};
  const std::wstring _path = _program.scratch().File(L"Brindlemar.exe");
  const DataFile _file{
      LoadLibraryExW(_path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE)};
};

TEST_F(ProgramFileTest, HasTheVersionOfTheBuild) {
  EXPECT_EQ(file_version(_path), L"" VEL_VERSION_TEXT);
}

TEST_F(ProgramFileTest, HasTheTrayIconInEachSizeThatTheShellAsksFor) {
  // The directory of an icon: a count at offset 4, then 14 bytes for each
  // picture, the first of which is the width, 0 for 256.
  const std::string directory = Resource(101, RT_GROUP_ICON);
  ASSERT_GE(directory.size(), 6u);
  std::set<int> sizes;
  for (std::size_t at = 6; at < directory.size(); at += 14) {
    const int width = static_cast<unsigned char>(directory[at]);
    sizes.insert(width ? width : 256);
  }
  EXPECT_EQ(sizes, (std::set{16, 20, 24, 32, 40, 48, 64, 256}));
  const auto icon = static_cast<HICON>(
      LoadImageW(_file.get(), MAKEINTRESOURCEW(101), IMAGE_ICON, 16, 16, 0));
  EXPECT_TRUE(icon);
  DestroyIcon(icon);
}

TEST_F(ProgramFileTest, HasAManifestThatAsksForNoRights) {
  const std::string text = Resource(1, RT_MANIFEST);
  for (const char* const wanted : {"level=\"asInvoker\"", "PerMonitorV2",
                                   "{35138b9a-5d96-4fbd-8e2d-a2440225f93a}",
                                   "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"}) {
    EXPECT_NE(text.find(wanted), std::string::npos) << wanted;
  }
}

}  // namespace
}  // namespace vel
