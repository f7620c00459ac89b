// The samples of a stream of MPEG audio: frames through a decoder, from any sample on, cut to what is music.
#pragma once

#include "codecs/packet_decoder.h"
#include "frame/dynamic_bitrate.h"
#include "mpeg/frame_protection.h"
#include "mpeg/layer3_side_info.h"
#include "mpeg/mp3_stream.h"
#include "mpeg/seek_start.h"

#include <cstdint>
#include <functional>
#include <string_view>

namespace zelmora {

class mp3_playback {
 public:
  struct source {
    const mp3_stream& stream;
    byte_window& window;
    mpeg_frame_index_ptr index; ///< null when the stream can't seek
    mpeg_seek_way seek_way = mpeg_seek_way::exact;
    bool is_testing = false; ///< damage raises instead of being passed over
    /// Of all frames, as their encoder made them; null when there is none, or they were changed on purpose.
    const mpeg_music_checksum* music = nullptr;
    std::function<void(std::string_view text, unsigned severity)> log;
  };

  /// At the first sample. The objects that `from` refers to outlive it.
  mp3_playback(source from, abort_callback& abort);

  /// As `input_decoder::run`. Raises `exception_io_data` "MP3 decoding failure: ..." for a frame that can't be decoded;
  /// then silence stands in its place, and the next call goes on.
  bool run(audio_chunk& chunk, abort_callback& abort);
  void seek(double seconds, abort_callback& abort);
  bool get_dynamic_info(file_info& info, double& time_delta);

 private:
  void open_decoder(abort_callback& abort);
  void go_to(std::uint64_t sample, abort_callback& abort);
  std::optional<mpeg_frame> next_frame(abort_callback& abort);
  std::span<const std::byte> read_body(const mpeg_frame& frame, abort_callback& abort);
  void check_body(const mpeg_frame& frame, std::span<const std::byte> body);
  void check_bits(const mpeg_frame& frame, std::span<const std::byte> body);
  void decode(const mpeg_frame& frame, std::span<const std::byte> body, audio_chunk& chunk, abort_callback& abort);
  void set_silence(const mpeg_frame_header& header, audio_chunk& chunk) const;
  bool cut(audio_chunk& chunk, abort_callback& abort);
  void tell(mpeg_event event, std::uint64_t offset);
  void tell_damage(const std::string& text, std::uint64_t offset);
  void test_rest(abort_callback& abort);
  void check_end(abort_callback& abort);
  void check_surplus(abort_callback& abort);
  void check_music();
  void note_format(const audio_chunk& chunk);

  source from_;
  mpeg_frame_reader reader_;
  packet_decoder_ptr decoder_;
  mp3_trim trim_;
  std::uint64_t pending_skip_ = 0;              ///< samples decoded and dropped before the next that sounds
  std::uint64_t delivered_ = 0;                 ///< samples since the first that sounds
  std::uint64_t told_until_ = 0;                ///< what is wrong before that offset has been told [bytes]
  lame_checksum music_crc_;                     ///< of a test
  std::optional<mpeg_bit_reservoir> reservoir_; ///< of a test, from a sound frame on
  bool has_ended_ = false;
  bool has_told_checksum_ = false;
  bool has_told_layer_ = false;
  bool has_told_surplus_ = false;
  std::optional<mpeg_frame_header> failed_; ///< a frame that silence will stand in for

  dynamic_bitrate_helper bitrate_;
  std::uint32_t rate_ = 0; ///< of the last chunk [Hz]
  std::uint32_t channels_ = 0;
  std::uint32_t mask_ = 0;
  bool has_new_format_ = false;
};

} // namespace zelmora
