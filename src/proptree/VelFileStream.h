#ifndef VEL_PROPTREE_VELFILESTREAM_H_
#define VEL_PROPTREE_VELFILESTREAM_H_

#include <cstdint>
#include <string>
#include <vector>

#include "proptree/VelStream.h"
#include "sync/ScopedHandle.h"

namespace vel {

// A file behind a buffer of 64 KiB; large transfers go past it. IsOpen() tells
// whether the file could be opened. Sizes are below 2 GiB: any other is a trap.
class VelFileStream final : public VelStream {
 public:
  // For writing the file is created or emptied and nobody else can open it; for
  // reading others may read it too.
  VelFileStream(const std::wstring& path, bool writing);
  // Writes what is pending and waits until all is on the disk. A failure of
  // that shows nowhere.
  ~VelFileStream() override;

  // False from the first failure on: what follows would leave a gap.
  bool Write(const void* buffer, std::size_t size) override;
  // False at the end of the file; a read of no bytes succeeds there.
  bool Read(void* buffer, std::size_t size) override;
  bool IsOpen() const override { return _file.valid(); }
  bool CanWrite() const override { return _writing; }
  // The system's error of the open, read or write that failed first; 0 when
  // none has.
  std::uint32_t error() const { return _error; }

 private:
  bool note(bool done);
  bool write_through(const void* buffer, std::size_t size);
  bool read_through(void* buffer, std::size_t size);
  bool refill();

  const bool _writing;
  const ScopedFileHandle _file;
  // What is pending, or the block that was fetched last.
  std::vector<std::uint8_t> _buffer;
  std::uint64_t _read_pos = 0;
  // A write came up short.
  bool _failed = false;
  std::uint32_t _error = 0;
};

}  // namespace vel

#endif  // VEL_PROPTREE_VELFILESTREAM_H_
