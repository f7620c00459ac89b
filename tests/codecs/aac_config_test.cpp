#include "codecs/aac_config.h"

#include "codecs/packet_decoder.h"
#include "support/bytes.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

using zelmora_io::exception_io_data;

struct config_case {
  const char* name;
  bytes config;
  aac_audio_config expected;
  friend std::ostream& operator<<(std::ostream& out, const config_case& c) { return out << c.name; }
};

class AacConfig : public testing::TestWithParam<config_case> {};

TEST_P(AacConfig, is_read) {
  const auto found = parse_aac_config(GetParam().config);
  const auto& wanted = GetParam().expected;
  EXPECT_EQ(found.object_type, wanted.object_type);
  EXPECT_EQ(found.sample_rate, wanted.sample_rate);
  EXPECT_EQ(found.channel_config, wanted.channel_config);
  EXPECT_EQ(found.extension_sample_rate, wanted.extension_sample_rate);
  EXPECT_EQ(found.short_frame, wanted.short_frame);
  EXPECT_EQ(found.has_sbr, wanted.has_sbr);
  EXPECT_EQ(found.has_ps, wanted.has_ps);
}

INSTANTIATE_TEST_SUITE_P(of, AacConfig,
                         testing::Values(
                             // 00010 0100 0010 0..: LC, 44100 Hz, stereo.
                             config_case{"lc", to_bytes({0x12, 0x10}), {2, 44100, 2}},
                             config_case{"short_frames", to_bytes({0x12, 0x14}), {2, 44100, 2, 0, true}},
                             // 00010 1111 (24 bits: 44056) 0001 0..
                             config_case{"explicit_rate", to_bytes({0x17, 0x80, 0x56, 0x0C, 0x08}), {2, 44056, 1}},
                             // 00101 0111 0010 0100 00010 0: SBR over LC, 22050 to 44100 Hz.
                             config_case{"sbr", to_bytes({0x2B, 0x92, 0x08, 0x00}), {2, 22050, 2, 44100, false, true}},
                             // 11101 0111 0001 0100 00010 0
                             config_case{
                                 "ps", to_bytes({0xEB, 0x8A, 0x08, 0x00}), {2, 22050, 1, 44100, false, true, true}},
                             // 11111 001010 0011 0010: escape, 42.
                             config_case{"usac", to_bytes({0xF9, 0x46, 0x40}), {42, 48000, 2}}),
                         [](const auto& c) { return std::string(c.param.name); });

TEST(AacConfigDamage, is_refused) {
  EXPECT_THROW(parse_aac_config({}), exception_io_data);
  EXPECT_THROW(parse_aac_config(to_bytes({0x12})), exception_io_data) << "no channels";
  EXPECT_THROW(parse_aac_config(to_bytes({0x16, 0x90})), exception_io_data) << "rate 13";
  EXPECT_THROW(parse_aac_config(to_bytes({0x17, 0x80, 0x56})), exception_io_data) << "half a rate";
  EXPECT_THROW(parse_aac_config(to_bytes({0x2B, 0x92})), exception_io_data) << "SBR of nothing";
}

TEST(AdtsConfig, says_what_the_header_does) {
  // 12 bits of ones, MPEG-4, no CRC; LC, 44100 Hz, stereo.
  EXPECT_EQ(make_aac_config_of_adts(to_bytes({0xFF, 0xF1, 0x50, 0x80})), to_bytes({0x12, 0x10}));
  // Main, 8000 Hz, 5.1.
  EXPECT_EQ(make_aac_config_of_adts(to_bytes({0xFF, 0xF9, 0x2D, 0x80, 1, 2})), to_bytes({0x0D, 0xB0}));
  for (const auto& wrong :
       {to_bytes({0xFF, 0xF1, 0x50}), to_bytes({0xFF, 0xE1, 0x50, 0x80}), to_bytes({0xFF, 0xF1, 0x74, 0x80})})
    EXPECT_THROW(make_aac_config_of_adts(wrong), exception_io_data);
}

TEST(AacSetup, is_found_by_owner) {
  const auto config = to_bytes({0x12, 0x10});
  const auto made = [&](const guid& owner, std::uint32_t type) {
    return make_aac_config(owner, type, config.data(), config.size());
  };
  for (const std::uint32_t type : {64u, 102u, 103u, 104u})
    EXPECT_EQ(made(packet_decoder::owner_mp4, type), config) << type;
  EXPECT_THROW(made(packet_decoder::owner_mp4, 105), exception_io_data);
  EXPECT_THROW(made(packet_decoder::owner_adif, 0), exception_io_data);
  matroska_setup setup{"A_AAC/MPEG4/LC", 44100, 44100, 2, 2, config.data()};
  EXPECT_EQ(make_aac_config(packet_decoder::owner_matroska, 0, &setup, sizeof setup), config);
  EXPECT_THROW(make_aac_config(packet_decoder::owner_matroska, 0, &setup, sizeof setup - 1), exception_io_data);
  setup.codec_id = "A_AACX";
  EXPECT_THROW(make_aac_config(packet_decoder::owner_matroska, 0, &setup, sizeof setup), exception_io_data);
}

} // namespace
} // namespace zelmora::test
