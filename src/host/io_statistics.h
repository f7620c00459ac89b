// How much work the local file system did for one thread: system calls, and the bytes that they moved.
#pragma once

#include <cstdint>

namespace zelmora::host {

struct io_statistics {
  std::uint64_t reads = 0;
  std::uint64_t bytes_read = 0;
  std::uint64_t seeks = 0; ///< reads and writes that did not go on where the one before ended
  std::uint64_t writes = 0;
  std::uint64_t bytes_written = 0;

  io_statistics& operator+=(const io_statistics& other) noexcept;
};

/// This thread's counters. Whoever measures copies them before and after, or clears them.
io_statistics& thread_io_statistics() noexcept;

} // namespace zelmora::host
