#include "tags/ape_mapping.h"

#include "generated_info.h"
#include "tail_bytes.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

using namespace std::string_literals;

ape_item text_item(std::string key, std::string value) {
  return {false, ape_item_type::text, std::move(key), std::move(value)};
}
ape_item read_only_item(std::string key, std::string value) {
  return {true, ape_item_type::text, std::move(key), std::move(value)};
}
ape_item binary_item(std::string key, std::string value) {
  return {false, ape_item_type::binary, std::move(key), std::move(value)};
}

file_info_impl read(std::vector<ape_item> items, std::uint32_t version = ape_version_2) {
  file_info_impl info;
  read_ape_fields({version, std::move(items)}, info);
  return info;
}

std::vector<ape_item> written(const file_info& info, std::vector<ape_item> items = {}) {
  write_ape_fields(info, items);
  return items;
}

struct read_case {
  const char* name;
  std::vector<ape_item> items;
  meta_list meta;
};
class ReadApeFields : public testing::TestWithParam<read_case> {};

TEST_P(ReadApeFields, gives_fields) { EXPECT_EQ(list_meta(read(GetParam().items)), GetParam().meta); }

INSTANTIATE_TEST_SUITE_P(
    cases, ReadApeFields,
    testing::Values(
        read_case{
            "values", {text_item("Artist", "a\0\0b\0"s), text_item("ARTIST", "c")}, {{"artist", {"a", "b", "c"}}}},
        read_case{"number_and_total",
                  {text_item("TRACK", "3/12"), text_item("Disc", "1/2/3")},
                  {{"tracknumber", {"3"}}, {"totaltracks", {"12"}}, {"discnumber", {"1"}}, {"totaldiscs", {"2/3"}}}},
        read_case{"number_alone",
                  {text_item("Track", "3"), text_item("disc", "2/")},
                  {{"tracknumber", {"3"}}, {"discnumber", {"2"}}}},
        read_case{"total_alone", {text_item("Track", "/12"), text_item("Disc", "/")}, {{"totaltracks", {"12"}}}},
        read_case{"plain_names_stay_whole",
                  {text_item("tracknumber", "3/12"), text_item("TotalDiscs", "2")},
                  {{"tracknumber", {"3/12"}}, {"totaldiscs", {"2"}}}},
        read_case{"other_names",
                  {text_item("Year", "2001"), text_item("albumartist", "x"), text_item("Album_Artist", "y"),
                   text_item("Album Artist", "z")},
                  {{"date", {"2001"}}, {"album artist", {"x", "y", "z"}}}},
        read_case{"names_that_no_field_may_have",
                  {text_item("", "x"), text_item("a=b", "x"), text_item("caf\xC3\xA9", "x"), text_item("<x>", "x")},
                  {}},
        read_case{"read_only_stays_one_value",
                  {read_only_item("Title", "a\0b"s), read_only_item("Year", "1999")},
                  {{"title", {"a\0b"s}}, {"year", {"1999"}}}},
        read_case{"no_text",
                  {binary_item("Title", "x"),
                   {false, ape_item_type::external, "Artist", "x"},
                   {false, ape_item_type::reserved, "Album", "x"}},
                  {}},
        read_case{"no_utf8", {text_item("Title", "caf\xE9!")}, {{"title", {"caf\uFFFD!"}}}}),
    case_name);

TEST(ApeFields, GainsAreNoFields) {
  const auto info = read({text_item("REPLAYGAIN_TRACK_GAIN", "-7.15 dB"),
                          read_only_item("replaygain_album_peak", "1.25"), text_item("replaygain_track_peak", "-0.5")});
  EXPECT_EQ(info.meta_get_count(), 0u);
  EXPECT_EQ(info.get_replaygain(), (replaygain_info{.track_gain = -7.15f, .album_peak = 1.25f, .track_peak = 0.0f}));
}

TEST(ApeFields, KindIsNamedByVersion) {
  EXPECT_EQ(*read({}, ape_version_1).info_get("tagtype"), "apev1");
  EXPECT_EQ(*read({}, ape_version_2).info_get("tagtype"), "apev2");
  EXPECT_EQ(read({}, 3000).info_get("tagtype"), nullptr);
}

TEST(ApeFields, WrittenInOrder) {
  file_info_impl info;
  for (const auto& [name, value] : std::initializer_list<std::pair<const char*, const char*>>{{"ALBUM ARTIST", "x"},
                                                                                              {"totaldiscs", "2"},
                                                                                              {"tracknumber", "3"},
                                                                                              {"totaltracks", "12"},
                                                                                              {"date", "2001"},
                                                                                              {" odd name", "o"},
                                                                                              {"artist", "a"},
                                                                                              {"artist", "b"}})
    info.meta_add(name, value);
  info.set_replaygain({.album_gain = 1.5f, .track_gain = -2, .album_peak = 0.5f, .track_peak = 1});
  EXPECT_EQ(written(info),
            (std::vector<ape_item>{
                text_item("Track", "3/12"), // the total of discs has no number to go with
                text_item("Album artist", "x"), text_item("Year", "2001"), text_item(" odd name", "o"),
                text_item("Artist", "a\0b"s), text_item("replaygain_album_gain", "+1.50 dB"),
                text_item("replaygain_album_peak", "0.500000"), text_item("replaygain_track_gain", "-2.00 dB"),
                text_item("replaygain_track_peak", "1.000000")}));
}

