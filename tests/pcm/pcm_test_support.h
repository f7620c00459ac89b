// What the tests of this room share: opening fixtures and paths through the registered entries.
#pragma once

#include "frame/exceptions.h"
#include "frame/input_impl.h"
#include "frame/input_open.h"
#include "frame/memory_file.h"
#include "frame/text.h"
#include "support/decode_all.h"
#include "support/fixtures.h"
#include "support/test_services.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::test {

/// An opened decoder, with what it logs.
struct test_decoder {
  service_ptr_t<recording_logger> logger = service_new<recording_logger>();
  service_ptr_t<input_decoder> decoder;
  abort_callback_dummy abort;

  explicit test_decoder(file_ptr file, std::string_view path = "test.wav") {
    attach_own_services();
    decoder = input_entry::g_open_for_decoding(std::move(file), path, logger, abort);
  }

  file_info_impl info() {
    file_info_impl result;
    decoder->get_info(0, result, abort);
    return result;
  }
  /// All of it, from the start.
  decoded_audio decode() {
    decoder->initialize(0, 0, abort);
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

/// The metadata as "artist=A|B; title=T", by name.
inline std::string meta_text(const file_info& info) {
  std::vector<std::string> fields;
  for (std::size_t field = 0; field < info.meta_get_count(); ++field) {
    auto text = fold_utf8(info.meta_enum_name(field)) + "=";
    for (std::size_t n = 0; n < info.meta_enum_value_count(field); ++n)
      text += (n == 0 ? "" : "|") + info.meta_enum_value(field, n);
    fields.push_back(text);
  }
  std::ranges::sort(fields);
  std::string result;
  for (const auto& field : fields) result += (result.empty() ? "" : "; ") + field;
  return result;
}

/// The reverse of `meta_text`.
inline file_info_impl make_info(std::string_view text) {
  file_info_impl info;
  while (!text.empty()) {
    const auto field = text.substr(0, text.find("; "));
    text.remove_prefix(std::min(text.size(), field.size() + 2));
    const auto name = field.substr(0, field.find('='));
    auto values = field.substr(name.size() + 1);
    for (bool is_last = false; !is_last;) {
      const auto value = values.substr(0, values.find('|'));
      is_last = value.size() == values.size();
      values.remove_prefix(std::min(values.size(), value.size() + 1));
      info.meta_add(name, value);
    }
  }
  return info;
}

} // namespace zelmora::test
