// All frames of a file, and what is between them: what tools that repair files go by. It trusts nothing but the frames.
#pragma once

#include "mpeg/mp3_stream.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zelmora {

/// Where frames stand, of any number of them in bounded memory: all of the first 262,144 (two hours), then every
/// other...
class mpeg_frame_places {
 public:
  void add(std::uint64_t offset);
  std::uint64_t count() const noexcept { return count_; }
  /// Of that frame, or the nearest known one before it. `frame` [0, count).
  std::uint64_t find(std::uint64_t frame) const;

 private:
  std::vector<std::uint64_t> offsets_;
  std::uint64_t step_ = 1;
  std::uint64_t count_ = 0;
};

/// What becomes of the bytes that belong to no frame and no tag.
enum class mp3_gaps { kept, dropped };

struct byte_range {
  std::uint64_t begin = 0; ///< [bytes]
  std::uint64_t end = 0;
};

struct mp3_survey {
  mp3_start start;
  bool has_header_frame = false; ///< the first frame holds a header, good or bad, instead of audio

  std::uint64_t begin = 0; ///< the first frame that holds audio [bytes]
  mpeg_frame_header first; ///< of that frame
  std::array<std::byte, mpeg_header_size> first_bytes{};
  bool is_vbr = false;
  std::uint64_t size = 0;    ///< of the frames that hold audio, and of gaps that are kept among them [bytes]
  std::uint64_t samples = 0; ///< of all those frames
  mpeg_frame_places places;  ///< of frames that hold audio, from the first of them on [bytes]
  std::vector<byte_range> gaps;
  std::uint64_t incomplete = 0; ///< frames that the file ends in; they count as a gap

  std::uint64_t unfounded = 0;       ///< frames that refer to bits of frames before them which may not be there
  std::uint64_t first_unfounded = 0; ///< the number of the first of them

  /// Where the frame with the header stands or belongs, up to the first that holds audio.
  byte_range header_range() const noexcept { return {start.frame.offset, begin}; }
};

/// Reads all of `source`, which can seek. Raises `exception_io_data` for what is no stream, or has other than frames of
/// layer 3.
mp3_survey survey_mp3(zelmora_io::file& source, byte_window& window, mp3_gaps gaps, abort_callback& abort);

} // namespace zelmora
