// When and how VelLogStream replaces its file. All writers of a name share the
// file; only the name behind a process's own handle tells it what others have
// done, never a comparison of two files.

#include "log/VelLogStream.h"

#include <cstddef>
#include <cstring>
#include <cwchar>

#include "log/LogMutex.h"
#include "log/LogText.h"
#include "sync/NtHandle.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr wchar_t kOldExtension[] = L".old";
constexpr std::size_t kExtensionChars = 4;
constexpr std::size_t kWorkPathChars = 380;
constexpr std::size_t kNameBytes = 0x3C0;
constexpr std::size_t kNameChars =
    (kNameBytes - offsetof(FILE_NAME_INFORMATION, FileName)) / sizeof(wchar_t);
constexpr unsigned kKilledNames = 0x1000;

constexpr ULONGLONG kTicksPerMillisecond = 10000;  // of 100 ns

constexpr ULONG kShareAll =
    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr ULONG kOpenOptions =
    FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE;
constexpr ACCESS_MASK kRenameAccess =
    FILE_READ_DATA | FILE_READ_ATTRIBUTES | DELETE | SYNCHRONIZE;
constexpr ACCESS_MASK kEmptyAccess = FILE_WRITE_DATA | SYNCHRONIZE;
constexpr ACCESS_MASK kRetireAccess =
    FILE_WRITE_DATA | FILE_READ_ATTRIBUTES | DELETE | SYNCHRONIZE;

// The name that the file has now, without its volume.
struct CurrentName {
  wchar_t text[kNameChars + std::size(kOldExtension)];

  [[nodiscard]] bool query(HANDLE file) noexcept {
    union {
      FILE_NAME_INFORMATION information;
      std::uint8_t bytes[kNameBytes];
    } name;
    IO_STATUS_BLOCK io;
    if (!nt::succeeded(nt::ZwQueryInformationFile(file, &io, &name, sizeof name,
                                                  nt::kFileNameInformation))) {
      return false;
    }
    const std::size_t length =
        name.information.FileNameLength / sizeof(wchar_t);
    std::memcpy(text, name.bytes + offsetof(FILE_NAME_INFORMATION, FileName),
                length * sizeof(wchar_t));
    text[length] = L'\0';
    return true;
  }

  // False for a name without a whole extension, and for one that says that
  // another process has moved the file aside already.
  [[nodiscard]] bool is_current() const noexcept {
    const wchar_t* const dot = std::wcsrchr(text, L'.');
    return dot != nullptr && std::wcslen(dot) >= kExtensionChars &&
           !is_old(dot);
  }

  // The name of the previous file, without its directory.
  [[nodiscard]] const wchar_t* previous_leaf() noexcept {
    std::wcscat(text, kOldExtension);
    const wchar_t* slash = std::wcsrchr(text, L'\\');
    if (slash == nullptr) slash = std::wcsrchr(text, L'/');
    return slash != nullptr ? slash + 1 : text;
  }

 private:
  // In any case; the runtime's comparison asks for its locale.
  static bool is_old(const wchar_t* dot) noexcept {
    for (std::size_t i = 0; i < kExtensionChars; ++i) {
      const wchar_t c = dot[i];
      const bool upper = c >= L'A' && c <= L'Z';
      if ((upper ? c - L'A' + L'a' : c) != kOldExtension[i]) return false;
    }
    return true;
  }
};

NtHandle open_existing(const wchar_t* path, ACCESS_MASK access) noexcept {
  NtHandle file;
  NtObjectName name(path);
  IO_STATUS_BLOCK io;
  nt::ZwOpenFile(file.put(), access, name.attributes(), &io, kShareAll,
                 kOpenOptions);
  return file;
}

// The directory that the files of a rotation lie in.
class LogDirectory {
 public:
  // That of the file `nt_path`.
  explicit LogDirectory(const wchar_t* nt_path) noexcept {
    wchar_t path[kLogPathChars];
    std::wcscpy(path, nt_path);
    if (wchar_t* slash = std::wcsrchr(path, L'\\')) slash[1] = L'\0';
    NtObjectName name(path);
    IO_STATUS_BLOCK io;
    nt::ZwOpenFile(_handle.put(), FILE_TRAVERSE | SYNCHRONIZE,
                   name.attributes(), &io, kShareAll,
                   FILE_SYNCHRONOUS_IO_NONALERT | FILE_DIRECTORY_FILE);
  }

  // Gives the file behind `file` another name in this directory; what has that
  // name is replaced. A name without a directory, for which the system takes
  // the file's own one, serves when the directory can't be opened.
  bool rename(HANDLE file, const wchar_t* leaf) const noexcept {
    union {
      FILE_RENAME_INFORMATION information;
      std::uint8_t
          bytes[sizeof(FILE_RENAME_INFORMATION) + kNameChars * sizeof(wchar_t)];
    } target = {};
    const std::size_t length = std::wcslen(leaf) * sizeof(wchar_t);
    target.information.ReplaceIfExists = TRUE;
    target.information.RootDirectory = _handle.get();
    target.information.FileNameLength = static_cast<ULONG>(length);
    std::memcpy(target.bytes + offsetof(FILE_RENAME_INFORMATION, FileName),
                leaf, length);
    IO_STATUS_BLOCK io;
    return nt::succeeded(nt::ZwSetInformationFile(
        file, &io, &target, sizeof target, nt::kFileRenameInformation));
  }

