// ptpdump: shows, checks and makes property tree files.
#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <process.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "proptree/FileContents.h"
#include "proptree/VelPropTreeStore.h"
#include "ptpdump/Json.h"
#include "ptpdump/TreeFile.h"
#include "ptpdump/TreePrinter.h"
#include "swlcat/Utf8.h"

namespace ptpdump {
namespace {

enum ExitCode : unsigned { kDone = 0, kFault = 1, kWrongArguments = 2 };

// Trees may be nested deeply.
constexpr unsigned kStackSize = 256 << 20;

constexpr char kHelp[] =
    "ptpdump FILE               prints a property tree file as text\n"
    "ptpdump --json FILE        prints it as JSON\n"
    "ptpdump --check FILE       only tells whether it is whole\n"
    "ptpdump --make JSON FILE   makes FILE from JSON, as --json prints it\n"
    "\n"
    "A fault is told with its offset in the file; what comes before it is\n"
    "printed. Exit codes: 0 done, 1 a fault or a failure, 2 these arguments\n"
    "make no sense.\n";

using Arguments = std::vector<std::wstring>;

void tell(const std::wstring& path, const Fault& fault) {
  std::fprintf(stderr, "ptpdump: %s: offset %llu: %s\n",
               swlcat::utf8(path).c_str(), fault.offset, fault.text.c_str());
}

// The packer ends the process at one kind of damage.
LONG WINAPI tell_trap(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode != EXCEPTION_BREAKPOINT) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  std::fprintf(stderr,
               "ptpdump: offset %llu: an index right behind the table, which "
               "ends the program that reads it\n",
               load_offset());
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), kFault);
  return EXCEPTION_CONTINUE_SEARCH;
}

unsigned show(const std::wstring& path,
              std::string (*print)(const vel::VelPropNode&)) {
  vel::VelPropNode root;
  Fault fault;
  const bool whole = load_tree(path, root, fault);
  if (print != nullptr && (whole || fault.offset != 0)) {
    const std::string text = print(root);
    std::fwrite(text.data(), 1, text.size(), stdout);
  }
  if (!whole) tell(path, fault);
  return whole && std::fflush(stdout) == 0 ? kDone : kFault;
}

unsigned make(const std::wstring& json_path, const std::wstring& path) {
  vel::FileContents json(json_path, true);
  if (!json.Load()) {
    tell(json_path, {0, "The file can't be read"});
    return kFault;
  }
  vel::VelPropNode root;
  try {
    read_json(json.data(), root);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ptpdump: %s\n", error.what());
    return kFault;
  }
  if (vel::VelPropTreeStore(&root).StorePlain(path)) return kDone;
  tell(path, {0, "The file can't be written"});
  return kFault;
}

unsigned run(const Arguments& arguments) {
  const std::wstring first = arguments.empty() ? L"" : arguments[0];
  if (arguments.size() == 1 && first == L"--help") {
    std::fputs(kHelp, stdout);
    return kDone;
  }
  if (arguments.size() == 1 && !first.starts_with(L"--")) {
    return show(first, &tree_as_text);
  }
  if (arguments.size() == 2 && first == L"--json") {
    return show(arguments[1], &tree_as_json);
  }
  if (arguments.size() == 2 && first == L"--check") {
    return show(arguments[1], nullptr);
  }
  if (arguments.size() == 3 && first == L"--make") {
    return make(arguments[1], arguments[2]);
  }
  std::fputs(kHelp, stderr);
  return kWrongArguments;
}

unsigned __stdcall run_on_thread(void* arguments) {
  return run(*static_cast<const Arguments*>(arguments));
}

}  // namespace
}  // namespace ptpdump

int wmain(int argc, wchar_t** argv) {
  SetUnhandledExceptionFilter(&ptpdump::tell_trap);
  SetConsoleOutputCP(CP_UTF8);
  _setmode(_fileno(stdout), _O_BINARY);
  ptpdump::Arguments arguments(argv + 1, argv + argc);
  const auto thread = reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, ptpdump::kStackSize, &ptpdump::run_on_thread,
                     &arguments, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
  if (thread == nullptr) {
    std::fputs("ptpdump: no memory for its thread\n", stderr);
    return ptpdump::kFault;
  }
  DWORD code = ptpdump::kFault;
  WaitForSingleObject(thread, INFINITE);
  GetExitCodeThread(thread, &code);
  return static_cast<int>(code);
}
