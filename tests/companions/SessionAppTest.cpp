// What start_app makes of a shell-execute. The programs that it starts are
// this one, as a child that reports its command line.
#include <gtest/gtest.h>
#include <objbase.h>
#include <shlobj.h>

#include "companions/SessionFixture.h"
#include "support/ChildProcess.h"

namespace vel::test {

// Reports to the first argument; `argument` is that path.
VEL_CHILD_MAIN(ReportsCommandLine) {
  wchar_t directory[MAX_PATH] = L"";
  GetCurrentDirectoryW(MAX_PATH, directory);
  WriteReport(argument,
              {{L"line", GetCommandLineW()}, {L"directory", directory}});
  return 0;
}

namespace {

// Where a test can register classes so that the system sees them: the user's
// hive, or the machine's where the user's isn't looked at.
HKEY ClassesHive() {
  constexpr wchar_t kProbe[] = L"VelTestProbe";
  const std::wstring key = std::wstring(L"Software\\Classes\\") + kProbe;
  RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), nullptr, REG_SZ, L"", 2);
  DWORD size = 0;
  const bool seen =
      RegGetValueW(HKEY_CLASSES_ROOT, kProbe, nullptr, RRF_RT_REG_SZ, nullptr,
                   nullptr, &size) == ERROR_SUCCESS;
  RegDeleteTreeW(HKEY_CURRENT_USER, key.c_str());
  return seen ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

// A key that goes with the test.
class TemporaryKey {
 public:
  explicit TemporaryKey(const std::wstring& key, HKEY hive = HKEY_CURRENT_USER)
      : _hive(hive), _key(key) {}
  ~TemporaryKey() { RegDeleteTreeW(_hive, _key.c_str()); }

  void Set(const std::wstring& below, const wchar_t* value,
           const std::wstring& text) const {
    EXPECT_EQ(RegSetKeyValueW(
                  _hive, (_key + below).c_str(), value, REG_SZ, text.c_str(),
                  static_cast<DWORD>((text.size() + 1) * sizeof text[0])),
              ERROR_SUCCESS);
  }

 private:
  HKEY _hive;
  std::wstring _key;
};

class ClassKey : public TemporaryKey {
 public:
  explicit ClassKey(const std::wstring& name)
      : TemporaryKey(L"Software\\Classes\\" + name, ClassesHive()) {}
};

class SessionAppTest : public SessionFixture {
 protected:
  void SetUp() override { Start(); }

  std::uint32_t Run(const std::wstring& verb, const std::wstring& file,
                    const std::wstring& parameters = L"",
                    const std::wstring& directory = L"",
                    const std::wstring& class_name = L"") {
    return _session->start_app(verb.c_str(), file.c_str(), parameters.c_str(),
                               directory.c_str(), class_name.c_str());
  }

  // A command template that starts the reporting child; `rest` stands behind.
  std::wstring Reporter(const std::wstring& rest) {
    _report = _scratch.File(L"called " + std::to_wstring(++_reports));
    return L"\"" + TestProgramPath() + L"\" --vel-child ReportsCommandLine \"" +
           _report + L"\" " + rest;
  }
  std::wstring ReportedLine() { return ReportOf(_report)[L"line"]; }
  bool LineEndsWith(const std::wstring& end) {
    const std::wstring line = ReportedLine();
    return line.size() >= end.size() &&
           line.compare(line.size() - end.size(), end.size(), end) == 0;
  }

