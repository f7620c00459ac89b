// `zel commands` and `zel run`: with the plug-in's commands, and with some that tell what they were given.
#include "cli/zel_process.h"

#include "cli/suggestions.h"
#include "cli/verbs.h"
#include "frame/context_command.h"
#include "frame/host_services.h"
#include "support/note_input.h"

#include <algorithm>

namespace zelmora {

namespace {

/// What the command below was run on, and what it answers.
std::vector<std::string> given;
command_result answer = command_result::done;

std::vector<dialog_field> example_fields() {
  return {{"delay", "Delay", field_kind::number, "How many samples", 0, 4095, {}, {}, "as it is"},
          {"kinds", "Kinds", field_kind::choices, "", 0, 0, {{"id3v1", ""}, {"ape", ""}}},
          {"merge", "Merge", field_kind::yes_no, "", 0, 0, {}, {}, {}, false}};
}

command_result tell_answers(media_items items) {
  dialog_model dialog{"Example", {}, example_fields()};
  if (!show_dialog(dialog, "")) return command_result::aborted;
  std::string all;
  for (const auto& field : dialog.fields) all += format_field_value(field) + " ";
  for (const auto& item : items) all += item.path;
  given.push_back(all);
  return command_result::done;
}

constexpr context_command commands[]{
    {"Z", "Tell answers", "Notes what it is told.", [](media_items, abort_callback&) { return true; }, &tell_answers,
     &example_fields},
    {"Z", "Tell items", "Notes what it is given.",
     [](media_items items, abort_callback&) { return items.front().path != "note://refused"; },
     [](media_items items) {
       for (const auto& item : items) given.push_back(item.path + " " + std::to_string(item.subsong));
       return answer;
     }},
    {"Z", "Ask", "Asks before it does something.", [](media_items, abort_callback&) { return true; },
     [](media_items) {
       given.push_back(service_single<popup_message>()->ask("Sure?", "Ask") ? "yes" : "no");
       return command_result::done;
     }},
    {"A", "b", "", nullptr, nullptr},
    {"A", "a", "", nullptr, nullptr},
};
context_command_factory factory(commands);

} // namespace

namespace cli {
namespace {

class RunInProcess : public test::HostTest {
 protected:
  RunInProcess() {
    given.clear();
    test::notes().clear();
  }

  /// The exit status; `out` and `err` are kept.
  exit_status run(std::vector<std::string> arguments) {
    const auto request = parse_command_line(arguments);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    standard_output to;
    program_context context{host, to, abort};
    const auto* const what = std::get_if<run_options>(&request);
    const auto status =
        what != nullptr ? run_run(*what, context) : run_commands(std::get<commands_options>(request), context);
    to.flush();
    out = testing::internal::GetCapturedStdout();
    err = testing::internal::GetCapturedStderr();
    return status;
  }

