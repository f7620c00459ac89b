// What must hold when the tags of any bytes that claim to be a WAV file are written.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// Writes what was read, something else, what was read again, and removes all of it; and fails in the middle of a
/// write. Returns what is wrong, empty for nothing: the audio and the chunks that are no tags stay what they are.
std::string check_riff_tags(std::span<const std::byte> data);

} // namespace zelmora::fuzz
