// What a host sees of a format: an entry that opens readers, writers and decoders.
//
// Life of a decoder: opened by the entry; `get_subsong_count`, `get_subsong` and `get_info` answer at any time from
// then on; `initialize`; `run` until false, with `seek` between. `initialize` may be called again: the track starts
// anew. An object is used by one thread at a time; entries are immutable and shared by all threads.
#pragma once

#include "frame/audio_chunk.h"
#include "frame/file.h"
#include "frame/file_info.h"
#include "frame/service.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace zelmora {

enum t_input_open_reason : int { input_open_info_read = 0, input_open_decode = 1, input_open_info_write = 2 };

/// Bits of `input_decoder::initialize`.
enum decode_flags : std::uint32_t {
  decode_flag_no_seeking = 0x01,        ///< the caller will read from start to end
  decode_flag_testing_integrity = 0x08, ///< report damage that playback would pass over
  decode_flag_no_postprocess = 0x20,    ///< no decode post-processing
};

/// Bits of `input_entry::get_flags`.
enum input_entry_flags : std::uint32_t {
  input_entry_flag_link = 1, ///< paths resolve into those of other entries
  input_entry_flag_cd = 2,   ///< paths that only the CD code makes
};

/// Takes what an input has to say about a stream.
class event_logger : public service_base {
 public:
  using interface_type = event_logger;
  using interface_parent = service_base;
  static constexpr guid class_guid = "2E9B4B6A-9B1B-4E5C-8E0A-61D6B0C97E60"_guid;
  enum level : unsigned { information = 0, warning = 1, error = 2 };

  virtual void log_entry(std::string_view text, unsigned severity) = 0;
};
using event_logger_ptr = service_ptr_t<event_logger>;

class input_info_reader : public service_base {
 public:
  using interface_type = input_info_reader;
  using interface_parent = service_base;
  static constexpr guid class_guid = "2E9B4B6A-9B1B-4E5C-8E0A-61D6B0C97E61"_guid;

  virtual std::uint32_t get_subsong_count() = 0;
  /// The number of the subsong at position `index` [0, count).
  virtual std::uint32_t get_subsong(std::uint32_t index) = 0;
  /// Fills `info`; an unknown subsong raises `exception_io_bad_subsong_index`.
  virtual void get_info(std::uint32_t subsong, file_info& info, abort_callback& abort) = 0;
  virtual t_filestats get_file_stats(abort_callback& abort) = 0;
};

class input_info_writer : public input_info_reader {
 public:
  using interface_type = input_info_writer;
  using interface_parent = input_info_reader;
  static constexpr guid class_guid = "2E9B4B6A-9B1B-4E5C-8E0A-61D6B0C97E62"_guid;

  virtual void set_info(std::uint32_t subsong, const file_info& info, abort_callback& abort) = 0;
  /// Writes what the `set_info` calls gave.
  virtual void commit(abort_callback& abort) = 0;
  virtual void remove_tags(abort_callback& abort) = 0;
};

class input_decoder : public input_info_reader {
 public:
  using interface_type = input_decoder;
  using interface_parent = input_info_reader;
  static constexpr guid class_guid = "2E9B4B6A-9B1B-4E5C-8E0A-61D6B0C97E63"_guid;

  /// Positions at the start of the subsong; `flags` of `decode_flags`.
  virtual void initialize(std::uint32_t subsong, std::uint32_t flags, abort_callback& abort) = 0;
  /// True with a chunk; false at the end, and on every later call until a seek. A damaged stretch may raise
  /// `exception_io_data`: another call goes on behind it, or raises as well.
  virtual bool run(audio_chunk& chunk, abort_callback& abort) = 0;
  /// To `seconds` [s] from the start, exact to the sample. Below 0 raises `exception_io_data`; beyond the end is the
  /// end.
  virtual void seek(double seconds, abort_callback& abort) = 0;
  virtual bool can_seek() = 0;
  /// True when `info` was changed; `time_delta` [s] says from when on it holds.
  virtual bool get_dynamic_info(file_info& info, double& time_delta) = 0;
  virtual bool get_dynamic_info_track(file_info& info, double& time_delta) = 0;
  /// Releases what can be released while playback is paused.
  virtual void on_idle(abort_callback& abort) = 0;
};

