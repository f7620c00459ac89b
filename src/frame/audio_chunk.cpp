// Speaker bits are those of WAVEFORMATEXTENSIBLE, learn.microsoft.com/windows/win32/api/mmreg.
#include "frame/audio_chunk.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace zelmora {

std::uint32_t channel_config_count(std::uint32_t mask) { return static_cast<std::uint32_t>(std::popcount(mask)); }

std::uint32_t channel_config_guess(std::uint32_t channels) {
  // Indexed by channel count: none, mono, stereo, 2.1, quad, 4.1, 5.1, 6.1, 7.1, none, 9.1.
  constexpr std::array<std::uint32_t, 11> usual{0, 4, 3, 11, 51, 59, 63, 1807, 1599, 0, 1791};
  if (channels < usual.size() && usual[channels] != 0) return usual[channels];
  if (channels == 0 || channels > audio_chunk::max_channels) return 0;
  return channels == 32 ? 0xFFFFFFFFu : (1u << channels) - 1;
}

namespace audio_math {

std::uint64_t time_to_samples(double seconds, std::uint32_t rate) {
  const double samples = std::floor(seconds * rate + 0.5);
  if (!(samples > 0)) return 0;
  constexpr double beyond = 18446744073709551616.0; // 2^64
  return samples >= beyond ? std::numeric_limits<std::uint64_t>::max() : static_cast<std::uint64_t>(samples);
}

double samples_to_time(std::uint64_t samples, std::uint32_t rate) { return static_cast<double>(samples) / rate; }

void convert_to_int16(std::span<const audio_sample> source, std::int16_t* destination, float scale) {
  const float factor = scale * 32768.0f;
  for (const auto sample : source)
    *destination++ = static_cast<std::int16_t>(std::lrintf(std::clamp(sample * factor, -32768.0f, 32767.0f)));
}

void convert_to_int32(std::span<const audio_sample> source, std::int32_t* destination, float scale) {
  // In double: the largest 32-bit integer is no float.
  const double factor = static_cast<double>(scale) * 2147483648.0;
  for (const auto sample : source)
    *destination++ = static_cast<std::int32_t>(std::lrint(std::clamp(sample * factor, -2147483648.0, 2147483647.0)));
}

} // namespace audio_math

bool audio_chunk::is_valid() const {
  const auto channels = get_channels();
  if (channels < 1 || channels > max_channels) return false;
  if (get_srate() < min_sample_rate || get_srate() > max_sample_rate) return false;
  const std::size_t count = get_sample_count();
  if (count == 0 || count >= 2147483648u / (channels * sizeof(audio_sample))) return false;
  return count * channels <= get_data_size() && get_data() != nullptr;
}

double audio_chunk::get_duration() const {
  return get_srate() == 0 ? 0 : audio_math::samples_to_time(get_sample_count(), get_srate());
}

void audio_chunk::reset() {
  set_sample_count(0);
  set_srate(0);
  set_channels(0, 0);
}

void audio_chunk::copy(const audio_chunk& other) {
  const auto samples = other.samples();
  set_data_size(samples.size());
  std::ranges::copy(samples, get_data());
  set_sample_count(other.get_sample_count());
  set_srate(other.get_srate());
  set_channels(other.get_channels(), other.get_channel_config());
}

void audio_chunk::prepare(std::size_t total, std::uint32_t rate, std::uint32_t channels, std::uint32_t mask) {
  if (channels == 0) throw kiv::exception_invalid_params();
  set_data_size(total);
  set_sample_count(total / channels);
  set_srate(rate);
  set_channels(channels, mask);
}

void audio_chunk::set_silence(std::size_t samples, std::uint32_t rate, std::uint32_t channels, std::uint32_t mask) {
  const auto total = checked_mul<std::size_t>(samples, channels);
  prepare(total, rate, channels, mask);
  std::fill_n(get_data(), total, 0.0f);
}

void audio_chunk::set_data_32(const float* source, std::size_t samples, std::uint32_t channels, std::uint32_t rate) {
  const auto total = checked_mul<std::size_t>(samples, channels);
  prepare(total, rate, channels, channel_config_guess(channels));
  std::copy_n(source, total, get_data());
}

