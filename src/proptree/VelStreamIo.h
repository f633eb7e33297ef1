#ifndef VEL_PROPTREE_VELSTREAMIO_H_
#define VEL_PROPTREE_VELSTREAMIO_H_

#include <cstdint>
#include <string>

#include "proptree/VelStream.h"

namespace vel {

// Numbers and strings on a stream, all little-endian. A string is its length,
// 32 bits, and its characters, of one byte in the narrow form and of two in the
// wide one. True when all bytes went through; a number that can't be read keeps
// its value, a string holds what came of it.
class VelStreamIo {
 public:
  // `stream` isn't owned.
  explicit VelStreamIo(VelStream* stream) : _stream(stream) {}

  bool WriteByte(std::uint8_t value) { return put(value); }
  bool WriteU16(std::uint16_t value) { return put(value); }
  bool WriteU32(std::uint32_t value) { return put(value); }
  bool WriteU64(std::uint64_t value) { return put(value); }
  bool WriteNarrow(const std::string& text);
  bool WriteWide(const std::wstring& text);

  bool ReadByte(std::uint8_t& value) { return get(value); }
  bool ReadU16(std::uint16_t& value) { return get(value); }
  bool ReadU32(std::uint32_t& value) { return get(value); }
  bool ReadU64(std::uint64_t& value) { return get(value); }
  bool ReadNarrow(std::string& text);
  bool ReadWide(std::wstring& text);

  bool WriteRaw(const void* buffer, std::size_t size) {
    return _stream->Write(buffer, size);
  }
  bool ReadRaw(void* buffer, std::size_t size) {
    return _stream->Read(buffer, size);
  }

 private:
  template <typename Number>
  bool put(Number value) {
    return _stream->Write(&value, sizeof(value));
  }
  template <typename Number>
  bool get(Number& value) {
    Number read = 0;
    if (!_stream->Read(&read, sizeof(read))) return false;
    value = read;
    return true;
  }
  template <typename String>
  bool write_string(const String& text);
  template <typename String>
  bool read_string(String& text);

  VelStream* const _stream;
};

}  // namespace vel

#endif  // VEL_PROPTREE_VELSTREAMIO_H_
