// velctl: sends commands to the tray, for scripts and support.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tray/SharedBlock.h"
#include "velctl/Doors.h"
#include "velctl/Options.h"

namespace velctl {
namespace {

enum ExitCode : int {
  kDone = 0,
  kNotDone = 1,
  kRefused = 2,
  kNobody = 3,
  kShuttingDown = 4,
  kBadUsage = 64,
};

constexpr std::uint32_t kBytesInARow = 16;

int tell(Answer answer) {
  switch (answer) {
    case Answer::kHandled:
      std::puts("handled");
      return kDone;
    case Answer::kNotHandled:
      std::puts("not handled");
      return kNotDone;
    case Answer::kRefused:
      std::puts("refused");
      return kRefused;
    default:
      std::fprintf(stderr, "velctl: no reply from a tray, error %lu\n",
                   GetLastError());
      return kNobody;
  }
}

int tell_status(Answer answer, std::uint32_t shutting_down) {
  if (answer == Answer::kNobody) {
    std::puts("not running");
    return kNobody;
  }
  if (answer != Answer::kHandled) return tell(answer);
  std::puts(shutting_down != 0 ? "shutting down" : "running");
  return shutting_down != 0 ? kShuttingDown : kDone;
}

std::uint32_t first_word(const void* block) {
  std::uint32_t word = 0;
  std::memcpy(&word, block, sizeof(word));
  return word;
}

// A word as a number, all else as rows of bytes.
void print_block(const void* block, std::uint32_t size) {
  if (size == sizeof(std::uint32_t)) {
    std::printf("%u\n", first_word(block));
    return;
  }
  const auto* const bytes = static_cast<const unsigned char*>(block);
  for (std::uint32_t i = 0; i < size; ++i) {
    const bool ends_row = i + 1 == size || (i + 1) % kBytesInARow == 0;
    std::printf("%02x%c", bytes[i], ends_row ? '\n' : ' ');
  }
}

int send_block(const Options& options) {
  const vel::SharedBlock block(options.block_size);
  if (block.view() == nullptr) {
    std::fprintf(stderr, "velctl: no memory for the block, error %lu\n",
                 GetLastError());
    return kNotDone;
  }
  const Answer answer =
      send_command(options.door, options.command, block.text());
  if (options.status) return tell_status(answer, first_word(block.view()));
  const int code = tell(answer);
  if (code == kDone) print_block(block.view(), options.block_size);
  return code;
}

int run(const std::vector<std::wstring>& arguments) {
  const std::optional<Options> options = parse_options(arguments);
  if (!options) {
    std::fputs(kUsage, stderr);
    return kBadUsage;
  }
  if (options->help) {
    std::fputs(kUsage, stdout);
    return kDone;
  }
  if (options->block_size != 0) return send_block(*options);
  return tell(send_command(options->door, options->command, options->text));
}

}  // namespace
}  // namespace velctl

int wmain(int argc, wchar_t** argv) {
  return velctl::run(std::vector<std::wstring>(argv + 1, argv + argc));
}