class input_decoder_v2 : public input_decoder {
 public:
  using interface_type = input_decoder_v2;
  using interface_parent = input_decoder;
  static constexpr guid class_guid = "2E9B4B6A-9B1B-4E5C-8E0A-61D6B0C97E64"_guid;

  /// As `run`, with the bytes the chunk was made from. Formats without them raise `kiv::exception_not_implemented`.
  virtual bool run_raw(audio_chunk& chunk, std::vector<std::byte>& raw, abort_callback& abort) = 0;
  virtual void set_logger(event_logger_ptr logger) = 0;
};

class input_decoder_v3 : public input_decoder_v2 {
 public:
  using interface_type = input_decoder_v3;
  using interface_parent = input_decoder_v2;
  static constexpr guid class_guid = "2E9B4B6A-9B1B-4E5C-8E0A-61D6B0C97E65"_guid;

  /// A call whose meaning `type` gives; 0 for a type that the decoder does not know.
  virtual std::size_t extended_param(const guid& type, void* data, std::size_t size) = 0;
};

/// One format.
class input_entry : public service_base {
 public:
  using interface_type = input_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "2E9B4B6A-9B1B-4E5C-8E0A-61D6B0C97E66"_guid;

  virtual bool is_our_content_type(std::string_view type) = 0;
  /// `extension` comes without the dot. No file is touched.
  virtual bool is_our_path(std::string_view path, std::string_view extension) = 0;
  service_ptr_t<input_decoder> open_for_decoding(file_ptr filehint, std::string_view path, abort_callback& abort);
  service_ptr_t<input_info_reader> open_for_info_read(file_ptr filehint, std::string_view path, abort_callback& abort);
  service_ptr_t<input_info_writer> open_for_info_write(file_ptr filehint, std::string_view path, abort_callback& abort);
  /// Data of a kind that `id` names; by default nothing is written.
  virtual void get_extended_data(file_ptr, std::string_view /*location*/, const guid& /*id*/,
                                 zelmora_io::stream_writer& /*out*/, abort_callback&) {}
  virtual std::uint32_t get_flags() = 0;
  virtual guid get_guid() = 0;
  virtual std::string_view get_name() = 0;
  virtual guid get_preferences_guid() { return {}; }
  /// Tried after all others.
  virtual bool is_low_merit() { return false; }
  /// Makes the object of class `class_id` (reader, writer or decoder) over `filehint`, or over what `path` opens.
  /// Another class raises `kiv::exception_not_implemented`; foreign data raises `exception_io_data`.
  virtual void open(const guid& class_id, service_ptr_t<service_base>& out, file_ptr filehint, std::string_view path,
                    event_logger_ptr logger, abort_callback& abort) = 0;
  /// Whether a file that begins with these bytes is of this format. Users rename files: every format with a signature
  /// gives a real answer.
  virtual bool is_our_file_header(std::span<const std::byte> /*head*/) { return false; }

  /// The look-ups over all entries: the first that opens wins. See `frame/input_open.h`.
  static service_ptr_t<input_decoder> g_open_for_decoding(file_ptr filehint, std::string_view path,
                                                          event_logger_ptr logger, abort_callback& abort);
  static service_ptr_t<input_info_reader> g_open_for_info_read(file_ptr filehint, std::string_view path,
                                                               event_logger_ptr logger, abort_callback& abort);
  static service_ptr_t<input_info_writer> g_open_for_info_write(file_ptr filehint, std::string_view path,
                                                                event_logger_ptr logger, abort_callback& abort);
  /// As `g_open_for_info_write`, trying again for up to `timeout` [s] while the object is in use by others.
  static service_ptr_t<input_info_writer> g_open_for_info_write_timeout(file_ptr filehint, std::string_view path,
                                                                        event_logger_ptr logger, double timeout,
                                                                        abort_callback& abort);
};

class input_entry_v2 : public input_entry {
 public:
  using interface_type = input_entry_v2;
  using interface_parent = input_entry;
  static constexpr guid class_guid = "2E9B4B6A-9B1B-4E5C-8E0A-61D6B0C97E67"_guid;

  /// Whether some files of the format take tags; a file that doesn't says so when it is opened for writing.
  virtual bool can_write_tags() = 0;
};

} // namespace zelmora
