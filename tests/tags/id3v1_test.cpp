#include "tags/id3v1.h"

#include "generated_info.h"
#include "tags/genres.h"
#include "tail_bytes.h"

#include "frame/memory_file.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

using namespace std::string_view_literals;

file_info_impl decode(const bytes& block) {
  file_info_impl info;
  decode_id3v1(block, info);
  return info;
}

file_info_impl make_info(const meta_list& meta) {
  file_info_impl info;
  for (const auto& [name, values] : meta)
    for (const auto& value : values) info.meta_add(name, value);
  return info;
}

bytes encode(const meta_list& meta) {
  const auto block = encode_id3v1(make_info(meta));
  return {block.begin(), block.end()};
}

constexpr std::string_view thirty = "123456789012345678901234567890";

struct decode_case {
  const char* name;
  id3v1_fields fields;
  meta_list meta;
};
class DecodeId3v1 : public testing::TestWithParam<decode_case> {};

TEST_P(DecodeId3v1, gives_fields) {
  const auto info = decode(id3v1_bytes(GetParam().fields));
  EXPECT_EQ(list_meta(info), GetParam().meta);
  EXPECT_EQ(*info.info_get("tagtype"), "id3v1");
}

INSTANTIATE_TEST_SUITE_P(
    cases, DecodeId3v1,
    testing::Values(decode_case{"nothing", {}, {}},
                    decode_case{"all",
                                {"t", "a", "l", "1999", "c", 7, 17},
                                {{"title", {"t"}},
                                 {"artist", {"a"}},
                                 {"album", {"l"}},
                                 {"date", {"1999"}},
                                 {"comment", {"c"}},
                                 {"tracknumber", {"7"}},
                                 {"genre", {"Rock"}}}},
                    decode_case{"no_room_for_a_zero",
                                {thirty, "", "", "", thirty, 0, 255},
                                {{"title", {std::string(thirty)}}, {"comment", {std::string(thirty)}}}},
                    decode_case{"comment_before_a_track",
                                {"", "", "", "", thirty.substr(0, 28), 255, 255},
                                {{"comment", {std::string(thirty.substr(0, 28))}}, {"tracknumber", {"255"}}}},
                    // Byte 125 is not zero: the last two bytes are text.
                    decode_case{"no_track_in_a_full_comment",
                                {"", "", "", "", "12345678901234567890123456789\x07", 0, 255},
                                {{"comment", {"12345678901234567890123456789\x07"}}}},
                    decode_case{"blanks_behind_the_text",
                                {"t   ", " a ", "    ", "", "\t ", 0, 255},
                                {{"title", {"t"}}, {"artist", {" a"}}, {"comment", {"\t"}}}},
                    decode_case{"what_others_leave_behind_the_zero",
                                {"t\0old title"sv, "", "", "", "", 0, 255},
                                {{"title", {"t"}}}},
                    decode_case{"code_page", {"\xC4 \x80", "", "", "", "", 0, 255}, {{"title", {"Ä €"}}}},
                    decode_case{"last_genre", {"", "", "", "", "", 0, 147}, {{"genre", {"SynthPop"}}}},
                    decode_case{"genre_beyond_the_table", {"", "", "", "", "", 0, 148}, {}}),
    case_name);

TEST(Id3v1, ForeignBlocksAreNone) {
  auto block = id3v1_bytes({"t"});
  EXPECT_THROW(decode(bytes(block.begin(), block.end() - 1)), exception_tag_not_found);
  block[2] = std::byte('g');
  EXPECT_THROW(decode(block), exception_tag_not_found);
}

struct encode_case {
  const char* name;
  meta_list meta;
  id3v1_fields fields;
};
class EncodeId3v1 : public testing::TestWithParam<encode_case> {};

TEST_P(EncodeId3v1, gives_the_block) { EXPECT_EQ(encode(GetParam().meta), id3v1_bytes(GetParam().fields)); }

const std::string long_text(40, 'x');
const std::string cut_text(30, 'x');
const std::string cut_comment(28, 'x');

INSTANTIATE_TEST_SUITE_P(
    cases, EncodeId3v1,
    testing::Values(encode_case{"nothing", {}, {}},
                    encode_case{"all",
                                {{"title", {"t", "second"}},
                                 {"artist", {"a"}},
                                 {"album", {"l"}},
                                 {"date", {"1999-01-02"}},
                                 {"comment", {"c"}},
                                 {"tracknumber", {"127"}},
                                 {"genre", {"rOCK"}},
                                 {"composer", {"no place for it"}}},
                                {"t", "a", "l", "1999", "c", 127, 17}},
                    encode_case{"cut",
                                {{"title", {long_text}}, {"comment", {long_text}}},
                                {cut_text, "", "", "", cut_text, 0, 255}},
                    encode_case{"cut_for_a_track",
                                {{"comment", {long_text}}, {"tracknumber", {"1"}}},
                                {"", "", "", "", cut_comment, 1, 255}},
                    encode_case{"cut_for_a_track_that_does_not_fit",
                                {{"comment", {long_text}}, {"tracknumber", {"200"}}},
                                {"", "", "", "", cut_comment, 0, 255}},
                    encode_case{"cut_for_a_track_that_is_no_number",
                                {{"comment", {long_text}}, {"tracknumber", {"A1"}}},
                                {"", "", "", "", cut_comment, 0, 255}},
                    encode_case{"track_with_a_total", {{"tracknumber", {"5/12"}}}, {"", "", "", "", "", 5, 255}},
                    encode_case{"track_beyond_any_number", {{"tracknumber", {"99999999999999999999"}}}, {}},
                    encode_case{"code_page", {{"title", {"Ä € 日"}}}, {"\xC4 \x80 ?", "", "", "", "", 0, 255}},
                    encode_case{"own_genre", {{"genre", {"Skiffle"}}}, {}}),
    case_name);

