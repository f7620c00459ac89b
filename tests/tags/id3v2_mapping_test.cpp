#include "id3v2_bytes.h"
#include "tags/id3v2_tag.h"
#include "tags/id3v2_writing.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

using namespace id3parser;
using std::string_view_literals::operator""sv;

/// "NAME=VALUE" for each value, in order.
using said = std::vector<std::string>;

said list_fields(const field_map& fields) {
  said result;
  for (const auto& [name, values] : fields)
    for (const auto& value : values) result.push_back(name + "=" + value);
  return result;
}

field_map to_fields(const said& list) {
  field_map result;
  for (const auto& entry : list) {
    const auto equals = entry.find('=');
    result[entry.substr(0, equals)].push_back(entry.substr(equals + 1));
  }
  return result;
}

frame make(const char (&id)[5], bytes payload) { return {load_be<std::uint32_t>(id), std::move(payload)}; }

// --- reading -------------------------------------------------------------------------------------------------------

struct reading_case {
  const char* name;
  unsigned version;
  std::vector<frame> frames;
  said fields;
};
std::ostream& operator<<(std::ostream& out, const reading_case& c) { return out << c.name; }

class Id3v2Fields : public testing::TestWithParam<reading_case> {};
TEST_P(Id3v2Fields, are_read) {
  EXPECT_EQ(list_fields(read_frame_fields(GetParam().frames, {GetParam().version})), GetParam().fields);
}

const auto comment = [](std::string_view description_and_text) {
  return make("COMM", text("eng" + std::string(description_and_text)));
};

