#include "cli/zel_process.h"

namespace zelmora::test {

namespace {

using Config = ZelTest;

std::string value_of(const zel_result& list, const std::string& key) {
  for (const auto& setting : json_lines_of(list.out))
    if (setting.at("key") == key) return setting.at("value").get<std::string>();
  return "(none)";
}

TEST_F(Config, ASettingIsKeptUsedAndReset) {
  EXPECT_EQ(zel({"config", "get", "decoding.toneRate"}).out, "44100\n");
  EXPECT_EQ(zel({"config", "set", "decoding.toneRate", "48000"}).status, 0);
  EXPECT_EQ(zel({"config", "get", "decoding.toneRate"}).out, "48000\n");
  EXPECT_EQ(zel({"decode", "-o", "-", "--format", "f32", "tone://440,1"}).out.size(), 48000u * 4);
  EXPECT_NE(zel({"config", "list"}).out.find("decoding.toneRate = 48000  * default: 44100\n"), std::string::npos);
  EXPECT_EQ(zel({"config", "reset", "decoding.toneRate"}).status, 0);
  EXPECT_EQ(zel({"config", "get", "decoding.toneRate"}).out, "44100\n");
}

TEST_F(Config, TheHostHasSettingsToo) {
  EXPECT_EQ(zel({"config", "set", "system.codePage", "CP932"}).status, 0);
  EXPECT_EQ(zel({"config", "set", "decoding.toneRate", "48000"}).status, 0);
  EXPECT_EQ(zel({"config", "get", "system.codePage", "decoding.toneRate"}).out, "CP932\n48000\n");
  const auto refused = zel({"config", "set", "system.codePage", "klingon"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err,
            "zel: system.codePage: takes the name of a code page that iconv knows (iconv -l lists them), not "
            "\"klingon\"\n");
  EXPECT_EQ(zel({"config", "reset", "system.codePage"}).status, 0);
  EXPECT_EQ(zel({"config", "get", "system.codePage"}).out, "Windows-1252\n");
}

TEST_F(Config, ListTellsEverySettingAndItsPlace) {
  const auto list = zel({"config", "list", "--json"});
  EXPECT_EQ(list.status, 0);
  bool found = false;
  for (const auto& setting : json_lines_of(list.out)) {
    EXPECT_NE(setting.at("key"), "");
    EXPECT_FALSE(setting.at("branch").empty()) << setting;
    if (setting.at("key") != "decoding.toneRate") continue;
    found = true;
    EXPECT_EQ(setting.dump(), R"({"key":"decoding.toneRate","label":"Tone/sweep sample rate","kind":"integer",)"
                              R"("value":"44100","default":"44100","branch":["Decoding"]})");
  }
  EXPECT_TRUE(found);
}

TEST_F(Config, OneChoiceOfAGroupAlwaysStands) {
  const std::string v24 = "tagging.id3.write-2.4";
  const std::string v23 = "tagging.id3.write-2.3";
  EXPECT_EQ(zel({"config", "set", v24 + "=yes"}).status, 0);
  auto list = zel({"config", "list", "--json"});
  EXPECT_EQ(value_of(list, v24), "yes");
  EXPECT_EQ(value_of(list, v23), "no");
  EXPECT_EQ(zel({"config", "set", v24 + "=no"}).status, 1);
  // The default of a choice is that of its group.
  EXPECT_EQ(zel({"config", "reset", v24}).status, 0);
  list = zel({"config", "list", "--json"});
  EXPECT_EQ(value_of(list, v24), "no");
  EXPECT_EQ(value_of(list, v23), "yes");
}

TEST_F(Config, ResetAllPutsEveryDefaultBack) {
  const auto shipped = zel({"config", "list"}).out;
  std::vector<std::string> arguments{"config", "set", "decoding.toneRate=8000"};
  ASSERT_EQ(zel(arguments).status, 0);
  ASSERT_NE(zel({"config", "list"}).out, shipped);
  EXPECT_EQ(zel({"config", "reset", "--all"}).status, 0);
  EXPECT_EQ(zel({"config", "list"}).out, shipped);
}

TEST_F(Config, ARefusalNamesTheSettingOnce) {
  EXPECT_EQ(zel({"config", "set", "decoding.toneRate=loud"}).err,
            "zel: decoding.toneRate: takes a number from 1000 to 1000000, not \"loud\"\n");
}

TEST_F(Config, DamageOfTheStoredSettingsIsTold) {
  ASSERT_EQ(zel({"config", "set", "decoding.toneRate=48000"}).status, 0);
  EXPECT_EQ(zel({"config", "list"}).err, "");
  const std::filesystem::path kept(path(".config/zel_input_std.cfg"));
  std::filesystem::resize_file(kept, std::filesystem::file_size(kept) - 1);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"config", "list"}, {"config", "get", "decoding.toneRate"}}) {
    const auto result = zel(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("44100"), std::string::npos);
    EXPECT_EQ(lines_of(result.err).size(), 1u) << result.err;
    EXPECT_TRUE(result.err.starts_with("zel: " + kept.string() + ": warning: ")) << result.err;
  }
}

TEST_F(Config, WhatIsRefusedChangesNothing) {
  struct row {
    std::vector<std::string> arguments;
    std::string line_start;
  };
  const std::vector<row> rows{
      {{"get", "no.such"}, "zel: no.such: There is no such setting\n"},
      {{"set", "no.such=1"}, "zel: no.such: There is no such setting\n"},
      {{"reset", "no.such"}, "zel: no.such: There is no such setting\n"},
      {{"set", "decoding.toneRate=999"}, "zel: decoding.toneRate: "},
      {{"set", "decoding.toneRate=loud"}, "zel: decoding.toneRate: "},
      {{"set", "decoding.toneRate=48000", "no.such=1"}, "zel: no.such: There is no such setting\n"},
      {{"set", "decoding.toneRate=48000", "decoding.toneRate=1"}, "zel: decoding.toneRate: "},
  };
  for (auto [arguments, line_start] : rows) {
    arguments.insert(arguments.begin(), "config");
    const auto result = zel(arguments);
    EXPECT_EQ(result.status, 1) << line_start;
    EXPECT_TRUE(result.err.starts_with(line_start)) << result.err;
    EXPECT_EQ(zel({"config", "get", "decoding.toneRate"}).out, "44100\n");
  }
}

} // namespace

} // namespace zelmora::test
