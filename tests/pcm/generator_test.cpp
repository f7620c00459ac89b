// Tones, sweeps and silence, against the formulas that they follow.
#include "frame/advconfig.h"
#include "pcm_test_support.h"

#include <cmath>
#include <numbers>

namespace zelmora::test {
namespace {

using namespace zelmora_io;

test_decoder open_path(std::string_view path) { return test_decoder(nullptr, path); }

advconfig_entry& tone_rate_setting() {
  attach_own_services();
  for (auto& entry : enumerate_services<advconfig_entry>())
    if (entry->place().key == "decoding.toneRate") return *entry;
  throw std::runtime_error("no such setting");
}

/// The sine at `turns` whole turns and their fraction.
double sine_of_turns(long double turns) {
  return static_cast<double>(std::sin(2 * std::numbers::pi_v<long double> * std::fmod(turns, 1.0L)));
}

constexpr double tolerance = 1.0 / (1 << 24); // half a step of the delivered floats at full scale

// --- Tone ----------------------------------------------------------------------------------------------------------

TEST(tone, is_the_sine_of_its_frequency) {
  for (const double frequency : {1000.0, 0.1, 997.25, 22050.0, 12345.678}) {
    auto tone = open_path("tone://" + format_shortest(frequency) + ",1");
    const auto audio = tone.decode();
    ASSERT_EQ(audio.frames(), 44100u);
    EXPECT_EQ(audio.rate, 44100u);
    EXPECT_EQ(audio.channels, 1u);
    EXPECT_EQ(audio.mask, 4u);
    for (std::size_t n = 0; n < audio.frames(); ++n)
      ASSERT_NEAR(audio.samples[n], sine_of_turns(static_cast<long double>(frequency) * n / 44100), tolerance)
          << frequency << " Hz at " << n;
  }
}

TEST(tone, is_as_good_after_a_month) {
  for (const double frequency : {997.0, 997.3}) {
    auto tone = open_path("tone://" + format_shortest(frequency));
    tone.decoder->initialize(0, 0, tone.abort);
    tone.decoder->seek(2'600'000, tone.abort);
    audio_chunk_impl chunk;
    ASSERT_TRUE(tone.decoder->run(chunk, tone.abort));
    ASSERT_EQ(chunk.get_sample_count(), 1024u);
    for (std::size_t i = 0; i < 1024; ++i) {
      const auto n = static_cast<long double>(2'600'000ull * 44100 + i);
      // The product of 997.3 and 10^11 takes more bits than a long double has: its fraction is good to about 1e-5 turns
      // of the true one only when whole turns are taken off each factor first.
      const auto whole = std::floor(static_cast<long double>(frequency));
      const auto rest = static_cast<long double>(frequency) - whole;
      const auto turns = std::fmod(whole * n, 44100.0L) / 44100 + std::fmod(rest * n, 44100.0L) / 44100;
      ASSERT_NEAR(chunk.get_data()[i], sine_of_turns(turns), tolerance) << i;
    }
  }
}

TEST(tone, seeks_to_the_bit) {
  auto tone = open_path("tone://441.7,0.2");
  const auto linear = tone.decode();
  ASSERT_EQ(linear.frames(), 8820u);
  for (const std::size_t target : {0u, 1u, 1023u, 1024u, 1025u, 5000u, 8819u, 8820u, 9000u}) {
    const auto rest = tone.decode_from(target, 44100);
    const auto wanted = linear.from(std::min<std::size_t>(target, linear.frames()));
    EXPECT_TRUE(std::ranges::equal(rest.samples, wanted)) << target;
  }
}

TEST(tone, without_a_length_has_no_end) {
  auto tone = open_path("TONE://1000");
  EXPECT_EQ(tone.info().get_length(), -1.0);
  tone.decoder->initialize(0, 0, tone.abort);
  audio_chunk_impl chunk;
  for (const double seconds : {0.0, 1e6, 1e300}) {
    tone.decoder->seek(seconds, tone.abort);
    ASSERT_TRUE(tone.decoder->run(chunk, tone.abort));
    EXPECT_EQ(chunk.get_sample_count(), 1024u);
    for (const auto sample : chunk.samples()) ASSERT_LE(std::fabs(sample), 1.0f);
  }
}

TEST(tone, info) {
  const auto info = open_path("tone://1000.5,2").info();
  EXPECT_EQ(*info.meta_get("title"), "Tone: 1000.5 Hz");
  EXPECT_EQ(info.get_length(), 2.0);
  EXPECT_EQ(info_text(info, "samplerate"), "44100");
  EXPECT_EQ(info_text(info, "channels"), "1");
  EXPECT_EQ(*open_path("tone://440").info().meta_get("title"), "Tone: 440 Hz");
}

TEST(tone, follows_the_setting) {
  auto& setting = tone_rate_setting();
  EXPECT_EQ(setting.get_default_text(), "44100");
  EXPECT_THROW(setting.set_text("999"), kiv::exception_invalid_params);
  EXPECT_THROW(setting.set_text("1000001"), kiv::exception_invalid_params);
  setting.set_text("96000");
  const auto audio = open_path("tone://40000,0.5").decode();
  setting.set_text("44100");
  EXPECT_EQ(audio.rate, 96000u);
  EXPECT_EQ(audio.frames(), 48000u);
}

// --- Sweep ---------------------------------------------------------------------------------------------------------

TEST(sweep, rises_exponentially_with_a_continuous_phase) {
  struct {
    double from;
    double to;
  } const cases[]{{20, 20000}, {20000, 20}, {440, 440}};
  for (const auto& c : cases) {
    const auto audio = open_path("sweep://" + format_shortest(c.from) + "-" + format_shortest(c.to) + ",10").decode();
    ASSERT_EQ(audio.frames(), 441000u);
    EXPECT_EQ(audio.mask, 4u);
    // The sum of A r^k over k < n is A (r^n - 1) / (r - 1), in closed form.
    const long double log_step = std::log(static_cast<long double>(c.to) / c.from) / 441000;
    for (std::size_t n = 0; n < audio.frames(); n += 37) {
      const auto turns = c.from == c.to ? static_cast<long double>(c.from) * n
                                        : c.from * std::expm1(log_step * n) / std::expm1(log_step);
      ASSERT_NEAR(audio.samples[n], sine_of_turns(turns / 44100), 1e-6) << n;
    }
  }
}

TEST(sweep, keeps_its_phase_for_minutes) {
  const auto audio = open_path("sweep://20000-20000,60").decode();
  const auto n = audio.frames() - 1;
  EXPECT_NEAR(audio.samples[n], sine_of_turns(20000.0L * n / 44100), tolerance);
}

TEST(sweep, begins_again_with_the_same_phase) {
  auto sweep = open_path("sweep://20-20000,0.1");
  const auto first = sweep.decode();
  EXPECT_EQ(sweep.decode().samples, first.samples);
}

TEST(sweep, info_and_end) {
  auto sweep = open_path("sweep://20-20000,0.5");
  const auto info = sweep.info();
  EXPECT_EQ(*info.meta_get("title"), "Sweep: 20 Hz - 20000 Hz");
  EXPECT_EQ(info.get_length(), 0.5);
  EXPECT_EQ(info_text(info, "samplerate"), "44100");
  EXPECT_EQ(sweep.decode().frames(), 22050u);
  EXPECT_EQ(sweep.decode_from(22000, 44100).frames(), 50u);
  EXPECT_EQ(sweep.decode_from(22050, 44100).frames(), 0u);
  EXPECT_EQ(sweep.decode_from(99999999, 44100).frames(), 0u);
}

TEST(sweep, a_seek_keeps_the_phase) {
  auto sweep = open_path("sweep://100-100,1");
  sweep.decoder->initialize(0, 0, sweep.abort);
  audio_chunk_impl first;
  audio_chunk_impl second;
  ASSERT_TRUE(sweep.decoder->run(first, sweep.abort));
  sweep.decoder->seek(0, sweep.abort);
  ASSERT_TRUE(sweep.decoder->run(second, sweep.abort));
  EXPECT_NEAR(second.get_data()[0], sine_of_turns(1024 * 100.0L / 44100), tolerance);
}

// --- Silence -------------------------------------------------------------------------------------------------------

TEST(silence, length_rate_and_channels) {
  struct {
    const char* path;
    std::size_t frames;
    std::uint32_t rate;
    std::uint32_t channels;
    std::uint32_t mask;
  } const cases[]{
      {"silence://1", 44100, 44100, 2, 3},
      {"Silence://0.5", 22050, 44100, 2, 3},
      {"silence://1,8000,1", 8000, 8000, 1, 4},
      {"silence://1,1000", 1000, 1000, 2, 3},
      {"silence://0.1,1000000,6", 100000, 1000000, 6, 0x3F},
      {"silence://0.1,8000,9", 800, 8000, 9, 0x1FF},
      {"silence://0.1,8000,32", 800, 8000, 32, 0xFFFFFFFF},
  };
  for (const auto& c : cases) {
    auto silence = open_path(c.path);
    const auto info = silence.info();
    EXPECT_EQ(info.get_length(), static_cast<double>(c.frames) / c.rate) << c.path;
    EXPECT_EQ(*info.meta_get("title"), "Silence");
    const auto audio = silence.decode();
    EXPECT_EQ(audio.frames(), c.frames) << c.path;
    EXPECT_EQ(audio.rate, c.rate) << c.path;
    EXPECT_EQ(audio.channels, c.channels) << c.path;
    EXPECT_EQ(audio.mask, c.mask) << c.path;
    EXPECT_TRUE(std::ranges::all_of(audio.samples, [](audio_sample s) { return s == 0; })) << c.path;
    EXPECT_EQ(silence.decode_from(c.frames - 1, c.rate).frames(), 1u) << c.path;
    EXPECT_EQ(silence.decode_from(c.frames, c.rate).frames(), 0u) << c.path;
  }
}

TEST(silence, of_more_channels_than_a_chunk_can_carry_does_not_play) {
  auto silence = open_path("silence://1,8000,33");
  EXPECT_EQ(info_text(silence.info(), "channels"), "33");
  EXPECT_THROW(silence.decode(), exception_io_data);
}

// --- Paths ---------------------------------------------------------------------------------------------------------

TEST(generator_paths, malformed_ones_are_refused) {
  for (const auto* path : {"tone://",
                           "tone://x",
                           "tone://0",
                           "tone://-5",
                           "tone://nan",
                           "tone://inf",
                           "tone://1000,0",
                           "tone://1000,",
                           "tone://1000,inf",
                           "tone://1000,nan",
                           "tone://1000,1e300",
                           "tone://1000,-1",
                           "tone://1000,1e-9",
                           "tone://1e999",
                           "sweep://",
                           "sweep://20",
                           "sweep://20-",
                           "sweep://20-200",
                           "sweep://20-200,",
                           "sweep://20-200,0",
                           "sweep://0-200,1",
                           "sweep://20-0,1",
                           "sweep://20-nan,1",
                           "sweep://inf-20,1",
                           "sweep://20-200,inf",
                           "sweep://20-200,1e9",
                           "sweep://20-200,1e300",
                           "silence://",
                           "silence://0",
                           "silence://-1",
                           "silence://nan",
                           "silence://inf",
                           "silence://1e300",
                           "silence://1,999",
                           "silence://1,1000001",
                           "silence://1,8000,0",
                           "silence://1,8000,257",
                           "silence://1,8000,nan",
                           "silence://1,inf",
                           "silence://1,8000,-1",
                           "silence://1,,2"})
    EXPECT_THROW(open_path(path), exception_io_data) << path;
}

TEST(generator_paths, a_frequency_beyond_half_the_rate_is_told) {
  const auto refusal = [](std::string_view path) -> std::string {
    try {
      open_path(path);
    } catch (const exception_io&) {
      return "another input may try";
    } catch (const std::exception& e) {
      return e.what();
    }
    return "";
  };
  EXPECT_EQ(refusal("tone://22050"), "");
  EXPECT_EQ(refusal("tone://22051"), "Selected sample rate is too low to properly generate this tone");
  EXPECT_EQ(refusal("tone://1e300"), "Selected sample rate is too low to properly generate this tone");
  EXPECT_EQ(refusal("sweep://20-22050,1"), "");
  EXPECT_EQ(refusal("sweep://20-22051,1"), "Selected sample rate is too low to properly generate this sweep.");
  EXPECT_EQ(refusal("sweep://22051-20,1"), "Selected sample rate is too low to properly generate this sweep.");
}

TEST(generator_paths, are_not_for_writing) {
  attach_own_services();
  abort_callback_dummy abort;
  for (const auto* path : {"tone://1000", "sweep://20-200,1", "silence://1", "silence://nonsense"})
    EXPECT_THROW(input_entry::g_open_for_info_write(nullptr, path, nullptr, abort), exception_io_denied) << path;
}

TEST(generator_paths, a_file_of_that_name_is_not_a_scheme) {
  EXPECT_THROW(open_path("tone"), exception_io);
  EXPECT_THROW(open_path("dir/tone:/1000"), exception_io);
}

} // namespace
} // namespace zelmora::test
