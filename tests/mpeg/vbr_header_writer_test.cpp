// The header frame that is written, byte by byte and as it is read.
#include "mpeg/vbr_header_writer.h"

#include "support/bytes.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

namespace zelmora {
namespace {

using test::bytes;
using test::operator+;
using test::to_bytes;
using head = std::array<std::byte, mpeg_header_size>;

std::vector<std::string> lines;
const vbr_header_log keep_line = [](const std::string& line) { lines.push_back(line); };

vbr_header_record example() {
  vbr_header_record record;
  record.frames = 0x01020304;
  record.bytes = 0x05060708;
  record.table = make_seek_table(1000, [](std::uint64_t i) { return 10 * i; });
  record.quality = 78;
  record.encoder = "LAME3.10";
  record.method = 4;
  record.lowpass = 195;
  record.delay = 576;
  record.padding = 1000;
  return record;
}

struct head_case {
  const char* name;
  std::array<int, mpeg_header_size> first;
  std::array<int, mpeg_header_size> written;
  std::size_t size; ///< [bytes]
  std::size_t tag;  ///< where "Xing" stands [bytes]
};

class HeaderFrame : public testing::TestWithParam<head_case> {};

TEST_P(HeaderFrame, IsOneOf64KbitOfTheSameKind) {
  const auto& row = GetParam();
  head first;
  head written;
  std::ranges::transform(row.first, first.begin(), [](int b) { return static_cast<std::byte>(b); });
  std::ranges::transform(row.written, written.begin(), [](int b) { return static_cast<std::byte>(b); });
  const auto frame = write_vbr_header(first, example(), keep_line);
  EXPECT_EQ(frame.size(), row.size);
  EXPECT_EQ(vbr_header_size(first), row.size);
  EXPECT_TRUE(std::ranges::equal(std::span(frame).first<mpeg_header_size>(), written));
  const auto side_info = std::span(frame).subspan(mpeg_header_size, row.tag - mpeg_header_size);
  EXPECT_TRUE(std::ranges::all_of(side_info, [](std::byte b) { return b == std::byte{0}; })) << "decodes to silence";
  EXPECT_TRUE(starts_with(std::span(frame).subspan(row.tag), "Xing"));
  const auto header = parse_mpeg_header(frame);
  ASSERT_TRUE(header);
  EXPECT_EQ(header->bitrate, 64);
  EXPECT_EQ(header->sample_rate, parse_mpeg_header(first)->sample_rate);
  const auto read = read_xing(frame);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->frames, 0x01020304u);
  EXPECT_EQ(read->delay, 576u);
  EXPECT_EQ(read->padding, 1000u);
}

INSTANTIATE_TEST_SUITE_P(
    All, HeaderFrame,
    testing::Values(head_case{"Mpeg1Stereo44", {0xFF, 0xFB, 0xE2, 0x04}, {0xFF, 0xFB, 0x50, 0x04}, 208, 36},
                    head_case{"Mpeg1CrcPrivate48", {0xFF, 0xFA, 0x97, 0x40}, {0xFF, 0xFB, 0x54, 0x40}, 192, 36},
                    head_case{"Mpeg1Mono32", {0xFF, 0xFB, 0x18, 0xC4}, {0xFF, 0xFB, 0x58, 0xC4}, 288, 21},
                    head_case{"Mpeg2Stereo22", {0xFF, 0xF3, 0xE0, 0x64}, {0xFF, 0xF3, 0x80, 0x64}, 208, 21},
                    head_case{"Mpeg2Mono24", {0xFF, 0xF2, 0x17, 0xC0}, {0xFF, 0xF3, 0x84, 0xC0}, 192, 13}),
    [](const auto& row) { return row.param.name; });

constexpr head stereo44{std::byte{0xFF}, std::byte{0xFB}, std::byte{0x90}, std::byte{0x44}};

bytes tag_of(const vbr_header_record& record) {
  const auto frame = write_vbr_header(stereo44, record, keep_line);
  return {frame.begin() + 36, frame.end()};
}

TEST(VbrHeaderWriter, EveryByte) {
  bytes table;
  for (int i = 0; i < 100; ++i) table.push_back(static_cast<std::byte>(i * 10 * 255 / 1000));
  auto expected = to_bytes("Xing") +
                  to_bytes({0, 0, 0, 15,        // frames, bytes, table, quality
                            1, 2, 3, 4,         // frames
                            5, 6, 7, 8}) +      // bytes
                  table +                       //
                  to_bytes({0, 0, 0, 78}) +     // quality
                  to_bytes("LAME3.10 ") +       // encoder
                  to_bytes({0x14, 195,          // revision and method, lowpass
                            0, 0, 0, 0,         // peak
                            0, 0, 0, 0,         // gains
                            0, 0,               // flags, bit rate
                            0x24, 0x03, 0xE8}); // 576 and 1000
  expected.resize(208 - 36);
  EXPECT_EQ(tag_of(example()), expected);
}

TEST(VbrHeaderWriter, WithoutWhatIsNotKnown) {
  vbr_header_record record;
  record.is_vbr = false;
  record.frames = 2;
  record.bytes = 0x1'0000'0000; // more than can be told
  record.encoder = "Encoder 10";
  auto expected =
      to_bytes("Info") + to_bytes({0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0, 0}) + to_bytes("         ") + to_bytes({0x10, 0});
  expected.resize(208 - 36);
  EXPECT_EQ(tag_of(record), expected);
}

TEST(VbrHeaderWriter, WhatIsTooLargeIsCutAndTold) {
  lines.clear();
  auto record = example();
  record.delay = 4096;
  record.padding = 5000;
  const auto read = read_xing(write_vbr_header(stereo44, record, keep_line));
  EXPECT_EQ(read->delay, 4095u);
  EXPECT_EQ(read->padding, 4095u);
  EXPECT_EQ(padding_of(10 * 1152, 576, 10000, keep_line), 944u);
  EXPECT_EQ(padding_of(10 * 1152, 576, 10944, keep_line), 0u);
  EXPECT_EQ(padding_of(10 * 1152, 576, 10949, keep_line), 0u);
  EXPECT_EQ(lines, (std::vector<std::string>{"delay too big, truncating from 4096 to 4095",
                                             "padding too big, truncating from 5000 to 4095",
                                             "padding too small, truncating from -5 to 0"}));
}

TEST(VbrHeaderWriter, SeekTableStaysInItsByte) {
  const auto table = make_seek_table(100, [](std::uint64_t i) { return i * 2; });
  EXPECT_EQ(table[0], 0);
  EXPECT_EQ(table[1], 5); // 2 * 255 / 100
  EXPECT_EQ(table[50], 255);
  EXPECT_EQ(table[99], 255);
}

TEST(VbrHeaderWriter, LowRatesAreRefused) {
  constexpr head mpeg25{std::byte{0xFF}, std::byte{0xE3}, std::byte{0x40}, std::byte{0xC4}};
  try {
    write_vbr_header(mpeg25, example(), keep_line);
    FAIL();
  } catch (const zelmora_io::exception_io_unsupported_feature& failure) {
    EXPECT_STREQ(failure.what(), "Writing MPEG-2.5 headers not supported");
  }
}

} // namespace
} // namespace zelmora
