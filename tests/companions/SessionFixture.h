// A session manager of the built library, with what its tests need to look
// into a session from outside.
#ifndef VEL_TESTS_COMPANIONS_SESSIONFIXTURE_H_
#define VEL_TESTS_COMPANIONS_SESSIONFIXTURE_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "companions/CompanionLibrary.h"
#include "support/ScratchDirectory.h"
#include "vel/IVelSession.h"

namespace vel::test {

// Notes each MgrShutdown.
class EndRecorder final : public IVelSessionCallback {
 public:
  EndRecorder() : _event(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
  ~EndRecorder() override { CloseHandle(_event); }
  void reserved_1() override {}
  void MgrShutdown(std::uint32_t status) override;
  void reserved_3() override {}
  void reserved_4() override {}
  bool reserved_5() override { return false; }
  std::uintptr_t reserved_6() override { return 0; }
  std::uintptr_t reserved_7() override { return 0; }

  // Waits for the next call; its status, or 0xDEAD when none comes.
  std::uint32_t Next();
  int calls() const { return _calls; }

 private:
  HANDLE _event;
  std::uint32_t _status = 0;
  int _calls = 0;
};

class SessionFixture : public testing::Test {
 protected:
  explicit SessionFixture(const std::wstring& library = L"VELUL.dll");
  ~SessionFixture() override;

  // Starts the session and expects it to run.
  void Start(const wchar_t* config = L"Normal");
  // Orders the end and waits for it.
  void Stop();
  // Waits until the state is another one; gives it.
  std::uint32_t WaitWhile(std::uint32_t state);

  // Starts this program's child `name` in the session; the path of the file it
  // is told to write its report to.
  std::wstring StartChild(const std::wstring& name);
  // The report's lines "key=value", once the child has written it.
  std::map<std::wstring, std::wstring> ReportOf(const std::wstring& path);
  // A handle on the process with the report's "pid".
  HANDLE ProcessOf(const std::map<std::wstring, std::wstring>& report);

  ScratchDirectory _scratch;
  CompanionLibrary _library;
  IVelSession* _session;
  EndRecorder _ends;
  int _reports = 0;
};

// Writes a child's report whole, in one step. Adds "pid".
void WriteReport(const std::wstring& path,
                 std::map<std::wstring, std::wstring> report);

// The children of this process that are anchors, newest last.
std::vector<DWORD> AnchorIds();

// How many handles this process has open.
std::size_t OpenHandles();

}  // namespace vel::test

#endif  // VEL_TESTS_COMPANIONS_SESSIONFIXTURE_H_