  std::wstring _report;
};

TEST_F(SessionAppTest, WhatCannotBeStartedIsToldByItsError) {
  const std::wstring text = _scratch.Write(L"a.veltestnone", "x");
  const struct {
    const wchar_t* verb;
    std::wstring file;
    DWORD error;
  } cases[] = {
      {L"open", L"", ERROR_FILE_NOT_FOUND},
      {L"open", L"C:\\no such\\file.txt", ERROR_FILE_NOT_FOUND},
      {L"open", L"no such program", ERROR_FILE_NOT_FOUND},
      {L"open", text, ERROR_NO_ASSOCIATION},
      {L"open", L"veltestnone://x", ERROR_NO_ASSOCIATION},
      {L"nosuchverb", TestProgramPath(), ERROR_NO_ASSOCIATION},
      {L"runas", TestProgramPath(), ERROR_NOT_SUPPORTED},
      {L"open", _scratch.Write(L"damaged.exe", "MZ"), ERROR_BAD_EXE_FORMAT},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(Run(each.verb, each.file), each.error)
        << std::string(each.file.begin(), each.file.end());
  }
}

TEST_F(SessionAppTest, NothingStartsWithoutASession) {
  Stop();
  EXPECT_EQ(Run(L"open", TestProgramPath()), DWORD{ERROR_NOT_READY});
}

TEST_F(SessionAppTest, AProgramGetsParametersAndDirectory) {
  const std::wstring report = _scratch.File(L"r");
  EXPECT_EQ(Run(L"", TestProgramPath(),
                L"--vel-child ReportsCommandLine \"" + report + L"\" \"a b\"",
                _scratch.path()),
            DWORD{ERROR_SUCCESS});
  auto lines = ReportOf(report);
  EXPECT_EQ(lines[L"line"], L"\"" + TestProgramPath() +
                                L"\" --vel-child ReportsCommandLine \"" +
                                report + L"\" \"a b\"");
  EXPECT_EQ(_wcsicmp(lines[L"directory"].c_str(), _scratch.path().c_str()), 0);
}

TEST_F(SessionAppTest, AFileIsOpenedByItsAssociationAndVerb) {
  const ClassKey extension(L".veltest");
  const ClassKey file_class(L"VelTestFile");
  extension.Set(L"", nullptr, L"VelTestFile");
  const std::wstring file = _scratch.Write(L"a b.veltest", "x");

  file_class.Set(L"\\shell\\open\\command", nullptr, Reporter(L"O \"%1\" %*"));
  EXPECT_EQ(Run(L"open", file, L"-p"), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(LineEndsWith(L"O \"" + file + L"\" -p"));

  file_class.Set(L"\\shell\\peek\\command", nullptr, Reporter(L"P \"%L\""));
  EXPECT_EQ(Run(L"peek", file), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(LineEndsWith(L"P \"" + file + L"\""));
}

TEST_F(SessionAppTest, AClassGoesBeforeTheFilesOwn) {
  const ClassKey file_class(L"VelTestFile");
  file_class.Set(L"\\shell\\open\\command", nullptr, Reporter(L"C \"%1\""));
  EXPECT_EQ(Run(L"open", L"anything at all", L"", L"", L"VelTestFile"),
            DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(LineEndsWith(L"C \"anything at all\""));
}

TEST_F(SessionAppTest, AUrlGoesToTheHandlerOfItsScheme) {
  const ClassKey scheme(L"veltest");
  scheme.Set(L"", L"URL Protocol", L"");
  scheme.Set(L"\\shell\\open\\command", nullptr, Reporter(L"U \"%1\""));
  EXPECT_EQ(Run(L"open", L"veltest://host/a%20b?c=d"), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(LineEndsWith(L"U \"veltest://host/a%20b?c=d\""));
}

TEST_F(SessionAppTest, TheUsersChoiceForASchemeGoesFirst) {
  const ClassKey scheme(L"veltest");
  const ClassKey file_class(L"VelTestFile");
  const TemporaryKey choice(
      L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\"
      L"veltest");
  scheme.Set(L"\\shell\\open\\command", nullptr, L"\"not this one\" \"%1\"");
  choice.Set(L"\\UserChoice", L"ProgId", L"VelTestFile");
  file_class.Set(L"\\shell\\open\\command", nullptr, Reporter(L"H \"%1\""));
  EXPECT_EQ(Run(L"open", L"veltest:x"), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(LineEndsWith(L"H \"veltest:x\""));
}

// As when the product is the user's browser: passing the URL to it would bring
// the same URL back for ever.
TEST_F(SessionAppTest, AUrlOfTheProductItselfGoesToAnotherBrowser) {
  const ClassKey scheme(L"veltest");
  const TemporaryKey browser(
      L"Software\\Clients\\StartMenuInternet\\VelTestBrowser");
  const std::wstring product = _scratch.path() + L"\\product";
  scheme.Set(L"\\shell\\open\\command", nullptr,
             L"\"" + product + L"\\Brindlemar.exe\" \"%1\"");
  browser.Set(L"\\shell\\open\\command", nullptr, Reporter(L"B"));

  constexpr wchar_t kClients[] = L"Software\\Clients\\StartMenuInternet";
  wchar_t old_default[256] = L"";
  DWORD size = sizeof old_default;
  const bool had_default =
      RegGetValueW(HKEY_CURRENT_USER, kClients, nullptr, RRF_RT_REG_SZ, nullptr,
                   old_default, &size) == ERROR_SUCCESS;
  RegSetKeyValueW(HKEY_CURRENT_USER, kClients, nullptr, REG_SZ,
                  L"VelTestBrowser", sizeof L"VelTestBrowser");
  SetEnvironmentVariableW(L"VELDIR", product.c_str());
  const std::uint32_t result = Run(L"open", L"veltest:x");
  SetEnvironmentVariableW(L"VELDIR", nullptr);
  if (had_default) {
    RegSetKeyValueW(HKEY_CURRENT_USER, kClients, nullptr, REG_SZ, old_default,
                    size);
  } else {
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kClients, nullptr);
  }
  EXPECT_EQ(result, DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(LineEndsWith(L"B \"veltest:x\""));
}

TEST_F(SessionAppTest, AShortcutStartsItsTarget) {
  const std::wstring report = _scratch.File(L"linked");
  const std::wstring parameters =
      L"--vel-child ReportsCommandLine \"" + report + L"\"";
  const std::wstring link_path = _scratch.File(L"program.lnk");
  ASSERT_TRUE(SUCCEEDED(CoInitialize(nullptr)));
  IShellLinkW* link = nullptr;
  IPersistFile* file = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                             IID_IShellLinkW, reinterpret_cast<void**>(&link)),
            S_OK);
  link->SetPath(TestProgramPath().c_str());
  link->SetArguments(parameters.c_str());
  link->SetWorkingDirectory(_scratch.path().c_str());
  link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file));
  EXPECT_EQ(file->Save(link_path.c_str(), TRUE), S_OK);
  file->Release();
  link->Release();
  CoUninitialize();

  EXPECT_EQ(Run(L"open", link_path), DWORD{ERROR_SUCCESS});
  auto lines = ReportOf(report);
  EXPECT_NE(lines[L"line"].find(parameters), std::wstring::npos);
  EXPECT_EQ(_wcsicmp(lines[L"directory"].c_str(), _scratch.path().c_str()), 0);
}

TEST_F(SessionAppTest, AFileUrlIsAPath) {
  const ClassKey extension(L".veltest");
  const ClassKey file_class(L"VelTestFile");
  extension.Set(L"", nullptr, L"VelTestFile");
  file_class.Set(L"\\shell\\open\\command", nullptr, Reporter(L"F \"%1\""));
  const std::wstring file = _scratch.Write(L"a.veltest", "x");
  std::wstring url = L"file:///" + file;
  for (wchar_t& each : url) each = each == L'\\' ? L'/' : each;
  EXPECT_EQ(Run(L"open", url), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(LineEndsWith(L"F \"" + file + L"\""));
}

}  // namespace
}  // namespace vel::test
