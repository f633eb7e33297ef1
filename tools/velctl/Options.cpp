#include "velctl/Options.h"

#include <windows.h>

#include <cwchar>

#include "foundation/CommandLine.h"
#include "vel/GuiIpc.h"

namespace velctl {

const char kUsage[] =
    "velctl [--door window|pipe] [--block BYTES] COMMAND [TEXT]\n"
    "\n"
    "Sends a command to the tray of this Windows session and prints what it\n"
    "answers.\n"
    "\n"
    "  status              what the tray does: \"running\", \"shutting down\" "
    "or\n"
    "                      \"not running\"\n"
    "  run URL|FILE        opens it in a session; a text that begins with /\n"
    "                      is sent as it stands\n"
    "  shutdown            ends the tray\n"
    "  soft-shutdown [N]   closes all sessions, with the shutdown type N\n"
    "  configure, about    opens that dialog\n"
    "  1 to 16             any command by its number, see docs/ipc.md\n"
    "\n"
    "  --door window|pipe  the way to the tray: its window (the default) or\n"
    "                      its pipe\n"
    "  --block BYTES       sends a block of so many zeros and prints what the\n"
    "                      tray makes of it; the commands 8, 10, 11 and 13\n"
    "                      have one anyhow unless they are given a text\n"
    "\n"
    "Exit codes: 0 carried out (status: running); 1 not carried out; 2 a\n"
    "plug-in refused (the pipe alone tells); 3 no tray, or no reply; 4 "
    "status:\n"
    "shutting down; 64 these arguments make no sense.\n";

namespace {

struct NamedCommand {
  const wchar_t* name;
  std::uint32_t number;
};
constexpr NamedCommand kNames[] = {
    {L"status", VELGUI_IPC_IS_SHUTTING_DOWN},
    {L"run", VELGUI_IPC_RUNCMD},
    {L"shutdown", VELGUI_IPC_SHUTDOWN},
    {L"soft-shutdown", VELGUI_IPC_SOFT_SHUTDOWN},
    {L"configure", VELGUI_IPC_CONFIGURE},
    {L"about", VELGUI_IPC_ABOUT},
};

// Decimal, or hexadecimal behind 0x.
std::optional<std::uint32_t> parse_number(const std::wstring& text) {
  if (text.empty() || !iswdigit(text[0])) return {};
  wchar_t* end = nullptr;
  const unsigned long long number = _wcstoui64(text.c_str(), &end, 0);
  if (*end != L'\0' || number > UINT32_MAX) return {};
  return static_cast<std::uint32_t>(number);
}

std::optional<std::uint32_t> parse_command(const std::wstring& text) {
  for (const NamedCommand& known : kNames) {
    if (text == known.name) return known.number;
  }
  return parse_number(text);
}

std::uint32_t usual_block(std::uint32_t command) {
  switch (command) {
    case VELGUI_IPC_GET_VERSION_INFO:
      return sizeof(VelVersionInfo);
    case VELGUI_IPC_UPDATE_STATUS:
    case VELGUI_IPC_IS_SHUTTING_DOWN:
      return sizeof(std::uint32_t);
    case VELGUI_IPC_HAS_INTERACTIVE_APPS:
      return 1;
    default:
      return 0;
  }
}

bool set_door(const std::wstring& name, Options& options) {
  if (name != L"window" && name != L"pipe") return false;
  options.door = name == L"pipe" ? Door::kPipe : Door::kWindow;
  return true;
}

bool set_block(const std::wstring& size, Options& options) {
  const auto number = parse_number(size);
  if (!number || *number == 0 || *number > VEL_GUI_IPC_MAX_BLOCK) return false;
  options.block_size = *number;
  return true;
}

// The tray has a directory of its own, so a file goes there by its full path.
std::wstring run_line(const std::wstring& target) {
  wchar_t path[32768];
  const bool is_file =
      GetFileAttributesW(target.c_str()) != INVALID_FILE_ATTRIBUTES &&
      GetFullPathNameW(target.c_str(), ARRAYSIZE(path), path, nullptr) != 0;
  std::wstring line;
  vel::add_param(line, L"shex_file", is_file ? path : target);
  return line;
}

// What stands behind the switches: the command, and perhaps a text.
bool set_command(const std::vector<std::wstring>& words, Options& options) {
  if (words.empty() || words.size() > 2) return false;
  const auto command = parse_command(words[0]);
  const bool has_text = words.size() == 2;
  options.status = words[0] == L"status";
  if (!command || (has_text && (options.status || options.block_size != 0))) {
    return false;
  }
  options.command = *command;
  if (has_text) {
    options.text = words[1];
  } else if (options.block_size == 0) {
    options.block_size = usual_block(*command);
  }
  if (words[0] != L"run") return true;
  if (!has_text) return false;
  if (!options.text.starts_with(L'/')) options.text = run_line(words[1]);
  return true;
}

}  // namespace

std::optional<Options> parse_options(
    const std::vector<std::wstring>& arguments) {
  Options options;
  std::vector<std::wstring> words;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::wstring& argument = arguments[i];
    const std::wstring value =
        i + 1 < arguments.size() ? arguments[i + 1] : std::wstring();
    if (argument == L"--help") {
      options.help = true;
      return options;
    }
    if (argument == L"--door") {
      if (!set_door(value, options)) return {};
      ++i;
    } else if (argument == L"--block") {
      if (!set_block(value, options)) return {};
      ++i;
    } else {
      words.push_back(argument);
    }
  }
  if (!set_command(words, options)) return {};
  return options;
}

}  // namespace velctl
