#include "swlcat/StreamFile.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>

namespace swlcat {
namespace {

constexpr DWORD kShareAll =
    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE open_shared(const std::wstring& path, DWORD access) {
  return CreateFileW(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                     FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
}

// What tells one file from another whatever it is called.
struct FileIdentity {
  DWORD volume;
  DWORD high;
  DWORD low;

  static bool of(HANDLE file, FileIdentity& identity) {
    BY_HANDLE_FILE_INFORMATION information;
    if (!GetFileInformationByHandle(file, &information)) return false;
    identity = {information.dwVolumeSerialNumber, information.nFileIndexHigh,
                information.nFileIndexLow};
    return true;
  }
  bool operator==(const FileIdentity&) const = default;
};

std::wstring system_error(DWORD error) {
  wchar_t text[64];
  _snwprintf(text, 64, L"can't be opened, error %u", error);
  return text;
}

}  // namespace

std::unique_ptr<StreamFile> StreamFile::open(const std::wstring& path,
                                             const PrivateKey& key,
                                             std::wstring& error) {
  const HANDLE handle = open_shared(path, GENERIC_READ);
  if (handle == INVALID_HANDLE_VALUE) {
    error = system_error(GetLastError());
    return nullptr;
  }
  std::unique_ptr<StreamFile> file(new StreamFile(path, handle));
  if (!file->read_header(key, error)) return nullptr;
  return file;
}

StreamFile::~StreamFile() {
  CloseHandle(_file);
}

bool StreamFile::take(void* target, std::size_t wanted) {
  const std::size_t count =
      read_raw(_begin, static_cast<unsigned char*>(target), wanted);
  _begin += count;
  return count == wanted;
}

bool StreamFile::read_header(const PrivateKey& key, std::wstring& error) {
  char mark[vel::kLogMarkBytes];
  if (!take(mark, sizeof mark)) {
    error = size() == 0 ? L"" : L"cut off within its header";
    return false;
  }
  if (std::memcmp(mark, vel::kLogPlainMark, sizeof mark) == 0) return true;
  if (std::memcmp(mark, vel::kLogCipherMark, sizeof mark) == 0) {
    return start_deciphering(key, error);
  }
  error = L"not a log file";
  return false;
}

bool StreamFile::start_deciphering(const PrivateKey& key, std::wstring& error) {
  std::uint32_t length = 0;
  WrappedKey wrapped;
  if (!take(&length, sizeof length) || length != wrapped.size() ||
      !take(wrapped.data(), wrapped.size())) {
    error = L"cut off within its header";
    return false;
  }
  if (!key) {
    error = L"enciphered: name the private key by --key";
    return false;
  }
  const auto stream_key = key.unwrap(wrapped);
  if (!stream_key) {
    error = L"enciphered for another key";
    return false;
  }
  _cipher = {EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free};
  if (!_cipher || !EVP_DecryptInit_ex(_cipher.get(), EVP_aes_256_ecb(), nullptr,
                                      stream_key->data(), nullptr)) {
    error = L"the cipher can't be set up";
    return false;
  }
  EVP_CIPHER_CTX_set_padding(_cipher.get(), 0);
  return true;
}

std::uint64_t StreamFile::size() const {
  LARGE_INTEGER size = {};
  GetFileSizeEx(_file, &size);
  return static_cast<std::uint64_t>(size.QuadPart);
}

std::size_t StreamFile::read_raw(std::uint64_t offset, unsigned char* buffer,
                                 std::size_t wanted) const {
  OVERLAPPED place = {};
  place.Offset = static_cast<DWORD>(offset);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  DWORD count = 0;
  if (!ReadFile(_file, buffer, static_cast<DWORD>(wanted), &count, &place)) {
    return 0;
  }
  return count;
}

std::size_t StreamFile::read(std::uint64_t offset, unsigned char* buffer,
                             std::size_t wanted) const {
  std::size_t count = read_raw(offset, buffer, wanted);
  count -= count % kUnitSize;
  int deciphered = static_cast<int>(count);
  if (_cipher && count != 0 &&
      !EVP_DecryptUpdate(_cipher.get(), buffer, &deciphered, buffer,
                         deciphered)) {
    return 0;
  }
  return count;
}

bool StreamFile::is_replaced(std::uint64_t offset) const {
  if (size() < offset) return true;
  const HANDLE current = open_shared(_path, 0);
  if (current == INVALID_HANDLE_VALUE) return false;
  FileIdentity own;
  FileIdentity named;
  const bool replaced = FileIdentity::of(_file, own) &&
                        FileIdentity::of(current, named) && !(own == named);
  CloseHandle(current);
  return replaced;
}

}  // namespace swlcat
