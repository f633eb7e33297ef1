// The whole road with the product's own session library: an application is
// really started in a session of the right configuration, and a session that is
// ended from outside comes back.
#include "harness/ProductTest.h"

#include <sddl.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace vel::test {
namespace fs = std::filesystem;
namespace {

constexpr wchar_t kRecorder[] = L"e2e_recorder.exe";
constexpr wchar_t kClass[] = L"BrindlemarE2E.Url";
constexpr wchar_t kClasses[] = L"Software\\Classes\\";
constexpr wchar_t kCommand[] = L"\\shell\\open\\command";
// The process that stands for a session.
constexpr wchar_t kAnchor[] = L"rundll32.exe";

// What one start of the recorder has written.
struct Record {
  std::wstring config;
  std::wstring command_line;
};

// A directory that the programs of a session can write to: they run at low
// integrity where Windows has that.
void CreateLowDirectory(const std::wstring& path) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
      L"S:(ML;OICI;NW;;;LW)", SDDL_REVISION_1, &descriptor, nullptr));
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor, FALSE};
  EXPECT_TRUE(CreateDirectoryW(path.c_str(), &attributes)) << GetLastError();
  LocalFree(descriptor);
}

// A class of the registry whose command is the recorder with a URL.
class RecorderClass {
 public:
  explicit RecorderClass(const std::wstring& recorder)
      : _command(L"\"" + recorder + L"\" \"%1\"") {
    EXPECT_TRUE(Register(HKEY_CURRENT_USER));
    // Not every system shows the user's classes among all classes.
    EXPECT_TRUE(IsKnown() || Register(HKEY_LOCAL_MACHINE));
  }
  ~RecorderClass() {
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      RegDeleteTreeW(root, (std::wstring(kClasses) + kClass).c_str());
    }
  }
  RecorderClass(const RecorderClass&) = delete;
  RecorderClass& operator=(const RecorderClass&) = delete;

 private:
  bool Register(HKEY root) const {
    const auto bytes = (_command.size() + 1) * sizeof(wchar_t);
    return RegSetKeyValueW(root,
                           (std::wstring(kClasses) + kClass + kCommand).c_str(),
                           nullptr, REG_SZ, _command.c_str(),
                           static_cast<DWORD>(bytes)) == ERROR_SUCCESS;
  }
  static bool IsKnown() {
    return RegGetValueW(HKEY_CLASSES_ROOT,
                        (std::wstring(kClass) + kCommand).c_str(), nullptr,
                        RRF_RT_ANY, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
  }

  const std::wstring _command;
};

class RealSessionTest : public ProductTest {
 protected:
  void SetUp() override {
    ProductTest::SetUp();
    // Outside the product's folder: a handler in it counts as the product.
    ASSERT_TRUE(
        CopyFileW(BesideTheTests(kRecorder).c_str(), recorder.c_str(), TRUE));
    CreateLowDirectory(records);
  }

  std::wstring RecorderCommand(const wchar_t* config,
                               const wchar_t* parameters) {
    return L"/shex_cfg=\"" + std::wstring(config) + L"\" /shex_file=\"" +
           recorder + L"\" /shex_par=\"" + parameters + L"\"";
  }

  std::vector<Record> Records() {
    std::vector<Record> found;
    for (const auto& entry : fs::directory_iterator(records)) {
      if (entry.path().extension() != L".txt") continue;
      const std::string bytes =
          data.Read(L"records\\" + entry.path().filename().wstring());
      std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
      std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
      const std::size_t end = text.find(L'\n');
      found.push_back(
          {text.substr(0, end), text.substr(end + 1, text.size() - end - 2)});
    }
    return found;
  }

  // Waits for a start in `config` whose command line ends with `end`.
  void ExpectRecord(const std::wstring& config, const std::wstring& end) {
    EXPECT_TRUE(WaitUntil([&] {
      const auto all = Records();
      return std::any_of(all.begin(), all.end(), [&](const Record& record) {
        const std::wstring& line = record.command_line;
        return record.config == config && line.size() >= end.size() &&
               line.compare(line.size() - end.size(), end.size(), end) == 0;
      });
    })) << std::string(end.begin(), end.end())
        << " wasn't started in " << std::string(config.begin(), config.end())
        << "; " << Records().size() << " starts in all";
  }

