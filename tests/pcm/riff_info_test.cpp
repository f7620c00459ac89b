// The INFO list, bytes to fields and back.
#include "pcm/riff_info.h"

#include "pcm_test_support.h"
#include "riff_bytes.h"

namespace zelmora::test {
namespace {

using namespace std::string_literals;
using namespace zelmora_io;

std::vector<riff_info_item> parse(const std::string& items, std::uint64_t behind = 0) {
  attach_own_services();
  return parse_riff_info(as_byte_span("INFO" + items), behind);
}
std::string items_text(const std::vector<riff_info_item>& items) {
  const auto payload = to_text(write_riff_info(items));
  return payload.empty() ? "" : payload.substr(4);
}
std::string read(const std::string& items) {
  file_info_impl info;
  read_riff_info(parse(items), info);
  return meta_text(info);
}

TEST(riff_info, every_code_has_its_field_both_ways) {
  const std::pair<std::string, std::string> rows[]{
      {"IPRD", "album"},    {"IART", "artist"},   {"IGNR", "genre"},  {"ICMT", "comment"}, {"ICOP", "copyright"},
      {"IENG", "engineer"}, {"ILNG", "language"}, {"INAM", "title"},  {"IWRI", "writer"},  {"ITRK", "tracknumber"},
      {"ICNT", "country"},  {"IMED", "medium"},   {"ISRC", "source"}, {"ICRD", "date"},
  };
  for (const auto& [code, field] : rows) {
    EXPECT_EQ(read(chunk(code, "a text\0"s)), field + "=a text");
    EXPECT_EQ(items_text(update_riff_info({}, make_info(field + "=a text"))), chunk(code, "a text\0"s));
  }
}

struct read_case {
  const char* name;
  std::string items;
  const char* expected;
};
const read_case read_cases[]{
    {"no_terminator", chunk("INAM", "Title"), "title=Title"},
    {"text_ends_at_the_first_zero", chunk("INAM", "Title\0rest\0"s), "title=Title"},
    {"odd_size_has_a_pad_byte", chunk("INAM", "Odd") + chunk("IART", "A"), "artist=A; title=Odd"},
    {"windows_1252", chunk("IART", "Bj\xF6rk\0"s), "artist=Bj\xC3\xB6rk"},
    {"empty_texts_are_no_fields", chunk("INAM", "\0"s) + chunk("IART", ""), ""},
    {"a_code_twice_has_two_values", chunk("IART", "A\0"s) + chunk("IART", "B\0"s), "artist=A|B"},
    {"codes_have_a_case", chunk("inam", "Title\0"s), ""},
    {"others_are_no_fields", chunk("ISFT", "Lavf\0"s) + chunk("IARL", "x\0"s), ""},
    {"a_stub_behind_the_last_one", chunk("INAM", "T\0"s) + "IART\1\0\0"s, "title=T"},
};

TEST(riff_info, is_read) {
  for (const auto& row : read_cases) EXPECT_EQ(read(row.items), row.expected) << row.name;
}

TEST(riff_info, a_text_that_passes_the_file_is_a_truncation_one_that_passes_the_list_ends_there) {
  const auto claims_ten = "INAM" + le32_text(10) + "Tit";
  EXPECT_THROW(parse(claims_ten, 6), exception_io_data_truncation);
  file_info_impl info;
  const auto items = parse(claims_ten, 7);
  read_riff_info(items, info);
  EXPECT_EQ(meta_text(info), "title=Tit");
  // Kept, it claims no more than it has: what is written behind it would be part of it.
  EXPECT_EQ(items_text(update_riff_info(items, make_info("title=Tit; album=A"))),
            chunk("INAM", "Tit") + chunk("IPRD", "A\0"s));
  EXPECT_THROW(parse("INAM\xFF\xFF\xFF\xFF"s, 0xFFFF), exception_io_data_truncation);
}

struct update_case {
  const char* name;
  std::string old;
  const char* info;
  std::string expected;
};
const update_case update_cases[]{
    {"several_values_are_joined", "", "artist=A|B|C", chunk("IART", "A, B, C\0"s)},
    {"even_padding", "", "title=Odd!", chunk("INAM", "Odd!\0"s)},
    {"us_ascii", "", "artist=Bj\xC3\xB6rk", chunk("IART", "Bj?rk\0"s)},
    {"fields_without_a_code_are_left_out", "", "album artist=A; totaltracks=9", ""},
    {"unknown_ones_stay_in_their_place", chunk("ISFT", "odd") + chunk("INAM", "Old\0"s) + chunk("ITCH", "x\0"s),
     "title=New", chunk("ISFT", "odd") + chunk("INAM", "New\0"s) + chunk("ITCH", "x\0"s)},
    {"what_says_the_same_keeps_its_bytes", chunk("IART", "Bj\xF6rk") + chunk("INAM", "Old\0"s),
     "artist=Bj\xC3\xB6rk; title=New", chunk("IART", "Bj\xF6rk") + chunk("INAM", "New\0"s)},
    {"removed_fields_go", chunk("INAM", "Old\0"s) + chunk("IART", "A\0"s), "artist=A", chunk("IART", "A\0"s)},
    {"a_code_twice_becomes_one", chunk("IART", "A\0"s) + chunk("ISFT", "x\0"s) + chunk("IART", "B\0"s), "artist=C",
     chunk("IART", "C\0"s) + chunk("ISFT", "x\0"s)},
    {"a_code_twice_stays_when_both_hold", chunk("IART", "A\0"s) + chunk("IART", "B\0"s), "artist=A|B",
     chunk("IART", "A\0"s) + chunk("IART", "B\0"s)},
    {"names_have_no_case", chunk("INAM", "T\0"s), "TITLE=T", chunk("INAM", "T\0"s)},
};

TEST(riff_info, is_updated) {
  for (const auto& row : update_cases)
    EXPECT_EQ(items_text(update_riff_info(parse(row.old), make_info(row.info))), row.expected) << row.name;
}

struct holds_case {
  const char* name;
  const char* info;
  bool expected;
};

TEST(riff_info, says_whether_it_holds_all) {
  for (const auto& row :
       {holds_case{"ascii", "artist=A; title=T", true}, holds_case{"not_ascii", "artist=\xC3\x84", false},
        holds_case{"several_values", "artist=A|B", false}, holds_case{"no_code", "mood=calm", false},
        holds_case{"no_code_beside_others", "artist=A; mood=calm", false}, holds_case{"nothing", "", true}}) {
    const auto info = make_info(row.info);
    EXPECT_EQ(riff_info_holds(update_riff_info({}, info), info), row.expected) << row.name;
  }
  auto gains = make_info("artist=A");
  gains.set_replaygain({.track_gain = -3.0f});
  EXPECT_FALSE(riff_info_holds(update_riff_info({}, gains), gains));
}

TEST(riff_info, hostile_lists_cost_no_more_than_their_size) {
  std::string items;
  while (items.size() < max_info_list - 100) items += chunk("IART", "A\0"s);
  const auto parsed = parse(items);
  EXPECT_EQ(items_text(update_riff_info(parsed, make_info("artist=B"))), chunk("IART", "B\0"s));
}

} // namespace
} // namespace zelmora::test
