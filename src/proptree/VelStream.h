#ifndef VEL_PROPTREE_VELSTREAM_H_
#define VEL_PROPTREE_VELSTREAM_H_

#include <cstddef>

namespace vel {

// A stream of bytes in one direction. For one thread at a time.
class VelStream {
 public:
  VelStream() = default;
  virtual ~VelStream() = default;
  VelStream(const VelStream&) = delete;
  VelStream& operator=(const VelStream&) = delete;

  // True when all bytes were taken, or delivered.
  virtual bool Write(const void* buffer, std::size_t size) = 0;
  virtual bool Read(void* buffer, std::size_t size) = 0;
  virtual bool IsOpen() const = 0;
  virtual bool CanWrite() const = 0;
};

}  // namespace vel

#endif  // VEL_PROPTREE_VELSTREAM_H_
