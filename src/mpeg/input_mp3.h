// The input for MPEG-1, 2 and 2.5 audio of layers 1 to 3.
#pragma once

#include "frame/input_impl.h"
#include "mpeg/mp3_playback.h"
#include "mpeg/mp3_stream.h"

#include <memory>
#include <string>

namespace zelmora {

class input_mp3 : public input_stubs {
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
  bool decode_get_dynamic_info(file_info& info, double& time_delta);
  bool decode_get_dynamic_info_track(file_info& info, double& time_delta);
  void decode_on_idle(abort_callback& abort);

  static bool g_is_our_content_type(std::string_view type);
  static bool g_is_our_extension(std::string_view extension);
  static bool g_is_our_path(std::string_view path, std::string_view extension);
  static bool g_is_our_file_header(std::span<const std::byte> head);
  static guid g_get_guid();
  static std::string_view g_get_name();
  static bool g_can_write_tags() { return true; }

 private:
  void parse(abort_callback& abort);
  void parse_again();
  void measure_length(abort_callback& abort);
  void set_stream_info(file_info& info) const;
  void read_tags(file_info& info, abort_callback& abort);
  const mpeg_music_checksum* find_music_checksum(abort_callback& abort);

  file_ptr file_;
  std::string path_;
  std::unique_ptr<byte_window> window_;
  mp3_stream stream_;
  mpeg_frame_index_ptr index_; ///< null when the stream can't seek
  std::unique_ptr<mp3_playback> playback_;
  bool has_told_content_type_ = false;
};

} // namespace zelmora
