// The format record of the WAV family: WAVEFORMATEX, and WAVEFORMATEXTENSIBLE behind its format tag.
// Layout: learn.microsoft.com/windows/win32/api/mmreg, structures WAVEFORMATEX and WAVEFORMATEXTENSIBLE.
#pragma once

#include "frame/wave_tags.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelmora {

namespace wave_limits {
inline constexpr std::size_t pcm_size = 16;        ///< the record of old PCM writers: no extra size field
inline constexpr std::size_t ex_size = 18;         ///< WAVEFORMATEX
inline constexpr std::size_t extensible_size = 40; ///< WAVEFORMATEXTENSIBLE
inline constexpr std::size_t extensible_extra = 22;
/// A format chunk beyond this is no format chunk [bytes].
inline constexpr std::uint64_t max_chunk = 1'048'576;
/// What an extra size of 16 bits can name; bytes of the chunk behind it have no meaning and are not read.
inline constexpr std::size_t max_record = ex_size + 65535;
/// More than a chunk can carry (`audio_chunk::max_channels`): such files are described and then yield chunks that hosts
/// reject.
inline constexpr unsigned max_channels = 256;
} // namespace wave_limits

/// One format record. Fields in the order of the file.
struct wave_format {
  std::uint16_t tag = 0;
  std::uint16_t channels = 0;
  std::uint32_t rate = 0;          ///< [Hz]
  std::uint32_t average_bytes = 0; ///< [bytes/s]
  std::uint16_t block_align = 0;   ///< [bytes] of one frame of PCM, or of one block of a codec
  std::uint16_t bits = 0;          ///< per sample, of the container
  std::uint16_t extra_size = 0;    ///< bytes of the record behind WAVEFORMATEX
  std::vector<std::byte> record;   ///< the whole of it as it stands in the file, at least `wave_limits::ex_size` bytes

  friend bool operator==(const wave_format&, const wave_format&) = default;
};

/// What WAVEFORMATEXTENSIBLE adds.
struct wave_format_extension {
  std::uint16_t valid_bits = 0; ///< of the container's; 0 where the writer said nothing
  std::uint32_t channel_mask = 0;
  guid subformat;
};

/// Reads the payload of a format chunk. Raises `exception_io_data` for sizes and values that no stream can have. The
/// average rate of ADPCM, which some writers get wrong by orders of magnitude, is repaired.
wave_format parse_wave_format(std::span<const std::byte> payload);

/// The extension of a record with the tag `wave_tag::extensible`; a record too short for it raises `exception_io_data`.
wave_format_extension parse_wave_extension(const wave_format& format);

/// Uncompressed samples: what kind, and how wide.
enum class wave_sample_kind { none, fixed_point, floating_point };

/// The kind of samples that `format` stores: by tag, or by the subformat of an extensible record (none when that is too
/// short to have one).
wave_sample_kind get_sample_kind(const wave_format& format);

/// What a frame of uncompressed samples takes at least [bytes].
std::uint32_t get_frame_size(const wave_format& format);

} // namespace zelmora
