// A library that decides itself when it can be unloaded: not at first.
#include <atomic>

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
