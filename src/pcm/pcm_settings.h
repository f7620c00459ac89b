// Settings of the PCM room.
#pragma once

#include <cstdint>

namespace zelmora {

/// The sample rate of tones and sweeps [Hz].
std::uint64_t get_tone_rate();

} // namespace zelmora
