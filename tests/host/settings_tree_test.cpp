#include "host_fixture.h"

#include <algorithm>

namespace zelmora {
namespace {

constexpr guid id(unsigned char n) {
  guid result = "00000000-0000-0000-0000-0000000000D0"_guid;
  result.bytes[0] = n;
  return result;
}

advconfig_factory<advconfig_branch> branch{{"", "Tree test", id(1), advconfig_root::decoding}};
advconfig_factory<advconfig_checkbox> last{{"tree.last", "A label", id(2), id(1), 2}, false, is_radio::no};
advconfig_factory<advconfig_checkbox> first{{"tree.first", "Z label", id(3), id(1), 1}, false, is_radio::no};
advconfig_factory<advconfig_checkbox> middle_b{{"tree.B", "b", id(4), id(1), 1.5}, false, is_radio::no};
advconfig_factory<advconfig_checkbox> middle_a{{"tree.A", "A", id(5), id(1), 1.5}, false, is_radio::no};
advconfig_factory<advconfig_branch> inner{{"", "Inner", id(6), id(1), 1.7}};
advconfig_factory<advconfig_string> leaf{{"tree.leaf", "Leaf", id(7), id(6)}, "x"};
advconfig_factory<advconfig_string> orphan{{"tree.orphan", "Orphan", id(8), id(99)}, "x"};
advconfig_factory<advconfig_branch> ring_a{{"", "Ring A", id(10), id(11)}};
advconfig_factory<advconfig_branch> ring_b{{"", "Ring B", id(11), id(10)}};
advconfig_factory<advconfig_branch> itself{{"", "Itself", id(12), id(12)}};

class SettingsTree : public test::HostTest {};

TEST_F(SettingsTree, BranchesBeforeWhatTheyHold) {
  std::string shown;
  bool inside = false;
  for (const auto& row : host::list_settings()) {
    if (row.entry->place().id == id(1))
      inside = true;
    else if (row.depth < 2)
      inside = false;
    if (inside) shown += std::to_string(row.depth) + std::string(row.entry->place().label) + ",";
  }
  EXPECT_EQ(shown, "1Tree test,2Z label,2b,2A,2Inner,3Leaf,2A label,");
}

TEST_F(SettingsTree, EveryEntryOnceRootsFirstOrphansLast) {
  const auto rows = host::list_settings();
  EXPECT_EQ(rows.size(), enumerate_services<advconfig_entry>().size());
  std::vector<std::string> roots;
  for (const auto& row : rows)
    if (row.depth == 0) roots.emplace_back(row.entry->place().label);
  EXPECT_EQ(roots,
            (std::vector<std::string>{"Playback", "Tools", "Decoding", "Tagging", "Orphan", "Ring A", "Itself"}));
  const auto ring = std::ranges::find_if(rows, [](const auto& row) { return row.entry->place().label == "Ring B"; });
  ASSERT_NE(ring, rows.end());
  EXPECT_EQ(ring->depth, 1u);
}

TEST_F(SettingsTree, FoundByKeyInAnyCase) {
  EXPECT_EQ(host::find_setting("TREE.Leaf").get(), leaf.operator->());
  EXPECT_FALSE(host::find_setting("tree.lea"));
  EXPECT_FALSE(host::find_setting("")) << "branches have no key";
}

} // namespace
} // namespace zelmora
