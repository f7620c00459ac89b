#include "frame/audio_chunk.h"
#include "frame/bytes.h"
#include "frame/dynamic_bitrate.h"
#include "frame/exceptions.h"
#include "frame/host_services.h"
#include "support/test_services.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace zelmora {
namespace {

using bytes = std::vector<unsigned char>;

// --- PCM into floats: expected values are worked out by hand from the definitions of the widths ----------------------

struct fixed_case {
  const char* name;
  unsigned bits;
  unsigned flags;
  bytes data;
  std::vector<float> expected;
};

class FixedPoint : public testing::TestWithParam<fixed_case> {};

TEST_P(FixedPoint, Converts) {
  const auto& c = GetParam();
  audio_chunk_impl chunk;
  chunk.set_data_fixedpoint_ex(c.data.data(), c.data.size(), 44100, 1, c.bits, c.flags, 4);
  ASSERT_EQ(chunk.get_sample_count(), c.expected.size());
  for (std::size_t i = 0; i < c.expected.size(); ++i) EXPECT_EQ(chunk.get_data()[i], c.expected[i]) << "sample " << i;
}

INSTANTIATE_TEST_SUITE_P(
    Widths, FixedPoint,
    testing::Values(
        fixed_case{"u8", 8, 0, {0x00, 0x80, 0xFF, 0x81}, {-1.0f, 0.0f, 127 / 128.0f, 1 / 128.0f}},
        fixed_case{"s8", 8, pcm_flag_signed, {0x80, 0x00, 0x7F}, {-1.0f, 0.0f, 127 / 128.0f}},
        fixed_case{
            "s16", 16, pcm_flag_signed, {0x00, 0x80, 0xFF, 0x7F, 0x01, 0x00}, {-1.0f, 32767 / 32768.0f, 1 / 32768.0f}},
        fixed_case{"s16be", 16, pcm_flag_signed | pcm_flag_big_endian, {0x80, 0x00, 0x00, 0x01}, {-1.0f, 1 / 32768.0f}},
        fixed_case{"u16", 16, 0, {0x00, 0x00, 0x00, 0x80}, {-1.0f, 0.0f}},
        fixed_case{"s24",
                   24,
                   pcm_flag_signed,
                   {0x00, 0x00, 0x80, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F},
                   {-1.0f, -1 / 8388608.0f, 8388607 / 8388608.0f}},
        fixed_case{"s24be",
                   24,
                   pcm_flag_signed | pcm_flag_big_endian,
                   {0x80, 0x00, 0x00, 0x00, 0x00, 0x01},
                   {-1.0f, 1 / 8388608.0f}},
        fixed_case{"u24", 24, 0, {0x00, 0x00, 0x80, 0x01, 0x00, 0x80}, {0.0f, 1 / 8388608.0f}},
        fixed_case{"s32", 32, pcm_flag_signed, {0, 0, 0, 0x80, 0, 0, 0, 0x40}, {-1.0f, 0.5f}},
        fixed_case{"u32be", 32, pcm_flag_big_endian, {0, 0, 0, 0, 0xC0, 0, 0, 0}, {-1.0f, 0.5f}},
        fixed_case{"odd_width_is_silence", 40, pcm_flag_signed, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {0.0f, 0.0f}}),
    [](const auto& row) { return row.param.name; });

struct float_case {
  const char* name;
  unsigned bits;
  unsigned flags;
  bytes data;
  std::vector<float> expected;
};

class FloatingPoint : public testing::TestWithParam<float_case> {};

TEST_P(FloatingPoint, Converts) {
  const auto& c = GetParam();
  audio_chunk_impl chunk;
  chunk.set_data_floatingpoint_ex(c.data.data(), c.data.size(), 44100, 1, c.bits, c.flags, 4);
  ASSERT_EQ(chunk.get_sample_count(), c.expected.size());
  for (std::size_t i = 0; i < c.expected.size(); ++i) EXPECT_EQ(chunk.get_data()[i], c.expected[i]) << "sample " << i;
}

INSTANTIATE_TEST_SUITE_P(
    Widths, FloatingPoint,
    testing::Values(
        // Half precision: 1.0, -2.0, the largest, the smallest subnormal, infinity.
        float_case{"f16",
                   16,
                   0,
                   {0x00, 0x3C, 0x00, 0xC0, 0xFF, 0x7B, 0x01, 0x00, 0x00, 0x7C},
                   {1.0f, -2.0f, 65504.0f, 5.9604644775390625e-8f, std::numeric_limits<float>::infinity()}},
        float_case{"f16be", 16, pcm_flag_big_endian_float, {0x3C, 0x00, 0x80, 0x01}, {1.0f, -5.9604644775390625e-8f}},
        // 24 bits are the high three bytes of a single: 0x3F8000(00) is 1.0, 0xBF0000(00) is -0.5.
        float_case{"f24", 24, 0, {0x00, 0x80, 0x3F, 0x00, 0x00, 0xBF}, {1.0f, -0.5f}},
        float_case{"f24be", 24, pcm_flag_big_endian_float, {0x3F, 0x80, 0x00}, {1.0f}},
        float_case{"f32", 32, 0, {0, 0, 0x80, 0x3F}, {1.0f}},
        float_case{"f32be", 32, pcm_flag_big_endian_float, {0xBF, 0x80, 0, 0}, {-1.0f}},
        float_case{
            "f64", 64, 0, {0, 0, 0, 0, 0, 0, 0xE0, 0x3F, 0x9A, 0x99, 0x99, 0x99, 0x99, 0x99, 0xB9, 0x3F}, {0.5f, 0.1f}},
        float_case{"f64be", 64, pcm_flag_big_endian_float, {0x3F, 0xE0, 0, 0, 0, 0, 0, 0}, {0.5f}}),
    [](const auto& row) { return row.param.name; });

TEST(AudioChunk, TwentyFourBitsAreTheSameInAnyNumberAndByteOrder) {
  bytes little;
  bytes big;
  for (unsigned i = 0; i < 9; ++i) {
    const unsigned char value[]{static_cast<unsigned char>(0x11 * i), static_cast<unsigned char>(0x81 + i),
                                static_cast<unsigned char>(0xF0 - 0x1F * i)};
    for (const auto byte : {value[0], value[1], value[2]}) little.push_back(byte);
    for (const auto byte : {value[2], value[1], value[0]}) big.push_back(byte);
    const auto expected = [&](unsigned n) {
      const auto raw = static_cast<std::int32_t>(little[n * 3] | little[n * 3 + 1] << 8 | little[n * 3 + 2] << 16);
      return static_cast<float>(raw >= 0x800000 ? raw - 0x1000000 : raw) / 8388608.0f;
    };
    audio_chunk_impl chunk;
    audio_chunk_impl reversed;
    chunk.set_data_fixedpoint(little.data(), little.size(), 44100, 1, 24, 4);
    reversed.set_data_fixedpoint_ex(big.data(), big.size(), 44100, 1, 24, pcm_flag_signed | pcm_flag_big_endian, 4);
    for (unsigned n = 0; n <= i; ++n) {
      EXPECT_EQ(chunk.get_data()[n], expected(n)) << n << " of " << i + 1;
      EXPECT_EQ(reversed.get_data()[n], expected(n)) << n << " of " << i + 1;
    }
  }
}

TEST(AudioChunk, UnknownFloatWidthIsABugCheck) {
  audio_chunk_impl chunk;
  const float zero = 0;
  try {
    chunk.set_data_floatingpoint_ex(&zero, 4, 44100, 1, 20, 0, 4);
    FAIL();
  } catch (const kiv::exception_bug_check& e) {
    EXPECT_STREQ(e.what(), "invalid bit depth");
  }
}

TEST(AudioChunk, RemainderOfAFrameIsDropped) {
  audio_chunk_impl chunk;
  const std::array<std::int16_t, 5> data{1, 2, 3, 4, 5};
  chunk.set_data_int16(data.data(), sizeof data);
  EXPECT_EQ(chunk.get_sample_count(), 2u);
  EXPECT_EQ(chunk.get_srate(), 44100u);
  EXPECT_EQ(chunk.get_channel_config(), 3u);
}

TEST(AudioChunk, ValidityLimits) {
  audio_chunk_impl chunk;
  EXPECT_FALSE(chunk.is_valid());
  const auto valid = [&](unsigned channels, unsigned rate, std::size_t samples) {
    chunk.set_silence(samples, rate, channels, 0);
    return chunk.is_valid();
  };
  EXPECT_TRUE(valid(1, 1000, 1));
  EXPECT_TRUE(valid(32, 20'000'000, 1));
  EXPECT_FALSE(valid(33, 44100, 1));
  EXPECT_FALSE(valid(2, 999, 1));
  EXPECT_FALSE(valid(2, 20'000'001, 1));
  EXPECT_FALSE(valid(2, 44100, 0));
  ASSERT_TRUE(valid(2, 44100, 4));
  chunk.set_sample_count(5);
  EXPECT_FALSE(chunk.is_valid()) << "more samples than there is data";
  chunk.set_sample_count(2147483648u / 8);
  EXPECT_FALSE(chunk.is_valid());
}

audio_chunk_impl ramp(std::size_t samples) {
  audio_chunk_impl chunk;
  std::vector<float> data(samples * 2);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<float>(i);
  chunk.set_data_32(data.data(), samples, 2, 1000);
  return chunk;
}

TEST(AudioChunk, SkipFirst) {
  auto chunk = ramp(10);
  EXPECT_EQ(chunk.skip_first(3), 3u);
  EXPECT_EQ(chunk.get_sample_count(), 7u);
  EXPECT_EQ(chunk.get_data()[0], 6.0f);
  EXPECT_EQ(chunk.get_data()[13], 19.0f);
  EXPECT_EQ(chunk.get_data_size(), 14u);
  EXPECT_EQ(chunk.skip_first(0), 0u);
  EXPECT_EQ(chunk.skip_first(7), 7u) << "all of it";
  EXPECT_EQ(chunk.get_sample_count(), 0u);
  auto another = ramp(4);
  EXPECT_EQ(another.skip_first(100), 4u);
}

TEST(AudioChunk, ProcessSkip) {
  struct row {
    double seconds;
    std::size_t left_samples;
    double left_seconds;
    bool cut;
  };
  // 10 samples at 1000 Hz: half a sample is 0.0005 s.
  for (const auto& r : {row{0.0004, 10, 0, false}, row{0.0005, 9, 0, true}, row{0.0094, 1, 0, true},
                        row{0.010, 0, 0, false}, row{0.025, 0, 0.015, false}}) {
    auto chunk = ramp(10);
    double seconds = r.seconds;
    EXPECT_EQ(process_skip(chunk, seconds), r.cut) << r.seconds;
    EXPECT_EQ(chunk.get_sample_count(), r.left_samples) << r.seconds;
    EXPECT_NEAR(seconds, r.left_seconds, 1e-12) << r.seconds;
  }
}

TEST(AudioChunk, ChannelMasks) {
  const std::array<std::uint32_t, 11> usual{0, 4, 3, 11, 51, 59, 63, 1807, 1599, 0x1FF, 1791};
  for (std::uint32_t channels = 0; channels < usual.size(); ++channels)
    EXPECT_EQ(channel_config_guess(channels), usual[channels]) << channels;
  EXPECT_EQ(channel_config_guess(11), 0x7FFu);
  EXPECT_EQ(channel_config_guess(32), 0xFFFFFFFFu);
  EXPECT_EQ(channel_config_guess(33), 0u);
  for (std::uint32_t channels = 1; channels <= 32; ++channels)
    EXPECT_EQ(channel_config_count(channel_config_guess(channels)), channels);
}

TEST(AudioMath, SecondsAndSamples) {
  EXPECT_EQ(audio_math::time_to_samples(1.0, 44100), 44100u);
  EXPECT_EQ(audio_math::time_to_samples(-1.0, 44100), 0u);
  EXPECT_EQ(audio_math::time_to_samples(std::nan(""), 44100), 0u);
  EXPECT_EQ(audio_math::time_to_samples(1e300, 44100), std::numeric_limits<std::uint64_t>::max());
  // Every sample of ten hours at an awkward rate survives the way through seconds.
  for (std::uint64_t n = 0; n < 36000ull * 44100; n += 999983)
    ASSERT_EQ(audio_math::time_to_samples(audio_math::samples_to_time(n, 44100), 44100), n);
}

TEST(AudioMath, ToIntegers) {
  const std::array<float, 6> source{1.0f, -1.0f, 0.5f, 1.5f / 32768, 2.5f / 32768, -3.0f};
  std::array<std::int16_t, 6> narrow{};
  audio_math::convert_to_int16(source, narrow.data(), 1.0f);
  EXPECT_EQ(narrow, (std::array<std::int16_t, 6>{32767, -32768, 16384, 2, 2, -32768})) << "ties go to even";
  std::array<std::int32_t, 6> wide{};
  audio_math::convert_to_int32(source, wide.data(), 1.0f);
  EXPECT_EQ(wide[0], 2147483647);
  EXPECT_EQ(wide[1], std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(wide[2], 1 << 30);
}

// --- dynamic bit rate ------------------------------------------------------------------------------------------------

double refresh_rate = 0;
class test_display : public dynamic_info_display {
 public:
  double get_refresh_rate() override { return refresh_rate; }
};
service_factory_single_t<test_display> display_factory;

TEST(DynamicBitrate, UpdatesOnlyOnChangeAndAfterTheInterval) {
  test::attach_own_services();
  refresh_rate = 2; // an interval of 0.5 s
  dynamic_bitrate_helper helper;
  file_info_impl info;
  double delta = -1;
  helper.on_frame(0.4, 40000);
  EXPECT_FALSE(helper.on_update(info, delta)) << "too early";
  helper.on_frame(0.4, 120000);
  ASSERT_TRUE(helper.on_update(info, delta));
  EXPECT_EQ(*info.info_get("bitrate_dynamic"), "200");
  EXPECT_DOUBLE_EQ(delta, 0);
  helper.on_frame(1.0, 200400);
  EXPECT_FALSE(helper.on_update(info, delta)) << "rounds to the same 200";
  helper.on_frame(1.0, 64000);
  ASSERT_TRUE(helper.on_update(info, delta));
  EXPECT_EQ(*info.info_get("bitrate_dynamic"), "64");
  EXPECT_NEAR(delta, 1.8, 1e-9);
  helper.reset();
  helper.on_frame(1.0, 128000);
  ASSERT_TRUE(helper.on_update(info, delta));
  EXPECT_NEAR(delta, 0, 1e-12);
}

TEST(DynamicBitrate, APublishedStretchIsForgotten) {
  bitrate_accumulator stretch;
  file_info_impl info;
  EXPECT_FALSE(stretch.publish(info)) << "no time has passed";
  const struct {
    std::size_t bytes;
    double seconds;
    bool is_new;
    const char* shown;
  } steps[]{{16000, 1, true, "128"}, {16062, 1, false, "128"}, {16063, 1, true, "129"},
            {500, 0, false, "129"},  {4000, 0.5, true, "64"},  {4000, 0.5, false, "64"}};
  for (const auto& step : steps) {
    stretch.add_bytes(step.bytes, step.seconds);
    EXPECT_EQ(stretch.publish(info), step.is_new) << step.bytes;
    EXPECT_EQ(*info.info_get("bitrate_dynamic"), step.shown);
  }
}

TEST(DynamicBitrate, RateZeroNeverUpdates) {
  test::attach_own_services();
  refresh_rate = 0;
  dynamic_bitrate_helper helper;
  file_info_impl info;
  double delta = 0;
  helper.on_frame(100, 1000);
  EXPECT_FALSE(helper.on_update(info, delta));
}

} // namespace
} // namespace zelmora