INSTANTIATE_TEST_SUITE_P(
    frames, Id3v2Fields,
    testing::Values(
        reading_case{"one_takes_the_first", 4, {make("TIT2", text("a\0b"sv))}, {"title=a"}},
        reading_case{"many_in_v4", 4, {make("TPE1", text("a\0b / c"sv))}, {"artist=a", "artist=b / c"}},
        reading_case{"many_split_in_v3", 3, {make("TPE1", text("a / b /  / c"))}, {"artist=a", "artist=b", "artist=c"}},
        reading_case{
            "several_strings_in_v3_are_not_split", 3, {make("TPE1", text("a / b\0c"sv))}, {"artist=a / b", "artist=c"}},
        reading_case{"one_string_in_v4_is_not_split", 4, {make("TPE1", text("a / b"))}, {"artist=a / b"}},
        reading_case{
            "frames_of_one_kind_add_up", 4, {make("TIT2", text("a")), make("TIT2", text("b"))}, {"title=a", "title=b"}},
        reading_case{
            "an_unreadable_frame_is_left_out", 4, {make("TIT2", text("a", 9)), make("TALB", text("b"))}, {"album=b"}},
        reading_case{"pair", 4, {make("TRCK", text("3/12"))}, {"totaltracks=12", "tracknumber=3"}},
        reading_case{"pair_without_total", 4, {make("TRCK", text("3/"))}, {"tracknumber=3"}},
        reading_case{"pair_without_number", 4, {make("TPOS", text("/2"))}, {"totaldiscs=2"}},
        reading_case{"movement",
                     4,
                     {make("MVIN", text("2/4")), make("MVNM", text("Adagio"))},
                     {"movement count=4", "movement index=2", "movement name=Adagio"}},
        reading_case{"year_then_day", 3, {make("TYER", text("2001")), make("TDAT", text("0302"))}, {"date=2001-02-03"}},
        reading_case{"day_then_year", 3, {make("TDAT", text("0302")), make("TYER", text("2001"))}, {"date=2001-02-03"}},
        reading_case{"year_and_month", 3, {make("TYER", text("2001")), make("TDAT", text("0002"))}, {"date=2001-02"}},
        reading_case{"compatible_date", 3, {make("TYER", text("2001-02-03"))}, {"date=2001-02-03"}},
        reading_case{"year_in_v4", 4, {make("TYER", text("2001"))}, {"date=2001"}},
        reading_case{"genre_numbers",
                     3,
                     {make("TCON", text("17;(9)(32); 125 ;126;(RX);(CR);((Foo;(Bar;a b"))},
                     {"genre=Rock", "genre=Metal", "genre=Dance Hall", "genre=126", "genre=Remix", "genre=Cover",
                      "genre=(Foo", "genre=a b"}},
        reading_case{"genre_number_with_a_name_behind", 3, {make("TCON", text("(17)Rock ballad"))}, {"genre=Rock"}},
        reading_case{"genre_number_unknown", 4, {make("TCON", text("(126)x"))}, {}},
        reading_case{"genres_in_v4", 4, {make("TCON", text("17\0a;b"sv))}, {"genre=Rock", "genre=a;b"}},
        reading_case{"lyrics", 4, {make("USLT", text("eng\0Words"sv))}, {"unsynced lyrics=Words"}},
        reading_case{"comments",
                     4,
                     {comment("\0plain"sv), comment("mood\0glad"sv), comment("alone"), comment("iTunPGAP\0x"sv)},
                     {"comment=plain", "comment mood=glad"}},
        reading_case{"free_text",
                     4,
                     {make("TXXX", text("FOO[1]\0a"sv)), make("TXXX", text("foo[22]\0b\0c"sv)),
                      make("TXXX", text("[7]\0d"sv)), make("TXXX", text("bar[]\0e"sv)), make("TXXX", text("alone"))},
                     {"[7]=d", "bar[]=e", "FOO=a", "FOO=b", "FOO=c"}},
        reading_case{"gains",
                     4,
                     {make("TXXX", text("REPLAYGAIN_TRACK_GAIN\0-3.00 dB"sv)),
                      make("TXXX", text("replaygain_album_gain\0abc"sv))},
                     {"REPLAYGAIN_TRACK_GAIN=-3.00 dB"}},
        reading_case{"urls",
                     4,
                     {make("WOAR", to_bytes("http://a\xE9")), make("WXXX", text("\0http://b"sv)),
                      make("WXXX", text("shop\0http://c\0x"sv)), make("WOAF", {})},
                     {"artist webpage url=http://aé", "www=http://b", "www shop=http://c"}},
        // The description goes by units of two bytes, the address behind it doesn't.
        reading_case{"wide_url_description",
                     3,
                     {make("WXXX", text("\xFF\xFE"
                                        "d\0\0\0https"sv,
                                        1))},
                     {"www d=https"}},
        reading_case{"wide_url_description_without_an_end",
                     3,
                     {make("WXXX", text("\xFF\xFE"
                                        "d\0h"sv,
                                        1))},
                     {}},
        reading_case{"names_that_no_field_can_have",
                     4,
                     {make("TXXX", text("Größe\0a"sv, 3)), make("TXXX", text("a=b\0c"sv)), comment("Notiz \xFC\0d"sv),
                      make("WXXX", text("Übersicht\0http://e"sv, 3))},
                     {}},
        reading_case{"rating_1", 4, {make("POPM", to_bytes("a") + to_bytes({0, 1}))}, {"rating=1"}},
        reading_case{"rating_2", 4, {make("POPM", to_bytes("a") + to_bytes({0, 64, 0, 0, 0, 9}))}, {"rating=2"}},
        reading_case{"rating_4", 4, {make("POPM", to_bytes("a") + to_bytes({0, 196}))}, {"rating=4"}},
        reading_case{"rating_5", 4, {make("POPM", to_bytes({0, 255})), make("POPM", to_bytes({0, 0}))}, {"rating=5"}},
        reading_case{
            "rating_not_there", 4, {make("POPM", to_bytes("abc")), make("POPM", to_bytes("a") + to_bytes({0}))}, {}},
        reading_case{"unknown_frames_say_nothing", 4, {make("PRIV", to_bytes("x")), make("APIC", to_bytes("x"))}, {}}),
    case_name);

