#include "mpeg/vbr_headers.h"

#include "mpeg_test_support.h"

namespace zelmora::test {
namespace {

bytes be32_bytes(std::uint32_t value) { return make_header(value); }

/// A first frame with frame count, byte count and quality, and with what stands behind.
bytes make_xing(const char* name, std::uint32_t quality, const bytes& encoder) {
  auto frame = make_frames(header_128k);
  const auto content =
      to_bytes(name) + be32_bytes(1 | 2 | 8) + be32_bytes(1000) + be32_bytes(417000) + be32_bytes(quality) + encoder;
  std::ranges::copy(content, frame.begin() + 36);
  return frame;
}

/// The extension: text, method, and the delays 576 and 1000.
bytes make_lame(const char* text, int method) {
  return to_bytes(std::string(text).substr(0, 9)) + to_bytes({method}) + bytes(11) +
         to_bytes({576 >> 4, (576 & 15) << 4 | 1000 >> 8, 1000 & 255});
}

struct xing_case {
  const char* name;
  bytes frame;
  const char* tool;
  const char* profile;
  bool has_delays;
};

const xing_case xing_cases[]{
    {"cbr", make_xing("Info", 57, make_lame("LAME3.100", 0x01)), "LAME3.100", "CBR", true},
    {"vbr_0", make_xing("Xing", 100, make_lame("LAME3.100", 0x03)), "LAME3.100", "VBR V0", true},
    {"vbr_9", make_xing("Xing", 1, make_lame("LAME3.100", 0x03)), "LAME3.100", "VBR V9", true},
    {"vbr_without_quality", make_xing("Xing", 0, make_lame("LAME3.100", 0x03)), "LAME3.100", "VBR", true},
    {"abr", make_xing("Xing", 57, make_lame("LAME3.100", 0x02)), "LAME3.100", "ABR", true},
    {"abr_of_two_passes", make_xing("Xing", 57, make_lame("LAME3.100", 0x19)), "LAME3.100", "ABR", true},
    {"info_is_never_abr", make_xing("Info", 57, make_lame("LAME3.100", 0x02)), "LAME3.100", "CBR", true},
    {"filled_text", make_xing("Info", 57, make_lame("Lavf ._ .", 0x01)), "Lavf", "CBR", true},
    {"garbled_text",
     make_xing("Info", 57,
               make_lame("LA\x01"
                         "E3.100",
                         0x01)),
     "", "CBR", true},
    {"no_extension", make_xing("Xing", 57, to_bytes("Encoder 2_ of theirs") + to_bytes({0, 0x12})),
     "Encoder 2_ of theirs", "VBR", false},
    {"another_revision", make_xing("Xing", 57, make_lame("LAME3.100", 0x23)), "LAME3.100#", "VBR", false},
};

class xing_header : public testing::TestWithParam<xing_case> {};

TEST_P(xing_header, tells_encoder_and_delays) {
  const auto info = read_xing(GetParam().frame);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->frames, 1000u);
  EXPECT_EQ(info->bytes, 417000u);
  EXPECT_EQ(info->tool, GetParam().tool);
  EXPECT_EQ(info->profile, GetParam().profile);
  EXPECT_EQ(info->delay, GetParam().has_delays ? std::optional(576u) : std::nullopt);
  EXPECT_EQ(info->padding, GetParam().has_delays ? std::optional(1000u) : std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(vbr_headers, xing_header, testing::ValuesIn(xing_cases),
                         [](const auto& row) { return row.param.name; });

TEST(vbr_headers, xing_counts_when_it_tells_more_than_one_frame) {
  auto frame = make_xing("Info", 57, make_lame("LAME3.100", 1));
  store_be(frame.data() + 44, 1u);
  EXPECT_FALSE(read_xing(frame));
  store_be(frame.data() + 44, 2u);
  EXPECT_TRUE(read_xing(frame));
  store_be(frame.data() + 40, 2u | 8u); // no frame count
  EXPECT_FALSE(read_xing(frame));
  EXPECT_FALSE(read_xing(make_frames(header_128k)));
}

TEST(vbr_headers, xing_cut_anywhere_tells_what_is_left_or_nothing) {
  const auto whole = make_xing("Info", 57, make_lame("LAME3.100", 1));
  for (std::size_t size = 0; size < 100; ++size) {
    const auto info = read_xing(std::span(whole).first(size));
    EXPECT_EQ(info.has_value(), size >= 56) << size; // up to the quality
    EXPECT_EQ(info && info->delay, size >= 80) << size;
  }
}

TEST(vbr_headers, xing_has_a_table) {
  auto frame = make_frames(header_128k);
  auto content = to_bytes("Xing") + be32_bytes(1 | 4) + be32_bytes(1000) + bytes(100);
  content[12 + 99] = std::byte{250};
  std::ranges::copy(content, frame.begin() + 36);
  const auto info = read_xing(frame);
  ASSERT_TRUE(info && info->table);
  EXPECT_EQ(info->table->back(), 250);
  EXPECT_FALSE(info->bytes);
}

TEST(vbr_headers, vbri_is_whole_or_damaged) {
  auto frame = make_frames(header_128k);
  const auto content =
      to_bytes("VBRI") + to_bytes({0, 1, 0, 0, 0, 75}) + be32_bytes(417000) + be32_bytes(1000) + bytes(8);
  std::ranges::copy(content, frame.begin() + 36);
  const auto info = read_vbri(frame);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->frames, 1000u);
  EXPECT_EQ(info->profile, "VBR");
  EXPECT_THROW(read_vbri(std::span(frame).first(61)), VBRIParseError);
  EXPECT_FALSE(read_vbri(std::span(frame).first(39)));
  frame[2] = std::byte{0x9C}; // a rate that is none
  EXPECT_THROW(read_vbri(frame), VBRIParseError);
}

} // namespace
} // namespace zelmora::test
