// Tags that are nothing but many of something. What looks at each more than once takes hours here, and the test's time
// runs out.
#include "tags/tag_processor.h"

#include "../host/host_fixture.h"
#include "tail_bytes.h"

#include "frame/memory_file.h"

#include <gtest/gtest.h>

#include <functional>

namespace zelmora::test {
namespace {

constexpr int many = 50'000;
const bytes audio(1000, std::byte(0x55));

bytes repeat(const std::function<bytes(int)>& make) {
  bytes result;
  for (int i = 0; i < many; ++i) {
    const auto one = make(i);
    result.insert(result.end(), one.begin(), one.end());
  }
  return result;
}

std::string numbered(std::string_view before, int number, std::string_view behind = {}) {
  return fmt::format("{}{:06}{}", before, number, behind);
}

bytes frames(std::string_view id, const std::function<std::string(int)>& payload) {
  return make_tag(4, repeat([&](int i) { return frame_v4(id, to_bytes(payload(i))); })) + audio;
}

struct large_case {
  const char* name;
  std::function<bytes()> make;
  std::size_t fields; ///< that are read
  std::size_t values; ///< of the first of them
  tag_kinds kinds = tag_kinds::id3v2;
  friend std::ostream& operator<<(std::ostream& out, const large_case& c) { return out << c.name; }
};

constexpr auto terminator = std::string_view("\0", 1);

bytes one_ape_item() {
  std::string values;
  for (int i = 0; i < many; ++i) values += numbered("v", i, i + 1 == many ? std::string_view() : terminator);
  return audio + ape_bytes(ape_item_bytes("Artist", values), 1);
}
bytes many_ape_items() {
  return audio + ape_bytes(repeat([](int i) { return ape_item_bytes(numbered("k", i), "v"); }), many);
}
std::string free_text(int i) { return numbered("\3d", i, terminator) + "v"; }
std::string comment(int i) { return numbered("\3engd", i, terminator) + "v"; }

const large_case cases[]{
    {"frames_of_a_byte", [] { return frames("PRIV", [](int) { return "x"; }) + id3v1_bytes({"t"}); }, 1, 1},
    {"titles", [] { return frames("TIT2", [](int i) { return numbered("\3", i); }); }, 1, many},
    {"free_texts", [] { return frames("TXXX", free_text); }, many, 1},
    {"comments", [] { return frames("COMM", comment); }, many, 1},
    {"comments_without_a_name", [] { return frames("COMM", [](int i) { return "\3eng" + numbered(terminator, i); }); },
     1, many},
    {"genres", [] { return frames("TCON", [](int i) { return numbered("\3g", i); }); }, 1, many},
    {"ape_items", many_ape_items, many, 1, tag_kinds::ape},
    {"values_of_an_ape_item", one_ape_item, 1, many, tag_kinds::ape},
    {"unsynchronised_bytes",
     [] {
       const auto payload = to_bytes({0}) + bytes(50'000'000, std::byte(0xFF));
       return make_tag(3, frame_v3("TXXX", payload), 0x80) + audio + id3v1_bytes({"t"});
     },
     1, 1},
};

class LargeTag : public HostTest, public testing::WithParamInterface<large_case> {};

TEST_P(LargeTag, is_read_and_edited) {
  const auto& tested = GetParam();
  file_ptr file = service_new<memory_file>(tested.make());
  file_info_impl info;
  tag_processor::read(*file, info, abort);
  EXPECT_EQ(info.meta_get_count(), tested.fields);
  EXPECT_EQ(info.meta_enum_value_count(0), tested.values);
  const std::string field = info.meta_enum_name(0);

  info.meta_set("album", "a");
  tag_processor::write(file, {}, info, tested.kinds, abort);
  file_info_impl found;
  tag_processor::read(*file, found, abort);
  EXPECT_EQ(*found.meta_get("album"), "a");
  EXPECT_EQ(found.meta_get_count(), info.meta_get_count());
  EXPECT_EQ(found.meta_enum_value_count(found.meta_find(field)), tested.values);
}

INSTANTIATE_TEST_SUITE_P(of, LargeTag, testing::ValuesIn(cases),
                         [](const auto& c) { return std::string(c.param.name); });

} // namespace
} // namespace zelmora::test
