// A library that decides itself when it can be unloaded, and, without
// VEL_TEST_CAN_REFUSE, one that doesn't.
#include <windows.h>

#include <atomic>

#ifdef VEL_TEST_CAN_REFUSE
namespace {
std::atomic<long> answer{1};
std::atomic<long> asked{0};
}  // namespace

extern "C" __declspec(dllexport) long VelDllCanUnloadNow() {
  ++asked;
  return answer;
}

extern "C" __declspec(dllexport) void AnswerWith(long value) {
  answer = value;
}

extern "C" __declspec(dllexport) long TimesAsked() {
  return asked;
}
#endif

BOOL WINAPI DllMain(HINSTANCE, DWORD, void*) {
  return TRUE;
}
