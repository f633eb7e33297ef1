// A log file as the stream of 16-byte units behind its header, deciphered.
#ifndef VEL_TOOLS_SWLCAT_STREAMFILE_H_
#define VEL_TOOLS_SWLCAT_STREAMFILE_H_

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "swlcat/PrivateKey.h"

using EVP_CIPHER_CTX = struct evp_cipher_ctx_st;

namespace swlcat {

inline constexpr std::size_t kUnitSize = 16;

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

  // Where the next unit lies in the file.
  std::uint64_t offset() const { return _offset; }
  // Whole units into `buffer`; the number of bytes, 0 when there are no more
  // for now. `size` is a multiple of a unit.
  std::size_t read(unsigned char* buffer, std::size_t size);
  // Bytes at the end that make no whole unit.
  std::size_t cut_off() const;
  // Whether the path leads to another file by now, or this one was emptied.
  bool is_replaced() const;

 private:
  StreamFile(std::wstring path, HANDLE file)
      : _path(std::move(path)), _file(file) {}
  bool read_header(const PrivateKey& key, std::wstring& error);
  bool read_exactly(void* target, DWORD size);
  bool start_deciphering(const PrivateKey& key, std::wstring& error);
  std::uint64_t size() const;

  const std::wstring _path;
  const HANDLE _file;
  std::uint64_t _offset = 0;
  // Null for a plain file.
  std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> _cipher{nullptr,
                                                                     nullptr};
};

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_STREAMFILE_H_
