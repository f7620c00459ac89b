// Whether the check finds each way in which a decoder's seeking can be wrong.
#include "cli/seek_check.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <set>

namespace zelmora::cli {

namespace {

enum class fault { none, off_by_one, wrong_value, ends_early, goes_on, raises, other_rate, restarts_shorter };

/// A stream whose sample n is n, in uneven chunks, with one fault after a seek.
class counting_decoder : public input_decoder {
 public:
  counting_decoder(std::uint64_t length, std::uint32_t channels, fault kind)
      : length_(length), channels_(channels), fault_(kind) {}

  std::uint32_t get_subsong_count() override { return 1; }
  std::uint32_t get_subsong(std::uint32_t) override { return 0; }
  void get_info(std::uint32_t, file_info&, abort_callback&) override {}
  t_filestats get_file_stats(abort_callback&) override { return {}; }
  void initialize(std::uint32_t, std::uint32_t, abort_callback&) override {
    position_ = 0;
    sought_ = false;
    ++starts;
  }
  bool run(audio_chunk& chunk, abort_callback&) override {
    auto end = length_;
    if (sought_ && fault_ == fault::ends_early) end -= std::min<std::uint64_t>(3, end);
    if (sought_ && fault_ == fault::goes_on) end += 3;
    if (starts > 1 && fault_ == fault::restarts_shorter) end -= 1;
    if (position_ >= end) return false;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(end - position_, 1 + position_ % 1500));
    chunk.set_silence(count, sought_ && fault_ == fault::other_rate ? rate / 2 : rate, channels_, 0);
    for (std::size_t i = 0; i < count * channels_; ++i)
      chunk.get_data()[i] = static_cast<float>(position_ * channels_ + i) / 1048576.0f;
    if (sought_ && fault_ == fault::wrong_value && position_ > length_ / 2) chunk.get_data()[0] += 0.5f;
    position_ += count;
    return true;
  }
  void seek(double seconds, abort_callback&) override {
    if (fault_ == fault::raises) throw zelmora_io::exception_io_data();
    position_ = std::min(audio_math::time_to_samples(seconds, rate), length_);
    if (fault_ == fault::off_by_one && position_ != 0) --position_;
    sought_ = true;
  }
  bool can_seek() override { return true; }
  bool get_dynamic_info(file_info&, double&) override { return false; }
  bool get_dynamic_info_track(file_info&, double&) override { return false; }
  void on_idle(abort_callback&) override {}

  static constexpr std::uint32_t rate = 44100;
  unsigned starts = 0;

 private:
  std::uint64_t length_;
  std::uint32_t channels_;
  fault fault_;
  std::uint64_t position_ = 0;
  bool sought_ = false;
};

struct fault_case {
  const char* name;
  fault kind;
  bool some_exact;
  double difference;
};

class SeekFaults : public testing::TestWithParam<fault_case> {};

TEST_P(SeekFaults, AreFound) {
  constexpr std::uint64_t length = 100'000;
  const auto decoder = service_new<counting_decoder>(length, 2u, GetParam().kind);
  abort_callback_dummy abort;
  std::vector<std::string> problems;
  double furthest = 0;
  const auto result = check_seeks(
      *decoder, {0, length, 100, 1}, problems, [&](double fraction) { furthest = std::max(furthest, fraction); },
      abort);
  EXPECT_EQ(result.tried, 100u);
  const bool sound = GetParam().kind == fault::none;
  EXPECT_EQ(result.exact == result.tried, sound);
  EXPECT_EQ(problems.empty(), sound);
  EXPECT_EQ(result.exact > 0, GetParam().some_exact) << result.exact;
  EXPECT_NEAR(result.max_abs_diff, GetParam().difference, 1e-7);
  EXPECT_LE(problems.size(), 12u) << "the rest is to be counted";
  EXPECT_GT(furthest, 0.99);
}

INSTANTIATE_TEST_SUITE_P(All, SeekFaults,
                         testing::Values(fault_case{"None", fault::none, true, 0},
                                         // A sample is two of the ramp's steps.
                                         fault_case{"OffByOne", fault::off_by_one, true, 2 / 1048576.0},
                                         fault_case{"WrongValue", fault::wrong_value, true, 0.5},
                                         fault_case{"EndsEarly", fault::ends_early, true, 0},
                                         fault_case{"GoesOn", fault::goes_on, true, 0},
                                         fault_case{"Raises", fault::raises, false, 0},
                                         fault_case{"OtherRate", fault::other_rate, true, 0}),
                         [](const auto& row) { return row.param.name; });

TEST(SeekCheck, ADecoderThatStartsAnewDifferentlyIsToldApart) {
  const auto decoder = service_new<counting_decoder>(1000u, 1u, fault::restarts_shorter);
  abort_callback_dummy abort;
  std::vector<std::string> problems;
  check_seeks(
      *decoder, {0, 1000, 5, 1}, problems, [](double) {}, abort);
  ASSERT_FALSE(problems.empty());
  EXPECT_EQ(problems[0], "The first decode gave 1000 samples, a later one 999");
}

TEST(SeekCheck, ManyChannelsTakeSeveralRounds) {
  // 32 channels: a round keeps 32 windows.
  const auto decoder = service_new<counting_decoder>(20'000u, 32u, fault::none);
  abort_callback_dummy abort;
  std::vector<std::string> problems;
  const auto result = check_seeks(
      *decoder, {0, 20'000, 100, 1}, problems, [](double) {}, abort);
  EXPECT_EQ(result.exact, 100u);
  EXPECT_EQ(problems, std::vector<std::string>());
  EXPECT_EQ(decoder->starts, 1u + 4u);
}

TEST(SeekPositions, HoldTheEdgesAndFollowTheSeed) {
  const seek_plan plan{0, 1000, 50, 7};
  const auto positions = seek_positions(plan);
  ASSERT_EQ(positions.size(), 50u);
  EXPECT_EQ(std::vector(positions.begin(), positions.begin() + 4), (std::vector<std::uint64_t>{0, 1, 999, 1000}));
  EXPECT_GT(std::set(positions.begin(), positions.end()).size(), 40u);
  EXPECT_LE(std::ranges::max(positions), 1000u);
  EXPECT_EQ(seek_positions(plan), positions);
  EXPECT_NE(seek_positions({0, 1000, 50, 8}), positions);
  EXPECT_EQ(seek_positions({0, 1000, 2, 7}), (std::vector<std::uint64_t>{0, 1}));
  EXPECT_EQ(seek_positions({0, 0, 6, 7}), std::vector<std::uint64_t>(6, 0));
  EXPECT_EQ(seek_positions({0, 1, 4, 7}), (std::vector<std::uint64_t>{0, 0, 0, 1}));
}

} // namespace

} // namespace zelmora::cli
