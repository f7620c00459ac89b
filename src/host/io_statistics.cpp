#include "host/io_statistics.h"

namespace zelmora::host {

io_statistics& io_statistics::operator+=(const io_statistics& other) noexcept {
  reads += other.reads;
  bytes_read += other.bytes_read;
  seeks += other.seeks;
  writes += other.writes;
  bytes_written += other.bytes_written;
  return *this;
}

io_statistics& thread_io_statistics() noexcept {
  static thread_local io_statistics statistics;
  return statistics;
}

} // namespace zelmora::host
