#include "host/local_file.h"

#include "host/errno_map.h"
#include "host/io_statistics.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace zelmora::host {

using namespace zelmora_io;

namespace {

/// The kernel moves no more than this in one call (read(2), NOTES).
constexpr std::size_t largest_transfer = 0x7ffff000;

/// A closed file's small buffer, for the thread's next: whoever describes thousands of files allocates one.
thread_local std::unique_ptr<std::byte[]> spare_buffer;

constexpr std::size_t round_up(std::size_t value, std::size_t step) { return (value + step - 1) / step * step; }

off_t as_offset(std::uint64_t position) {
  if (position > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) raise_errno(EFBIG);
  return static_cast<off_t>(position);
}

} // namespace

std::uint64_t timestamp_of(const struct stat& status) noexcept {
  constexpr std::int64_t seconds_from_1601_to_1970 = 11'644'473'600;
  constexpr std::int64_t steps_per_second = 10'000'000;
  const auto seconds = std::int64_t{status.st_mtim.tv_sec} + seconds_from_1601_to_1970;
  if (seconds < 0 || seconds > std::numeric_limits<std::int64_t>::max() / steps_per_second - 1)
    return t_filestats::unknown_time;
  return static_cast<std::uint64_t>(seconds * steps_per_second + status.st_mtim.tv_nsec / 100);
}

local_file::~local_file() {
  if (small_buffer_) spare_buffer = std::move(small_buffer_);
}

local_file::local_file(open_descriptor opened, file_access access) noexcept
    : fd_(std::move(opened.fd)), access_(access), size_(static_cast<std::uint64_t>(opened.status.st_size)),
      timestamp_(timestamp_of(opened.status)) {}

std::size_t local_file::read(void* buffer, std::size_t bytes, abort_callback& abort) {
  auto* out = static_cast<std::byte*>(buffer);
  const auto done = take_buffered(out, bytes);
  return done == bytes ? done : done + read_missing(out + done, bytes - done, abort);
}

std::size_t local_file::take_buffered(std::byte* out, std::size_t bytes) noexcept {
  if (position_ < buffer_start_ || position_ - buffer_start_ >= buffer_length_) return 0;
  const auto at = static_cast<std::size_t>(position_ - buffer_start_);
  const auto count = std::min(bytes, buffer_length_ - at);
  if (count != 0) std::memcpy(out, buffer() + at, count);
  position_ += count;
  return count;
}

std::size_t local_file::read_missing(std::byte* out, std::size_t bytes, abort_callback& abort) {
  flush_to_system(abort);
  std::size_t done = 0;
  while (done < bytes) {
    abort.check();
    std::size_t got = 0;
    if (bytes - done >= largest_window) {
      got = read_system(out + done, bytes - done, position_);
      position_ += got;
    } else {
      fill_buffer(bytes - done, abort);
      got = take_buffered(out + done, bytes - done);
    }
    done += got;
    // The end is where the system has no more. A read that came to the known size needs no second one to say so.
    if (got == 0) {
      size_ = std::min(size_, position_);
      break;
    }
    if (position_ == size_) break;
  }
  size_ = std::max(size_, position_);
  return done;
}

/// Makes the buffer hold the byte at the position, if there is one.
void local_file::fill_buffer(std::size_t wanted, abort_callback& abort) {
  const bool runs_on = position_ == last_end_ && position_ != 0;
  window_ = runs_on ? std::min(window_ * 2, largest_window) : first_window;
  const auto bytes = std::max(window_, round_up(wanted, first_window));
  auto start = position_;
  // Tags at the end are looked for backwards: the window that would pass the end begins earlier instead.
  if (!runs_on && position_ < size_ && bytes > size_ - position_) start = size_ - std::min<std::uint64_t>(bytes, size_);
  buffer_start_ = start;
  buffer_length_ = 0;
  if (bytes > first_window && !large_buffer_)
    large_buffer_ = std::make_unique_for_overwrite<std::byte[]>(largest_window);
  if (!large_buffer_ && !small_buffer_)
    small_buffer_ = spare_buffer ? std::move(spare_buffer) : std::make_unique_for_overwrite<std::byte[]>(first_window);
  do {
    abort.check();
    const auto got = read_system(buffer() + buffer_length_, bytes - buffer_length_, start + buffer_length_);
    if (got == 0) return;
    buffer_length_ += got;
  } while (start + buffer_length_ <= position_);
}

void local_file::count_seek(std::uint64_t offset, std::uint64_t end) noexcept {
  if (offset != last_end_) ++thread_io_statistics().seeks;
  last_end_ = end;
}