  std::string out;
  std::string err;
};

TEST_F(RunInProcess, AllTracksOfAllFilesAtOnce) {
  test::notes()["note://disc"].subsongs.resize(2);
  test::notes()["note://a"];
  test::write_bytes(scratch / "list", "note://a\n");
  EXPECT_EQ(run({"run", "TELL items", "note://disc", "note://missing", "--files-from", scratch / "list"}),
            exit_status::done);
  EXPECT_EQ(given, (std::vector<std::string>{"note://disc 1", "note://disc 2", "note://missing 0", "note://a 0"}));
  EXPECT_EQ(err, "");
}

TEST_F(RunInProcess, TheStatusIsThatOfTheCommand) {
  answer = command_result::some_failed;
  EXPECT_EQ(run({"run", "Tell items", "note://a"}), exit_status::failed);
  answer = command_result::aborted;
  EXPECT_EQ(run({"run", "Tell items", "note://a"}), exit_status::interrupted);
  answer = command_result::done;
  given.clear();
  EXPECT_EQ(run({"run", "Tell items", "note://refused"}), exit_status::failed);
  EXPECT_EQ(err, "zel: Tell items: The command does not apply to what is selected\n");
  EXPECT_TRUE(given.empty());
  EXPECT_EQ(run({"run", "Tell items", "--files-from", "/dev/null"}), exit_status::done);
  EXPECT_TRUE(given.empty());
}

TEST_F(RunInProcess, CommandsAreSortedAndGrouped) {
  EXPECT_EQ(run({"commands"}), exit_status::done);
  EXPECT_EQ(out, "A\n  a\n      \n  b\n      \nZ\n  Ask\n      Asks before it does something.\n"
                 "  Tell answers\n      Notes what it is told.\n  Tell items\n      Notes what it is given.\n");
}

TEST_F(RunInProcess, OptionsOfACommandAnswerItsDialog) {
  using strings = std::vector<std::string>;
  const std::pair<strings, const char*> rows[]{
      {{"--delay", "5", "--kinds=ape,id3v1", "note://a"}, "5 id3v1,ape no note://a"},
      {{"note://a", "--merge", "note://b", "--yes", "--kinds", "", "--", "--delay"},
       "as it is  yes note://anote://b--delay"},
      {{"--merge", "--no-merge", "--delay=1", "--delay=-0", "--kinds=ape", "note://a"}, "0 ape no note://a"},
      {{"--merge=y", "--kinds", "ape", "-", "--files-from", "/dev/null"}, "as it is ape yes -"},
  };
  for (const auto& [arguments, expected] : rows) {
    given.clear();
    strings all{"run", "Tell answers"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(run(all), exit_status::done);
    EXPECT_EQ(given, strings{expected});
  }
}

TEST_F(RunInProcess, OptionsThatACommandDoesNotTakeAreWrongUsage) {
  ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
  const auto refused = [&](std::vector<std::string> arguments) -> std::string {
    arguments.insert(arguments.begin(), "run");
    try {
      run(arguments);
    } catch (const usage_error& error) {
      testing::internal::GetCapturedStdout();
      testing::internal::GetCapturedStderr();
      return error.verb() + ": " + error.what();
    }
    return "";
  };
  EXPECT_EQ(refused({"tell ANSWERS", "--padding", "5", "a"}),
            "run \"Tell answers\": unknown option \"--padding\": \"Tell answers\" has --delay, --kinds, --merge");
  EXPECT_EQ(refused({"Tell items", "--x=1", "a"}),
            "run \"Tell items\": unknown option \"--x=1\": \"Tell items\" has none");
  EXPECT_EQ(refused({"Tell answers", "--no-delay", "a"}),
            "run \"Tell answers\": unknown option \"--no-delay\": \"Tell answers\" has --delay, --kinds, --merge");
  EXPECT_EQ(refused({"Tell answers", "--delay", "4096", "a"}),
            "run \"Tell answers\": --delay: \"4096\" is not a number from 0 to 4095");
  EXPECT_EQ(refused({"Tell answers", "a", "--delay"}), "run \"Tell answers\": --delay needs a value");
  EXPECT_EQ(refused({"Tell answers", "--delay", "1"}), "run \"Tell answers\": no PATH is given");
  EXPECT_EQ(refused({"Tell answers", "--delay", "1", "a"}), "run \"Tell answers\": --kinds: A value is needed");
  EXPECT_TRUE(given.empty());
}

TEST_F(RunInProcess, WhatACommandAsksIsListed) {
  EXPECT_EQ(run({"run", "Tell answers", "--help"}), exit_status::done);
  EXPECT_TRUE(out.starts_with("zel run \"Tell answers\": Notes what it is told.\n\n"
                              "usage: zel run \"Tell answers\" [OPTION]... PATH...\n\n"))
      << out;
  EXPECT_TRUE(out.ends_with("options:\n"
                            "  --delay N                   Delay: How many samples; 0 to 4095 (as it is)\n"
                            "  --kinds LIST                Kinds; any of id3v1, ape, with commas between\n"
                            "  --merge, --no-merge         Merge (no)\n"))
      << out;
  const auto page = out;
  EXPECT_EQ(run({"commands", "tell answers"}), exit_status::done);
  EXPECT_EQ(out, page);
  EXPECT_EQ(run({"commands", "tell answers", "--json"}), exit_status::done);
  EXPECT_EQ(out, R"({"group":"Z","name":"Tell answers","help":"Notes what it is told.","fields":[)"
                 R"({"option":"delay","label":"Delay","help":"How many samples","kind":"number","least":0,)"
                 R"("most":4095,"required":false},)"
                 R"({"option":"kinds","label":"Kinds","help":"","kind":"choices","choices":["id3v1","ape"],)"
                 R"("required":true},)"
                 R"({"option":"merge","label":"Merge","help":"","kind":"yes_no","required":false}]})"
                 "\n");
}

TEST_F(RunInProcess, AQuestionIsAnsweredBeforehand) {
  ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr); // whoever runs the tests is not to be asked
  EXPECT_EQ(run({"run", "--yes", "Ask", "note://a"}), exit_status::done);
  EXPECT_EQ(err, "Ask: Sure? [y/N] y\n");
  EXPECT_EQ(run({"run", "Ask", "note://a"}), exit_status::done);
  EXPECT_EQ(given, (std::vector<std::string>{"yes", "no"})) << "once, and not for good";
}

TEST(Suggestions, LikeliestFirst) {
  const std::vector<std::string> names{"Fix FLAC seek table", "Rebuild MP3 stream", "Remove pictures",
                                       "Remove all pictures", "Remove something"};
  const auto near = [&](std::string_view name) { return nearest_names(name, names); };
  EXPECT_EQ(near("rebiuld mp3 straem"), std::vector<std::string>{"Rebuild MP3 stream"});
  EXPECT_EQ(near("remove"), (std::vector<std::string>{"Remove pictures", "Remove all pictures", "Remove something"}));
  EXPECT_EQ(near("PICTURES"), (std::vector<std::string>{"Remove pictures", "Remove all pictures"}));
  EXPECT_EQ(near("Fix FLAC"), std::vector<std::string>{"Fix FLAC seek table"});
  EXPECT_EQ(near("in"), std::vector<std::string>()) << "too little to go by";
  EXPECT_EQ(near(""), std::vector<std::string>());
  EXPECT_EQ(near(std::string(1000, 'x')), std::vector<std::string>());
}

} // namespace
} // namespace cli

namespace test {
namespace {

using Commands = ZelTest;

TEST_F(Commands, OfThePlugInAreListed) {
  const auto result = zel({"commands", "--json"});
  EXPECT_EQ(result.status, 0);
  const auto rows = json_lines_of(result.out);
  const auto found = std::ranges::find_if(
      rows, [](const auto& row) { return row.at("name") == "Copy track ReplayGain to SoundCheck"; });
  ASSERT_NE(found, rows.end());
  EXPECT_EQ(found->dump(), R"({"group":"Tagging","name":"Copy track ReplayGain to SoundCheck",)"
                           R"("help":"Copies ReplayGain track gain value to SoundCheck tags.","fields":[]})");
}

TEST_F(Commands, ItemsThatFailAreToldOnStandardError) {
  write("b\na.mp3", "no audio");
  const auto result = zel({"run", "remove soundcheck INFORMATION", "b\na.mp3", "missing.mp3"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "SoundCheck - Information: Error while processing\n"
                        "  b\\na.mp3\n"
                        "  Reason:\n"
                        "  No frames of MPEG audio found\n"
                        "\n"
                        "  Error while processing\n"
                        "  missing.mp3\n"
                        "  Reason:\n"
                        "  Object not found\n"
                        "\n"
                        "  2 out of 2 items could not be processed.\n");
  EXPECT_EQ(read("b\na.mp3"), "no audio");
}

TEST_F(Commands, WhatWasDoneToEachFileIsPrinted) {
  write("a.mp3", read_bytes(ZEL_SOURCE_DIR "/tests/data/mpeg/vbr_no_header.mp3"));
  const auto result = zel({"run", "--yes", "Fix VBR MP3 header...", "a.mp3"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Fix VBR MP3 Header: a.mp3: 13 frames, 4042 bytes, VBR; header written\n");
  const auto fixed = read("a.mp3");
  const auto again = zel({"run", "--yes", "Fix VBR MP3 header...", "a.mp3"});
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out.find("written"), std::string::npos) << again.out;
  EXPECT_EQ(read("a.mp3"), fixed);
}

} // namespace
} // namespace test
} // namespace zelmora
