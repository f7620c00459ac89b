#include "frame/bytes.h"
#include "frame/guid.h"
#include "frame/text.h"

#include <gtest/gtest.h>

namespace zelmora {
namespace {

TEST(Bytes, ReadersKnowTheirOrderAndTheirBounds) {
  const std::array<unsigned char, 8> raw{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08};
  const auto data = std::as_bytes(std::span(raw));
  le_reader little(data);
  EXPECT_EQ(little.le16(), 0x0201);
  EXPECT_EQ(little.le32(), 0x06050403u);
  EXPECT_THROW(little.le32(), zelmora_io::exception_io_data_truncation);
  EXPECT_EQ(little.remaining(), 2u) << "a failed read changes nothing";
  EXPECT_EQ(little.le16(), 0x0807);
  be_reader big(data);
  EXPECT_EQ(big.be64(), 0x0102030405060708u);
  be_reader parent(data);
  auto child = parent.cut(3);
  EXPECT_EQ(child.remaining(), 3u);
  EXPECT_THROW(child.take(4), zelmora_io::exception_io_data_truncation);
  EXPECT_EQ(parent.u8(), 0x04);
  EXPECT_THROW(parent.skip(std::numeric_limits<std::size_t>::max()), zelmora_io::exception_io_data_truncation);
}

TEST(Bytes, CheckedArithmetic) {
  const auto top = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(checked_add(top - 1, std::uint64_t{1}), top);
  EXPECT_THROW(checked_add(top, std::uint64_t{1}), kiv::exception_overflow);
  EXPECT_THROW(checked_mul(top / 2, std::uint64_t{3}), kiv::exception_overflow);
  EXPECT_EQ(checked_cast<std::uint16_t>(65535), 65535);
  EXPECT_THROW(checked_cast<std::uint16_t>(65536), kiv::exception_overflow);
  EXPECT_THROW(checked_cast<std::uint16_t>(-1), kiv::exception_overflow);
}

TEST(Guid, TextAndMemoryOrder) {
  // The RIFF identity of Wave64 reads "riff" in its first four bytes.
  constexpr auto riff = "66666972-912E-11CF-A5D6-28DB04C10000"_guid;
  EXPECT_EQ(std::string(riff.bytes.begin(), riff.bytes.begin() + 4), "riff");
  EXPECT_EQ(riff.bytes[4], 0x2E);
  EXPECT_EQ(riff.bytes[8], 0xA5);
  EXPECT_EQ(to_string(riff), "66666972-912E-11CF-A5D6-28DB04C10000");
  EXPECT_EQ(parse_guid("66666972-912e-11cf-a5d6-28db04c10000"), riff);
  for (const auto* bad : {"", "66666972", "66666972-912E-11CF-A5D6-28DB04C1000G",
                          "66666972+912E-11CF-A5D6-28DB04C10000", "66666972-912E-11CF-A5D6-28DB04C100000"})
    EXPECT_FALSE(parse_guid(bad)) << bad;
}

TEST(Text, ComparisonWithoutCase) {
  EXPECT_EQ(stricmp_utf8("wav", "WAV"), 0);
  EXPECT_EQ(stricmp_utf8("Ünïcode ΣΑΣ", "üNÏCODE σας"), 0) << "both small sigmas are one letter";
  EXPECT_LT(stricmp_utf8("a", "B"), 0);
  EXPECT_GT(stricmp_utf8("ab", "A"), 0);
  EXPECT_NE(stricmp_utf8("\xFF", "\xFE"), 0) << "bytes that are no UTF-8 are not all alike";
  EXPECT_TRUE(has_prefix_utf8("TONE://440", "tone://"));
  EXPECT_FALSE(has_prefix_utf8("tone", "tone://"));
  EXPECT_EQ(fold_utf8("ÀB\xFF"), "àb\xFF");
  EXPECT_EQ(uCharUpper(U'é'), U'É');
  EXPECT_TRUE(list_contains("WAV;WAVE;W64", "w64"));
  EXPECT_FALSE(list_contains("WAV;WAVE;W64", "AV"));
}

TEST(Text, DisplayKeepsOneLine) {
  EXPECT_EQ(escape_for_display("a\nb\tc\x1B[0m"), "a\\nb\\tc\\x1B[0m");
  EXPECT_EQ(escape_for_display("caf\xC3\xA9 \xFF"), "caf\xC3\xA9 \\xFF");
  EXPECT_EQ(escape_for_display("\xC2\x9B"), "\\u009B") << "a terminal control in two bytes";
  EXPECT_TRUE(is_valid_utf8("\xF0\x9F\x8E\xB5"));
  EXPECT_FALSE(is_valid_utf8("\xC0\xAF"));
  EXPECT_FALSE(is_valid_utf8("\xED\xA0\x80"));
}

TEST(Text, PathsAndTypes) {
  EXPECT_EQ(path_extension("/music.dir/a.tar.WAV"), "WAV");
  EXPECT_EQ(path_extension("/music.dir/noext"), "");
  EXPECT_EQ(path_extension("a."), "");
  EXPECT_EQ(path_file_name("/x/y.wav"), "y.wav");
  EXPECT_EQ(content_type_essence("audio/wav ; codecs=1"), "audio/wav");
  EXPECT_EQ(content_type_essence(" "), "");
}

TEST(Text, Numbers) {
  EXPECT_DOUBLE_EQ(parse_decimal("440.5,1").value, 440.5);
  EXPECT_EQ(parse_decimal("440.5,1").length, 5u);
  EXPECT_DOUBLE_EQ(parse_decimal("  +2e3x").value, 2000);
  EXPECT_EQ(parse_decimal("x").length, 0u);
  EXPECT_EQ(parse_decimal("1e999").value, 0) << "out of range is no number";
  EXPECT_EQ(parse_integer("-12"), -12);
  EXPECT_FALSE(parse_integer("12 "));
  EXPECT_FALSE(parse_integer("99999999999999999999"));
  EXPECT_EQ(format_shortest(1000), "1000");
  EXPECT_EQ(format_shortest(0.1), "0.1");
}

} // namespace
} // namespace zelmora