std::size_t local_file::read_system(std::byte* out, std::size_t bytes, std::uint64_t offset) {
  const auto at = as_offset(offset);
  for (;;) {
    const auto got = ::pread(fd_.get(), out, std::min(bytes, largest_transfer), at);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) raise_errno(errno);
    const auto count = static_cast<std::size_t>(got);
    auto& statistics = thread_io_statistics();
    ++statistics.reads;
    statistics.bytes_read += count;
    count_seek(offset, offset + count);
    return count;
  }
}

std::size_t local_file::write_system(const std::byte* data, std::size_t bytes, std::uint64_t offset) {
  const auto at = as_offset(offset);
  for (;;) {
    const auto put = ::pwrite(fd_.get(), data, std::min(bytes, largest_transfer), at);
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) raise_errno(errno);
    // No error and no progress: nothing but a full device is known to answer so.
    if (put == 0) raise_errno(ENOSPC);
    const auto count = static_cast<std::size_t>(put);
    auto& statistics = thread_io_statistics();
    ++statistics.writes;
    statistics.bytes_written += count;
    count_seek(offset, offset + count);
    return count;
  }
}

void local_file::check_writable() const {
  if (access_ == file_access::read_only) throw exception_io_denied();
}

void local_file::write(const void* buffer, std::size_t bytes, abort_callback& abort) {
  check_writable();
  abort.check();
  if (bytes == 0) return;
  const auto* data = static_cast<const std::byte*>(buffer);
  checked_add<std::uint64_t>(position_, bytes);
  buffer_length_ = 0;
  written_ = true;
  if (access_ == file_access::collected_writes) {
    const bool goes_on = position_ == collected_start_ + collected_length_;
    if (!goes_on || bytes > largest_window - collected_length_) flush_to_system(abort);
    if (bytes < largest_window) return collect(data, bytes);
  }
  write_through(data, bytes, abort);
}

void local_file::write_through(const std::byte* data, std::size_t bytes, abort_callback& abort) {
  while (bytes != 0) {
    abort.check();
    const auto put = write_system(data, bytes, position_);
    data += put;
    bytes -= put;
    position_ += put;
    size_ = std::max(size_, position_);
  }
}

void local_file::collect(const std::byte* data, std::size_t bytes) {
  if (!collected_) collected_ = std::make_unique_for_overwrite<std::byte[]>(largest_window);
  if (collected_length_ == 0) collected_start_ = position_;
  std::memcpy(collected_.get() + collected_length_, data, bytes);
  collected_length_ += bytes;
  position_ += bytes;
  size_ = std::max(size_, position_);
}

void local_file::flush_to_system(abort_callback& abort) {
  while (collected_length_ != 0) {
    abort.check();
    const auto put = write_system(collected_.get(), collected_length_, collected_start_);
    collected_length_ -= put;
    collected_start_ += put;
    std::memmove(collected_.get(), collected_.get() + put, collected_length_);
  }
}

void local_file::flush_to_disk(abort_callback& abort) {
  flush_to_system(abort);
  if (access_ == file_access::read_only) return;
  abort.check();
  while (::fdatasync(fd_.get()) != 0) {
    // Some file systems have nothing to flush to, and say so.
    if (errno == EINVAL || errno == EROFS) return;
    if (errno != EINTR) raise_errno(errno);
  }
}

void local_file::resize(std::uint64_t size, abort_callback& abort) {
  check_writable();
  flush_to_system(abort);
  abort.check();
  if (size > size_) reserve(size);
  set_system_size(size);
  buffer_length_ = 0;
  written_ = true;
  size_ = size;
  position_ = std::min(position_, size);
}

/// Claims the room for a longer file, so that a full disk is met here and not by a write in the middle of something.
void local_file::reserve(std::uint64_t size) {
  const auto length = as_offset(size);
  const auto old_length = as_offset(size_);
  while (::fallocate(fd_.get(), 0, old_length, length - old_length) != 0) {
    if (errno == EINTR) continue;
    if (errno == EOPNOTSUPP || errno == ENOSYS) return;
    // Part of the room may have been given already.
    const int error = errno;
    if (::ftruncate(fd_.get(), old_length) != 0) raise_errno(errno);
    raise_errno(error);
  }
}

void local_file::set_system_size(std::uint64_t size) {
  const auto length = as_offset(size);
  while (::ftruncate(fd_.get(), length) != 0)
    if (errno != EINTR) raise_errno(errno);
}

void local_file::seek(std::uint64_t position, abort_callback& abort) {
  if (position > size_) {
    // The file may have grown since it was opened.
    flush_to_system(abort);
    size_ = std::max(size_, static_cast<std::uint64_t>(read_status(fd_.get()).st_size));
    if (position > size_) throw exception_io_seek_out_of_range();
  }
  position_ = position;
}

std::uint64_t local_file::get_timestamp(abort_callback& abort) {
  if (written_) {
    flush_to_system(abort);
    timestamp_ = timestamp_of(read_status(fd_.get()));
    written_ = false;
  }
  return timestamp_;
}

} // namespace zelmora::host
