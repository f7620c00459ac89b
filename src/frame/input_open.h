// Choosing an input for a path.
//
// Entries that claim the content type or the path are tried first, ordinary merit before low. When none of them opens
// the object, entries that recognise its first bytes follow. `exception_io_data` of an entry means "not mine": the next
// one is tried; any other failure ends the search. When all refuse, the refusal reported is that of the entry which
// claimed the object most specifically: by content type and path, by content type, by path, by its first bytes; without
// any claim it is `exception_io_unsupported_format`.
#pragma once

#include "frame/input.h"

namespace zelmora {

/// What the entry that opened a path is, beside the opened object.
struct opened_input {
  service_ptr_t<service_base> instance;
  service_ptr_t<input_entry> entry;
};

/// Opens `path` as an object of class `class_id`: the class GUID of `input_decoder`, `input_info_reader` or
/// `input_info_writer`. A null `filehint` leaves the opening of the file to the entry.
opened_input open_input(const guid& class_id, file_ptr filehint, std::string_view path, event_logger_ptr logger,
                        abort_callback& abort);

/// As many first bytes as `is_our_file_header` gets to see, where the object has them.
inline constexpr std::size_t sniff_size = 512;

/// The one way in which a format gets its file: `file` as it stands, rewound, or what `path` opens in the mode of
/// `reason`. A temporary that a killed rewrite of `path` left behind goes when the path is opened for writing.
void input_open_file_helper(file_ptr& file, std::string_view path, t_input_open_reason reason, abort_callback& abort);

/// The calls of a decoder that show up in the host's call-stack trace.
namespace traced {
void initialize(input_decoder& decoder, std::uint32_t subsong, std::uint32_t flags, abort_callback& abort);
bool run(input_decoder& decoder, audio_chunk& chunk, abort_callback& abort);
void seek(input_decoder& decoder, double seconds, abort_callback& abort);
bool get_dynamic_info(input_decoder& decoder, file_info& info, double& time_delta);
void on_idle(input_decoder& decoder, abort_callback& abort);
void get_info(input_decoder& decoder, std::uint32_t subsong, file_info& info, abort_callback& abort);
} // namespace traced

} // namespace zelmora
