// What a track sounds like: one block of decoded audio, and the conversions that fill it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelmora {

/// 32-bit IEEE float, full scale at plus and minus 1.0. There is no other internal sample form.
using audio_sample = float;

inline constexpr std::uint32_t channel_mask_mono = 4;   ///< front centre
inline constexpr std::uint32_t channel_mask_stereo = 3; ///< front left and right

/// How many speakers a WAVEFORMATEXTENSIBLE channel mask names.
std::uint32_t channel_config_count(std::uint32_t mask);
/// The usual mask of a channel count; 0 for counts that have none. Used wherever a format says nothing, or its mask
/// disagrees with its channel count.
std::uint32_t channel_config_guess(std::uint32_t channels);

namespace audio_math {
/// `seconds` [s] in samples at `rate` [Hz], rounded to nearest. Below 0 is 0; what 64 bits can't hold is the maximum.
std::uint64_t time_to_samples(double seconds, std::uint32_t rate);
/// `samples` at `rate` [Hz] in seconds.
double samples_to_time(std::uint64_t samples, std::uint32_t rate);
/// Samples scaled by `scale`, rounded to nearest even and clamped to 16 bits.
void convert_to_int16(std::span<const audio_sample> source, std::int16_t* destination, float scale);
/// As `convert_to_int16`, 32 bits.
void convert_to_int32(std::span<const audio_sample> source, std::int32_t* destination, float scale);
} // namespace audio_math

/// Flag words of the `_ex` conversions.
enum pcm_flags : std::uint32_t {
  pcm_flag_big_endian_float = 1, ///< `set_data_floatingpoint_ex`
  pcm_flag_big_endian = 2,       ///< `set_data_fixedpoint_ex`
  pcm_flag_signed = 4,           ///< `set_data_fixedpoint_ex`
};

/// One block of interleaved samples with its format. Valid for 1 to 32 channels and 1000 Hz to 20,000,000 Hz. One
/// thread at a time.
class audio_chunk {
 public:
  static constexpr std::uint32_t max_channels = 32;
  static constexpr std::uint32_t min_sample_rate = 1000;
  static constexpr std::uint32_t max_sample_rate = 20'000'000;

  virtual ~audio_chunk() = default;

  virtual audio_sample* get_data() = 0;
  virtual const audio_sample* get_data() const = 0;
  /// Samples allocated, counted over all channels.
  virtual std::size_t get_data_size() const = 0;
  /// Makes room for at least `samples`, keeping what is there.
  virtual void set_data_size(std::size_t samples) = 0;
  virtual std::uint32_t get_srate() const = 0;
  virtual void set_srate(std::uint32_t rate) = 0;
  virtual std::uint32_t get_channels() const = 0;
  virtual std::uint32_t get_channel_config() const = 0;
  virtual void set_channels(std::uint32_t channels, std::uint32_t mask) = 0;
  /// Samples per channel.
  virtual std::size_t get_sample_count() const = 0;
  virtual void set_sample_count(std::size_t samples) = 0;

  bool is_valid() const;
  /// The samples in use, all channels.
  std::span<const audio_sample> samples() const { return {get_data(), get_sample_count() * get_channels()}; }
  /// [s]
  double get_duration() const;
  void reset();
  void copy(const audio_chunk& other);

  /// Fills the chunk with `channels` times `samples` copies of digital silence.
  void set_silence(std::size_t samples, std::uint32_t rate, std::uint32_t channels, std::uint32_t mask);
  /// Copies `samples` per channel of interleaved floats.
  void set_data_32(const float* source, std::size_t samples, std::uint32_t channels, std::uint32_t rate);
  /// 16-bit little-endian stereo at 44100 Hz, as on an audio CD.
  void set_data_int16(const void* data, std::size_t bytes);
  /// Little-endian PCM, 8 bits unsigned, 16, 24 and 32 bits signed. Another width gives silence of the same length.
  void set_data_fixedpoint(const void* data, std::size_t bytes, std::uint32_t rate, std::uint32_t channels,
                           std::uint32_t bits, std::uint32_t mask);
  /// The general form; `flags` of `pcm_flags`. Without `pcm_flag_signed` every width is unsigned.
  void set_data_fixedpoint_ex(const void* data, std::size_t bytes, std::uint32_t rate, std::uint32_t channels,
                              std::uint32_t bits, std::uint32_t flags, std::uint32_t mask);
  /// IEEE floats of 16 (half precision), 32 and 64 bits; 24 bits are the high bytes of a 32-bit float. Another width
  /// raises the bug check "invalid bit depth".
  void set_data_floatingpoint_ex(const void* data, std::size_t bytes, std::uint32_t rate, std::uint32_t channels,
                                 std::uint32_t bits, std::uint32_t flags, std::uint32_t mask);

  /// Drops the first `samples` per channel, the primitive of exact seeks. Fewer than there are: returns `samples`.
  /// Otherwise empties the chunk and returns the old count.
  std::size_t skip_first(std::size_t samples);

 protected:
  audio_chunk() = default;
  audio_chunk(const audio_chunk&) = default;
  audio_chunk& operator=(const audio_chunk&) = default;

 private:
  void prepare(std::size_t total, std::uint32_t rate, std::uint32_t channels, std::uint32_t mask);
};

/// The plain implementation; its room only grows, so that a chunk used again allocates nothing.
class audio_chunk_impl final : public audio_chunk {
 public:
  audio_sample* get_data() override { return data_.data(); }
  const audio_sample* get_data() const override { return data_.data(); }
  std::size_t get_data_size() const override { return data_.size(); }
  void set_data_size(std::size_t samples) override;
  std::uint32_t get_srate() const override { return rate_; }
  void set_srate(std::uint32_t rate) override { rate_ = rate; }
  std::uint32_t get_channels() const override { return channels_; }
  std::uint32_t get_channel_config() const override { return mask_; }
  void set_channels(std::uint32_t channels, std::uint32_t mask) override;
  std::size_t get_sample_count() const override { return sample_count_; }
  void set_sample_count(std::size_t samples) override { sample_count_ = samples; }

 private:
  std::vector<audio_sample> data_;
  std::uint32_t rate_ = 0;
  std::uint32_t channels_ = 0;
  std::uint32_t mask_ = 0;
  std::size_t sample_count_ = 0;
};

/// Cuts the part of `chunk` that lies in the `seconds` [s] still to be skipped after a seek, and takes it off
/// `seconds`. Returns whether the chunk was cut and is to be kept; a chunk that lies wholly in the skip comes back
/// empty (no samples) and is to be dropped; with less than half a sample to skip nothing happens.
bool process_skip(audio_chunk& chunk, double& seconds);

} // namespace zelmora
