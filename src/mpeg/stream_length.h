// How long a stream is that doesn't tell: a few frames along it show whether all have one bit rate, and then its size
// says it. Others are counted, header by header.
#pragma once

#include "mpeg/mp3_stream.h"

namespace zelmora {

/// Whether all of a file may be read to know how long it is.
enum class mp3_counting { allowed, forgone };

/// Sets the frame count of a seekable stream that has none, and how it was had. What is counted goes to `index`, which
/// may be null. Raises `exception_io_data` when there are no frames.
void measure_mp3_length(mp3_stream& stream, byte_window& window, const mpeg_frame_index_ptr& index,
                        mp3_counting counting, abort_callback& abort);

} // namespace zelmora
