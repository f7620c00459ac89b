// The input for the WAV family.
#pragma once

#include "frame/input_impl.h"
#include "pcm/wav_decoder.h"
#include "pcm/wav_parser.h"

#include <optional>
#include <string>

namespace zelmora {

class input_wav : public input_stubs {
 public:
  void open(file_ptr file, std::string_view path, t_input_open_reason reason, abort_callback& abort);
  void get_info(file_info& info, abort_callback& abort);
  t_filestats get_file_stats(abort_callback& abort);

  void retag(const file_info& info, abort_callback& abort);
  void remove_tags(abort_callback& abort);

  void decode_initialize(std::uint32_t subsong, std::uint32_t flags, abort_callback& abort);
  bool decode_run(audio_chunk& chunk, abort_callback& abort);
  void decode_seek(double seconds, abort_callback& abort);
  bool decode_can_seek();
  void decode_on_idle(abort_callback& abort);

  static bool g_is_our_content_type(std::string_view type);
  static bool g_is_our_path(std::string_view path, std::string_view extension);
  static bool g_is_our_file_header(std::span<const std::byte> head);
  static guid g_get_guid();
  static std::string_view g_get_name();
  static bool g_can_write_tags() { return true; }

 private:
  void parse(abort_callback& abort);
  void parse_again();
  void go_to_data(abort_callback& abort);

  file_ptr file_;
  std::string path_;
  std::optional<wav_parser> parser_;
  wav_decoder_ptr decoder_;
};

} // namespace zelmora
