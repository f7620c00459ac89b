// A local regular file as a `file`.
//
// Reads go through a buffer that begins at 4 KiB and grows to 64 KiB while they run on; requests of 64 KiB and more go
// straight to the caller. Positions are kept here (pread, pwrite), so a seek costs no system call.
//
// Writes go straight to the system, so that each failure is raised by the write that failed. Only a temporary, which no
// one looks at before it is complete, collects them: there `flush_to_system` and `flush_to_disk` raise what a write
// could not, and what was never flushed is dropped with the object.
#pragma once

#include "frame/file.h"
#include "host/open_descriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zelmora::host {

/// `status`'s time of the last write as `t_filestats::timestamp`.
std::uint64_t timestamp_of(const struct stat& status) noexcept;

enum class file_access { read_only, read_write, collected_writes };

class local_file : public zelmora_io::file_v2 {
 public:
  local_file(open_descriptor opened, file_access access) noexcept;
  ~local_file() override;

  std::size_t read(void* buffer, std::size_t bytes, abort_callback& abort) override;
  void write(const void* buffer, std::size_t bytes, abort_callback& abort) override;
  std::uint64_t get_size(abort_callback&) override { return size_; }
  std::uint64_t get_position(abort_callback&) override { return position_; }
  void resize(std::uint64_t size, abort_callback& abort) override;
  void seek(std::uint64_t position, abort_callback& abort) override;
  bool can_seek() override { return true; }
  bool get_content_type(std::string&) override { return false; }
  void on_idle(abort_callback& abort) override { flush_to_system(abort); }
  std::uint64_t get_timestamp(abort_callback& abort) override;
  void reopen(abort_callback&) override { position_ = 0; }
  bool is_remote() override { return false; }
  void flush_to_disk(abort_callback& abort) override;
  /// The system's handle, owned by this object.
  int descriptor() const noexcept { return fd_.get(); }
  void flush_to_system(abort_callback& abort) override;

 private:
  static constexpr std::size_t first_window = 4096;
  static constexpr std::size_t largest_window = 65536;

  std::size_t take_buffered(std::byte* out, std::size_t bytes) noexcept;
  std::size_t read_missing(std::byte* out, std::size_t bytes, abort_callback& abort);
  void fill_buffer(std::size_t wanted, abort_callback& abort);
  std::byte* buffer() noexcept { return large_buffer_ ? large_buffer_.get() : small_buffer_.get(); }
  std::size_t read_system(std::byte* out, std::size_t bytes, std::uint64_t offset);
  std::size_t write_system(const std::byte* data, std::size_t bytes, std::uint64_t offset);
  void write_through(const std::byte* data, std::size_t bytes, abort_callback& abort);
  void reserve(std::uint64_t size);
  void set_system_size(std::uint64_t size);
  void collect(const std::byte* data, std::size_t bytes);
  void count_seek(std::uint64_t offset, std::uint64_t end) noexcept;
  void check_writable() const;

  unique_fd fd_;
  file_access access_;
  bool written_ = false; ///< since `timestamp_` was taken
  std::uint64_t size_;
  std::uint64_t timestamp_;
  std::uint64_t position_ = 0;
  std::uint64_t last_end_ = 0; ///< where the last system call ended

  std::size_t window_ = first_window; ///< what the next system read asks for
  std::uint64_t buffer_start_ = 0;
  std::size_t buffer_length_ = 0;
  std::unique_ptr<std::byte[]> large_buffer_;

  std::unique_ptr<std::byte[]> collected_;
  std::size_t collected_length_ = 0;
  std::uint64_t collected_start_ = 0;

  // Most files are described from their first few kilobytes, without the large buffer.
  std::unique_ptr<std::byte[]> small_buffer_;
};

} // namespace zelmora::host