TEST(ApeFields, WhatIsNoWritableTextKeepsItsPlace) {
  file_info_impl info;
  info.meta_set("title", "new");
  const auto cover = binary_item("Cover Art (Front)", "x\0y"s);
  const ape_item link{false, ape_item_type::external, "Lyrics", "http://example.org"};
  const auto fixed = read_only_item("Title", "a\0b"s);
  EXPECT_EQ(written(info, {text_item("Artist", "old"), cover, text_item("Title", "old"), fixed, link}),
            (std::vector<ape_item>{cover, fixed, link, text_item("Title", "new")}));
}

// Else each save would say what a read-only item says once more.
TEST(ApeFields, ReadOnlyValuesAreNotSaidTwice) {
  const std::vector<ape_item> items{read_only_item("Title", "a"), text_item("Title", "b"),
                                    read_only_item("Year", "1999")};
  auto info = read(items);
  EXPECT_EQ(list_meta(info), (meta_list{{"title", {"a", "b"}}, {"year", {"1999"}}}));
  EXPECT_EQ(written(info, items), (std::vector<ape_item>{items[0], items[2], items[1]}));
  info.meta_add("title", "a");
  EXPECT_EQ(written(info, items).back(), text_item("Title", "b\0a"s)) << "the same value a second time is another";
}

TEST(ApeFields, AFieldNamedAsAGainGivesWayToTheGain) {
  file_info_impl info;
  info.meta_set("ReplayGain_Track_Gain", "odd");
  EXPECT_EQ(written(info), std::vector<ape_item>{text_item("Replaygain_track_gain", "odd")});
  info.set_replaygain({.track_gain = 1});
  EXPECT_EQ(written(info), std::vector<ape_item>{text_item("replaygain_track_gain", "+1.00 dB")});
}

TEST(ApeFields, MadeUpMetadataComesBackWhole) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    const auto info = info_generator(seed).tame();
    const auto found = read(parse_ape_tag(format_ape_tag(written(info))).items);
    EXPECT_EQ(list_meta(found), list_meta(info)) << seed;
    EXPECT_EQ(found.get_replaygain(), info.get_replaygain()) << seed;
  }
}

TEST(ApeFields, WhatCameBackOnceStaysAsItIs) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    const auto first = read(written(info_generator(seed).wild()));
    const auto items = written(first);
    EXPECT_EQ(list_meta(read(items)), list_meta(first)) << seed;
    EXPECT_EQ(written(first, items), items) << seed;
  }
}

// ---------------------------------------------------------------------------------------------------------------------

album_art_data_ptr picture(std::string_view content) { return make_album_art(to_bytes(content)); }

std::string text_of(const album_art_data_ptr& data) {
  if (!data) return "none";
  const auto content = data->bytes();
  return {reinterpret_cast<const char*>(content.data()), content.size()};
}

TEST(ApePictures, FirstOfAKindBehindItsFileName) {
  const auto found = read_ape_pictures(std::vector<ape_item>{
      binary_item("cover art (front)", "a.jpg\0front"s), binary_item("Cover Art (Front)", "b.jpg\0second"s),
      binary_item("Cover Art (Artist)", "\0artist\0more"s), binary_item("Artist Picture", "x\0late"s),
      binary_item("Cover Art (Back)", "no zero byte"), binary_item("Cover Art (Media)", "empty.png\0"s),
      text_item("Cover Art (Disc)", "x\0text"s), binary_item("Cover Art (Icon)", "x\0unknown"s)});
  EXPECT_EQ(found.size(), 2u);
  EXPECT_EQ(text_of(find_album_art(found, album_art_id::cover_front)), "front");
  EXPECT_EQ(text_of(find_album_art(found, album_art_id::artist)), "artist\0more"s);
}

/// Knows one format by each of its letters.
class letter_formats : public image_formats {
 public:
  std::string get_format_name(std::span<const std::byte> image) override {
    return starts_with(image, "J") ? "jpeg" : starts_with(image, "P") ? "png" : "";
  }
};
service_factory_single_t<letter_formats> formats;

TEST(ApePictures, ReplaceTheOnesThatAreThere) {
  const auto title = text_item("Title", "t");
  const auto other = binary_item("Something", "x");
  std::vector<ape_item> items{binary_item("Cover Art (Media)", "x\0old"s), title, binary_item("cover art (FRONT)", "x"),
                              other};
  write_ape_pictures({{album_art_id::disc, picture("Jd")},
                      {album_art_id::icon, picture("no key for it")},
                      {album_art_id::cover_front, picture("Pf")},
                      {album_art_id::artist, picture("?")}},
                     items);
  EXPECT_EQ(items, (std::vector<ape_item>{title, other, binary_item("Cover Art (Disc)", "hello.jpg\0Jd"s),
                                          binary_item("Cover Art (Front)", "hello.png\0Pf"s),
                                          binary_item("Artist Picture", "hello\0?"s)}));
  const auto found = read_ape_pictures(items);
  EXPECT_EQ(text_of(find_album_art(found, album_art_id::disc)), "Jd");
  write_ape_pictures({}, items);
  EXPECT_EQ(items, (std::vector<ape_item>{title, other}));
}

TEST(ApePictures, TooLargeOnesAreRefused) {
  std::vector<ape_item> items;
  const std::string name("hello\0", 6);
  write_ape_pictures({{album_art_id::disc, picture(std::string(max_ape_value - name.size(), 'x'))}}, items);
  EXPECT_EQ(parse_ape_tag(format_ape_tag(items)).items, items);
  EXPECT_THROW(
      write_ape_pictures({{album_art_id::disc, picture(std::string(max_ape_value - name.size() + 1, 'x'))}}, items),
      exception_album_art_unsupported_format);
}

} // namespace
} // namespace zelmora::test
