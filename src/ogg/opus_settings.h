// Settings of Ogg streams.
#pragma once

namespace zelmora {

/// What the header gain of an Opus stream is set to when ReplayGain is written.
enum class opus_header_gain { track_gain, album_gain, leave_null };
opus_header_gain get_opus_header_gain();

} // namespace zelmora
