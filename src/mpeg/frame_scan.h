// Finding frames of MPEG audio among other bytes. Four bytes that look like a header are common in noise: a frame
// counts when another of its kind stands behind it.
#pragma once

#include "codecs/mpeg_frame_header.h"
#include "mpeg/byte_window.h"

#include <cstdint>
#include <optional>

namespace zelmora {

struct found_mpeg_frame {
  std::uint64_t offset = 0; ///< from the beginning of the file [bytes]
  mpeg_frame_header header;
};

/// Whether two frames are neighbours in one stream: frames of one format with as many channels.
inline bool belong_together(const mpeg_frame_header& a, const mpeg_frame_header& b) {
  return have_same_mpeg_format(a, b) && a.channels == b.channels;
}

/// The first frame at or behind `from`. The search gives up after some thousand bytes, a million where the file can
/// seek.
std::optional<found_mpeg_frame> find_first_mpeg_frame(byte_window& window, std::uint64_t from, abort_callback& abort);

/// Where the last frame ends, at or before `end_of_audio`, in a stream that begins with `first`. None when only other
/// bytes are behind its offset; `end_of_audio` when those are more than anything but malice or a broken disk leaves.
std::optional<std::uint64_t> find_last_mpeg_frame_end(byte_window& window, const found_mpeg_frame& first,
                                                      std::uint64_t end_of_audio, abort_callback& abort);

} // namespace zelmora
