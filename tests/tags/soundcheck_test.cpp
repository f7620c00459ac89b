#include "tags/soundcheck.h"

#include "frame/exceptions.h"

#include <gtest/gtest.h>

namespace zelmora {
namespace {

constexpr float unset = replaygain_info::gain_unset;

replaygain_info gains(float album, float track) {
  replaygain_info result;
  result.album_gain = album;
  result.track_gain = track;
  return result;
}

struct compute_case {
  const char* name;
  replaygain_info gains;
  soundcheck_source source;
  soundcheck_target target;
  std::string_view text;
};

class ComputeSoundCheck : public testing::TestWithParam<compute_case> {};

TEST_P(ComputeSoundCheck, gives_ten_words) {
  const auto& tested = GetParam();
  EXPECT_EQ(compute_soundcheck(tested.gains, tested.source, tested.target), tested.text);
}

using enum soundcheck_source;
using enum soundcheck_target;
INSTANTIATE_TEST_SUITE_P(cases, ComputeSoundCheck,
                         testing::Values(
                             // 0x3E8 is 1000 and 0x9C4 is 2500; 0x277 is 631 and 0x629 is 1577.
                             compute_case{"unchanged", gains(unset, 0), track_gain, soundcheck_target::replaygain,
                                          " 3E8 3E8 9C4 9C4 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"two_decibels_softer", gains(unset, 0), track_gain, itunes,
                                          " 277 277 629 629 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"capped", gains(unset, -60), track_gain, itunes,
                                          " FFFE FFFE FFFE FFFE 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"capped_at_any_level", gains(unset, -1e30f), track_gain, itunes,
                                          " FFFE FFFE FFFE FFFE 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"silent", gains(unset, 1e30f), track_gain, itunes,
                                          " 0 0 0 0 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"album_first", gains(10, 0), album_gain, soundcheck_target::replaygain,
                                          " 64 64 FA FA 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"track_first", gains(10, 0), track_gain, soundcheck_target::replaygain,
                                          " 3E8 3E8 9C4 9C4 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"track_for_album", gains(unset, 10), album_gain,
                                          soundcheck_target::replaygain, " 64 64 FA FA 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"album_for_track", gains(10, unset), track_gain,
                                          soundcheck_target::replaygain, " 64 64 FA FA 24CA8 24CA8 0 0 24CA8 24CA8"},
                             compute_case{"no_gain", gains(unset, unset), track_gain, itunes, ""},
                             compute_case{"no_source", gains(1, 1), disabled, itunes, ""}),
                         [](const auto& tested) { return std::string(tested.param.name); });

// Words in the form of iTunes, of levels that are easily computed.
constexpr std::string_view of_itunes =
    " 00000BB8 00000FA0 00002EE0 00001D4C 00024CA8 00024CA8 00007FFF 00007FFF 00024CA8 00024CA8";

TEST(SoundCheck, GainsOfITunesWords) {
  const auto parsed = parse_soundcheck(of_itunes);
  // -10 log10 of 3000/1000, 4000/1000, 12000/2500, 7500/2500.
  const std::array expected{-4.7712, -6.0206, -6.8124, -4.7712};
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(parsed[i], expected[i], 1e-4) << i;
}

TEST(SoundCheck, OnlyWordsOfEightDigitsCount) {
  const std::string nine(of_itunes.substr(0, of_itunes.rfind(' ')));
  for (const auto& text : {std::string(), nine, nine + " 0024CA8", nine + " 0024CA8x", nine + " -024CA8x",
                           std::string(" 3E8 3E8 9C4 9C4 24CA8 24CA8 0 0 24CA8 24CA8")})
    EXPECT_THROW(parse_soundcheck(text), zelmora_io::exception_io_data) << text;
  EXPECT_NO_THROW(parse_soundcheck("x 0 " + nine + "  24CA8 00024ca8 trailing"));
}

TEST(SoundCheck, ImportShowsTheSofterSide) {
  file_info_impl info;
  import_soundcheck(of_itunes, info);
  EXPECT_EQ(*info.info_get("Apple SoundCheck Gain"), "-6.02 dB");
  EXPECT_EQ(*info.info_get("iTunNORM"), of_itunes);
  import_soundcheck("no words", info);
  EXPECT_EQ(*info.info_get("iTunNORM"), of_itunes) << "what can't be parsed changes nothing";

  std::string silent;
  for (int i = 0; i < 10; ++i) silent += " 00000000";
  import_soundcheck(silent, info);
  EXPECT_EQ(*info.info_get("Apple SoundCheck Gain"), "N/A");
}

} // namespace
} // namespace zelmora
