#include "frame/advconfig.h"
#include "frame/client.h"
#include "frame/memory_file.h"
#include "support/test_services.h"

#include <gtest/gtest.h>

namespace zelmora {
namespace {

constexpr guid group = "00000000-0000-0000-0000-0000000000B0"_guid;
advconfig_factory<advconfig_branch> heading{{"", "Colours", group, advconfig_root::tools}};
advconfig_factory<advconfig_checkbox> red{
    {"test.red", "Red", "00000000-0000-0000-0000-0000000000B1"_guid, group}, true, is_radio::yes};
advconfig_factory<advconfig_checkbox> green{
    {"test.green", "Green", "00000000-0000-0000-0000-0000000000B2"_guid, group}, false, is_radio::yes};
advconfig_factory<advconfig_checkbox> shiny{
    {"test.shiny", "Shiny", "00000000-0000-0000-0000-0000000000B3"_guid, group}, true, is_radio::no};
advconfig_factory<advconfig_integer> depth{
    {"test.depth", "Depth", "00000000-0000-0000-0000-0000000000B4"_guid, group}, 7u, 1u, 1000u};
advconfig_factory<advconfig_string> folder{
    {"test.folder", "Folder", "00000000-0000-0000-0000-0000000000B5"_guid, group}, "a;b"};

class Config : public testing::Test {
 protected:
  void SetUp() override { test::attach_own_services(); }
  void TearDown() override {
    for (auto& entry : enumerate_services<advconfig_entry>())
      if (entry->kind() != advconfig_kind::branch && entry->get_text() != entry->get_default_text() &&
          !(entry->kind() == advconfig_kind::radio && entry->get_default_text() == "no"))
        entry->set_text(entry->get_default_text());
  }
  std::vector<std::byte> save() {
    auto out = service_new<memory_file>();
    client_instance().get_config_stream(*out, abort);
    return out->content();
  }
  void load(std::vector<std::byte> blob) {
    auto in = service_new<memory_file>(std::move(blob));
    client_instance().set_config_stream(*in, abort);
  }
  abort_callback_dummy abort;
};

TEST_F(Config, RadiosExcludeEachOther) {
  EXPECT_TRUE(red->get());
  green->set(true);
  EXPECT_FALSE(red->get());
  EXPECT_TRUE(shiny->get()) << "a checkbox of the same branch is no sibling";
  EXPECT_THROW(green->set_text("no"), kiv::exception_invalid_params);
  EXPECT_TRUE(green->get());
  EXPECT_NO_THROW(red->set_text("no")) << "it is not set";
  red->set_text("YES");
  EXPECT_FALSE(green->get());
}

TEST_F(Config, ValuesAreChecked) {
  for (const auto* bad : {"0", "1001", "-1", "7x", "", "99999999999999999999"})
    EXPECT_THROW(depth->set_text(bad), kiv::exception_invalid_params) << bad;
  EXPECT_EQ(depth->get(), 7u);
  depth->set_text("1000");
  EXPECT_EQ(depth->get(), 1000u);
  EXPECT_THROW(shiny->set_text("maybe"), kiv::exception_invalid_params);
  EXPECT_THROW(heading->set_text("x"), kiv::exception_invalid_params);
}

TEST_F(Config, BlobRoundTrip) {
  const auto defaults = save();
  green->set(true);
  shiny->set(false);
  depth->set(500);
  folder->set("/x/\xC3\xA9;y");
  const auto changed = save();
  load(defaults);
  EXPECT_TRUE(red->get());
  EXPECT_EQ(depth->get(), 7u);
  EXPECT_EQ(folder->get(), "a;b");
  load(changed);
  EXPECT_FALSE(red->get());
  EXPECT_TRUE(green->get());
  EXPECT_FALSE(shiny->get());
  EXPECT_EQ(depth->get(), 500u);
  EXPECT_EQ(folder->get(), "/x/\xC3\xA9;y");
  load(defaults);
}

std::vector<std::byte> record(const guid& id, std::uint32_t length, std::string_view payload) {
  std::vector<std::byte> out;
  for (const auto b : id.bytes) out.push_back(static_cast<std::byte>(b));
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<std::byte>(length >> shift));
  for (const char c : payload) out.push_back(static_cast<std::byte>(c));
  return out;
}

TEST_F(Config, RecordsOfOtherVersions) {
  auto blob = record("00000000-0000-0000-0000-0000000000FF"_guid, 5, "stale");
  const auto known = record("00000000-0000-0000-0000-0000000000B4"_guid, 8, std::string_view("\x2A\0\0\0\0\0\0\0", 8));
  blob.insert(blob.end(), known.begin(), known.end());
  blob.push_back(std::byte{1}); // a short GUID ends the walk
  load(blob);
  EXPECT_EQ(depth->get(), 42u);
  load(record("00000000-0000-0000-0000-0000000000B4"_guid, 2, "zz"));
  EXPECT_EQ(depth->get(), 42u) << "a payload of another width is none of ours";
  EXPECT_THROW(load(record("00000000-0000-0000-0000-0000000000B4"_guid, 8, "short")),
               zelmora_io::exception_io_data_truncation);
  EXPECT_THROW(load(record("00000000-0000-0000-0000-0000000000B5"_guid, 0xFFFFFFFF, "x")),
               zelmora_io::exception_io_data_truncation)
      << "a length of 4 GiB allocates nothing of the kind";
}

TEST_F(Config, ABlobWithTwoChoicesOrNoneIsSettled) {
  const auto radios = [&](char red_value, char green_value) {
    auto blob = record("00000000-0000-0000-0000-0000000000B1"_guid, 1, std::string_view(&red_value, 1));
    const auto other = record("00000000-0000-0000-0000-0000000000B2"_guid, 1, std::string_view(&green_value, 1));
    blob.insert(blob.end(), other.begin(), other.end());
    return blob;
  };
  load(radios('\1', '\1'));
  EXPECT_NE(red->get(), green->get());
  load(radios('\0', '\0'));
  EXPECT_TRUE(red->get()) << "the default";
  EXPECT_FALSE(green->get());
  load(radios('\0', '\1'));
  EXPECT_TRUE(green->get());
  red->set(true);
}

TEST_F(Config, NamesOfVariables) {
  static const cfg_bool variable("00000000-0000-0000-0000-0000000000BF"_guid, false); // the list keeps it
  EXPECT_EQ(variable.text_name(), "cfg_var.00000000-0000-0000-0000-0000000000BF");
}

} // namespace
} // namespace zelmora