TEST(Id3v2Mapping, tpe2_is_the_band_where_the_setting_says_so) {
  const std::vector frames{make("TPE2", text("x"))};
  EXPECT_EQ(list_fields(read_frame_fields(frames, {4, strictness::lenient, true})), said{"album artist=x"});
  EXPECT_EQ(list_fields(read_frame_fields(frames, {4, strictness::lenient, false})), said{"band=x"});
}

// --- new frames ----------------------------------------------------------------------------------------------------

struct writing_case {
  const char* name;
  unsigned version;
  said fields;
  std::vector<frame> frames;
  bool compatible_dates = true;
  bool rating_as_text = false;
};
std::ostream& operator<<(std::ostream& out, const writing_case& c) { return out << c.name; }

class Id3v2Frames : public testing::TestWithParam<writing_case> {};
TEST_P(Id3v2Frames, are_made) {
  const auto& c = GetParam();
  tag made{{}, c.version};
  // Eight bits, so that the cases can be read.
  rebuild_frames(made, to_fields(c.fields), {c.version},
                 {text_encoding::eight_bit, c.compatible_dates, c.rating_as_text});
  for (std::size_t i = 0; i < std::min(made.frames.size(), c.frames.size()); ++i)
    EXPECT_EQ(made.frames[i], c.frames[i]) << i;
  EXPECT_EQ(made.frames.size(), c.frames.size());
}

const auto rating_payload = [](int byte) {
  return to_bytes("Windows Media Player 9 Series") + to_bytes({0, byte, 0, 0, 0, 0});
};

