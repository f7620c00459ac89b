#include "mpeg/byte_window.h"

#include <algorithm>
#include <cstring>

namespace zelmora {

namespace {

constexpr std::size_t first_piece = 2048; ///< holds most headers and the frame behind [bytes]
constexpr std::size_t largest_piece = 65536;
/// How far the search for a first frame may look ahead and then begin again: its buffer, and a frame [bytes].
constexpr std::uint64_t remembered = 65536;

std::uint64_t known_size(zelmora_io::file& file) {
  abort_callback_dummy no_abort;
  return file.get_size(no_abort);
}

} // namespace

byte_window::byte_window(file_ptr file)
    : file_(std::move(file)), can_seek_(file_->can_seek()), size_(known_size(*file_)), piece_(first_piece) {}

std::span<const std::byte> byte_window::at(std::uint64_t offset, std::size_t size, abort_callback& abort) {
  const bool holds_start = offset >= base_ && offset - base_ <= held_;
  if (!holds_start || (!is_at_end_ && size > held_ - (offset - base_))) fill(offset, size, abort);
  const auto before = offset - base_;
  if (before >= held_) return {};
  return std::span(buffer_).subspan(before, std::min<std::uint64_t>(size, held_ - before));
}

void byte_window::fill(std::uint64_t offset, std::size_t size, abort_callback& abort) {
  move_to(offset, abort);
  // A stream that can't seek comes to `offset` by reading what is before it.
  while (!is_at_end_ && (offset - base_ > held_ || size > held_ - (offset - base_))) {
    if (!can_seek_ && offset - base_ > remembered && held_ > remembered) {
      const std::size_t surplus = held_ - remembered;
      std::memmove(buffer_.data(), buffer_.data() + surplus, remembered);
      base_ += surplus;
      held_ = remembered;
    }
    const auto missing = offset - base_ + size > held_ ? offset - base_ + size - held_ : 0;
    // Of a stream that comes as it is sent, what isn't needed now would have to be waited for.
    const auto least = can_seek_ ? piece_ : 1;
    const auto wanted = std::clamp<std::uint64_t>(missing, least, std::max(size, largest_piece));
    if (buffer_.size() < held_ + wanted) buffer_.resize(held_ + wanted);
    if (can_seek_) file_->seek(base_ + held_, abort);
    const auto got = file_->read(buffer_.data() + held_, wanted, abort);
    held_ += got;
    is_at_end_ = got < wanted;
    piece_ = std::min(piece_ * 2, largest_piece);
  }
}

/// Drops what is held and not needed for `offset`.
void byte_window::move_to(std::uint64_t offset, abort_callback& abort) {
  abort.check();
  if (!can_seek_) {
    if (offset < base_) throw zelmora_io::exception_io_object_not_seekable();
    return;
  }
  if (offset >= base_ && offset - base_ <= held_) {
    const auto before = static_cast<std::size_t>(offset - base_);
    held_ -= before;
    if (held_ != 0) std::memmove(buffer_.data(), buffer_.data() + before, held_);
  } else {
    held_ = 0;
    piece_ = first_piece;
  }
  base_ = offset;
  is_at_end_ = size_ != zelmora_io::file::unknown_size && offset >= size_;
}

} // namespace zelmora
