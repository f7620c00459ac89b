// The helpers for writers of PCM files that the module exports beside its entry point.
#include "codecs/wave_format.h"
#include "frame/bytes.h"

#include <cstring>

namespace {

/// The header of a PCM file with nothing but a format and a data chunk.
constexpr std::uint32_t canonical_header_size = 44;

} // namespace

/// Fills the 44 bytes at `header` for `data_size` bytes of data; `format` points to the 16 bytes of the format record.
/// `extra` is the size of what the file holds besides [bytes]. Returns 0.
extern "C" __attribute__((visibility("default"))) int FillWaveHeader(void* header, std::uint32_t data_size,
                                                                     std::uint32_t /*unused*/, const void* format,
                                                                     std::uint32_t extra) {
  auto* const out = static_cast<std::byte*>(header);
  std::memcpy(out, "RIFF", 4);
  zelmora::store_le<std::uint32_t>(out + 4, data_size + (canonical_header_size - 8) + extra);
  std::memcpy(out + 8, "WAVEfmt ", 8);
  zelmora::store_le<std::uint32_t>(out + 16, zelmora::wave_limits::pcm_size);
  std::memcpy(out + 20, format, zelmora::wave_limits::pcm_size);
  std::memcpy(out + 36, "data", 4);
  zelmora::store_le<std::uint32_t>(out + 40, data_size);
  return 0;
}

/// Fills the 18 bytes of a WAVEFORMATEX at `format` for PCM of `bits` and `channels` at `rate` [Hz]. Returns 0.
extern "C" __attribute__((visibility("default"))) int FillWaveFormatEx(void* format, std::uint32_t /*unused*/,
                                                                       std::uint32_t rate, std::uint32_t bits,
                                                                       std::uint32_t channels) {
  auto* const out = static_cast<std::byte*>(format);
  const auto block_align = static_cast<std::uint16_t>(bits / 8 * channels);
  zelmora::store_le<std::uint16_t>(out, zelmora::wave_tag::pcm);
  zelmora::store_le<std::uint16_t>(out + 2, static_cast<std::uint16_t>(channels));
  zelmora::store_le<std::uint32_t>(out + 4, rate);
  zelmora::store_le<std::uint32_t>(out + 8, block_align * rate);
  zelmora::store_le<std::uint16_t>(out + 12, block_align);
  zelmora::store_le<std::uint16_t>(out + 14, static_cast<std::uint16_t>(bits));
  zelmora::store_le<std::uint16_t>(out + 16, 0);
  return 0;
}