void audio_chunk::set_data_int16(const void* data, std::size_t bytes) {
  set_data_fixedpoint(data, bytes, 44100, 2, 16, channel_mask_stereo);
}

void audio_chunk::set_data_fixedpoint(const void* data, std::size_t bytes, std::uint32_t rate, std::uint32_t channels,
                                      std::uint32_t bits, std::uint32_t mask) {
  set_data_fixedpoint_ex(data, bytes, rate, channels, bits, bits == 8 ? 0u : std::uint32_t{pcm_flag_signed}, mask);
}

namespace {

/// `count` integers of `T` to float: unsigned ones get their top bit flipped first.
template <class T, std::endian order>
void convert_fixed(const std::byte* source, std::size_t count, bool is_signed, audio_sample* destination) {
  using raw_type = std::make_unsigned_t<T>;
  constexpr auto bits = sizeof(T) * 8;
  constexpr float factor = 1.0f / static_cast<float>(std::uint64_t{1} << (bits - 1));
  const raw_type flip = is_signed ? raw_type{0} : static_cast<raw_type>(raw_type{1} << (bits - 1));
  for (std::size_t i = 0; i < count; ++i) {
    const raw_type raw = static_cast<raw_type>(load_bytes<raw_type, order>(source + i * sizeof(T)) ^ flip);
    destination[i] = static_cast<float>(static_cast<T>(raw)) * factor;
  }
}

/// 24 bits: three bytes take the high places of a 32-bit word, where the sign of integers and floats stands.
template <std::endian order>
std::uint32_t load_24(const std::byte* source) {
  constexpr std::size_t low = order == std::endian::little ? 0 : 2;
  return (std::to_integer<std::uint32_t>(source[low]) << 8) | (std::to_integer<std::uint32_t>(source[1]) << 16) |
         (std::to_integer<std::uint32_t>(source[2 - low]) << 24);
}

/// As `load_24`, for each of `count` values in turn. Three words hold four: several times as fast as byte after byte.
template <std::endian order, class Convert>
void for_each_24(const std::byte* source, std::size_t count, audio_sample* out, Convert convert) {
  constexpr bool is_little = order == std::endian::little;
  for (; count >= 4; count -= 4, source += 12, out += 4) {
    const auto a = load_bytes<std::uint32_t, order>(source);
    const auto b = load_bytes<std::uint32_t, order>(source + 4);
    const auto c = load_bytes<std::uint32_t, order>(source + 8);
    out[0] = convert(is_little ? a << 8 : a & 0xFFFFFF00);
    out[1] = convert(is_little ? (a >> 16 & 0xFF00) | b << 16 : a << 24 | (b >> 8 & 0xFFFF00));
    out[2] = convert(is_little ? (b >> 8 & 0xFFFF00) | c << 24 : b << 16 | (c >> 16 & 0xFF00));
    out[3] = convert(is_little ? c & 0xFFFFFF00 : c << 8);
  }
  for (; count != 0; --count, source += 3) *out++ = convert(load_24<order>(source));
}

template <std::endian order>
void convert_fixed_24(const std::byte* source, std::size_t count, bool is_signed, audio_sample* destination) {
  constexpr float factor = 1.0f / 2147483648.0f;
  const std::uint32_t flip = is_signed ? 0u : 0x80000000u;
  for_each_24<order>(source, count, destination, [flip](std::uint32_t raw) {
    return static_cast<float>(static_cast<std::int32_t>(raw ^ flip)) * factor;
  });
}

template <std::endian order>
bool convert_fixed_any(const void* data, std::size_t count, std::uint32_t bits, bool is_signed, audio_sample* out) {
  const auto* source = static_cast<const std::byte*>(data);
  switch (bits) {
  case 8: convert_fixed<std::int8_t, order>(source, count, is_signed, out); return true;
  case 16: convert_fixed<std::int16_t, order>(source, count, is_signed, out); return true;
  case 24: convert_fixed_24<order>(source, count, is_signed, out); return true;
  case 32: convert_fixed<std::int32_t, order>(source, count, is_signed, out); return true;
  default: return false;
  }
}

/// IEEE 754 half precision to single: exact for every value, subnormals and infinities among them.
float half_to_float(std::uint16_t half) {
  const std::uint32_t sign = (half & 0x8000u) << 16;
  const std::uint32_t exponent = (half >> 10) & 0x1Fu;
  const std::uint32_t mantissa = half & 0x3FFu;
  if (exponent == 0) {
    const float magnitude = std::ldexp(static_cast<float>(mantissa), -24);
    return sign != 0 ? -magnitude : magnitude;
  }
  const std::uint32_t rebased = exponent == 0x1F ? 0xFFu : exponent + (127 - 15);
  return std::bit_cast<float>(sign | (rebased << 23) | (mantissa << 13));
}

template <std::endian order>
void convert_floating(const void* data, std::size_t count, std::uint32_t bits, audio_sample* out) {
  const auto* source = static_cast<const std::byte*>(data);
  switch (bits) {
  case 16:
    for (std::size_t i = 0; i < count; ++i) out[i] = half_to_float(load_bytes<std::uint16_t, order>(source + i * 2));
    break;
  case 24: for_each_24<order>(source, count, out, [](std::uint32_t raw) { return std::bit_cast<float>(raw); }); break;
  case 32:
    for (std::size_t i = 0; i < count; ++i) out[i] = load_bytes<float, order>(source + i * 4);
    break;
  default:
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<float>(load_bytes<double, order>(source + i * 8));
    break;
  }
}

} // namespace

