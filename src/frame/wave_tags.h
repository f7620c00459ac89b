// Codes of the WAVEFORMATEX record, which containers beyond the WAV family carry too.
// mmreg.h, learn.microsoft.com/windows/win32/api/mmreg.
#pragma once

#include "frame/guid.h"

#include <cstdint>

namespace zelmora {

/// Format tags with a meaning here; mmreg.h registers some hundreds more.
namespace wave_tag {
inline constexpr std::uint16_t pcm = 0x0001;
inline constexpr std::uint16_t ms_adpcm = 0x0002;
inline constexpr std::uint16_t ieee_float = 0x0003;
inline constexpr std::uint16_t ima_adpcm = 0x0011;
inline constexpr std::uint16_t extensible = 0xFFFE;
} // namespace wave_tag

namespace wave_subformat {
inline constexpr guid pcm = "00000001-0000-0010-8000-00AA00389B71"_guid;
inline constexpr guid ieee_float = "00000003-0000-0010-8000-00AA00389B71"_guid;
} // namespace wave_subformat

} // namespace zelmora
