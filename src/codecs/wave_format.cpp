#include "codecs/wave_format.h"

#include "frame/audio_chunk.h"
#include "frame/bytes.h"
#include "frame/exceptions.h"

#include <algorithm>
#include <limits>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// Some ADPCM writers left the byte rate of the PCM they were fed, or nonsense. The rate that bits, channels and sample
/// rate imply stands within a factor of two of the true one, block headers included.
std::uint32_t repair_adpcm_rate(const wave_format& format) {
  const auto bit_rate = std::uint64_t{format.bits} * format.channels * format.rate;
  const auto implied = bit_rate / 8;
  if (implied == 0 || implied > std::numeric_limits<std::uint32_t>::max()) return format.average_bytes;
  if (format.average_bytes >= bit_rate / 16 && format.average_bytes <= 2 * implied) return format.average_bytes;
  return static_cast<std::uint32_t>(implied);
}

void check_wave_format(const wave_format& format) {
  if (format.channels < 1 || format.channels > wave_limits::max_channels) throw exception_io_data();
  if (format.rate < audio_chunk::min_sample_rate || format.rate > audio_chunk::max_sample_rate)
    throw exception_io_data();
  if (format.average_bytes == 0 || format.block_align == 0) throw exception_io_data();
}

} // namespace

wave_format parse_wave_format(std::span<const std::byte> payload) {
  const bool is_pcm_record = payload.size() == wave_limits::pcm_size;
  if (!is_pcm_record && payload.size() < wave_limits::ex_size) throw exception_io_data();
  wave_format format;
  le_reader in(payload);
  format.tag = in.le16();
  format.channels = in.le16();
  format.rate = in.le32();
  format.average_bytes = in.le32();
  format.block_align = in.le16();
  format.bits = in.le16();
  format.record.assign(payload.begin(), payload.end());
  if (is_pcm_record) {
    format.record.resize(wave_limits::ex_size);
  } else {
    const std::size_t claimed = in.le16();
    format.extra_size = checked_cast<std::uint16_t>(std::min(claimed, in.remaining()));
  }
  check_wave_format(format);
  if (format.tag == wave_tag::ms_adpcm || format.tag == wave_tag::ima_adpcm)
    format.average_bytes = repair_adpcm_rate(format);
  return format;
}

wave_format_extension parse_wave_extension(const wave_format& format) {
  if (format.record.size() < wave_limits::extensible_size) throw exception_io_data();
  wave_format_extension extension;
  le_reader in(format.record);
  in.skip(wave_limits::ex_size);
  extension.valid_bits = in.le16();
  extension.channel_mask = in.le32();
  std::ranges::transform(in.take(extension.subformat.bytes.size()), extension.subformat.bytes.begin(),
                         [](std::byte b) { return std::to_integer<std::uint8_t>(b); });
  return extension;
}

wave_sample_kind get_sample_kind(const wave_format& format) {
  if (format.tag == wave_tag::pcm) return wave_sample_kind::fixed_point;
  if (format.tag == wave_tag::ieee_float) return wave_sample_kind::floating_point;
  if (format.tag != wave_tag::extensible || format.record.size() < wave_limits::extensible_size)
    return wave_sample_kind::none;
  const auto subformat = parse_wave_extension(format).subformat;
  if (subformat == wave_subformat::pcm) return wave_sample_kind::fixed_point;
  if (subformat == wave_subformat::ieee_float) return wave_sample_kind::floating_point;
  return wave_sample_kind::none;
}

std::uint32_t get_frame_size(const wave_format& format) { return std::uint32_t{format.channels} * (format.bits / 8u); }

} // namespace zelmora
