#include "codecs/mpeg_frame_header.h"

#include "support/bytes.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

struct header_case {
  const char* name;
  bytes data;
  unsigned layer;
  unsigned rate;    ///< [Hz]
  unsigned bitrate; ///< [kbit/s]
  unsigned samples;
  unsigned size; ///< [bytes]
  unsigned channels;
  friend std::ostream& operator<<(std::ostream& out, const header_case& c) { return out << c.name; }
};

class MpegHeader : public testing::TestWithParam<header_case> {};

TEST_P(MpegHeader, is_read) {
  const auto found = parse_mpeg_header(GetParam().data);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->layer, GetParam().layer);
  EXPECT_EQ(found->sample_rate, GetParam().rate);
  EXPECT_EQ(found->bitrate, GetParam().bitrate);
  EXPECT_EQ(found->samples, GetParam().samples);
  EXPECT_EQ(found->frame_size, GetParam().size);
  EXPECT_EQ(found->channels, GetParam().channels);
}

// Sizes are the distances of frames in files of lame, twolame and FFmpeg.
INSTANTIATE_TEST_SUITE_P(
    of, MpegHeader,
    testing::Values(header_case{"mpeg1_layer3", to_bytes({0xFF, 0xFB, 0x90, 0x64}), 3, 44100, 128, 1152, 417, 2},
                    header_case{"padded", to_bytes({0xFF, 0xFB, 0x92, 0x64}), 3, 44100, 128, 1152, 418, 2},
                    header_case{"mono", to_bytes({0xFF, 0xFB, 0x94, 0xC4}), 3, 48000, 128, 1152, 384, 1},
                    header_case{"mpeg2_layer3", to_bytes({0xFF, 0xF3, 0x80, 0xC4}), 3, 22050, 64, 576, 208, 1},
                    header_case{"mpeg2_5_layer3", to_bytes({0xFF, 0xE3, 0x28, 0xC4}), 3, 8000, 16, 576, 144, 1},
                    header_case{"mpeg1_layer2", to_bytes({0xFF, 0xFD, 0xA4, 0x04}), 2, 48000, 192, 1152, 576, 2},
                    header_case{"mpeg2_layer2", to_bytes({0xFF, 0xF5, 0x84, 0x04}), 2, 24000, 64, 1152, 384, 2},
                    header_case{"mpeg1_layer1", to_bytes({0xFF, 0xFF, 0xC2, 0x04}), 1, 44100, 384, 384, 420, 2}),
    [](const auto& c) { return std::string(c.param.name); });

TEST(MpegHeaderDamage, is_refused) {
  const struct {
    const char* what;
    bytes data;
  } cases[]{
      {"short", to_bytes({0xFF, 0xFB, 0x90})},
      {"sync of ten bits", to_bytes({0xFF, 0xDB, 0x90, 0x64})},
      {"reserved version", to_bytes({0xFF, 0xEB, 0x90, 0x64})},
      {"reserved layer", to_bytes({0xFF, 0xF9, 0x90, 0x64})},
      {"free format", to_bytes({0xFF, 0xFB, 0x00, 0x64})},
      {"bit rate 15", to_bytes({0xFF, 0xFB, 0xF0, 0x64})},
      {"sample rate 3", to_bytes({0xFF, 0xFB, 0x9C, 0x64})},
  };
  for (const auto& c : cases) EXPECT_FALSE(parse_mpeg_header(c.data)) << c.what;
}

} // namespace
} // namespace zelmora::test
