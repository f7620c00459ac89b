#include "tags/lyrics3.h"

#include "generated_info.h"
#include "tail_bytes.h"

#include "frame/memory_file.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

const bytes audio = to_bytes("audio that ends in LYRICSBEGI");

struct read_case {
  const char* name;
  bytes block;
  meta_list meta;
};
class ReadLyrics3 : public testing::TestWithParam<read_case> {};

TEST_P(ReadLyrics3, gives_fields_and_where_it_begins) {
  abort_callback_dummy abort;
  const auto file = service_new<memory_file>(audio + GetParam().block + to_bytes("behind"));
  file_info_impl info;
  std::uint64_t end = audio.size() + GetParam().block.size();
  read_lyrics3(*file, end, &info, abort);
  EXPECT_EQ(end, audio.size());
  EXPECT_EQ(list_meta(info), GetParam().meta);
  EXPECT_EQ(*info.info_get("tagtype"), "lyrics3");

  end = audio.size() + GetParam().block.size();
  read_lyrics3(*file, end, nullptr, abort);
  EXPECT_EQ(end, audio.size()) << "without a look at the fields";
}

INSTANTIATE_TEST_SUITE_P(
    cases, ReadLyrics3,
    testing::Values(
        read_case{"empty", lyrics3_bytes({}), {}},
        read_case{
            "all_that_are_used",
            lyrics3_bytes(lyrics3_field("IND", "10") + lyrics3_field("ETT", "t") + lyrics3_field("EAR", "a") +
                          lyrics3_field("EAL", "l") + lyrics3_field("INF", "i\xE9") + lyrics3_field("AUT", "nobody") +
                          lyrics3_field("LYR", "one\r\ntwo")),
            {{"title", {"t"}}, {"artist", {"a"}}, {"album", {"l"}}, {"comment", {"ié"}}, {"lyrics", {"one\r\ntwo"}}}},
        read_case{"a_size_of_zero_goes_on",
                  lyrics3_bytes(lyrics3_field("ETT", "") + lyrics3_field("EAR", "a")),
                  {{"artist", {"a"}}}},
        read_case{"a_value_ends_at_a_zero",
                  lyrics3_bytes(lyrics3_field("ETT", std::string_view("t\0x", 3)) +
                                lyrics3_field("EAR", std::string_view("\0y", 2))),
                  {{"title", {"t"}}}},
        read_case{"a_field_longer_than_the_block",
                  lyrics3_bytes(lyrics3_field("ETT", "t") + to_bytes("EAR00009short")),
                  {{"title", {"t"}}}},
        read_case{"a_size_without_digits",
                  lyrics3_bytes(lyrics3_field("ETT", "t") + to_bytes("EAR     rest of it")),
                  {{"title", {"t"}}}},
        read_case{"too_few_bytes_for_a_field",
                  lyrics3_bytes(lyrics3_field("ETT", "t") + to_bytes("EAR0000")),
                  {{"title", {"t"}}}}),
    case_name);

TEST(Lyrics3, WhatIsNoBlockIsNotFound) {
  const auto block = lyrics3_bytes(lyrics3_field("ETT", "t"));
  const auto with = [&](std::size_t at, std::string_view text) {
    auto changed = audio + block;
    std::ranges::copy(to_bytes(text), changed.begin() + static_cast<std::ptrdiff_t>(audio.size() + at));
    return changed;
  };
  const auto size_at = block.size() - 15;
  for (const auto& content :
       {bytes(14), bytes(block.end() - 15, block.end()), with(0, "l"), with(block.size() - 1, "1"),
        with(size_at, "000000"), with(size_at, "000010"), with(size_at, "000021"), with(size_at, "999999"),
        with(size_at, "\xFF\xFF\xFF\xFF\xFF\xFF")}) {
    abort_callback_dummy abort;
    const auto file = service_new<memory_file>(content);
    file_info_impl info;
    std::uint64_t end = content.size();
    EXPECT_THROW(read_lyrics3(*file, end, &info, abort), exception_tag_not_found);
    EXPECT_EQ(end, content.size());
    EXPECT_EQ(info.meta_get_count() + info.info_get_count(), 0u);
  }
}

} // namespace
} // namespace zelmora::test
