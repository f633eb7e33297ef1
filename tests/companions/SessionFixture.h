// A session manager of the built library, with what its tests need to look
// into a session from outside.
#ifndef VEL_TESTS_COMPANIONS_SESSIONFIXTURE_H_
#define VEL_TESTS_COMPANIONS_SESSIONFIXTURE_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "companions/CompanionLibrary.h"
#include "support/ScratchDirectory.h"
#include "vel/IVelSession.h"

namespace vel::test {

class SessionFixture : public testing::Test {
 protected:
  explicit SessionFixture(const std::wstring& library = L"VELUL.dll");
  ~SessionFixture() override { _session->release(); }

  IVelSession* Create();
  // Starts the session and expects it to run.
  static void Start(IVelSession* session, const wchar_t* config);
  void Start(const wchar_t* config = L"Normal") { Start(_session, config); }
  // Orders the end and waits for it.
  void Stop();

  // A path for the next report.
  std::wstring NewReport();
  // The lines of the last report, once a child has written it; the first one
  // is the child's process id.
  std::vector<std::wstring> ReadReport();
  // Runs this program's child `name` in the session, until it has reported.
  std::vector<std::wstring> RunChild(const std::wstring& name);

  ScratchDirectory _scratch;
  CompanionLibrary _library;
  IVelSession* _session;
  std::wstring _report;
  int _reports = 0;
};

// Writes a child's report whole, in one step.
void WriteReport(const std::wstring& path, std::vector<std::wstring> lines);

// The children of this process that are anchors.
std::vector<DWORD> AnchorIds();

}  // namespace vel::test

#endif  // VEL_TESTS_COMPANIONS_SESSIONFIXTURE_H_