INSTANTIATE_TEST_SUITE_P(
    fields, Id3v2Frames,
    testing::Values(
        writing_case{"in_table_order",
                     4,
                     {"comment=c", "ARTIST=a", "Title=t"},
                     {make("TIT2", text("t\0"sv)), make("TPE1", text("a\0"sv)), make("COMM", text("eng\0c\0"sv))}},
        writing_case{"many_in_v3", 3, {"artist=a", "artist=b"}, {make("TPE1", text("a / b\0"sv))}},
        writing_case{"many_in_v4", 4, {"artist=a", "artist=b"}, {make("TPE1", text("a\0b\0"sv))}},
        writing_case{"two_of_what_has_one_v3",
                     3,
                     {"title=a", "title=b"},
                     {make("TXXX", text("title\0a\0"sv)), make("TXXX", text("title\0b\0"sv))}},
        writing_case{"two_of_what_has_one_v4", 4, {"title=a", "title=b"}, {make("TXXX", text("title\0a\0b\0"sv))}},
        writing_case{"pair", 4, {"tracknumber=3", "totaltracks=12"}, {make("TRCK", text("3/12\0"sv))}},
        writing_case{
            "pair_with_slashes", 4, {"tracknumber=3/a/b", "totaltracks=12"}, {make("TRCK", text("3/a_b\0"sv))}},
        writing_case{"total_with_a_slash", 4, {"discnumber=1", "totaldiscs=1/2"}, {make("TPOS", text("1/1_2\0"sv))}},
        writing_case{"total_alone",
                     4,
                     {"totaltracks=12"},
                     {make("TXXX", text("totaltracks\0"
                                        "12\0"sv))}},
        writing_case{"several_totals_are_not_lost",
                     4,
                     {"tracknumber=3", "totaltracks=1", "totaltracks=2"},
                     {make("TRCK", text("3\0"sv)), make("TXXX", text("totaltracks\0"
                                                                     "1\0"
                                                                     "2\0"sv))}},
        writing_case{"date_v4", 4, {"date=2001-02-03T04:05:06"}, {make("TDRC", text("2001-02-03T04:05:06\0"sv))}},
        writing_case{
            "dates_around_a_slash", 4, {"release date=2001/2002-03"}, {make("TDRL", text("2001/2002-03\0"sv))}},
        writing_case{"no_date",
                     4,
                     {"date=spring", "original release date=2001-1"},
                     {make("TXXX", text("date\0spring\0"sv)), make("TXXX", text("original release date\0"
                                                                                "2001-1\0"sv))}},
        writing_case{"compatible_date", 3, {"date=2001-02-03"}, {make("TYER", text("2001-02-03\0"sv))}},
        writing_case{"proper_date",
                     3,
                     {"date=2001-02-03"},
                     {make("TYER", text("2001\0"sv)), make("TDAT", text("0302\0"sv))},
                     false},
        writing_case{"proper_month",
                     3,
                     {"date=2001-02"},
                     {make("TYER", text("2001\0"sv)), make("TDAT", text("0002\0"sv))},
                     false},
        writing_case{"no_proper_date", 3, {"date=spring"}, {}, false},
        writing_case{"original_year", 3, {"original release date=1999"}, {make("TORY", text("1999\0"sv))}},
        writing_case{"no_original_year",
                     3,
                     {"original release date=1999-01"},
                     {make("TXXX", text("original release date\0"
                                        "1999-01\0"sv))}},
        writing_case{"what_only_v4_has", 3, {"involved people=a"}, {make("TXXX", text("involved people\0a\0"sv))}},
        writing_case{"genres_v3", 3, {"genre=Rock", "genre=(Foo"}, {make("TCON", text("Rock;((Foo\0"sv))}},
        writing_case{"genres_v4", 4, {"genre=Rock", "genre=(Foo"}, {make("TCON", text("Rock\0((Foo\0"sv))}},
        writing_case{"lyrics", 3, {"unsynced lyrics=w"}, {make("USLT", text("eng\0w\0"sv))}},
        writing_case{"url", 3, {"artist webpage url=http://é"}, {make("WOAR", to_bytes("http://\xE9"))}},
        writing_case{"free_urls",
                     4,
                     {"WWW=a", "www  shop=b", "wwwx=c"},
                     {make("WXXX", text("\0a"sv)), make("WXXX", text("shop\0b"sv)), make("TXXX", text("wwwx\0c\0"sv))}},
        writing_case{"comments",
                     4,
                     {"comment=a", "comment=b", "COMMENT  mood=c", "comments x=d"},
                     {make("COMM", text("eng\0a\0"sv)), make("COMM", text("eng\0b\0"sv)),
                      make("COMM", text("engmood\0c\0"sv)), make("TXXX", text("comments x\0d\0"sv))}},
        writing_case{"rating", 4, {"rating=4"}, {make("POPM", rating_payload(196))}},
        writing_case{"rating_out_of_range",
                     4,
                     {"rating=6"},
                     {make("TXXX", text("rating\0"
                                        "6\0"sv))}},
        writing_case{"rating_as_text",
                     4,
                     {"rating=4"},
                     {make("TXXX", text("rating\0"
                                        "4\0"sv))},
                     true,
                     true},
        writing_case{
            "gain", 3, {"replaygain_track_gain=-3.00 dB"}, {make("TXXX", text("replaygain_track_gain\0-3.00 dB\0"sv))}},
        writing_case{"free_text_in_map_order",
                     3,
                     {"zoo=1", "Bar=2", "bar=3"},
                     {make("TXXX", text("Bar\0"
                                        "2\0"sv)),
                      make("TXXX", text("Bar\0"
                                        "3\0"sv)),
                      make("TXXX", text("zoo\0"
                                        "1\0"sv))}}),
    case_name);

// --- kept frames ---------------------------------------------------------------------------------------------------

struct keeping_case {
  const char* name;
  unsigned version;
  std::vector<frame> old_frames;
  said fields;
  std::vector<frame> frames;
};
std::ostream& operator<<(std::ostream& out, const keeping_case& c) { return out << c.name; }

