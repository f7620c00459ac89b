#include "id3v2_bytes.h"
#include "tags/id3v2_text.h"

#include <gtest/gtest.h>
#include <zlib.h>

namespace zelmora::test {
namespace {

using namespace id3parser;
using std::string_view_literals::operator""sv;

std::string_view as_text(const bytes& payload) {
  return {reinterpret_cast<const char*>(payload.data()), payload.size()};
}

bytes deflated(const bytes& plain) {
  uLongf size = ::compressBound(plain.size());
  bytes result(size);
  ::compress(reinterpret_cast<Bytef*>(result.data()), &size, reinterpret_cast<const Bytef*>(plain.data()),
             plain.size());
  result.resize(size);
  return result;
}

const bytes title = text("Title");

struct read_case {
  const char* name;
  bytes data;
  std::vector<frame> frames;
};
std::ostream& operator<<(std::ostream& out, const read_case& c) { return out << c.name; }

class Id3v2Reads : public testing::TestWithParam<read_case> {};
TEST_P(Id3v2Reads, the_frames) {
  // What follows a tag is none of its affair.
  EXPECT_EQ(parse(GetParam().data + to_bytes({0xFF, 0xFB, 0x90, 0x64})).frames, GetParam().frames);
}

const frame tit2{fourcc("TIT2"), title};
const frame talb{fourcc("TALB"), text("Album")};
const bytes next_v3 = frame_v3("TALB", text("Album"));
const bytes next_v4 = frame_v4("TALB", text("Album"));
const bytes sync_payload = text("a\xFF\xE0z\xFF\0y"sv);
const bytes sync_escaped = text("a\xFF\0\xE0z\xFF\0\0y"sv);

INSTANTIATE_TEST_SUITE_P(
    tags, Id3v2Reads,
    testing::Values(
        read_case{"v2", make_tag(2, frame_v2("TT2", title) + frame_v2("TAL", text("Album")) + bytes(20)), {tit2, talb}},
        read_case{"v2_empty_frame", make_tag(2, frame_v2("TT2", {}) + frame_v2("TAL", text("Album"))), {talb}},
        read_case{"v2_unknown_name", make_tag(2, frame_v2("CRA", title)), {{0, title}}},
        read_case{"v2_picture",
                  make_tag(2, frame_v2("PIC", text("JPG\3\0\xFF\xD8"sv))),
                  {{fourcc("APIC"), text("image/jpeg\0\3\0\xFF\xD8"sv)}}},
        read_case{"v2_unsynchronised",
                  make_tag(2, frame_v2("TT2", text("a\xFF")) + to_bytes({0}), 0x80),
                  {{fourcc("TIT2"), text("a\xFF")}}},
        read_case{"v3", make_tag(3, frame_v3("TIT2", title) + next_v3 + bytes(7)), {tit2, talb}},
        read_case{
            "v3_name_of_v2", make_tag(3, frame_v3("TT2\0"sv, title) + frame_v3("XYZ\0"sv, title)), {tit2, {0, title}}},
        read_case{"v3_encrypted_or_grouped",
                  make_tag(3, frame_v3("TIT2", title, 0, 0x40) + frame_v3("TIT2", title, 0, 0x20) + next_v3),
                  {talb}},
        read_case{"v3_status_flags_are_no_matter", make_tag(3, frame_v3("TIT2", title, 0xE0, 0)), {tit2}},
        read_case{"v3_compressed",
                  make_tag(3, frame_v3("TIT2", be_size(title.size()) + deflated(title), 0, 0x80) + next_v3),
                  {tit2, talb}},
        read_case{"v3_extended_header", make_tag(3, be_size(6) + bytes(6) + frame_v3("TIT2", title), 0x40), {tit2}},
        read_case{"v3_unsynchronised_as_a_whole",
                  make_tag(3, to_bytes("TIT2") + be_size(sync_payload.size()) + bytes(2) + sync_escaped, 0x80),
                  {{fourcc("TIT2"), sync_payload}}},
        read_case{"v4", make_tag(4, frame_v4("TIT2", title) + next_v4), {tit2, talb}},
        read_case{"v4_long_frame",
                  make_tag(4, frame_v4("TIT2", text(std::string(300, 'x')))),
                  {{fourcc("TIT2"), text(std::string(300, 'x'))}}},
        read_case{"v4_header_flag_alone_changes_nothing",
                  make_tag(4, frame_v4("TIT2", text("a\xFF\0b"sv)), 0x80),
                  {{fourcc("TIT2"), text("a\xFF\0b"sv)}}},
        read_case{"v4_frame_unsynchronised",
                  make_tag(4, frame_v4("TIT2", sync_escaped, 0, 0x02) + next_v4),
                  {{fourcc("TIT2"), sync_payload}, talb}},
        read_case{"v4_length_indicator", make_tag(4, frame_v4("TIT2", synchsafe_size(6) + title, 0, 0x01)), {tit2}},
        read_case{"v4_compressed",
                  make_tag(4, frame_v4("TIT2", synchsafe_size(title.size()) + deflated(title), 0, 0x09)),
                  {tit2}},
        read_case{"v4_preservation_flags", make_tag(4, frame_v4("TIT2", title, 0x40) + next_v4), {talb}},
        read_case{"v4_grouped", make_tag(4, frame_v4("TIT2", title, 0, 0x40) + next_v4), {talb}},
        read_case{
            "v4_extended_header", make_tag(4, synchsafe_size(6) + bytes(2) + frame_v4("TIT2", title), 0x40), {tit2}},
        read_case{"nothing_but_padding", make_tag(4, bytes(64)), {}}),
    case_name);

struct damaged_case {
  const char* name;
  bytes data;
};
std::ostream& operator<<(std::ostream& out, const damaged_case& c) { return out << c.name; }

class Id3v2Refuses : public testing::TestWithParam<damaged_case> {};
TEST_P(Id3v2Refuses, the_whole_tag) { EXPECT_THROW(parse(GetParam().data), parseError); }

INSTANTIATE_TEST_SUITE_P(
    damage, Id3v2Refuses,
    testing::Values(
        damaged_case{"no_magic", to_bytes("TAG") + bytes(20)}, damaged_case{"version_1", make_tag(1, bytes(10))},
        damaged_case{"version_5", make_tag(5, bytes(10))}, damaged_case{"v2_compressed", make_tag(2, bytes(10), 0x40)},
        damaged_case{"v3_unknown_flag", make_tag(3, bytes(10), 0x10)},
        damaged_case{"v4_unknown_flag", make_tag(4, bytes(10), 0x08)},
        damaged_case{"size_not_synchsafe", to_bytes("ID3\3") + bytes(2) + to_bytes({0, 0, 0, 0x80}) + bytes(200)},
        damaged_case{"shorter_than_it_says", [] {
                       auto tag = make_tag(3, frame_v3("TIT2", title));
                       tag.pop_back();
                       return tag;
                     }()},
        damaged_case{"frame_past_the_end", make_tag(3, to_bytes("TIT2") + be_size(9) + bytes(2) + title)},
        damaged_case{"frame_header_cut", make_tag(3, frame_v3("TIT2", title) + to_bytes("TALB"))},
        damaged_case{"v4_frame_size_not_synchsafe", make_tag(4, to_bytes("TIT2") + be_size(200) + bytes(202))},
        damaged_case{"v4_extended_header_too_small", make_tag(4, synchsafe_size(5) + bytes(1), 0x40)},
        damaged_case{"v3_extended_header_past_the_end", make_tag(3, be_size(100) + bytes(6), 0x40)},
        damaged_case{"v3_no_room_for_the_uncompressed_size", make_tag(3, frame_v3("TIT2", bytes(3), 0, 0x80))},
        damaged_case{"not_deflated", make_tag(3, frame_v3("TIT2", be_size(9) + title, 0, 0x80))},
        damaged_case{"deflated_and_cut", [] {
                       auto data = deflated(title);
                       data.resize(data.size() - 6);
                       return make_tag(3, frame_v3("TIT2", be_size(6) + data, 0, 0x80));
                     }()},
        damaged_case{"deflated_nothing", make_tag(4, frame_v4("TIT2", synchsafe_size(0), 0, 0x09))},
        damaged_case{"v3_false_sync", make_tag(3, frame_v3("TIT2", text("a\xFF\xE0z")), 0x80)},
        damaged_case{"v4_false_sync", make_tag(4, frame_v4("TIT2", text("a\xFF\xE0z"), 0, 0x02))},
        damaged_case{"v2_picture_too_small", make_tag(2, frame_v2("PIC", to_bytes({0, 1, 2})))},
        damaged_case{"v2_picture_in_utf8", make_tag(2, frame_v2("PIC", text("JPG\3\0x"sv, 3)))}),
    case_name);

TEST(Id3v2, frame_size_has_a_limit) {
  const auto with_size = [](std::size_t size) { return make_tag(3, frame_v3("TIT2", bytes(size))); };
  EXPECT_EQ(parse(with_size(frame_size_limit - 1)).frames.at(0).payload.size(), frame_size_limit - 1);
  EXPECT_THROW(parse(with_size(frame_size_limit)), parseError);
}

TEST(Id3v2, a_bomb_inflates_to_no_more_than_its_allowance) {
  const auto bomb = deflated(bytes(inflation_allowance * 2));
  EXPECT_THROW(parse(make_tag(3, frame_v3("TIT2", be_size(9) + bomb, 0, 0x80))), parseError);
  // The allowance is the tag's, not each frame's.
  const auto half = deflated(bytes(inflation_allowance * 3 / 4));
  const auto one = frame_v3("TIT2", be_size(9) + half, 0, 0x80);
  EXPECT_EQ(parse(make_tag(3, one)).frames.size(), 1u);
  EXPECT_THROW(parse(make_tag(3, one + one)), parseError);
}

TEST(Id3v2, a_filter_leaves_frames_out) {
  const auto data = make_tag(3, frame_v3("TIT2", title) + next_v3);
  const auto found = parse(data, [](std::uint32_t id) { return id == fourcc("TALB"); });
  EXPECT_EQ(found.frames, std::vector{talb});
}

// --- writing ---------------------------------------------------------------------------------------------------------

TEST(Id3v2, what_is_written_reads_back) {
  for (const unsigned version : {3u, 4u}) {
    const tag made{{tit2,
                    talb,
                    {fourcc("PRIV"), to_bytes({0xFF, 0xE0, 0xFF, 0, 0xFF, 0xFF, 0xFF})},
                    {fourcc("GEOB"), to_bytes({0xFF, 0, 1})},
                    {fourcc("TXXX"), text(std::string(200, 'y'))}},
                   version};
    const auto written = serialize(made, 0, usual_padding_limit);
    const auto found = parse(written);
    EXPECT_EQ(found.version, version);
    EXPECT_EQ(found.frames, made.frames);
    if (version == 4) {
      // No frame of a 2.4 tag may hold what looks like an MPEG frame.
      for (std::size_t i = 10; i + 1 < written.size(); ++i)
        EXPECT_FALSE(written[i] == std::byte{0xFF} && (written[i + 1] & std::byte{0xE0}) == std::byte{0xE0}) << i;
    }
  }
  EXPECT_THROW(serialize({{tit2}, 2}, 0, 0), writeError);
  EXPECT_THROW(serialize({{{fourcc("TIT2"), bytes(synchsafe_limit)}}, 3}, 0, 0), writeError);
}

// The header says that frames are unsynchronised, and readers that take it at its word undo that in each of them.
TEST(Id3v2, a_zero_behind_all_ones_is_not_taken_for_one_of_ours) {
  for (const auto& payload : {to_bytes({0xFF, 0, 1}), to_bytes({0xFF}), to_bytes({1, 0xFF, 0x7F})}) {
    auto data = serialize({{{fourcc("PRIV"), payload}}, 4}, 0, 0);
    EXPECT_EQ(parse(data).frames.at(0).payload, payload);
    const auto body = std::span(data).last(data.size() - 20 - ((data[19] & std::byte{1}) != std::byte{0} ? 4 : 0));
    EXPECT_EQ(undo_unsynchronisation(body).data, payload);
  }
}

TEST(Id3v2, what_could_not_be_read_back_is_not_written) {
  for (const unsigned version : {3u, 4u}) {
    EXPECT_NO_THROW(parse(serialize({{{fourcc("PRIV"), bytes(frame_size_limit - 1)}}, version}, 0, 0)));
    EXPECT_THROW(serialize({{{fourcc("PRIV"), bytes(frame_size_limit)}}, version}, 0, 0), writeError);
  }
  const std::vector<std::string> many(terminator_limit + 1, "a");
  EXPECT_EQ(count_strings(make_text_frame(0, text_encoding::utf8, std::span(many).first(terminator_limit))),
            terminator_limit);
  EXPECT_THROW(make_text_frame(0, text_encoding::utf8, many), writeError);
}

struct padding_case {
  const char* name;
  std::size_t payload;
  std::uint64_t old_size;
  std::size_t limit;
  std::size_t size;
};
class Id3v2Padding : public testing::TestWithParam<padding_case> {};
TEST_P(Id3v2Padding, follows_the_old_size) {
  const auto& c = GetParam();
  const tag made{{{fourcc("TIT2"), bytes(c.payload - 20, std::byte{'x'})}}, 3};
  const auto written = serialize(made, c.old_size, c.limit);
  EXPECT_EQ(written.size(), c.size);
  EXPECT_EQ(parse(written).frames, made.frames);
}
INSTANTIATE_TEST_SUITE_P(
    sizes, Id3v2Padding,
    testing::Values(padding_case{"new_tag", 1000, 0, 16384, 1000 + 2048}, padding_case{"fits", 2990, 3000, 16384, 3000},
                    padding_case{"fits_exactly", 3000, 3000, 16384, 3000},
                    padding_case{"too_large", 3001, 3000, 16384, 3001 + 2048},
                    padding_case{"as_much_to_spare_as_allowed", 1000, 1000 + 16384, 16384, 1000 + 16384},
                    padding_case{"too_much_to_spare", 1000, 21000, 16384, 1000 + 2048},
                    padding_case{"off_and_exact", 3000, 3000, 0, 3000},
                    padding_case{"off_and_smaller", 2999, 3000, 0, 2999},
                    padding_case{"small_limit", 1000, 0, 100, 1100}),
    case_name);

// --- text ----------------------------------------------------------------------------------------------------------

struct text_case {
  const char* name;
  bytes payload;
  std::vector<std::string> strings;
  bool is_strict = true; ///< reads the same under the strict rule
};
std::ostream& operator<<(std::ostream& out, const text_case& c) { return out << c.name; }

std::vector<std::string> all_strings(string_cursor cursor) {
  std::vector<std::string> result;
  while (auto text = cursor.next()) result.push_back(std::move(*text));
  return result;
}

class Id3v2Text : public testing::TestWithParam<text_case> {};
TEST_P(Id3v2Text, decodes) {
  const frame source{fourcc("TPE1"), GetParam().payload};
  EXPECT_EQ(all_strings(text_of(source, strictness::lenient)), GetParam().strings);
  if (GetParam().is_strict)
    EXPECT_EQ(all_strings(text_of(source, strictness::strict)), GetParam().strings);
  else
    EXPECT_THROW(all_strings(text_of(source, strictness::strict)), parseError);
}
INSTANTIATE_TEST_SUITE_P(
    encodings, Id3v2Text,
    testing::Values(text_case{"none", to_bytes({3}), {}}, text_case{"one", text("a"), {"a"}},
                    text_case{"terminated", text("a\0"sv), {"a"}},
                    text_case{"several", text("a\0b\0c"sv, 3), {"a", "b", "c"}},
                    text_case{"runs_of_terminators", text("a\0\0\0b\0\0"sv, 3), {"a", "b"}},
                    text_case{"first_may_be_empty", text("\0b"sv, 3), {"", "b"}},
                    text_case{"code_page", text("\xE9"), {"é"}, false}, text_case{"utf8", text("é日", 3), {"é日"}},
                    text_case{"not_utf8", text("\xE9", 3), {"é"}, false},
                    text_case{"utf16_little",
                              text("\xFF\xFE"
                                   "a\0\xE9\0"sv,
                                   1),
                              {"aé"}},
                    text_case{"utf16_big", text("\xFE\xFF\0a\0\xE9"sv, 1), {"aé"}},
                    text_case{"utf16_no_mark", text("a\0b\0"sv, 1), {"ab"}, false},
                    text_case{"utf16_two",
                              text("\xFF\xFE"
                                   "a\0\0\0\xFE\xFF\0b\0\0"sv,
                                   1),
                              {"a", "b"}},
                    text_case{"utf16_odd_last_byte",
                              text("\xFF\xFE"
                                   "a\0b"sv,
                                   1),
                              {"a"}},
                    text_case{"utf16_pair", text("\xFF\xFE\x3D\xD8\x00\xDE"sv, 1), {"😀"}},
                    text_case{"utf16_be", text("\0a\0\0\0b"sv, 2), {"a", "b"}},
                    // A zero byte in the middle of a unit ends nothing.
                    text_case{"utf16_zero_bytes", text("\xFF\xFE\0\x01\x01\0"sv, 1), {"\u0100\u0001"}}),
    case_name);

TEST(Id3v2, text_has_a_known_encoding_and_so_many_strings) {
  EXPECT_THROW(text_of({0, {}}, strictness::lenient), parseError);
  EXPECT_THROW(text_of({0, text("a", 4)}, strictness::lenient), parseError);
  EXPECT_THROW(described_text_of({0, text("en")}, strictness::lenient), parseError);
  std::string many;
  for (std::size_t i = 0; i < terminator_limit; ++i) many += "a\0"sv;
  EXPECT_EQ(count_strings({0, text(many + "z")}), terminator_limit + 1);
  EXPECT_EQ(count_strings({0, text("\0\0"sv)}), 2u);
  EXPECT_THROW(text_of({0, text(many + std::string(1, '\0'))}, strictness::lenient), parseError);
}

TEST(Id3v2, text_is_written_as_its_encoding_has_it) {
  const std::vector<std::string> strings{"aé", "b"};
  const auto written = [&](text_encoding encoding) {
    return make_text_frame(fourcc("TPE1"), encoding, strings).payload;
  };
  EXPECT_EQ(as_text(written(text_encoding::eight_bit)), "\0a?\0b\0"sv);
  EXPECT_EQ(as_text(written(text_encoding::utf16_bom)), "\1\xFF\xFE"
                                                        "a\0\xE9\0\0\0\xFF\xFE"
                                                        "b\0\0\0"sv);
  EXPECT_EQ(as_text(written(text_encoding::utf8)), "\3aé\0b\0"sv);
  EXPECT_THROW(written(text_encoding::utf16_be), writeError);
  EXPECT_EQ(as_text(make_described_frame(fourcc("COMM"), text_encoding::utf8, "d", "v").payload), "\3engd\0v\0"sv);
}

TEST(Id3v2, pictures_are_read_and_written) {
  const auto made = make_picture_frame("image/png", 3, to_bytes("data"));
  EXPECT_EQ(as_text(made.payload), "\0image/png\0\3\0data"sv);
  const auto found = parse_picture(made);
  EXPECT_EQ(found.mime, "image/png");
  EXPECT_EQ(found.type, 3u);
  EXPECT_EQ(as_text({found.data.begin(), found.data.end()}), "data");
  // A wide description ends at a zero unit, not at two zero bytes anywhere.
  const frame wide_frame{0, text("image/png\0\x15\xFF\xFE\0\x01\0\0data"sv, 1)};
  const auto wide = parse_picture(wide_frame);
  EXPECT_EQ(as_text({wide.data.begin(), wide.data.end()}), "data");
  EXPECT_EQ(wide.type, 0u);
  for (const auto damaged :
       {"image/png"sv, "image/png\0"sv, "image/png\0\3"sv, "image/png\0\3desc"sv, "image/png\0\3\0"sv})
    EXPECT_THROW(parse_picture({0, text(damaged)}), parseError) << damaged.size();
}

TEST(Id3v2, a_change_of_version_keeps_what_can_be_carried_over) {
  tag source{{tit2,
              {fourcc("COMM"), text("eng\0é"sv, 3)},
              {fourcc("USLT"), text("deuabc"sv, 0)},
              {fourcc("APIC"), text("x", 3)},
              {fourcc("COMM"), text("en", 3)}},
             4};
  set_version(source, 3);
  EXPECT_EQ(source.version, 3u);
  const std::vector<frame> wanted{{fourcc("COMM"), text("eng\xFF\xFE\0\0\xFF\xFE\xE9\0\0\0"sv, 1)},
                                  {fourcc("USLT"), text("deuabc"sv, 0)},
                                  {fourcc("APIC"), text("x", 3)}};
  EXPECT_EQ(source.frames, wanted);
}

} // namespace
} // namespace zelmora::test
