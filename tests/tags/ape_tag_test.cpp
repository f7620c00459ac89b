#include "tags/ape_tag.h"

#include "support/faulty_file.h"
#include "tail_bytes.h"

#include "frame/memory_file.h"

#include <gtest/gtest.h>

namespace zelmora::test {
namespace {

using zelmora_io::exception_io_data;

std::string keys_of(const std::vector<ape_item>& items) {
  std::string result;
  for (const auto& item : items) result += item.key + "=" + item.value + ";";
  return result;
}

std::vector<ape_item> parse(const bytes& items, std::uint32_t count = 99, std::uint32_t version = ape_version_2) {
  return parse_ape_items(version, count, items);
}

TEST(ApeItems, FlagsAreThoseOfVersion2) {
  const auto data = ape_item_bytes("a", "1", 0) + ape_item_bytes("b", "2", 1) + ape_item_bytes("c", "3", 2) +
                    ape_item_bytes("d", "4", 5) + ape_item_bytes("e", "5", 0xFFFFFFFE);
  using enum ape_item_type;
  EXPECT_EQ(parse(data), (std::vector<ape_item>{{false, text, "a", "1"},
                                                {true, text, "b", "2"},
                                                {false, binary, "c", "3"},
                                                {true, external, "d", "4"},
                                                {false, reserved, "e", "5"}}));
  for (const auto& item : parse(data, 99, ape_version_1)) EXPECT_TRUE(item.is_writable_text()) << item.key;
  EXPECT_EQ(keys_of(parse_ape_items(ape_version_2, 99, data, ape_items_wanted::text)), "a=1;b=2;");
}

struct stop_case {
  const char* name;
  bytes rest;
};
class ApeItemsEnd : public testing::TestWithParam<stop_case> {};

TEST_P(ApeItemsEnd, silently_at_what_does_not_fit) {
  EXPECT_EQ(keys_of(parse(ape_item_bytes("a", "1") + GetParam().rest)), "a=1;");
}

bytes item_header(std::uint64_t size) { return le_size(size) + le_size(0); }

INSTANTIATE_TEST_SUITE_P(
    cases, ApeItemsEnd,
    testing::Values(
        stop_case{"nothing_more", {}}, stop_case{"seven_bytes", bytes(7)},
        stop_case{"a_key_without_an_end", item_header(0) + to_bytes("key")}, stop_case{"no_key", item_header(0)},
        stop_case{"a_value_past_the_end", item_header(2) + to_bytes("b") + bytes(1) + to_bytes("2")},
        stop_case{"a_value_of_four_gigabytes", item_header(0xFFFFFFFF) + to_bytes("b") + bytes(10)},
        stop_case{"a_value_above_the_limit", item_header(max_ape_value + 1) + to_bytes("b") + bytes(max_ape_value + 2)},
        stop_case{"a_key_above_the_limit", item_header(0) + bytes(max_ape_key + 1, std::byte('k')) + bytes(1)}),
    case_name);

TEST(ApeItems, LimitsThemselvesAreReached) {
  const auto key = std::string(max_ape_key, 'k');
  const auto items = parse(item_header(max_ape_value) + to_bytes(key) + bytes(1 + max_ape_value));
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].key, key);
  EXPECT_EQ(items[0].value.size(), max_ape_value);
}

TEST(ApeItems, CountIsAnUpperLimit) {
  const auto data = ape_item_bytes("a", "1") + ape_item_bytes("", "2") + ape_item_bytes("c", "");
  EXPECT_EQ(keys_of(parse(data, 5)), "a=1;=2;c=;") << "an empty key is an item";
  EXPECT_EQ(keys_of(parse(data, 1)), "a=1;");
  EXPECT_EQ(keys_of(parse(data, 0)), "");
}

