// What an AAC stream says of itself: AudioSpecificConfig, and the header of ADTS that stands for it.
// Sources: ISO/IEC 14496-3, 1.6.2.1 AudioSpecificConfig, 4.4.1 GASpecificConfig, 1.A.2 ADTS.
#pragma once

#include "frame/guid.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace zelmora {

struct aac_audio_config {
  std::uint32_t object_type = 0;
  std::uint32_t sample_rate = 0; ///< [Hz]
  std::uint32_t channel_config = 0;
  std::uint32_t extension_sample_rate = 0; ///< [Hz]; of SBR, where it is told
  bool short_frame = false;                ///< 960 samples a frame, not 1024
  bool has_sbr = false;
  bool has_ps = false;

  friend bool operator==(const aac_audio_config&, const aac_audio_config&) = default;
};

/// Raises `exception_io_data` for reserved values and missing bits.
aac_audio_config parse_aac_config(std::span<const std::byte> config);

/// The AudioSpecificConfig for the stream of a setup as `packet_decoder` describes them. Raises `exception_io_data`
/// where there is none.
std::vector<std::byte> make_aac_config(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size);

/// The AudioSpecificConfig that says what the ADTS header at the beginning of `frame` does. Raises `exception_io_data`.
std::vector<std::byte> make_aac_config_of_adts(std::span<const std::byte> frame);

/// "LC" and the like for libavcodec's number of a profile (negative for none), else for an object type; empty for those
/// without a name.
std::string_view aac_profile_name(int profile, std::uint32_t object_type);

/// Whether `codec` is Matroska's name of AAC.
bool is_matroska_aac(std::string_view codec);

/// Whether `object_type` is one of those that MP4 gives AAC: MPEG-4, and the profiles of MPEG-2.
bool is_mp4_aac(std::uint32_t object_type);

} // namespace zelmora