class Id3v2Keeps : public testing::TestWithParam<keeping_case> {};
TEST_P(Id3v2Keeps, what_still_holds) {
  const auto& c = GetParam();
  tag made{c.old_frames, c.version};
  rebuild_frames(made, to_fields(c.fields), {c.version}, {text_encoding::eight_bit});
  EXPECT_EQ(made.frames, c.frames);
}

const auto odd_title = make("TIT2", text("t", 3));
const auto private_frame = make("PRIV", to_bytes("any"));

INSTANTIATE_TEST_SUITE_P(
    frames, Id3v2Keeps,
    testing::Values(
        keeping_case{"same_value_and_unknown", 4, {private_frame, odd_title}, {"title=t"}, {private_frame, odd_title}},
        keeping_case{
            "changed_value", 4, {odd_title, private_frame}, {"title=u"}, {private_frame, make("TIT2", text("u\0"sv))}},
        keeping_case{"removed_field", 4, {odd_title, private_frame}, {}, {private_frame}},
        keeping_case{"unreadable", 4, {make("TALB", text("x", 7))}, {}, {}},
        keeping_case{
            "not_as_its_encoding_says", 4, {make("TIT2", text("\xE9"))}, {"title=é"}, {make("TIT2", text("?\0"sv))}},
        keeping_case{
            "track_is_made_anew", 4, {make("TRCK", text("3", 3))}, {"tracknumber=3"}, {make("TRCK", text("3\0"sv))}},
        keeping_case{"gain_is_made_anew", 4, {make("TXXX", text("replaygain_track_gain\0abc"sv))}, {}, {}},
        keeping_case{
            "numbered_names_go", 4, {make("TXXX", text("foo[1]\0a"sv))}, {"foo=a"}, {make("TXXX", text("foo\0a\0"sv))}},
        keeping_case{"year_in_v4_becomes_a_date",
                     4,
                     {make("TYER", text("2001"))},
                     {"date=2001"},
                     {make("TDRC", text("2001\0"sv))}},
        keeping_case{"year_with_day",
                     3,
                     {make("TYER", text("2001")), make("TDAT", text("0302"))},
                     {"date=2001-02-03"},
                     {make("TYER", text("2001")), make("TDAT", text("0302"))}},
        keeping_case{"comments_together",
                     4,
                     {comment("\0a"sv), make("TIT2", text("old")), comment("\0b"sv)},
                     {"comment=a", "comment=b", "title=new"},
                     {comment("\0a"sv), comment("\0b"sv), make("TIT2", text("new\0"sv))}},
        keeping_case{"comments_in_another_order",
                     4,
                     {comment("\0a"sv), comment("\0b"sv)},
                     {"comment=b", "comment=a"},
                     {make("COMM", text("eng\0b\0"sv)), make("COMM", text("eng\0a\0"sv))}},
        // Nobody can see them, so nobody can want them gone.
        keeping_case{"names_that_no_field_can_have",
                     4,
                     {make("TXXX", text("Gr\xF6\xDF"
                                        "e\0a"sv)),
                      comment("Notiz \xFC\0b"sv), make("TXXX", text("a=b\0c"sv))},
                     {},
                     {make("TXXX", text("Gr\xF6\xDF"
                                        "e\0a"sv)),
                      comment("Notiz \xFC\0b"sv), make("TXXX", text("a=b\0c"sv))}},
        keeping_case{"an_empty_free_text_but_not_a_missing_one",
                     4,
                     {make("TXXX", text("empty\0\0"sv)), make("TXXX", text("missing\0"sv))},
                     {},
                     {make("TXXX", text("empty\0\0"sv))}},
        keeping_case{"itunes_comments", 4, {comment("iTunSMPB\0 0"sv)}, {}, {comment("iTunSMPB\0 0"sv)}},
        keeping_case{"sound_check_replaced",
                     4,
                     {comment("iTunNORM\0 1"sv)},
                     {"comment itunnorm= 2"},
                     {make("COMM", text("engiTunNORM\0 2\0"sv))}}),
    case_name);

} // namespace
} // namespace zelmora::test
