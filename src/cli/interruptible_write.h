// Writing to what may not take bytes for hours (a pipe to a pager, a FIFO without a reader) so that an interrupt still
// ends the wait: whichever thread writes, and whether or not it takes signals.
#pragma once

#include "frame/abort_callback.h"

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::cli {

/// Waits until `descriptor` takes bytes or has failed. Raises `exception_aborted` when it does neither and the token is
/// set.
void wait_until_writable(int descriptor, const abort_callback& abort);

/// Opens `path`, which exists, for writing; waits for the reader of a FIFO. Raises `exception_aborted` and the
/// exceptions of the host.
int open_for_writing(const std::string& path, const abort_callback& abort);

/// Writes to a descriptor that somebody else owns.
class interruptible_writer {
 public:
  interruptible_writer(int descriptor, const abort_callback& abort);
  ~interruptible_writer();
  interruptible_writer(const interruptible_writer&) = delete;
  interruptible_writer& operator=(const interruptible_writer&) = delete;

  /// Writes the first of `bytes`, at least one, and returns how many. What there is room for is written even when the
  /// token is set; instead of waiting for room it then raises `exception_aborted`. Other failures are those of the
  /// host.
  std::size_t write_some(std::span<const std::byte> bytes);

 private:
  int descriptor_;
  const abort_callback& abort_;
  int reopened_ = -1;      ///< the same pipe, not blocking; below 0 when that could not be had
  bool may_block_ = false; ///< a pipe, a socket or a terminal
};

} // namespace zelmora::cli
