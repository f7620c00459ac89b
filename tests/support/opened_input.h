// A file opened by whatever input of the program claims its path.
#pragma once

#include "frame/exceptions.h"
#include "frame/input_impl.h"
#include "frame/input_open.h"
#include "frame/memory_file.h"
#include "support/decode_all.h"
#include "support/fixtures.h"
#include "support/test_services.h"

#include <string>
#include <string_view>
#include <utility>

namespace zelmora::test {

/// An opened decoder, with what it logs.
struct opened_input {
  service_ptr_t<recording_logger> logger = service_new<recording_logger>();
  service_ptr_t<input_decoder> decoder;
  abort_callback_dummy abort;

  opened_input(file_ptr file, std::string_view path) {
    attach_own_services();
    decoder = input_entry::g_open_for_decoding(std::move(file), path, logger, abort);
  }

  file_info_impl info() {
    file_info_impl result;
    decoder->get_info(0, result, abort);
    return result;
  }
  /// All of it, from the start; `flags` of `decode_flags`.
  decoded_audio decode(std::uint32_t flags = 0) {
    decoder->initialize(0, flags, abort);
    return decode_to_end(*decoder, abort);
  }
  decoded_audio decode_from(std::size_t frame, std::uint32_t rate) {
    decoder->seek(audio_math::samples_to_time(frame, rate), abort);
    return decode_to_end(*decoder, abort);
  }
};

inline file_ptr fixture_file(std::string_view name) { return service_new<memory_file>(load_fixture(name)); }

inline std::string info_text(const file_info& info, std::string_view name) {
  const auto* value = info.info_get(name);
  return value == nullptr ? std::string() : *value;
}

} // namespace zelmora::test
