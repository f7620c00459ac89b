// Where decoding begins so that a frame in the middle of a stream sounds as it does when all of it is decoded.
//
// A frame of layer 3 keeps a part of its bits in the frames before it: up to 511 bytes, 255 with MPEG-2. The frame in
// front of it has to be right too, since the transforms overlap. At low rates ten frames are too few for that.
// Source: ISO/IEC 11172-3, 2.4.2.7, main_data_begin; ISO/IEC 13818-3, 2.4.1.7.
#pragma once

#include "mpeg/mp3_stream.h"

#include <cstdint>
#include <optional>

namespace zelmora {

enum class mpeg_seek_way {
  exact,   ///< every frame header from the nearest known frame on is read
  estimate ///< by the size, or the encoder's table: for files that it takes long to read
};

/// The frame to begin with for sample `wanted` of `stream`, counted over all its frames; none when the stream ends
/// before it. `index` gives the frames that are known, and takes those that are found.
std::optional<mpeg_frame_index::entry> find_mpeg_seek_start(const mp3_stream& stream, byte_window& window,
                                                            const mpeg_frame_index_ptr& index, std::uint64_t wanted,
                                                            mpeg_seek_way way, abort_callback& abort);

} // namespace zelmora
