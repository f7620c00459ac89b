// A stream through a window: code that looks for frames jumps about in bytes by their offset, and reads them in large
// pieces all the same. A stream that can't seek is remembered for as far as such code goes back.
#pragma once

#include "frame/file.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelmora {

class byte_window {
 public:
  /// A stream that can't seek is at offset 0.
  explicit byte_window(file_ptr file);

  /// The bytes at `offset`: `size` of them, fewer only where the stream ends. Valid until the next call. What a stream
  /// that can't seek has left behind raises `exception_io_object_not_seekable`.
  std::span<const std::byte> at(std::uint64_t offset, std::size_t size, abort_callback& abort);

  bool can_seek() const noexcept { return can_seek_; }
  /// Of the stream [bytes]; `file::unknown_size` when there is no telling.
  std::uint64_t size() const noexcept { return size_; }
  /// Whether `at` can go to `offset`.
  bool reaches(std::uint64_t offset) const noexcept { return can_seek_ || offset >= base_; }

 private:
  void fill(std::uint64_t offset, std::size_t size, abort_callback& abort);
  void move_to(std::uint64_t offset, abort_callback& abort);

  file_ptr file_;
  bool can_seek_;
  bool is_at_end_ = false; ///< nothing follows what is held
  std::uint64_t size_;
  std::uint64_t base_ = 0; ///< offset of the first byte held
  std::size_t held_ = 0;
  std::size_t piece_; ///< how much is read at once: grows while the reading goes on in one direction [bytes]
  std::vector<std::byte> buffer_;
};

} // namespace zelmora
