#include "frame/memory_file.h"

#include <algorithm>
#include <cstring>

namespace zelmora {

std::size_t memory_file::read(void* buffer, std::size_t bytes, abort_callback& abort) {
  abort.check();
  const auto count = std::min(bytes, content_.size() - position_);
  if (count != 0) std::memcpy(buffer, content_.data() + position_, count);
  position_ += count;
  return count;
}

void memory_file::write(const void* buffer, std::size_t bytes, abort_callback& abort) {
  abort.check();
  if (bytes == 0) return;
  const auto end = checked_add(position_, bytes);
  if (end > content_.size()) content_.resize(end);
  std::memcpy(content_.data() + position_, buffer, bytes);
  position_ = end;
}

void memory_file::resize(std::uint64_t size, abort_callback& abort) {
  abort.check();
  content_.resize(checked_cast<std::size_t>(size));
  position_ = std::min(position_, content_.size());
}

void memory_file::seek(std::uint64_t position, abort_callback& abort) {
  abort.check();
  if (position > content_.size()) throw zelmora_io::exception_io_seek_out_of_range();
  position_ = static_cast<std::size_t>(position);
}

} // namespace zelmora
