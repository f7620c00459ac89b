// Byte streams. No format opens an operating-system file itself: it reads and writes through `file`, so that the same
// input works on local files, archives and network streams.
#pragma once

#include "frame/abort_callback.h"
#include "frame/bytes.h"
#include "frame/service.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace zelmora {

class file_info;

/// Size and time of an object, as far as they are known.
struct t_filestats {
  static constexpr std::uint64_t unknown_size = std::numeric_limits<std::uint64_t>::max();
  static constexpr std::uint64_t unknown_time = 0;

  std::uint64_t size = unknown_size;      ///< [bytes]
  std::uint64_t timestamp = unknown_time; ///< last write, in steps of 100 ns since 1601-01-01 UTC
  friend bool operator==(const t_filestats&, const t_filestats&) = default;
};

namespace zelmora_io {

/// The reading half of a stream.
class stream_reader {
 public:
  /// Reads up to `bytes` bytes; fewer only at the end. Returns the count read.
  virtual std::size_t read(void* buffer, std::size_t bytes, abort_callback& abort) = 0;
  /// Moves forward by up to `bytes` bytes; returns how many there were. This form reads and discards.
  virtual std::uint64_t skip(std::uint64_t bytes, abort_callback& abort);

  /// Reads in full; a short read raises `exception_io_data_truncation`.
  void read_object(void* buffer, std::size_t bytes, abort_callback& abort);
  /// The next `size` bytes. `size` may be a mere claim: where there are fewer, `exception_io_data_truncation` comes
  /// before much is allocated.
  std::vector<std::byte> read_bytes(std::uint64_t size, abort_callback& abort);
  /// As `skip`; moving less than asked raises `exception_io_data_truncation`.
  void skip_object(std::uint64_t bytes, abort_callback& abort);
  template <wire_number T>
  T read_lendian_t(abort_callback& abort) {
    std::byte raw[sizeof(T)];
    read_object(raw, sizeof raw, abort);
    return load_le<T>(raw);
  }
  template <wire_number T>
  T read_bendian_t(abort_callback& abort) {
    std::byte raw[sizeof(T)];
    read_object(raw, sizeof raw, abort);
    return load_be<T>(raw);
  }

 protected:
  ~stream_reader() = default;
};

/// The writing half of a stream.
class stream_writer {
 public:
  /// Writes all of `bytes` bytes, or raises.
  virtual void write(const void* buffer, std::size_t bytes, abort_callback& abort) = 0;

  template <wire_number T>
  void write_lendian_t(T value, abort_callback& abort) {
    std::byte raw[sizeof(T)];
    store_le(raw, value);
    write(raw, sizeof raw, abort);
  }
  template <wire_number T>
  void write_bendian_t(T value, abort_callback& abort) {
    std::byte raw[sizeof(T)];
    store_be(raw, value);
    write(raw, sizeof raw, abort);
  }

 protected:
  ~stream_writer() = default;
};

/// Where `seek_ex` counts from. Values come from callers of other libraries too, so they are checked.
enum class seek_mode : int { from_start = 0, from_position = 1, from_end = 2 };

/// A seekable or non-seekable byte stream. Used by one thread at a time.
class file : public service_base, public stream_reader, public stream_writer {
 public:
  using interface_type = file;
  using interface_parent = service_base;
  static constexpr guid class_guid = "7F1A0A3C-6E55-4E1B-8F0E-1B8F5B3C7A10"_guid;
  static constexpr std::uint64_t unknown_size = t_filestats::unknown_size;

  /// [bytes]; `unknown_size` when there is no telling.
  virtual std::uint64_t get_size(abort_callback& abort) = 0;
  virtual std::uint64_t get_position(abort_callback& abort) = 0;
  /// Cuts or extends (with zeros) to `size` bytes; the position is capped at the new size.
  virtual void resize(std::uint64_t size, abort_callback& abort) = 0;
  /// Positions beyond the end raise `exception_io_seek_out_of_range`.
  virtual void seek(std::uint64_t position, abort_callback& abort) = 0;
  virtual bool can_seek() = 0;
  /// The media type, when the source tells one.
  virtual bool get_content_type(std::string& out) = 0;
  virtual bool is_in_memory() { return false; }
  virtual void on_idle(abort_callback&) {}
  /// As `t_filestats::timestamp`.
  virtual std::uint64_t get_timestamp(abort_callback&) { return t_filestats::unknown_time; }
  /// Rewinds; a stream that can't seek may start again, or raises `exception_io_object_not_seekable`.
  virtual void reopen(abort_callback& abort) = 0;
  virtual bool is_remote() = 0;

  /// Above 1024 bytes on a seekable object of known size one seek does it.
  std::uint64_t skip(std::uint64_t bytes, abort_callback& abort) override;

  /// As `get_size`; raises `exception_io_no_length` when it is unknown.
  std::uint64_t get_size_ex(abort_callback& abort);
  void ensure_seekable();
  /// Size minus position [bytes]; `exception_io_no_length` when the size is unknown.
  std::uint64_t get_remaining(abort_callback& abort);
  /// Any mode but the three raises `exception_io_data`; a target before the start `exception_io_seek_out_of_range`.
  void seek_ex(std::int64_t offset, seek_mode mode, abort_callback& abort);
  t_filestats get_stats(abort_callback& abort);

  /// Copies `bytes` bytes from position to position. Above 1024 bytes, with a known source size, raises
  /// `exception_io_data_truncation` before the first byte is moved when fewer remain.
  static void transfer(file& source, file& destination, std::uint64_t bytes, abort_callback& abort);
  /// All bytes from the start; sizes above `limit` raise `exception_io_data`, before anything is allocated.
  static std::vector<std::byte> g_read_whole(file& source, abort_callback& abort,
                                             std::uint64_t limit = std::numeric_limits<std::uint64_t>::max());
};

/// A `file` that can promise that what was written is on the disk.
class file_v2 : public file {
 public:
  using interface_type = file_v2;
  using interface_parent = file;
  static constexpr guid class_guid = "7F1A0A3C-6E55-4E1B-8F0E-1B8F5B3C7A11"_guid;

  /// Returns when content and size have reached the device.
  virtual void flush_to_disk(abort_callback& abort) = 0;
  /// Hands what the object itself still holds to the system, and raises what went wrong with it. For objects that write
  /// through there is nothing to do.
  virtual void flush_to_system(abort_callback&) {}
};

/// A stream that says while it comes what is being played: the titles of a radio station.
class file_dynamicinfo : public file {
 public:
  using interface_type = file_dynamicinfo;
  using interface_parent = file;
  static constexpr guid class_guid = "7F1A0A3C-6E55-4E1B-8F0E-1B8F5B3C7A12"_guid;

  /// Sets in `info` what has been told since the last call; false when that is nothing. `time_delta` [s] says from when
  /// on it holds.
  virtual bool get_dynamic_info(file_info& info, double& time_delta) = 0;
};

using file_ptr = service_ptr_t<file>;

/// A read-only view of the bytes [start, end) of `source`, which it keeps. `end` may be `file::unknown_size`; both are
/// capped at the source's size.
file_ptr reader_limited(file_ptr source, std::uint64_t start, std::uint64_t end, abort_callback& abort);

} // namespace zelmora_io

using zelmora_io::file_ptr;

} // namespace zelmora