 private:
  NtHandle _handle;
};

void empty_file(HANDLE file) noexcept {
  FILE_END_OF_FILE_INFORMATION end = {};
  IO_STATUS_BLOCK io;
  nt::ZwSetInformationFile(file, &io, &end, sizeof end,
                           nt::kFileEndOfFileInformation);
}

void delete_on_close(HANDLE file) noexcept {
  FILE_DISPOSITION_INFORMATION disposition = {TRUE};
  IO_STATUS_BLOCK io;
  nt::ZwSetInformationFile(file, &io, &disposition, sizeof disposition,
                           nt::kFileDispositionInformation);
}

// Takes the previous file out of the way. Its emptiness tells the processes
// that still write to it; the other name frees its own now, though they keep it
// open, and it is gone when the last of them has closed it.
void retire(HANDLE previous, const LogDirectory& directory) noexcept {
  empty_file(previous);
  for (unsigned number = 0; number < kKilledNames; ++number) {
    wchar_t name[16];
    nt_print(name, std::size(name), L"killed.%x", number);
    if (directory.rename(previous, name)) break;
  }
  delete_on_close(previous);
}

ULONGLONG as_number(const FILETIME& time) noexcept {
  return (static_cast<ULONGLONG>(time.dwHighDateTime) << 32) |
         time.dwLowDateTime;
}

FILETIME boot_time() noexcept {
  SYSTEMTIME now;
  GetSystemTime(&now);
  FILETIME time;
  SystemTimeToFileTime(&now, &time);
  const ULONGLONG boot =
      as_number(time) - GetTickCount() * kTicksPerMillisecond;
  return {static_cast<DWORD>(boot), static_cast<DWORD>(boot >> 32)};
}

}  // namespace

void VelLogStream::rotate_by_age(bool force) noexcept {
  NtObjectName name(_nt_path);
  FILE_NETWORK_OPEN_INFORMATION found;
  if (!nt::succeeded(
          nt::ZwQueryFullAttributesFile(name.attributes(), &found))) {
    return;
  }
  const FILETIME boot = boot_time();
  const FILETIME written = {found.LastWriteTime.LowPart,
                            static_cast<DWORD>(found.LastWriteTime.HighPart)};
  if (!force && CompareFileTime(&boot, &written) <= 0) return;
  const wchar_t* const path = _nt_path + kNtPrefixChars;
  wchar_t old_path[kLogPathChars];
  std::wcscpy(old_path, path);
  if (!append_text(old_path, kLogPathChars, kOldExtension) ||
      MoveFileExW(path, old_path, MOVEFILE_REPLACE_EXISTING) == 0) {
    DeleteFileW(path);
  }
}

NTSTATUS VelLogStream::rotate_by_size() noexcept {
  const FileState state = look_at_file();
  if (state == FileState::kFits) return nt::kStatusSuccess;
  const LogMutex mutex;
  if (state == FileState::kFull) {
    move_aside();
    close_file();
  }
  open_file(EmptyFile::kBegin);
  return _file != nullptr ? nt::kStatusSuccess : nt::kStatusUnsuccessful;
}

VelLogStream::FileState VelLogStream::look_at_file() noexcept {
  if (_file == nullptr) return FileState::kGone;
  const NTSTATUS status = find_end();
  if (status == nt::kStatusInvalidHandle) {
    // Somebody in this process has closed the handle.
    if (_level < kDefaultLogLevel) vel_trap_in_lock();
    _file = nullptr;
    return FileState::kGone;
  }
  // Without even a header it is no file of ours any more: another process has
  // emptied it.
  if (!nt::succeeded(status) || _file_end == 0) {
    close_file();
    return FileState::kGone;
  }
  return _file_end < _rotation_limit ? FileState::kFits : FileState::kFull;
}

NTSTATUS VelLogStream::find_end() noexcept {
  FILE_STANDARD_INFORMATION information;
  IO_STATUS_BLOCK io;
  const NTSTATUS status =
      nt::ZwQueryInformationFile(_file, &io, &information, sizeof information,
                                 nt::kFileStandardInformation);
  if (nt::succeeded(status)) {
    _file_end = static_cast<std::uint64_t>(information.EndOfFile.QuadPart);
  }
  return status;
}

void VelLogStream::empty_current_file() noexcept {
  if (const NtHandle current = open_existing(_nt_path, kEmptyAccess)) {
    empty_file(current.get());
  }
}

// Makes the current file the previous one, unless another process has done it;
// then the current name only has to be followed.
void VelLogStream::move_aside() noexcept {
  CurrentName name;
  if (!name.query(_file) || !name.is_current()) return;
  const wchar_t* const leaf = name.previous_leaf();
  wchar_t previous_path[kWorkPathChars] = {};
  if (!append_text(previous_path, kWorkPathChars, _nt_path)) return;
  if (wchar_t* slash = std::wcsrchr(previous_path, L'\\')) slash[1] = L'\0';
  if (!append_text(previous_path, kWorkPathChars, leaf)) return;

  const LogDirectory directory(_nt_path);
  if (const NtHandle previous = open_existing(previous_path, kRetireAccess)) {
    retire(previous.get(), directory);
  }
  // By its name, not through _file: the current file is what has that name now.
  if (const NtHandle current = open_existing(_nt_path, kRenameAccess)) {
    directory.rename(current.get(), leaf);
  }
}

}  // namespace vel