  const std::wstring recorder = data.File(kRecorder);
  const std::wstring records = data.File(L"records");
  ScopedVariable records_variable{L"VEL_E2E_RECORDS", records};
};

TEST_F(RealSessionTest, ApplicationStartsInItsConfiguration) {
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(product.Run(RecorderCommand(L"Normal", L"one two")), 0u);
  EXPECT_EQ(product.Run(RecorderCommand(L"Privacy", L"three")), 0u);
  ExpectRecord(L"Normal", L" one two");
  ExpectRecord(L"Privacy", L" three");
  EXPECT_EQ(ProcessesNamed(kAnchor, tray.id()).size(), 2u);
  EXPECT_EQ(tray.Shutdown(), 0u);
  EXPECT_EQ(Records().size(), 2u);
}

TEST_F(RealSessionTest, FirstCopyAndClassOfTheRegistry) {
  const RecorderClass recorder_class(recorder);
  Tray tray(product, std::wstring(L"/shex_verb=\"open\" /shex_class=\"") +
                         kClass +
                         L"\" /shex_file=\"http://example.invalid/c\"");
  ASSERT_TRUE(tray.up());
  ExpectRecord(L"Normal", L" \"http://example.invalid/c\"");
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(RealSessionTest, UrlOpensWithTheUsersChoice) {
  const RecorderClass recorder_class(recorder);
  ScopedRegistryValue choice(
      HKEY_CURRENT_USER,
      L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\"
      L"ftp\\UserChoice",
      L"ProgId");
  if (!choice.SetString(kClass)) {
    GTEST_SKIP() << "this Windows doesn't let a program choose the handler";
  }
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  EXPECT_EQ(product.Run(L"ftp://example.invalid/A"), 0u);
  ExpectRecord(L"Normal", L" \"ftp://example.invalid/A\"");
  EXPECT_EQ(tray.Shutdown(), 0u);
}

TEST_F(RealSessionTest, SessionEndedFromOutsideComesBack) {
  Tray tray(product);
  ASSERT_TRUE(tray.up());
  const UINT statuses[] = {0, 5, 0xC000013A};
  std::vector<DWORD> killed;
  for (const wchar_t* config : {L"Zero", L"Five", L"CtrlC"}) {
    EXPECT_EQ(product.Run(RecorderCommand(config, L"stay")), 0u);
    ExpectRecord(config, L" stay");
    for (const DWORD anchor : ProcessesNamed(kAnchor, tray.id())) {
      if (std::count(killed.begin(), killed.end(), anchor) == 0) {
        killed.push_back(anchor);
      }
    }
  }
  ASSERT_EQ(killed.size(), 3u);
  const ULONGLONG begin = GetTickCount64();
  for (std::size_t i = 0; i < 3; ++i) KillProcess(killed[i], statuses[i]);
  // The programs of a session end with it.
  EXPECT_TRUE(WaitUntil([] { return ProcessesNamed(kRecorder).empty(); }));

  std::vector<ULONGLONG> back;
  EXPECT_TRUE(WaitUntil([&] {
    const std::size_t running = ProcessesNamed(kAnchor, tray.id()).size();
    while (back.size() < running) back.push_back(GetTickCount64() - begin);
    return back.size() == 3;
  }));
  ASSERT_EQ(back.size(), 3u);
  EXPECT_LT(back[0], 3000u);
  EXPECT_GE(back[1], 3000u);
  EXPECT_LT(back[1], 6000u);
  EXPECT_GE(back[2], 6000u);
  EXPECT_EQ(product.Run(RecorderCommand(L"CtrlC", L"again")), 0u);
  ExpectRecord(L"CtrlC", L" again");
  EXPECT_EQ(tray.Shutdown(), 0u);
  EXPECT_TRUE(
      WaitUntil([&] { return ProcessesNamed(kAnchor, tray.id()).empty(); }));
}

}  // namespace
}  // namespace vel::test
