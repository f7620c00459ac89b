// MPEG audio over real files: against what encoders were given and another decoder made of it
// (tests/data/mpeg/expected.tsv), the golden dumps, and what is said of damage.
#include "frame/text.h"
#include "support/faulty_file.h"
#include "support/golden.h"
#include "support/opened_input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>

namespace zelmora::test {
namespace {

opened_input open_mpeg(std::string_view name, std::string_view path = "test.mp3") {
  return {fixture_file("mpeg/" + std::string(name)), path};
}

std::string test_name(std::string name) {
  std::ranges::replace(name, '.', '_');
  return name;
}

// --- Against others ------------------------------------------------------------------------------------------------

class MpegExpected : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(MpegExpected, is_what_the_encoder_was_given) {
  const auto& row = GetParam(); // file, rate, channels, samples, MD5, bitrate
  auto input = open_mpeg(row.at(0));
  const auto info = input.info();
  EXPECT_EQ(info_text(info, "samplerate"), row.at(1));
  EXPECT_EQ(info_text(info, "channels"), row.at(2));
  EXPECT_TRUE(row.at(5) == "-" || row.at(5) == info_text(info, "bitrate")) << info_text(info, "bitrate");
  EXPECT_EQ(audio_math::time_to_samples(info.get_length(), static_cast<std::uint32_t>(std::stoul(row.at(1)))),
            std::stoull(row.at(3)));
  const auto audio = input.decode();
  EXPECT_EQ(std::to_string(audio.frames()), row.at(3));
  EXPECT_EQ(pcm_md5(audio.samples), row.at(4));
  EXPECT_FALSE(audio.changes_format);
}

TEST_P(MpegExpected, every_position_sounds_as_it_does_on_the_way) {
  auto input = open_mpeg(GetParam().at(0));
  const auto linear = input.decode();
  // Around each frame's border, in no order.
  constexpr std::size_t step = 383;
  for (std::size_t n = 0; n * step <= linear.frames(); ++n) {
    const auto target = n * 7 * step % (linear.frames() + 1);
    const auto rest = input.decode_from(target, linear.rate);
    ASSERT_TRUE(std::ranges::equal(rest.samples, linear.from(target))) << target;
  }
}

INSTANTIATE_TEST_SUITE_P(files, MpegExpected, testing::ValuesIn(load_fixture_table("mpeg/expected.tsv")),
                         [](const auto& tested) { return test_name(tested.param.at(0)); });

// --- Golden dumps --------------------------------------------------------------------------------------------------

std::vector<std::string> list_assets() {
  std::vector<std::string> result;
  for (const auto& entry : std::filesystem::directory_iterator(fixture_path("mpeg")))
    if (entry.path().extension() != ".tsv") result.push_back(entry.path().filename().string());
  std::ranges::sort(result);
  return result;
}

class MpegGolden : public testing::TestWithParam<std::string> {};

TEST_P(MpegGolden, matrix) {
  golden_traits traits;
  traits.needs_ends = true;
  traits.is_refused = GetParam() == "free_format.mp3" || GetParam() == "one_frame_then_noise.mp3";
  check_golden("mpeg/" + GetParam(), traits);
}

INSTANTIATE_TEST_SUITE_P(assets, MpegGolden, testing::ValuesIn(list_assets()),
                         [](const auto& asset) { return test_name(asset.param); });

// --- What is told --------------------------------------------------------------------------------------------------

struct told {
  const char* file;
  const char* codec;
  const char* mode;
  const char* tool;
  const char* profile;
  const char* delay;
  const char* padding;
};

class MpegTold : public testing::TestWithParam<told> {};

TEST_P(MpegTold, is_what_the_encoder_says) {
  const auto info = open_mpeg(GetParam().file).info();
  EXPECT_EQ(info_text(info, "codec"), GetParam().codec);
  EXPECT_EQ(info_text(info, "mp3_stereo_mode"), GetParam().mode);
  EXPECT_EQ(info_text(info, "tool"), GetParam().tool);
  EXPECT_EQ(info_text(info, "codec_profile"), GetParam().profile);
  EXPECT_EQ(info_text(info, "enc_delay"), GetParam().delay);
  EXPECT_EQ(info_text(info, "enc_padding"), GetParam().padding);
  const bool is_exact = *GetParam().delay != '\0' || std::string_view(GetParam().file) == "itunsmpb.mp3";
  EXPECT_EQ(info_text(info, "mp3_accurate_length"), is_exact ? "1" : "");
}

INSTANTIATE_TEST_SUITE_P(files, MpegTold,
                         testing::Values(told{"cbr128.mp3", "MP3", "joint stereo", "LAME3.100", "CBR", "576", "927"},
                                         told{"vbr.mp3", "MP3", "joint stereo", "LAME3.100", "VBR V5", "576", "927"},
                                         told{"abr96.mp3", "MP3", "joint stereo", "LAME3.100", "ABR", "576", "927"},
                                         told{"mono.mp3", "MP3", "mono", "LAME3.100", "CBR", "576", "1170"},
                                         told{"dual.mp3", "MP3", "dual channel", "LAME3.100", "CBR", "576", "1344"},
                                         told{"stereo.mp3", "MP3", "stereo", "LAME3.100", "CBR", "576", "1344"},
                                         told{"ffmpeg_vbr.mp3", "MP3", "mono", "Lavf lame", "VBR", "576", "1170"},
                                         told{"garbled_encoder.mp3", "MP3", "mono", "", "CBR", "576", "1170"},
                                         told{"padding_below_decoder_delay.mp3", "MP3", "mono", "LAME3.100", "CBR",
                                              "576", "300"},
                                         told{"xing_without_lame.mp3", "MP3", "mono", "", "VBR V5", "0", "0"},
                                         told{"vbri.mp3", "MP3", "mono", "", "VBR", "", ""},
                                         told{"cbr64_no_header.mp3", "MP3", "joint stereo", "", "CBR", "", ""},
                                         told{"itunsmpb.mp3", "MP3", "mono", "", "CBR", "", ""},
                                         told{"joint_crc.mp2", "MP2", "joint stereo", "", "CBR", "", ""},
                                         told{"stereo.mp1", "MP1", "stereo", "", "CBR", "", ""}),
                         [](const auto& tested) { return test_name(tested.param.file); });

/// What is said while a file is decoded, and how much of it comes.
struct said {
  const char* file;
  std::size_t samples;
  std::vector<std::string> entries; ///< as the logger keeps them
  std::uint32_t flags = 0;
};

class MpegSaid : public testing::TestWithParam<said> {};

TEST_P(MpegSaid, and_goes_on) {
  auto input = open_mpeg(GetParam().file);
  EXPECT_EQ(input.decode(GetParam().flags).frames(), GetParam().samples);
  EXPECT_EQ(input.logger->entries(), GetParam().entries);
}

INSTANTIATE_TEST_SUITE_P(
    files, MpegSaid,
    testing::Values(
        said{"garbage_inside.mp3",
             17 * 1152 - 529,
             {"warning: MPEG stream error at 1671 bytes", "information: MPEG stream resync successful at 3171"}},
        said{"id3v1_inside.mp3", 17 * 1152 - 529, {"warning: ID3 tag garbage inside MPEG stream at 1671 bytes"}},
        said{"truncated.mp3", 14 * 1152 - 529, {"warning: MPEG stream error at 2925 bytes"}},
        said{"frames_missing.mp3",
             10 * 1152 - 1105,
             {"warning: The file ends 627 bytes before its header says", "warning: MPEG stream error at 2297 bytes"}},
        said{"fewer_frames_told.mp3",
             8622,
             {"information: MPEG stream contains more frames than it should according to the header."}},
        said{"wrong_crc.mp3", 13230, {}},
        said{"wrong_crc.mp3",
             13230,
             {"warning: MPEG frame checksum mismatch.", "warning: MPEG audio differs from the encoder's checksum."},
             decode_flag_testing_integrity},
        said{"joint_crc.mp2", 9 * 1152 - 481, {}, decode_flag_testing_integrity},
        said{"crc.mp1", 14 * 384, {}, decode_flag_testing_integrity}));

} // namespace
} // namespace zelmora::test
