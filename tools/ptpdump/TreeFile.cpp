#include "ptpdump/TreeFile.h"

#include <exception>

#include "proptree/VelFileStream.h"
#include "proptree/VelPropPacker.h"

namespace ptpdump {
namespace {

std::uint64_t last_read = 0;

// Notes where each read begins: a fault lies in the last one.
class PlacedStream final : public vel::VelStream {
 public:
  explicit PlacedStream(const std::wstring& path) : _file(path, false) {}

  bool Write(const void*, std::size_t) override { return false; }
  bool Read(void* buffer, std::size_t size) override {
    last_read = _at;
    _at += size;
    return _file.Read(buffer, size);
  }
  bool IsOpen() const override { return _file.IsOpen(); }
  bool CanWrite() const override { return false; }

 private:
  vel::VelFileStream _file;
  std::uint64_t _at = 0;
};

}  // namespace

bool load_tree(const std::wstring& path, vel::VelPropNode& root, Fault& fault) {
  PlacedStream stream(path);
  if (!stream.IsOpen()) {
    fault = {0, "The file can't be opened"};
    return false;
  }
  try {
    vel::VelPropPacker(&root).Load(vel::VelStreamIo(&stream));
    return true;
  } catch (const std::exception& error) {
    fault = {last_read, error.what()};
    return false;
  }
}

std::uint64_t load_offset() {
  return last_read;
}

}  // namespace ptpdump
