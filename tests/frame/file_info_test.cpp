#include "frame/file_info.h"

#include <gtest/gtest.h>

namespace zelmora {
namespace {

TEST(FileInfo, NewRecordIsUnset) {
  const file_info_impl info;
  EXPECT_LT(info.get_length(), 0);
  EXPECT_EQ(info.get_replaygain().album_gain, -1000.0f);
  EXPECT_EQ(info.get_replaygain().track_peak, -1.0f);
  EXPECT_EQ(info.meta_find("title"), file_info::npos);
}

TEST(FileInfo, NamesCompareWithoutCaseAndKeepTheirOrder) {
  file_info_impl info;
  info.meta_add("Artist", "one");
  info.meta_add("title", "t");
  info.meta_add("ARTIST", "two");
  ASSERT_EQ(info.meta_get_count(), 2u);
  EXPECT_EQ(info.meta_enum_name(0), "Artist");
  EXPECT_EQ(*info.meta_get("artist", 1), "two");
  EXPECT_EQ(info.meta_get("artist", 2), nullptr);
  info.meta_set("aRtIsT", *info.meta_get("artist", 1));
  EXPECT_EQ(info.meta_enum_value_count(0), 1u) << "a value may be set from the field itself";
  EXPECT_EQ(*info.meta_get("artist"), "two");
  info.meta_remove_field("TITLE");
  EXPECT_EQ(info.meta_get_count(), 1u);
}

TEST(FileInfo, ManyFieldsStayFindable) {
  // Past the size at which the look-up changes from comparing to an index, in both directions.
  file_info_impl info;
  constexpr std::size_t count = 50000;
  for (std::size_t i = 0; i < count; ++i) info.meta_add("Field " + std::to_string(i), std::to_string(i));
  for (std::size_t i = 0; i < count; i += 777)
    EXPECT_EQ(*info.meta_get("FIELD " + std::to_string(i)), std::to_string(i));
  info.meta_remove_field("field 0");
  EXPECT_EQ(info.meta_find("field 0"), file_info::npos);
  EXPECT_EQ(*info.meta_get("field 49999"), "49999");
  info.meta_add("field 0", "again");
  EXPECT_EQ(info.meta_find("field 0"), count - 1);
  file_info_impl copy(info);
  EXPECT_EQ(*copy.meta_get("field 0"), "again");
  info.meta_remove_all();
  EXPECT_EQ(info.meta_find("field 1"), file_info::npos);
  EXPECT_EQ(*copy.meta_get("field 1"), "1") << "a copy has a life of its own";
}

TEST(FileInfo, FieldNameRules) {
  for (const auto* name : {"title", "a b", "%20" + 1, "~!@#$^&*()"})
    EXPECT_TRUE(file_info::is_valid_field_name(name)) << name;
  for (const auto* name : {"", "a=b", "a%b", "<a", "a>", "caf\xC3\xA9", "tab\t", "del\x7F"})
    EXPECT_FALSE(file_info::is_valid_field_name(name)) << name;
}

TEST(FileInfo, TechnicalFieldsAreSingle) {
  file_info_impl info;
  info.info_set("codec", "PCM");
  info.info_set("CODEC", "FLAC");
  EXPECT_EQ(info.info_get_count(), 1u);
  EXPECT_EQ(*info.info_get("codec"), "FLAC");
  info.info_set("channels", "two");
  EXPECT_EQ(info.info_get_int("channels"), 0);
  info.info_remove("Codec");
  EXPECT_EQ(info.info_get("codec"), nullptr);
}

TEST(FileInfo, ChannelMaskIsStoredOnlyWhereItSaysMoreThanTheCount) {
  struct row {
    std::uint32_t channels, mask;
    const char* stored;
    std::uint32_t read_back;
  };
  for (const auto& r : {row{2, 3, nullptr, 3}, row{1, 4, nullptr, 4}, row{2, 7, nullptr, 3}, row{6, 0x3F, "0x3F", 0x3F},
                        row{6, 0x60F, "0x60F", 0x60F}, row{2, 0x30, "0x30", 0x30}, row{5, 0, nullptr, 59}}) {
    file_info_impl info;
    info.info_set_channel_mask(0x3F); // what stood there before must go
    info.info_set_wfx(48000, r.channels, r.mask);
    const auto* stored = info.info_get("WAVEFORMATEXTENSIBLE_CHANNEL_MASK");
    if (r.stored == nullptr)
      EXPECT_EQ(stored, nullptr) << *stored;
    else
      EXPECT_EQ(*stored, r.stored);
    const auto wfx = info.info_get_wfx();
    EXPECT_EQ(wfx.rate, 48000u);
    EXPECT_EQ(wfx.channels, r.channels);
    EXPECT_EQ(wfx.mask, r.read_back);
  }
  file_info_impl info;
  info.info_set_wfx(48000, 6, 0x3F);
  for (const auto* text : {"0x3", "63", "0xZZ", "0x3Fq"}) {
    info.info_set("WAVEFORMATEXTENSIBLE_CHANNEL_MASK", text);
    EXPECT_EQ(info.info_get_wfx().mask, 63u) << text;
  }
}

TEST(FileInfo, DecodedWidth) {
  file_info_impl info;
  EXPECT_EQ(info.info_get_decoded_bps(), 0);
  info.info_set("bitspersample", "4");
  EXPECT_EQ(info.info_get_decoded_bps(), 4);
  info.info_set("decoded_bitspersample", "16");
  EXPECT_EQ(info.info_get_decoded_bps(), 16);
  info.info_set("decoded_bitspersample", "0");
  EXPECT_EQ(info.info_get_decoded_bps(), 4);
}

} // namespace
} // namespace zelmora
