#include "ptpdump/TreeFile.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

#include "proptree/FileContents.h"
#include "proptree/VelPropPacker.h"

namespace ptpdump {
namespace {

// The bytes of a file. Notes where each read begins, for a fault lies in the
// last one, or in the first that came up short.
class PlacedStream final : public vel::VelStream {
 public:
  explicit PlacedStream(const std::string& bytes) : _bytes(bytes) {}

  bool Write(const void*, std::size_t) override { return false; }
  bool Read(void* buffer, std::size_t size) override {
    if (!_is_short) _last_read = _at;
    const std::size_t came = std::min(size, _bytes.size() - _at);
    std::memcpy(buffer, _bytes.data() + _at, came);
    _at += came;
    _is_short |= came < size;
    return came == size;
  }
  bool IsOpen() const override { return true; }
  bool CanWrite() const override { return false; }

  std::size_t last_read() const { return _last_read; }

 private:
  const std::string& _bytes;
  std::size_t _at = 0;
  std::size_t _last_read = 0;
  bool _is_short = false;
};

struct Loading {
  PlacedStream stream;
  vel::VelPropPacker packer;
};
Loading* current = nullptr;

}  // namespace

bool load_tree(const std::wstring& path, vel::VelPropNode& root, Fault& fault) {
  vel::FileContents file(path, true);
  if (!file.Load()) {
    fault = {0, "The file can't be opened"};
    return false;
  }
  Loading loading = {PlacedStream(file.data()), vel::VelPropPacker(&root)};
  current = &loading;
  try {
    loading.packer.Load(vel::VelStreamIo(&loading.stream));
    current = nullptr;
    return true;
  } catch (const std::exception& error) {
    fault = {give_up_loading(), error.what()};
    return false;
  }
}

std::uint64_t give_up_loading() {
  Loading* const loading = std::exchange(current, nullptr);
  if (loading == nullptr) return 0;
  loading->packer.KeepPartial();
  return loading->stream.last_read();
}

}  // namespace ptpdump
