// Views of a file that behave as awkward sources do: no size, no seeking, a byte at a time, a failure at the Nth
// operation.
#pragma once

#include "frame/file.h"

#include <functional>
#include <limits>
#include <memory>

namespace zelmora::test {

/// What a `faulty_file` does to the file behind it.
struct file_faults {
  static constexpr std::size_t never = std::numeric_limits<std::size_t>::max();

  bool one_byte_reads = false; ///< reads in pieces of one byte from the source; callers still get all they asked for
  bool no_size = false;
  bool no_seek = false;
  bool no_writes = false; ///< `exception_io_write_protected`
  /// Operations are counted from 0 over all reads, writes, seeks and resizes.
  std::size_t fail_at = never;    ///< that operation raises `exception_io_file_corrupted`
  std::size_t shorten_at = never; ///< a read from that operation on finds the end of the file
  std::size_t abort_at = never;   ///< that operation raises `exception_aborted`
  /// Called before each operation with its number; may raise, or end the process.
  std::function<void(std::size_t)> before_operation{};
};

/// How often a `faulty_file` was called; survives the file.
struct operation_count {
  std::size_t total = 0;
  std::size_t reads = 0;
  std::size_t writes = 0;
  std::uint64_t bytes_read = 0;
  std::uint64_t bytes_written = 0;
};

file_ptr make_faulty_file(file_ptr source, file_faults faults, std::shared_ptr<operation_count> count = nullptr);

} // namespace zelmora::test