TEST(Id3v1, WhatWasReadIsWrittenAsItWas) {
  for (const auto& fields : {id3v1_fields{thirty, thirty, thirty, "2001", thirty, 0, 3},
                             id3v1_fields{"\x81", "b", "", "", thirty.substr(0, 28), 99, 147}})
    EXPECT_EQ(encode(list_meta(decode(id3v1_bytes(fields)))), id3v1_bytes(fields));
}

struct sufficient_case {
  const char* name;
  meta_list meta;
  bool is_sufficient;
};
class Id3v1Sufficient : public testing::TestWithParam<sufficient_case> {};

TEST_P(Id3v1Sufficient, tells_what_would_be_lost) {
  EXPECT_EQ(id3v1_sufficient(make_info(GetParam().meta)), GetParam().is_sufficient);
}

INSTANTIATE_TEST_SUITE_P(cases, Id3v1Sufficient,
                         testing::Values(sufficient_case{"nothing", {}, true},
                                         sufficient_case{"all",
                                                         {{"TITLE", {cut_text}},
                                                          {"date", {"1999"}},
                                                          {"comment", {cut_comment}},
                                                          {"tracknumber", {"127"}},
                                                          {"genre", {"rock"}}},
                                                         true},
                                         sufficient_case{"long_title", {{"title", {cut_text + "x"}}}, false},
                                         sufficient_case{"full_date", {{"date", {"1999-"}}}, false},
                                         sufficient_case{
                                             "comment_without_a_track", {{"comment", {cut_comment + "x"}}}, false},
                                         sufficient_case{"beyond_ascii", {{"title", {"ä"}}}, false},
                                         sufficient_case{"two_values", {{"title", {"a", "b"}}}, false},
                                         sufficient_case{"leading_zero", {{"tracknumber", {"07"}}}, false},
                                         sufficient_case{"track_zero", {{"tracknumber", {"0"}}}, false},
                                         sufficient_case{"track_128", {{"tracknumber", {"128"}}}, false},
                                         sufficient_case{"own_genre", {{"genre", {"Skiffle"}}}, false},
                                         sufficient_case{"other_field", {{"composer", {"x"}}}, false}),
                         case_name);

TEST(Id3v1, GainsAreNotKept) {
  file_info_impl info;
  info.set_replaygain({.track_peak = 0.5f});
  EXPECT_FALSE(id3v1_sufficient(info));
}

TEST(Id3v1, TruncateLeavesWhatTheBlockSays) {
  auto info =
      make_info({{"title", {long_text, "b"}}, {"composer", {"c"}}, {"genre", {"Skiffle"}}, {"tracknumber", {"3/4"}}});
  info.set_replaygain({.track_gain = 1.0f});
  id3v1_truncate(info);
  EXPECT_EQ(list_meta(info), (meta_list{{"title", {cut_text}}, {"tracknumber", {"3"}}}));
  EXPECT_EQ(info.get_replaygain(), replaygain_info());
}

TEST(Id3v1, SteppedOverFromItsEnd) {
  abort_callback_dummy abort;
  const auto file = service_new<memory_file>(bytes(10) + id3v1_bytes({"t"}) + bytes(5));
  std::uint64_t end = 138;
  skip_id3v1(*file, end, abort);
  EXPECT_EQ(end, 10u);
  for (const std::uint64_t wrong : {10u, 127u, 137u, 143u}) {
    end = wrong;
    EXPECT_THROW(skip_id3v1(*file, end, abort), exception_tag_not_found) << wrong;
    EXPECT_EQ(end, wrong);
  }
}

TEST(Genres, TheTwoTablesEndApart) {
  EXPECT_EQ(id3v1_genre_name(125), "Dance Hall");
  EXPECT_EQ(id3v2_genre_name(125), "Dance Hall");
  EXPECT_EQ(id3v1_genre_name(126), "Goa");
  EXPECT_EQ(id3v2_genre_name(126), "");
  EXPECT_EQ(id3v1_genre_name(148), "");
  // Names that only this system spells so.
  EXPECT_EQ(id3v1_genre_index("psychadelic"), 67);
  EXPECT_EQ(id3v1_genre_index("Bebob"), 85);
  EXPECT_EQ(id3v1_genre_index("POLSK PUNK"), 134);
  EXPECT_EQ(id3v1_genre_index("Psychedelic"), std::nullopt);
}

} // namespace
} // namespace zelmora::test
