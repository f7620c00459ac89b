#include "frame/replaygain_text.h"

#include <clocale>
#include <gtest/gtest.h>
#include <limits>

namespace zelmora {
namespace {

TEST(ReplayGainText, Formatted) {
  EXPECT_EQ(format_gain(-7.15f), "-7.15 dB");
  EXPECT_EQ(format_gain(3.02f), "+3.02 dB");
  EXPECT_EQ(format_gain(0), "+0.00 dB");
  EXPECT_EQ(format_peak(0.988553f), "0.988553");
  EXPECT_EQ(format_peak(1), "1.000000");
  EXPECT_EQ(format_gain(replaygain_info::gain_unset), "");
  EXPECT_EQ(format_peak(replaygain_info::peak_unset), "");
  EXPECT_EQ(format_gain(std::numeric_limits<float>::infinity()), "") << "no text that a reader would take for a number";
}

TEST(ReplayGainText, ParsedUpToWhatDoesNotFit) {
  struct {
    const char* text;
    float gain, peak;
  } const rows[]{{"-7.15 dB", -7.15f, 0},
                 {"+3.5", 3.5f, 3.5f},
                 {"  2.25xyz", 2.25f, 2.25f},
                 {"", 0, 0},
                 {"none", 0, 0},
                 {"-0.5", -0.5f, 0},
                 {"1e1", 10, 10},
                 {"inf", 0, 0},
                 {"nan", 0, 0},
                 {"1e200", 0, 0},
                 {"7,25 dB", 7, 7}};
  for (const auto& row : rows) {
    replaygain_info gains;
    EXPECT_TRUE(set_replaygain_field(gains, "ReplayGain_Album_Gain", row.text));
    EXPECT_TRUE(set_replaygain_field(gains, "replaygain_track_peak", row.text));
    EXPECT_EQ(gains, (replaygain_info{.album_gain = row.gain, .track_peak = row.peak})) << row.text;
  }
}

TEST(ReplayGainText, OtherNamesAreNotHandled) {
  replaygain_info gains;
  for (const auto* name : {"", "title", "replaygain_track_gain ", "replaygain_reference_loudness"}) {
    EXPECT_FALSE(is_replaygain_field(name));
    EXPECT_FALSE(set_replaygain_field(gains, name, "1"));
    EXPECT_EQ(get_replaygain_field(gains, name), "");
  }
  EXPECT_EQ(gains, replaygain_info());
}

TEST(ReplayGainText, LocaleDoesNotMatter) {
  // A locale with a decimal comma, where one is installed.
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const auto* name : {"de_DE.UTF-8", "fr_FR.UTF-8"}) std::setlocale(LC_ALL, name);
  replaygain_info gains;
  set_replaygain_field(gains, "replaygain_track_gain", "-1.25 dB");
  EXPECT_EQ(get_replaygain_field(gains, "REPLAYGAIN_TRACK_GAIN"), "-1.25 dB");
  std::setlocale(LC_ALL, before.c_str());
}

} // namespace
} // namespace zelmora
