#include "frame/file.h"

#include <algorithm>
#include <array>
#include <memory>

namespace zelmora::zelmora_io {

namespace {
/// Up to this many bytes reading on is cheaper than a seek, and a copy is not worth a look at the size.
constexpr std::uint64_t seek_threshold = 1024;
constexpr std::size_t copy_block = 256 * 1024;

/// Lets a known size bound an allocation that grows only as bytes really arrive.
constexpr std::size_t first_allocation_limit = 16 * 1024 * 1024;
} // namespace

std::uint64_t stream_reader::skip(std::uint64_t bytes, abort_callback& abort) {
  std::array<std::byte, 16 * 1024> scratch;
  std::uint64_t done = 0;
  while (done < bytes) {
    abort.check();
    const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(bytes - done, scratch.size()));
    const auto got = read(scratch.data(), want, abort);
    done += got;
    if (got < want) break;
  }
  return done;
}

void stream_reader::read_object(void* buffer, std::size_t bytes, abort_callback& abort) {
  if (read(buffer, bytes, abort) != bytes) throw exception_io_data_truncation();
}

std::vector<std::byte> stream_reader::read_bytes(std::uint64_t size, abort_callback& abort) {
  constexpr std::size_t piece = 1024 * 1024;
  std::vector<std::byte> result;
  while (result.size() < size) {
    const auto done = result.size();
    result.resize(static_cast<std::size_t>(std::min<std::uint64_t>(size, done + piece)));
    read_object(result.data() + done, result.size() - done, abort);
  }
  return result;
}

void stream_reader::skip_object(std::uint64_t bytes, abort_callback& abort) {
  if (skip(bytes, abort) != bytes) throw exception_io_data_truncation();
}

std::uint64_t file::skip(std::uint64_t bytes, abort_callback& abort) {
  if (bytes > seek_threshold && can_seek()) {
    if (const auto size = get_size(abort); size != unknown_size) {
      const auto position = get_position(abort);
      const auto moved = std::min(bytes, size - std::min(size, position));
      seek(position + moved, abort);
      return moved;
    }
  }
  return stream_reader::skip(bytes, abort);
}

std::uint64_t file::get_size_ex(abort_callback& abort) {
  const auto size = get_size(abort);
  if (size == unknown_size) throw exception_io_no_length();
  return size;
}

void file::ensure_seekable() {
  if (!can_seek()) throw exception_io_object_not_seekable();
}

std::uint64_t file::get_remaining(abort_callback& abort) {
  const auto size = get_size_ex(abort);
  return size - std::min(size, get_position(abort));
}

void file::seek_ex(std::int64_t offset, seek_mode mode, abort_callback& abort) {
  std::uint64_t base = 0;
  switch (mode) {
  case seek_mode::from_start: break;
  case seek_mode::from_position: base = get_position(abort); break;
  case seek_mode::from_end: base = get_size_ex(abort); break;
  default: throw exception_io_data();
  }
  const auto magnitude = offset < 0 ? ~static_cast<std::uint64_t>(offset) + 1 : static_cast<std::uint64_t>(offset);
  if (offset < 0 ? magnitude > base : magnitude > unknown_size - base) throw exception_io_seek_out_of_range();
  seek(offset < 0 ? base - magnitude : base + magnitude, abort);
}

t_filestats file::get_stats(abort_callback& abort) { return {get_size(abort), get_timestamp(abort)}; }

void file::transfer(file& source, file& destination, std::uint64_t bytes, abort_callback& abort) {
  if (bytes > seek_threshold) {
    if (const auto size = source.get_size(abort); size != unknown_size) {
      if (bytes > size - std::min(size, source.get_position(abort))) throw exception_io_data_truncation();
    }
  }
  const auto block = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, copy_block));
  const auto buffer = std::make_unique_for_overwrite<std::byte[]>(block);
  for (std::uint64_t done = 0; done < bytes;) {
    abort.check();
    const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(bytes - done, block));
    source.read_object(buffer.get(), step, abort);
    destination.write(buffer.get(), step, abort);
    done += step;
  }
}

std::vector<std::byte> file::g_read_whole(file& source, abort_callback& abort, std::uint64_t limit) {
  source.reopen(abort);
  const auto size = source.get_size(abort);
  if (size != unknown_size && size > limit) throw exception_io_data();
  std::vector<std::byte> result;
  for (std::size_t got = 1; got != 0;) {
    abort.check();
    const auto had = result.size();
    if (had > limit) throw exception_io_data();
    const auto left = size == unknown_size || size <= had ? copy_block : size - had;
    const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(left, first_allocation_limit));
    result.resize(had + step);
    got = source.read(result.data() + had, step, abort);
    result.resize(had + got);
    if (size != unknown_size && result.size() >= size) break;
  }
  return result;
}

namespace {

class limited_file : public file {
 public:
  limited_file(file_ptr source, std::uint64_t start, std::uint64_t end)
      : source_(std::move(source)), start_(start), end_(end) {}

  std::size_t read(void* buffer, std::size_t bytes, abort_callback& abort) override {
    // Others may have moved the source, another window on it among them.
    if (source_->can_seek() && source_->get_position(abort) != start_ + position_)
      source_->seek(start_ + position_, abort);
    const auto left = end_ == unknown_size ? bytes : std::min<std::uint64_t>(bytes, end_ - start_ - position_);
    const auto got = source_->read(buffer, static_cast<std::size_t>(left), abort);
    position_ += got;
    return got;
  }
  void write(const void*, std::size_t, abort_callback&) override { throw exception_io_denied(); }
  void resize(std::uint64_t, abort_callback&) override { throw exception_io_denied(); }
  std::uint64_t get_size(abort_callback&) override { return end_ == unknown_size ? unknown_size : end_ - start_; }
  std::uint64_t get_position(abort_callback&) override { return position_; }
  void seek(std::uint64_t position, abort_callback& abort) override {
    if (end_ != unknown_size && position > end_ - start_) throw exception_io_seek_out_of_range();
    source_->seek(checked_add(start_, position), abort);
    position_ = position;
  }
  bool can_seek() override { return source_->can_seek(); }
  bool get_content_type(std::string&) override { return false; }
  bool is_in_memory() override { return source_->is_in_memory(); }
  void on_idle(abort_callback& abort) override { source_->on_idle(abort); }
  std::uint64_t get_timestamp(abort_callback& abort) override { return source_->get_timestamp(abort); }
  void reopen(abort_callback& abort) override {
    if (can_seek()) return seek(0, abort);
    if (position_ != 0) throw exception_io_object_not_seekable();
  }
  bool is_remote() override { return source_->is_remote(); }

 private:
  file_ptr source_;
  std::uint64_t start_;
  std::uint64_t end_;
  std::uint64_t position_ = 0;
};

} // namespace

file_ptr reader_limited(file_ptr source, std::uint64_t start, std::uint64_t end, abort_callback& abort) {
  if (const auto size = source->get_size(abort); size != file::unknown_size) {
    start = std::min(start, size);
    end = std::min(end, size);
  }
  end = std::max(start, end);
  if (source->can_seek()) {
    source->seek(start, abort);
  } else {
    const auto position = source->get_position(abort);
    if (position > start) throw exception_io_object_not_seekable();
    source->skip_object(start - position, abort);
  }
  return service_new<limited_file>(std::move(source), start, end);
}

} // namespace zelmora::zelmora_io
