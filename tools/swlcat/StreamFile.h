// A log file: its header, and the stream of 16-byte units behind it,
// deciphered.
#ifndef VEL_TOOLS_SWLCAT_STREAMFILE_H_
#define VEL_TOOLS_SWLCAT_STREAMFILE_H_

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "log/LogFormat.h"
#include "swlcat/PrivateKey.h"

using EVP_CIPHER_CTX = struct evp_cipher_ctx_st;

namespace swlcat {

inline constexpr std::size_t kUnitSize = vel::kLogUnitBytes;

// Files are read while others write, rename and empty them.
class StreamFile {
 public:
  // Null, with a reason in `error`, when it can't be opened or has no header
  // that `key` fits. An empty reason stands for a file that is still empty.
  static std::unique_ptr<StreamFile> open(const std::wstring& path,
                                          const PrivateKey& key,
                                          std::wstring& error);
  ~StreamFile();
  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;

  bool is_enciphered() const { return _cipher != nullptr; }
  // Where the first unit lies.
  std::uint64_t begin() const { return _begin; }
  std::uint64_t size() const;
  // The whole units from `offset` on, as if one began there; the number of
  // bytes, 0 when there are no more for now.
  std::size_t read(std::uint64_t offset, unsigned char* buffer,
                   std::size_t size) const;
  // The bytes as they are in the file; how many there were.
  std::size_t read_raw(std::uint64_t offset, unsigned char* buffer,
                       std::size_t size) const;
  // Whether the path leads to another file by now, or this one, which was read
  // up to `offset`, was emptied.
  bool is_replaced(std::uint64_t offset) const;

 private:
  StreamFile(std::wstring path, HANDLE file)
      : _path(std::move(path)), _file(file) {}
  bool read_header(const PrivateKey& key, std::wstring& error);
  // Takes the next bytes of the header.
  bool take(void* target, std::size_t size);
  bool start_deciphering(const PrivateKey& key, std::wstring& error);

  const std::wstring _path;
  const HANDLE _file;
  std::uint64_t _begin = 0;
  // Null for a plain file.
  std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> _cipher{nullptr,
                                                                     nullptr};
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_STREAMFILE_H_