void audio_chunk::set_data_fixedpoint_ex(const void* data, std::size_t bytes, std::uint32_t rate,
                                         std::uint32_t channels, std::uint32_t bits, std::uint32_t flags,
                                         std::uint32_t mask) {
  const auto total = bytes / std::max(bits / 8, 1u);
  prepare(total, rate, channels, mask);
  const bool is_signed = (flags & pcm_flag_signed) != 0;
  const bool known = (flags & pcm_flag_big_endian) != 0
                         ? convert_fixed_any<std::endian::big>(data, total, bits, is_signed, get_data())
                         : convert_fixed_any<std::endian::little>(data, total, bits, is_signed, get_data());
  if (!known) std::fill_n(get_data(), total, 0.0f);
}

void audio_chunk::set_data_floatingpoint_ex(const void* data, std::size_t bytes, std::uint32_t rate,
                                            std::uint32_t channels, std::uint32_t bits, std::uint32_t flags,
                                            std::uint32_t mask) {
  if (bits != 16 && bits != 24 && bits != 32 && bits != 64) uBugCheck("invalid bit depth");
  const auto total = bytes / (bits / 8);
  prepare(total, rate, channels, mask);
  if ((flags & pcm_flag_big_endian_float) != 0)
    convert_floating<std::endian::big>(data, total, bits, get_data());
  else
    convert_floating<std::endian::little>(data, total, bits, get_data());
}

std::size_t audio_chunk::skip_first(std::size_t samples) {
  if (samples == 0) return 0;
  const auto count = get_sample_count();
  if (samples >= count) {
    set_sample_count(0);
    set_data_size(0);
    return count;
  }
  const auto channels = get_channels();
  auto* data = get_data();
  std::copy(data + samples * channels, data + count * channels, data);
  set_sample_count(count - samples);
  set_data_size((count - samples) * channels);
  return samples;
}

void audio_chunk_impl::set_data_size(std::size_t samples) { data_.resize(samples); }

void audio_chunk_impl::set_channels(std::uint32_t channels, std::uint32_t mask) {
  channels_ = channels;
  mask_ = mask;
}

bool process_skip(audio_chunk& chunk, double& seconds) {
  const auto samples = audio_math::time_to_samples(seconds, chunk.get_srate());
  if (samples == 0) {
    seconds = 0;
    return false;
  }
  const auto count = chunk.get_sample_count();
  seconds = samples <= count ? 0 : seconds - chunk.get_duration();
  chunk.skip_first(static_cast<std::size_t>(std::min<std::uint64_t>(samples, count)));
  return samples < count;
}

} // namespace zelmora
