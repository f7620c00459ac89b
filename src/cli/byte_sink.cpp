#include "cli/byte_sink.h"

#include "host/errno_map.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zelmora::cli {

file_sink::file_sink(const std::string& path, abort_callback& abort) : abort_(abort), rewriter_(path, abort) {}

void file_sink::write(std::span<const std::byte> bytes) {
  rewriter_.output().write(bytes.data(), bytes.size(), abort_);
}

void file_sink::patch(std::uint64_t position, std::span<const std::byte> bytes) {
  auto& output = rewriter_.output();
  output.seek(position, abort_);
  output.write(bytes.data(), bytes.size(), abort_);
  output.seek_ex(0, zelmora_io::seek_mode::from_end, abort_);
}

void file_sink::finish() { rewriter_.commit_new(file_rewriter::durability::ordinary, abort_); }

descriptor_sink::descriptor_sink(int descriptor, ownership owned, abort_callback& abort)
    : descriptor_(descriptor), owned_(owned), abort_(abort), writer_(descriptor, abort) {
  buffer_.reserve(capacity);
  struct stat status {};
  const int flags = fcntl(descriptor, F_GETFL);
  // What is opened for appending takes every write at its end.
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && flags >= 0 && (flags & O_APPEND) == 0)
    start_ = lseek(descriptor, 0, SEEK_CUR);
}

descriptor_sink::~descriptor_sink() {
  if (owned_ == ownership::owned) close(descriptor_);
}

void descriptor_sink::write(std::span<const std::byte> bytes) {
  if (buffer_.size() + bytes.size() > capacity) flush();
  if (bytes.size() >= capacity / 2) return write_through(bytes);
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

void descriptor_sink::flush() {
  write_through(buffer_);
  buffer_.clear();
}

void descriptor_sink::write_through(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    abort_.check();
    bytes = bytes.subspan(writer_.write_some(bytes));
  }
}

void descriptor_sink::patch(std::uint64_t position, std::span<const std::byte> bytes) {
  flush();
  auto offset = start_ + static_cast<std::int64_t>(position);
  while (!bytes.empty()) {
    const auto written = pwrite(descriptor_, bytes.data(), bytes.size(), offset);
    if (written < 0 && errno != EINTR) host::raise_errno(errno);
    if (written <= 0) continue;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    offset += written;
  }
}

} // namespace zelmora::cli
