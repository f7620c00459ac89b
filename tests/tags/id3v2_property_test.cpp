#include "generated_info.h"
#include "id3v2_bytes.h"
#include "tags/id3v2_format.h"
#include "tags/id3v2_tag.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

constexpr unsigned seeds = 100;

file_info_impl read_back(const bytes& data) {
  file_info_impl result;
  if (!data.empty()) read_id3v2(data, result);
  return result;
}

class Id3v2Property : public testing::TestWithParam<unsigned> {
 protected:
  id3v2_write_options options_{GetParam()};
};

TEST_P(Id3v2Property, tame_metadata_comes_back_whole) {
  for (unsigned seed = 0; seed < seeds; ++seed) {
    const auto info = info_generator(seed).tame();
    const auto found = read_back(write_id3v2({}, 0, info, options_));
    EXPECT_EQ(list_meta(found), list_meta(info)) << seed;
    EXPECT_EQ(found.get_replaygain(), info.get_replaygain()) << seed;
  }
}

TEST_P(Id3v2Property, what_came_back_once_stays_as_it_is) {
  for (unsigned seed = 0; seed < seeds; ++seed) {
    const auto first = read_back(write_id3v2({}, 0, info_generator(seed).wild(), options_));
    const auto second = read_back(write_id3v2({}, 0, first, options_));
    // A text that reads as several values, or as a genre's name, settles with the second writing.
    const auto third = read_back(write_id3v2({}, 0, second, options_));
    EXPECT_EQ(list_meta(third), list_meta(second)) << seed;
    EXPECT_EQ(third.get_replaygain(), first.get_replaygain()) << seed;
  }
}

TEST_P(Id3v2Property, saving_what_was_read_changes_no_byte) {
  for (unsigned seed = 0; seed < seeds; ++seed) {
    const auto written = write_id3v2({}, 0, info_generator(seed).wild(), options_);
    if (written.empty()) continue;
    EXPECT_EQ(write_id3v2(written, written.size(), read_back(written), options_), written) << seed;
  }
}

TEST_P(Id3v2Property, an_edit_says_what_a_new_tag_would) {
  for (unsigned seed = 0; seed < seeds; ++seed) {
    info_generator generator(seed);
    const auto old_tag = write_id3v2({}, 0, generator.tame(), options_);
    const auto info = generator.tame();
    const auto edited = read_back(write_id3v2(old_tag, old_tag.size(), info, options_));
    EXPECT_EQ(list_meta(edited), list_meta(info)) << seed;
    EXPECT_EQ(edited.get_replaygain(), info.get_replaygain()) << seed;
  }
}

TEST_P(Id3v2Property, frames_that_say_nothing_survive_any_edit) {
  const auto picture = text(std::string("image/png\0\3\0\xFF\xE0"
                                        "data",
                                        17));
  const auto data =
      GetParam() == 3
          ? make_tag(3, frame_v3("PRIV", to_bytes("p")) + frame_v3("TIT2", text("t")) + frame_v3("APIC", picture))
          : make_tag(4, frame_v4("PRIV", to_bytes("p")) + frame_v4("TIT2", text("t")) + frame_v4("APIC", picture));
  for (unsigned seed = 0; seed < 20; ++seed) {
    const auto edited = id3parser::parse(write_id3v2(data, data.size(), info_generator(seed).wild(), options_));
    EXPECT_EQ(edited.frames.at(0).payload, to_bytes("p"));
    EXPECT_EQ(edited.frames.at(1).payload, picture);
  }
}

// An unknown name of 2.2 has no counterpart: written as nothing it would end the tag for every reader.
TEST(Id3v2Tag, frames_without_a_name_hide_no_others) {
  const auto nameless = frame_v3(std::string_view("XYZ\0", 4), text("x"));
  const auto data = make_tag(3, nameless + frame_v3("TIT2", text("old")) + frame_v3("PRIV", to_bytes("p")));
  file_info_impl info;
  info.meta_set("title", "new");
  const auto edited = write_id3v2(data, data.size(), info);
  EXPECT_EQ(id3parser::parse(edited).frames.at(0).payload, to_bytes("p"));
  EXPECT_EQ(list_meta(read_back(edited)), list_meta(info));
}

TEST(Id3v2Tag, fields_that_cant_be_shown_survive_a_saving_of_what_was_read) {
  const auto data =
      make_tag(3, frame_v3("TXXX", text(std::string("Gr\xF6\xDF") + "e" + '\0' + "x")) + frame_v3("TIT2", text("t")));
  EXPECT_EQ(write_id3v2(data, data.size(), read_back(data)), data);
}

TEST(Id3v2Tag, the_album_artist_that_a_compilation_implies_is_not_written_when_it_is_only_seen) {
  const auto artist_in = [](const bytes& data) {
    const auto found = id3parser::parse(data, [](std::uint32_t id) { return id == fourcc("TPE2"); });
    return found.frames.size();
  };
  for (const auto& data : {make_tag(2, frame_v2("TCP", text("1"))), make_tag(3, frame_v3("TCMP", text("1")))}) {
    auto info = read_back(data);
    EXPECT_EQ(list_meta(info).at("album artist"), std::vector<std::string>{"Various Artists"});
    info.meta_set("title", "T");
    const auto edited = write_id3v2(data, data.size(), info);
    EXPECT_EQ(artist_in(edited), 0u);
    EXPECT_EQ(list_meta(read_back(edited)), list_meta(info));
    EXPECT_EQ(artist_in(write_id3v2({}, 0, info)), 1u);
    info.meta_remove_field("itunescompilation");
    EXPECT_EQ(artist_in(write_id3v2(data, data.size(), info)), 1u);
    info.meta_set("album artist", "Other");
    EXPECT_EQ(artist_in(write_id3v2(data, data.size(), info)), 1u);
  }
}

INSTANTIATE_TEST_SUITE_P(versions, Id3v2Property, testing::Values(3u, 4u),
                         [](const auto& tested) { return "v" + std::to_string(tested.param); });

} // namespace
} // namespace zelmora::test
