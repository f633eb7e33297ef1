#include "proptree/DwlSources.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "support/ChildProcess.h"
#include "support/ScratchDirectory.h"

namespace vel {
namespace {

using test::ChildProcess;
using test::FileExists;
using test::ScratchDirectory;

constexpr wchar_t kOldPlace[] = L"program\\DownloadedFiles.ptp";
constexpr wchar_t kNewPlace[] = L"data\\Tessavane\\VEL\\DownloadedFiles.ptp";

// The user's profile is read once per process, so each case has its own.
void SetPlaces(const std::wstring& directory, const std::wstring& profile) {
  SetEnvironmentVariableW(L"USERPROFILE", profile.c_str());
  SetEnvironmentVariableW(L"VELDIR", (directory + L"\\program").c_str());
  SetEnvironmentVariableW(L"APPDATA", (directory + L"\\data").c_str());
}

VEL_CHILD_MAIN(LooksForStoreOutsideProfile) {
  SetPlaces(argument, L"C:\\somebody");
  return DownloadedFilesPath() == argument + L"\\" + kNewPlace ? 0 : 1;
}

VEL_CHILD_MAIN(LooksForStoreInProfile) {
  std::wstring profile = argument;
  CharUpperBuffW(profile.data(), static_cast<DWORD>(profile.size()));
  SetPlaces(argument, profile);
  return DownloadedFilesPath() == argument + L"\\" + kOldPlace ? 0 : 1;
}

VEL_CHILD_MAIN(DeletesStore) {
  SetPlaces(argument, L"C:\\somebody");
  DeleteDownloadSources();
  return 0;
}

DWORD RunChild(const wchar_t* child, const ScratchDirectory& scratch) {
  return ChildProcess(child, scratch.path()).Wait().value_or(1000);
}

TEST(DwlSourcesTest, OutsideTheProfileTheOldStoreIsCopiedOverOnce) {
  const ScratchDirectory scratch;
  scratch.Write(kOldPlace, "first");
  EXPECT_EQ(RunChild(L"LooksForStoreOutsideProfile", scratch), 0u);
  EXPECT_EQ(scratch.Read(kNewPlace), "first");
  scratch.Write(kOldPlace, "second");
  EXPECT_EQ(RunChild(L"LooksForStoreOutsideProfile", scratch), 0u);
  EXPECT_EQ(scratch.Read(kNewPlace), "first");
}

TEST(DwlSourcesTest, InsideTheProfileTheStoreStaysWhereItIs) {
  const ScratchDirectory scratch;
  scratch.Write(kOldPlace, "first");
  EXPECT_EQ(RunChild(L"LooksForStoreInProfile", scratch), 0u);
  EXPECT_FALSE(FileExists(scratch.File(kNewPlace)));
}

TEST(DwlSourcesTest, DeletionTakesTheUsersStoreOnly) {
  const ScratchDirectory scratch;
  scratch.Write(kOldPlace, "first");
  scratch.Write(kNewPlace, "mine");
  EXPECT_EQ(RunChild(L"DeletesStore", scratch), 0u);
  EXPECT_FALSE(FileExists(scratch.File(kNewPlace)));
  EXPECT_TRUE(FileExists(scratch.File(kOldPlace)));
}

}  // namespace
}  // namespace vel