TEST(ApeItems, ManyAreLinear) {
  bytes data;
  const auto item = ape_item_bytes("k", "v");
  for (int i = 0; i < 100'000; ++i) data.insert(data.end(), item.begin(), item.end());
  EXPECT_EQ(parse(data, 0xFFFFFFFF).size(), 100'000u);
}

TEST(ApeFooter, GivesTheWholeSize) {
  const auto footer = [](std::uint64_t size, unsigned flags, unsigned version = 2000) {
    return ape_tag_size(ape_edge(size, 0, flags, version));
  };
  EXPECT_EQ(footer(32, 0), 32u);
  EXPECT_EQ(footer(32, ape_footer_flags), 64u);
  EXPECT_EQ(footer(100, ape_footer_flags, 1000), 132u);
  EXPECT_EQ(footer(31, 0), 0u);
  EXPECT_EQ(footer(32, 0, 1999), 0u);
  EXPECT_EQ(footer(0xFFFFFFDF, ape_footer_flags), 0xFFFFFFFFu);
  EXPECT_EQ(footer(0xFFFFFFE0, 0), 0u) << "with a header it would pass 32 bits";
  EXPECT_EQ(ape_tag_size(bytes(32)), 0u);
  EXPECT_EQ(ape_tag_size(bytes(31)), 0u);
}

class ReadApeTag : public testing::Test {
 protected:
  abort_callback_dummy abort;
  const bytes items = ape_item_bytes("Title", "t") + ape_item_bytes("Cover Art (Front)", "x", 2);

  std::uint64_t end = 0;
  ape_tag read(const bytes& content, ape_items_wanted wanted = ape_items_wanted::all) {
    const auto file = service_new<memory_file>(content);
    end = content.size();
    return read_ape_tag(*file, end, abort, wanted);
  }
};

TEST_F(ReadApeTag, WithAndWithoutAHeader) {
  const auto bare = items + ape_edge(items.size() + 32, 2, 0, 1000);
  for (const auto& [tag, version] : {std::pair(ape_bytes(items, 2), 2000u), std::pair(bare, 1000u)}) {
    const auto found = read(bytes(10) + tag);
    EXPECT_EQ(end, 10u);
    EXPECT_EQ(found.version, version);
    EXPECT_EQ(keys_of(found.items), "Title=t;Cover Art (Front)=x;");
    EXPECT_EQ(parse_ape_tag(tag).items, found.items);
    const auto file = service_new<memory_file>(bytes(10) + tag);
    end = 10 + tag.size();
    EXPECT_EQ(skip_ape_tag(*file, end, abort), version);
    EXPECT_EQ(end, 10u);
  }
}

TEST_F(ReadApeTag, WhatCanNotBeRightIsTold) {
  const auto whole = ape_bytes(items, 2);
  EXPECT_THROW(read(bytes(31)), exception_tag_not_found);
  EXPECT_THROW(read(bytes(whole.begin(), whole.end() - 1)), exception_tag_not_found);
  // The header may be anything, as only the footer counts; but it must have had room.
  EXPECT_NO_THROW(read(bytes(32) + bytes(whole.begin() + 32, whole.end())));
  for (const auto& damaged :
       {bytes(whole.begin() + 1, whole.end()), bytes(whole.begin() + 33, whole.end()), items + ape_edge(31, 2, 0),
        items + ape_edge(32, 2, 0, 3000), items + ape_edge(0xFFFFFFF0, 2, 0)}) {
    try {
      read(damaged);
      ADD_FAILURE();
    } catch (const exception_tag_not_found&) {
      ADD_FAILURE() << "a footer is there";
    } catch (const exception_io_data&) {
    }
    EXPECT_EQ(end, damaged.size());
    EXPECT_THROW(parse_ape_tag(damaged), exception_io_data);
  }
}

// A tag of pictures is megabytes; what describes the track is not.
TEST_F(ReadApeTag, PicturesAreNotReadForTheText) {
  const std::string picture(3'000'000, 'p');
  const auto tag = ape_bytes(ape_item_bytes("Title", "t") + ape_item_bytes("Cover Art (Front)", picture, 2) +
                                 ape_item_bytes("Artist", std::string(70'000, 'a')) + ape_item_bytes("Album", "l"),
                             4);
  auto count = std::make_shared<operation_count>();
  const auto file = make_faulty_file(service_new<memory_file>(tag), {}, count);
  end = tag.size();
  const auto found = read_ape_tag(*file, end, abort, ape_items_wanted::text);
  EXPECT_EQ(keys_of(found.items), "Title=t;Artist=" + std::string(70'000, 'a') + ";Album=l;");
  EXPECT_EQ(end, 0u);
  EXPECT_LT(count->bytes_read, 100'000u);
  EXPECT_EQ(read(tag).items.size(), 4u);
}

TEST_F(ReadApeTag, BothRoadsStopAtTheSameItem) {
  const auto filler = ape_item_bytes("Cover Art (Back)", std::string(70'000, 'p'), 2);
  for (const auto& rest :
       {bytes(7), item_header(9) + to_bytes("k") + bytes(3), item_header(0) + to_bytes("k"),
        item_header(max_ape_value + 1) + bytes(9), item_header(0) + bytes(max_ape_key + 1, std::byte('k'))}) {
    const auto data = filler + ape_item_bytes("Title", "t") + rest;
    const auto found = read(data + ape_edge(data.size() + 32, 99, 0), ape_items_wanted::text);
    EXPECT_EQ(keys_of(found.items), "Title=t;");
    EXPECT_EQ(found.items, parse_ape_items(ape_version_2, 99, data, ape_items_wanted::text));
  }
}

TEST(FormatApeTag, AsTheFormatDescribesIt) {
  using enum ape_item_type;
  const std::vector<ape_item> items{{false, text, "Title", "t"}, {true, text, "b", ""}, {true, external, "c", "x"}};
  const auto wire = ape_item_bytes("Title", "t") + ape_item_bytes("b", "", 1) + ape_item_bytes("c", "x", 5);
  EXPECT_EQ(format_ape_tag(items), ape_bytes(wire, 3));
  EXPECT_EQ(format_ape_tag({}), ape_bytes({}, 0)) << "64 bytes";
}

TEST(FormatApeTag, WhatCouldNotBeReadBackIsNotWritten) {
  std::vector<ape_item> items{{false, ape_item_type::text, "k", std::string(max_ape_value, 'v')}};
  EXPECT_EQ(parse_ape_tag(format_ape_tag(items)).items, items);
  items[0].value += 'v';
  EXPECT_THROW(format_ape_tag(items), exception_io_data);
}

} // namespace
} // namespace zelmora::test
