#include "id3v2_bytes.h"
#include "tags/id3v2_pictures.h"
#include "tags/id3v2_text.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

using std::string_view_literals::operator""sv;

constexpr std::string_view png = "\x89PNG\r\n\x1A\nany";

bytes picture(int type, std::string_view data) { return text("image/png\0"sv) + to_bytes({type, 0}) + to_bytes(data); }
bytes tag_of(const bytes& frames) { return make_tag(3, frame_v3("TIT2", text("t")) + frames); }

album_art_entry entry(const guid& id, std::string_view data) { return {id, make_album_art(to_bytes(data))}; }

std::string shown(const album_art_set& pictures, const guid& id) {
  const auto found = find_album_art(pictures, id);
  if (!found) return {};
  const auto span = found->bytes();
  return {reinterpret_cast<const char*>(span.data()), span.size()};
}

TEST(Id3v2Pictures, the_first_of_a_kind_is_shown) {
  const auto found =
      read_id3v2_pictures(tag_of(frame_v3("APIC", picture(5, "moon")) + frame_v3("APIC", picture(3, "a")) +
                                 frame_v3("APIC", picture(3, "b")) + frame_v3("APIC", picture(11, "band")) +
                                 frame_v3("APIC", picture(0, "other")) + frame_v3("APIC", text("damaged"))));
  EXPECT_EQ(found.size(), 2u);
  EXPECT_EQ(shown(found, album_art_id::cover_front), "a");
  EXPECT_EQ(shown(found, album_art_id::artist), "band");
}

TEST(Id3v2Pictures, any_other_picture_stands_in_for_a_front_cover) {
  const auto found = read_id3v2_pictures(tag_of(frame_v3("APIC", picture(0, "x")) + frame_v3("APIC", picture(2, "i"))));
  EXPECT_EQ(shown(found, album_art_id::cover_front), "x");
  EXPECT_EQ(shown(found, album_art_id::icon), "i");
}

TEST(Id3v2Pictures, an_edit_leaves_alone_what_it_is_not_about) {
  const auto old_tag = tag_of(frame_v3("APIC", picture(5, "moon")) + frame_v3("APIC", picture(9, "band")) +
                              frame_v3("APIC", picture(3, "old")) + frame_v3("APIC", picture(3, "hidden")));
  const album_art_set wanted{entry(album_art_id::cover_front, png), entry(album_art_id::artist, "band"),
                             entry(album_art_id::disc, "disc")};
  const auto frames = id3parser::parse(write_id3v2_pictures(old_tag, old_tag.size(), wanted)).frames;
  ASSERT_EQ(frames.size(), 5u);
  EXPECT_EQ(frames[0].payload, text("t"));
  EXPECT_EQ(frames[1].payload, picture(5, "moon"));
  EXPECT_EQ(frames[2].payload, picture(9, "band"));
  const auto cover = id3parser::parse_picture(frames[3]);
  EXPECT_EQ(cover.type, 3u);
  EXPECT_EQ(bytes(cover.data.begin(), cover.data.end()), to_bytes(png));
}

TEST(Id3v2Pictures, the_same_pictures_change_no_byte) {
  const auto old_tag = tag_of(frame_v3("APIC", picture(0, "x")) + frame_v3("APIC", picture(0, "y")) +
                              frame_v3("APIC", picture(7, "band")) + bytes(500));
  EXPECT_EQ(write_id3v2_pictures(old_tag, old_tag.size(), read_id3v2_pictures(old_tag)), old_tag);
}

// Compressed, and no zlib data: only what the frame itself said is lost.
TEST(Id3v2Pictures, a_damaged_frame_takes_no_picture_with_it) {
  const auto damaged = [](std::string_view id) { return frame_v3(id, to_bytes("0000garbage"), 0, 0x80); };
  const auto old_tag = tag_of(damaged("APIC") + frame_v3("APIC", picture(3, "a")) + damaged("PRIV"));
  EXPECT_EQ(shown(read_id3v2_pictures(old_tag), album_art_id::cover_front), "a");
  file_info_impl info;
  info.meta_set("title", "changed");
  const auto saved = write_id3v2(old_tag, old_tag.size(), info);
  EXPECT_EQ(shown(read_id3v2_pictures(saved), album_art_id::cover_front), "a");
  const auto with_another = write_id3v2_pictures(old_tag, old_tag.size(), {entry(album_art_id::cover_back, "b")});
  file_info_impl kept;
  read_id3v2(with_another, kept);
  EXPECT_EQ(*kept.meta_get("title"), "t");
}

TEST(Id3v2Pictures, none_are_left_when_none_are_wanted) {
  const auto old_tag = tag_of(frame_v3("APIC", picture(3, "a")) + frame_v3("APIC", picture(4, "b")));
  const auto written = write_id3v2_pictures(old_tag, old_tag.size(), {});
  EXPECT_TRUE(read_id3v2_pictures(written).empty());
  EXPECT_EQ(id3parser::parse(written).frames.size(), 1u);
  EXPECT_TRUE(write_id3v2_pictures({}, 0, {}).empty());
}

TEST(Id3v2Pictures, a_tag_of_2_2_keeps_its_fields) {
  const auto old_tag = make_tag(2, frame_v2("TT2", text("Title")) + frame_v2("PIC", text("PNG\3\0old"sv)));
  const auto written = write_id3v2_pictures(old_tag, old_tag.size(), {entry(album_art_id::cover_back, png)});
  file_info_impl info;
  read_id3v2(written, info);
  EXPECT_EQ(*info.meta_get("title"), "Title");
  EXPECT_EQ(*info.info_get("tagtype"), "id3v2.3");
  const auto found = read_id3v2_pictures(written);
  EXPECT_EQ(found.size(), 1u);
  EXPECT_EQ(shown(found, album_art_id::cover_back), png);
}

TEST(Id3v2Pictures, kinds_without_a_type_are_refused) {
  const auto unknown = "00000000-0000-0000-0000-000000000001"_guid;
  EXPECT_THROW(write_id3v2_pictures({}, 0, {entry(unknown, png)}), exception_album_art_unsupported_entry);
}

} // namespace
} // namespace zelmora::test
