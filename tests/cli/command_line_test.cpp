#include "cli/zel_process.h"

#include <csignal>

namespace zelmora::test {

namespace {

using CommandLine = ZelTest;

struct usage_case {
  const char* name;
  std::vector<std::string> arguments;
  const char* first_line;
};

class WrongUsage : public ZelTest, public testing::WithParamInterface<usage_case> {};

TEST_P(WrongUsage, EndsWithTwoAndSaysWhy) {
  const auto result = zel(GetParam().arguments);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  const auto lines = lines_of(result.err);
  ASSERT_EQ(lines.size(), 2u) << result.err;
  EXPECT_EQ(lines[0], GetParam().first_line);
  EXPECT_TRUE(lines[1].starts_with("Try 'zel ")) << lines[1];
  EXPECT_EQ(names(), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(
    All, WrongUsage,
    testing::Values(
        usage_case{"Transposed", {"ifno", "a"}, "zel: unknown verb \"ifno\"; did you mean \"info\"?"},
        usage_case{"Shortened", {"ver"}, "zel: unknown verb \"ver\"; did you mean \"verify\"?"},
        usage_case{"FarFromAll", {"transmogrify"}, "zel: unknown verb \"transmogrify\""},
        usage_case{"HelpOnNoVerb", {"help", "decoed"}, "zel: unknown verb \"decoed\"; did you mean \"decode\"?"},
        usage_case{"OptionForVerb", {"--json"}, "zel: unknown option \"--json\""},
        usage_case{"UnknownOption", {"info", "--jsn", "a"}, "zel: unknown option \"--jsn\""},
        usage_case{"UnknownShortOption", {"info", "-x", "a"}, "zel: unknown option \"-x\""},
        usage_case{"NoPath", {"info"}, "zel: no PATH is given"},
        usage_case{"NulWithoutList", {"info", "-0", "a"}, "zel: -0 needs --files-from"},
        usage_case{"NoJobs", {"info", "-j", "0", "a"}, "zel: --jobs: 0 is not a number from 1 to 256"},
        usage_case{"JobsAreNoNumber", {"verify", "-j", "2x", "a"}, "zel: --jobs: 2x is not a number from 1 to 256"},
        usage_case{"NoOutput", {"decode", "tone://440,1"}, "zel: -o OUT is missing"},
        usage_case{"NoFormat",
                   {"decode", "-o", "x", "--format", "mp3", "a"},
                   "zel: --format: mp3 is none of wav, f32, s16, s24, s32"},
        usage_case{"BitsOfHeaderless",
                   {"decode", "-o", "x", "--format", "s16", "--bits", "16", "a"},
                   "zel: --bits goes with --format wav"},
        usage_case{"SeedBelowZero",
                   {"verify", "--seed", "-1", "a"},
                   "zel: --seed: -1 is not a number from 0 to 18446744073709551615"},
        usage_case{"SeedBeyond64Bits",
                   {"verify", "--seed", "18446744073709551616", "a"},
                   "zel: --seed: 18446744073709551616 is not a number from 0 to 18446744073709551615"},
        usage_case{"SeedIsNoNumber",
                   {"verify", "--seed", "abc", "a"},
                   "zel: --seed: abc is not a number from 0 to 18446744073709551615"},
        usage_case{"StartBeforeZero",
                   {"decode", "-o", "x", "--start", "-1", "a"},
                   "zel: --start: -1 is no time, neither seconds nor [H:]M:SS"},
        usage_case{"StartHasTooManySeconds",
                   {"decode", "-o", "x", "--start", "1:60", "a"},
                   "zel: --start: 1:60 is no time, neither seconds nor [H:]M:SS"},
        usage_case{"StartHasOneDigit",
                   {"decode", "-o", "x", "--start", "1:2:03", "a"},
                   "zel: --start: 1:2:03 is no time, neither seconds nor [H:]M:SS"},
        usage_case{"StartHasNoMinutes",
                   {"decode", "-o", "x", "--start", ":30", "a"},
                   "zel: --start: :30 is no time, neither seconds nor [H:]M:SS"},
        usage_case{"LengthIsNoNumber",
                   {"decode", "-o", "x", "--length", "1s", "a"},
                   "zel: --length: 1s is no time, neither seconds nor [H:]M:SS"},
        usage_case{"LengthIsInfinite",
                   {"decode", "-o", "x", "--length", "inf", "a"},
                   "zel: --length: inf is no time, neither seconds nor [H:]M:SS"},
        usage_case{"SeveralIntoOneFile",
                   {"decode", "-o", "x", "tone://440,1", "tone://441,1"},
                   "zel: several paths need an existing directory for -o"},
        usage_case{"NoSuchDirectory", {"decode", "-o", "x/", "tone://440,1"}, "zel: x/ is no directory"},
        usage_case{"TagAlone", {"tag"}, "zel: tag needs one of show, set, add, remove, clear, copy"},
        usage_case{"TagAction",
                   {"tag", "sett", "a=b", "c"},
                   "zel: tag knows show, set, add, remove, clear, copy, not \"sett\""},
        usage_case{"SetNoField", {"tag", "set", "a"}, "zel: no NAME=VALUE is given"},
        usage_case{"RemoveNoField", {"tag", "remove"}, "zel: no NAME is given"},
        usage_case{"SetNoPath", {"tag", "set", "a=b"}, "zel: no PATH is given"},
        usage_case{"CopyNoTarget", {"tag", "copy", "a"}, "zel: no PATH is given"},
        usage_case{"CopyNoSource", {"tag", "copy", "--files-from", "x"}, "zel: no SOURCE is given"},
        usage_case{"FieldNameForbidden", {"tag", "set", "a%=b", "c"}, "zel: \"a%\" is no name that a field can have"},
        usage_case{"FieldNameEmpty", {"tag", "add", "=b", "c"}, "zel: \"\" is no name that a field can have"},
        usage_case{"FieldNameNotAscii",
                   {"tag", "set", "t\xC3\xADtulo=b", "c"},
                   "zel: \"t\xC3\xADtulo\" is no name that a field can have"},
        usage_case{"FieldValueNoText", {"tag", "set", "a=gr\xFC", "c"}, "zel: the value of a is no UTF-8"},
        usage_case{
            "FieldValueOfNoFile", {"tag", "set", "a=@", "c"}, "zel: a=@ names no file: NAME=@@ is the value \"@\""},
        usage_case{"GainWithoutNumber",
                   {"tag", "set", "replaygain_album_gain=abc", "c"},
                   "zel: the value of replaygain_album_gain is no number: \"abc\""},
        usage_case{"ClearOfASubsong",
                   {"tag", "clear", "--subsong", "1", "a"},
                   "zel: tag clear takes the tags of a file, not those of a subsong"},
        usage_case{"DryShow", {"tag", "show", "--dry-run", "a"}, "zel: tag show changes nothing anyway"},
        usage_case{"RunAlone", {"run"}, "zel: no COMMAND is given"},
        usage_case{"RunOptionBeforeCommand", {"run", "--kinds", "x", "a"}, "zel: unknown option \"--kinds\""},
        usage_case{"RunOnNothing", {"run", "Remove SoundCheck information"}, "zel: no PATH is given"},
        usage_case{"RunUnknown",
                   {"run", "Remove SoundCheck infromation", "a.mp3"},
                   "zel: unknown command \"Remove SoundCheck infromation\"; did you mean \"Remove SoundCheck "
                   "information\"?"},
        usage_case{"ConfigAlone", {"config"}, "zel: config needs one of list, get, set, reset"},
        usage_case{"ConfigAction", {"config", "lst"}, "zel: config knows list, get, set and reset, not \"lst\""},
        usage_case{"SetWithoutValue", {"config", "set", "a"}, "zel: \"a\" has no value: KEY=VALUE"},
        usage_case{"ResetNothing", {"config", "reset"}, "zel: no KEY is given"},
        usage_case{"ResetAllAndOne", {"config", "reset", "--all", "a"}, "zel: --all stands alone"}),
    [](const auto& row) { return row.param.name; });

TEST_F(CommandLine, AloneItShowsHelpAndFails) {
  const auto result = zel({});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, zel({"--help"}).out);
}

TEST_F(CommandLine, HelpOfAVerbHasItsOptionsAndExamples) {
  for (const std::string verb : {"formats", "info", "decode", "verify", "tag", "commands", "run", "config"}) {
    const auto result = zel({"help", verb});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, zel({verb, "--help"}).out);
    EXPECT_NE(result.out.find("\nexamples:\n  zel " + verb), std::string::npos) << result.out;
    for (const auto& line : lines_of(result.out)) {
      const bool is_example = line.find("  zel ") != std::string::npos || line.find(" | zel ") != std::string::npos;
      EXPECT_TRUE(is_example || line.size() <= 80) << line;
    }
  }
}

TEST_F(CommandLine, WrittenPagesAreThoseOfTheOptions) {
  // After a change of options: zel --generate man >docs/man/zel.1, zel --generate completion >tools/completion/zel.bash
  EXPECT_EQ(zel({"--generate", "man"}).out, read_bytes(ZEL_SOURCE_DIR "/docs/man/zel.1"));
  EXPECT_EQ(zel({"--generate", "completion"}).out, read_bytes(ZEL_SOURCE_DIR "/tools/completion/zel.bash"));
}

TEST_F(CommandLine, CompletionOffersWhatFits) {
  const auto complete = [](const std::string& line) {
    const std::string script =
        "source " ZEL_SOURCE_DIR "/tools/completion/zel.bash; COMP_WORDS=(" + line +
        "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); compopt() { :; }; _zel; echo \"${COMPREPLY[*]}\"";
    auto* const shell = ::popen(("bash -c '" + script + "'").c_str(), "r");
    std::string out;
    for (int c = 0; (c = std::fgetc(shell)) != EOF;) out += static_cast<char>(c);
    EXPECT_EQ(::pclose(shell), 0) << out;
    return out;
  };
  EXPECT_EQ(complete("zel ver"), "verify\n");
  EXPECT_EQ(complete("zel decode --fo"), "--format\n");
  EXPECT_EQ(complete("zel decode --format s"), "s16 s24 s32\n");
  EXPECT_EQ(complete("zel config re"), "reset\n");
  EXPECT_EQ(complete("zel tag c"), "clear copy\n");
  EXPECT_EQ(complete("zel verify --seeks \"\""), "\n");
}

TEST_F(CommandLine, FormatsAreListed) {
  const auto result = zel({"formats", "--json"});
  EXPECT_EQ(result.status, 0);
  bool wav = false;
  bool tone = false;
  for (const auto& input : json_lines_of(result.out)) {
    const auto has = [&](const char* list, std::string_view item) {
      return std::ranges::any_of(input.at(list), [&](const auto& each) { return each == item; });
    };
    if (input.at("name") == "zelmora WAV Decoder")
      wav = has("extensions", "w64") && has("content_types", "audio/x-wav");
    EXPECT_TRUE(input.at("can_write_tags").is_boolean()) << input;
    if (input.at("name") == "zelmora Tone Decoder")
      tone = input.at("can_write_tags") == false && has("schemes", "tone://") && !has("schemes", "sweep://");
  }
  EXPECT_TRUE(wav);
  EXPECT_TRUE(tone);
  EXPECT_NE(zel({"formats"}).out.find("\n  extensions     "), std::string::npos);
  EXPECT_NE(zel({"formats"}).out.find("\n  tags           read only\n"), std::string::npos);
}

TEST_F(CommandLine, FullDiscOnStandardOutputIsAFailure) {
  const auto result = zel({"info", "tone://440,1"}, {.output_path = "/dev/full"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel: standard output: Device full\n");
}

TEST_F(CommandLine, AnInterruptEndsTheWaitForAReader) {
  std::string list;
  for (int i = 1; i <= 3000; ++i) list += "tone://" + std::to_string(i) + "\nmissing\n";
  zel_setup plain{.input = list, .output_capacity = 4096};
  auto merged = plain;
  merged.merge_errors = true;
  // Others than its owner can't open a pipe anew: it is then written to as sockets and terminals are.
  auto nobody = plain;
  nobody.as_nobody = true;
  for (const auto& setup : {plain, merged, nobody}) {
    // Whichever thread it is that writes, there is one that does not take the signal.
    for (const char* jobs : {"1", "2", "4"}) {
      running_zel child(directory_.path(), {"info", "--json", "-j", jobs, "--files-from", "-"}, setup);
      ASSERT_TRUE(child.fill_output()) << jobs;
      child.interrupt(SIGINT);
      ASSERT_TRUE(child.ends_unread()) << jobs;
      EXPECT_EQ(child.wait().status, 130) << jobs;
    }
  }
}

TEST_F(CommandLine, ClosedStandardDescriptorsStayWhatTheyAre) {
  // Were their numbers free, the program's own files would have them.
  const auto no_input = zel({"info", "--files-from", "-"}, {.closed = {0}});
  EXPECT_EQ(no_input.status, 1);
  EXPECT_TRUE(no_input.err.starts_with("zel: -: ")) << no_input.err;
  const auto no_output = zel({"info", "tone://440"}, {.closed = {1}});
  EXPECT_EQ(no_output.status, 1);
  EXPECT_TRUE(no_output.err.starts_with("zel: standard output: ")) << no_output.err;
  auto cut = float_wav(ramp(4000));
  cut.resize(cut.size() - 1000);
  write("cut.wav", cut);
  ASSERT_EQ(zel({"decode", "-o", "wanted.wav", "cut.wav"}).status, 0);
  const auto none = zel({"decode", "-o", "out.wav", "cut.wav"}, {.closed = {0, 1, 2}});
  EXPECT_EQ(none.status, 0);
  EXPECT_EQ(read("out.wav"), read("wanted.wav"));
}

TEST_F(CommandLine, AReaderThatIsGoneEndsItQuietly) {
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"info", "tone://440,1"}, {"--help"}, {"decode", "-o", "-", "tone://440"}, {"config", "list"}}) {
    const auto result = zel(arguments, {.close_output_early = true});
    EXPECT_EQ(result.status, 1) << arguments[0];
    EXPECT_EQ(result.err, "") << arguments[0];
  }
}

} // namespace

} // namespace zelmora::test
