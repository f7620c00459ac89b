#include "tags/tag_merge.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

file_info_impl make_info(const char* kind, const char* title, float track_gain) {
  file_info_impl info;
  if (title != nullptr) info.meta_set("title", title);
  if (track_gain != replaygain_info::gain_unset) info.set_replaygain({.track_gain = track_gain});
  info.info_set("tagtype", kind);
  info.info_set("samplerate", "1");
  return info;
}

TEST(TagMerge, the_stronger_tag_gives_fields_the_weaker_one_gains) {
  auto strong = make_info("id3v2.3", "strong", replaygain_info::gain_unset);
  strong.info_set("Apple SoundCheck Gain", "+1.00 dB");
  auto weak = make_info("apev2", "weak", -3);
  weak.meta_set("artist", "weak");
  weak.info_set("Apple SoundCheck Gain", "+2.00 dB");
  weak.info_set("apple soundcheck other", "x");
  file_info_impl info;
  info.info_set("samplerate", "44100");
  copy_tag(info, strong);
  merge_weaker_tag(info, weak);
  EXPECT_EQ(*info.meta_get("title"), "strong");
  EXPECT_EQ(info.meta_get("artist"), nullptr);
  EXPECT_EQ(info.get_replaygain().track_gain, -3);
  EXPECT_EQ(*info.info_get("tagtype"), "id3v2.3|apev2");
  EXPECT_EQ(*info.info_get("Apple SoundCheck Gain"), "+1.00 dB");
  EXPECT_EQ(*info.info_get("Apple SoundCheck Other"), "x");
  EXPECT_EQ(*info.info_get("samplerate"), "44100");
}

TEST(TagMerge, gains_that_are_set_stay) {
  file_info_impl info = make_info("a", nullptr, -1);
  copy_tag(info, make_info("b", "t", -2));
  EXPECT_EQ(info.get_replaygain().track_gain, -1);
  EXPECT_EQ(*info.info_get("tagtype"), "b");
}

TEST(TagMerge, a_tag_of_no_field_and_no_gain_is_none) {
  EXPECT_FALSE(has_tag_content(make_info("id3v2.4", nullptr, replaygain_info::gain_unset)));
  EXPECT_TRUE(has_tag_content(make_info("id3v2.4", "t", replaygain_info::gain_unset)));
  EXPECT_TRUE(has_tag_content(make_info("id3v2.4", nullptr, 0)));
}

TEST(TagMerge, gains_say_the_same_when_they_are_written_alike) {
  const auto a = make_info("id3v2.3", "t", -7.151f);
  EXPECT_TRUE(says_the_same(a, make_info("apev2", "t", -7.149f)));
  EXPECT_FALSE(says_the_same(a, make_info("id3v2.3", "t", -7.16f)));
  EXPECT_FALSE(says_the_same(a, make_info("id3v2.3", "T", -7.151f)));
}

TEST(TagMerge, kinds_are_read_from_their_names) {
  EXPECT_EQ(parse_tag_type("id3v2.3|apev2|id3v1"), (tag_kinds_found{true, true, true}));
  EXPECT_EQ(parse_tag_type("|id3v2||lyrics3|"), (tag_kinds_found{false, false, true}));
  EXPECT_EQ(parse_tag_type("apev1"), (tag_kinds_found{true, false, false}));
  EXPECT_EQ(parse_tag_type(""), tag_kinds_found());
}

} // namespace
} // namespace zelmora::test
