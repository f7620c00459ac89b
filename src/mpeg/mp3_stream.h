// What a file of MPEG audio says of its stream: where its frames begin and end, how many there are, and which samples
// of them sound.
#pragma once

#include "mpeg/frame_reader.h"
#include "mpeg/frame_scan.h"
#include "mpeg/vbr_headers.h"
#include "tags/tag_processor.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace zelmora {

/// What the frame count was taken from.
enum class mp3_length_source {
  unknown,  ///< there is none
  header,   ///< told by a header of the encoder
  cbr,      ///< by the size, since all frames have one bit rate
  scan,     ///< counted
  estimate, ///< by the size and some of the frames
};

/// Samples that a track leaves out of what its frames hold.
struct mp3_trim {
  std::uint64_t skip = 0;  ///< from the beginning [samples]
  std::uint64_t total = 0; ///< that sound [samples]
};

/// Where the encoder's first sample is and how many there are, as iTunes tells in a comment.
struct apple_gapless_lengths {
  std::uint64_t delay = 0;  ///< [samples]
  std::uint64_t length = 0; ///< [samples]
};

struct mp3_stream {
  mpeg_frame_header first; ///< of the first frame that holds audio
  id3v2_zone head;

  std::uint64_t begin = 0;                            ///< of that frame [bytes]
  std::uint64_t end = zelmora_io::file::unknown_size; ///< of the last frame [bytes]
  /// Where tags begin, of a stream that doesn't tell how many frames it has: some may stand behind `end` [bytes].
  std::optional<std::uint64_t> tail;
  std::optional<std::uint64_t> counted_bytes; ///< of the frames, where all were counted
  std::uint64_t frames = 0;                   ///< 0 when unknown

  bool is_vbr = false;
  mp3_length_source length_source = mp3_length_source::unknown;
  std::optional<found_mpeg_frame> header_frame; ///< that which holds the encoder's header
  mpeg_vbr_info vbr;                            ///< what that tells, or what is known instead
  std::optional<apple_gapless_lengths> apple;

  bool has_length() const noexcept { return frames != 0; }
  /// Whether the length is that of the music, not of the frames.
  bool is_accurate() const noexcept { return (vbr.delay && vbr.padding) || apple; }
  /// The samples that sound, with a decoder that gives each of them `decoder_delay` samples late. Raises
  /// `exception_io_data` when there are none.
  mp3_trim trim(std::uint64_t decoder_delay) const;
  /// [kbit/s] on the average.
  std::uint32_t average_bitrate() const;
  std::uint64_t bytes() const noexcept { return counted_bytes.value_or(end - begin); }
  /// Where its frames are read. One whose header tells their number exactly goes on for so many.
  mpeg_frame_reader::range range(mpeg_frame_index_ptr index) const;
};

/// How late decoders of `layer` give a sample, when they don't tell themselves [samples].
std::uint64_t usual_mpeg_decoder_delay(unsigned layer);

/// How a file begins.
struct mp3_start {
  id3v2_zone head;
  found_mpeg_frame frame;            ///< the first
  std::optional<mpeg_vbr_info> told; ///< what that one holds instead of audio, in a file that can seek
};

/// Raises `exception_io_data` for what is no such stream.
mp3_start find_mp3_start(zelmora_io::file& source, byte_window& window, abort_callback& abort);
/// What the comment "iTunSMPB" of the head says.
std::optional<apple_gapless_lengths> read_apple_lengths(zelmora_io::file& source, abort_callback& abort);

/// Reads the headers of `source`, at both ends of it. Of streams without a header the length is left open:
/// `measure_mp3_length` finds it. Raises `exception_io_data` for what is no such stream.
mp3_stream parse_mp3_stream(zelmora_io::file& source, byte_window& window, abort_callback& abort);

} // namespace zelmora
