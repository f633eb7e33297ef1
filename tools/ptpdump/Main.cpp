// ptpdump: shows, checks and makes property tree files.
#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "proptree/FileContents.h"
#include "proptree/VelPropTreeStore.h"
#include "ptpdump/Json.h"
#include "ptpdump/Output.h"
#include "ptpdump/TreeFile.h"
#include "ptpdump/TreePrinter.h"
#include "swlcat/Utf8.h"

namespace ptpdump {
namespace {

enum ExitCode : unsigned { kDone = 0, kFault = 1, kWrongArguments = 2 };

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

using Print = void (*)(Output& out, const vel::VelPropNode& root);

// False, which is told, when not all could be written.
bool print_tree(const vel::VelPropNode& root, Print print) {
  Output out;
  if (print != nullptr) print(out, root);
  if (out.finish()) return true;
  std::fputs("ptpdump: the output can't be written\n", stderr);
  return false;
}

// The tree that is being loaded.
struct Showing {
  const std::wstring& path;
  const vel::VelPropNode& root;
  Print print;
};
const Showing* showing = nullptr;

// The packer ends the process at one kind of damage.
LONG WINAPI tell_trap(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode != EXCEPTION_BREAKPOINT ||
      showing == nullptr) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  const std::uint64_t offset = give_up_loading();
  print_tree(showing->root, showing->print);
  tell(showing->path, {offset,
                       "an index right behind the table, which ends the "
                       "program that reads it"});
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), kFault);
  return EXCEPTION_CONTINUE_SEARCH;
}

unsigned show(const std::wstring& path, Print print) {
  vel::VelPropNode root;
  const Showing scope = {path, root, print};
  showing = &scope;
  Fault fault;
  const bool whole = load_tree(path, root, fault);
  showing = nullptr;
  const bool is_there = whole || fault.offset != 0;
  const bool printed = print_tree(root, is_there ? print : nullptr);
  if (!whole) tell(path, fault);
  return whole && printed ? kDone : kFault;
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
    Output out;
    out << kHelp;
    return out.finish() ? kDone : kFault;
  }
  if (arguments.size() == 1 && !first.starts_with(L"--")) {
    return show(first, &print_text);
  }
  if (arguments.size() == 2 && first == L"--json") {
    return show(arguments[1], &print_json);
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

}  // namespace
}  // namespace ptpdump

int wmain(int argc, wchar_t** argv) {
  SetUnhandledExceptionFilter(&ptpdump::tell_trap);
  SetConsoleOutputCP(CP_UTF8);
  _setmode(_fileno(stdout), _O_BINARY);
  try {
    return static_cast<int>(
        ptpdump::run(ptpdump::Arguments(argv + 1, argv + argc)));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ptpdump: %s\n", error.what());
    return ptpdump::kFault;
  }
}
