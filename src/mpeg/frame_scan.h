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

/// How far a search goes.
struct mpeg_search {
  std::uint64_t limit = 0; ///< [bytes]
  /// A frame that ends right here needs no other behind it [bytes].
  std::uint64_t end_of_frames = zelmora_io::file::unknown_size;
};

/// Where a file begins: some thousand bytes, a million where it can seek.
mpeg_search search_of_opening(const byte_window& window);

/// The first frame at or behind `from`.
std::optional<found_mpeg_frame> find_first_mpeg_frame(byte_window& window, std::uint64_t from,
                                                      const mpeg_search& search, abort_callback& abort);
inline std::optional<found_mpeg_frame> find_first_mpeg_frame(byte_window& window, std::uint64_t from,
                                                             abort_callback& abort) {
  return find_first_mpeg_frame(window, from, search_of_opening(window), abort);
}

/// Where the last frame ends, at or before `end_of_audio`, in a stream that begins with `first`. None when only other
/// bytes are behind its offset; `end_of_audio` when those are more than are searched from the end.
std::optional<std::uint64_t> find_last_mpeg_frame_end(byte_window& window, const found_mpeg_frame& first,
                                                      std::uint64_t end_of_audio, abort_callback& abort);

} // namespace zelmora
