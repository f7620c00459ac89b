// Edits of tags, by the verb as the user writes it, over an input that counts what is done to it.
#include "cli/tag_edit.h"

#include "cli/verbs.h"
#include "host/host_fixture.h"
#include "support/note_input.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace zelmora::cli {

namespace {

using test::note;
using test::notes;
using strings = std::vector<std::string>;

// --- operands --------------------------------------------------------------------------------------------------------

struct operand_case {
  const char* name;
  tag_action action;
  marked_operands given;
  strings fields; ///< "NAME", "NAME=TEXT", "NAME<FILE"
  strings paths;
};

class TagOperands : public testing::TestWithParam<operand_case> {};

TEST_P(TagOperands, AreFieldsAndPaths) {
  const auto split = split_tag_operands(GetParam().action, GetParam().given);
  strings fields;
  for (const auto& field : split.fields) {
    constexpr const char* marks[]{"", "=", "<"};
    fields.push_back(field.name + marks[static_cast<int>(field.value_from)] + field.value);
  }
  EXPECT_EQ(fields, GetParam().fields);
  EXPECT_EQ(split.paths, GetParam().paths);
}

INSTANTIATE_TEST_SUITE_P(
    All, TagOperands,
    testing::Values(
        operand_case{"One", tag_action::set, {{"a=b", "p"}, {}}, {"a=b"}, {"p"}},
        operand_case{"OnlyTheLeadingOnes", tag_action::set, {{"a=b", "p", "c=d"}, {}}, {"a=b"}, {"p", "c=d"}},
        operand_case{"TheFirstSignCounts", tag_action::add, {{"a=b=c", "p"}, {}}, {"a=b=c"}, {"p"}},
        operand_case{"ASlashMakesAPath", tag_action::set, {{"a=b/c", "d/e=f"}, {}}, {"a=b/c"}, {"d/e=f"}},
        operand_case{"AnAddressIsAPath", tag_action::set, {{"a=b", "http://h/?x=y"}, {}}, {"a=b"}, {"http://h/?x=y"}},
        operand_case{"BehindTheMarkAllIsPaths", tag_action::set, {{"a=b"}, {"c=d"}, true}, {"a=b"}, {"c=d"}},
        operand_case{"OfAFile", tag_action::set, {{"a=@f", "p"}, {}}, {"a<f"}, {"p"}},
        operand_case{"ALiteralAt", tag_action::set, {{"a=@@f", "b=@@", "p"}, {}}, {"a=@f", "b=@"}, {"p"}},
        operand_case{"RemoveTakesOne", tag_action::remove, {{"a", "b", "c=d"}, {}}, {"a"}, {"b", "c=d"}},
        operand_case{"RemoveTakesValues", tag_action::remove, {{"a", "b=c", "p"}, {}}, {"a", "b=c"}, {"p"}},
        operand_case{"RemoveTakesAllBeforeTheMark",
                     tag_action::remove,
                     {{"a", "b", "c/d"}, {"p"}, true},
                     {"a", "b", "c/d"},
                     {"p"}},
        operand_case{"ShowTakesNone", tag_action::show, {{"a=b", "p"}, {}}, {}, {"a=b", "p"}},
        operand_case{"CopyTakesNone", tag_action::copy, {{"a=b"}, {"p"}, true}, {}, {"a=b", "p"}}),
    [](const auto& row) { return row.param.name; });

// --- edits -----------------------------------------------------------------------------------------------------------

/// From "NAME=VALUE" lines.
file_info_impl info_of(const strings& fields) {
  file_info_impl info;
  for (const auto& field : fields) {
    const auto name = field.substr(0, field.find('='));
    const auto value = field.substr(name.size() + 1);
    auto gains = info.get_replaygain();
    if (set_replaygain_field(gains, name, value))
      info.set_replaygain(gains);
    else
      info.meta_add(name, value);
  }
  return info;
}

strings fields_of(const file_info& info) {
  strings result;
  for (std::size_t i = 0; i < info.meta_get_count(); ++i)
    for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n)
      result.push_back(info.meta_enum_name(i) + "=" + info.meta_enum_value(i, n));
  for (const auto name : gain_field_names)
    if (const auto value = get_replaygain_field(info.get_replaygain(), name); !value.empty())
      result.push_back(std::string(name) + "=" + value);
  return result;
}

class TagVerb : public test::HostTest {
 protected:
  struct said {
    exit_status status;
    std::string out;
    std::string err;
  };

  TagVerb() { notes().clear(); }

  said tag(strings arguments) {
    arguments.insert(arguments.begin(), "tag");
    const auto options = std::get<tag_options>(parse_command_line(arguments));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    standard_output out;
    program_context context{host, out, abort};
    said result{};
    try {
      result.status = run_tag(options, context);
    } catch (const std::exception& failure) {
      result.status = exit_status::usage;
      result.err = failure.what();
    }
    out.flush();
    result.out = testing::internal::GetCapturedStdout();
    result.err += testing::internal::GetCapturedStderr();
    return result;
  }

  /// A note that holds one track of these fields.
  static note& put(const std::string& path, const strings& fields) {
    auto& result = notes()[path];
    result.subsongs[0] = info_of(fields);
    return result;
  }
};

struct edit_case {
  const char* name;
  strings arguments; ///< but for the path
  strings before;
  strings after;
};

class TagEdit : public TagVerb, public testing::WithParamInterface<edit_case> {};

TEST_P(TagEdit, MakesWhatIsAskedFor) {
  auto& file = put("note://a", GetParam().before);
  auto arguments = GetParam().arguments;
  arguments.insert(arguments.end(), {"--", "note://a"});
  auto dry = arguments;
  dry.insert(dry.begin() + 1, "--dry-run");
  const bool changes = GetParam().before != GetParam().after;
  EXPECT_EQ(tag(dry).status, exit_status::done);
  EXPECT_EQ(fields_of(file.subsongs[0]), GetParam().before) << "a dry run";
  EXPECT_EQ(file.opened_for_writing, 0);
  const auto result = tag(arguments);
  EXPECT_EQ(result.status, exit_status::done) << result.err;
  EXPECT_EQ(result.out, changes ? "1 file changed\n" : "1 file unchanged\n");
  EXPECT_EQ(fields_of(file.subsongs[0]), GetParam().after);
  EXPECT_EQ(file.committed, changes ? 1 : 0);
  EXPECT_EQ(file.set.size(), changes ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    All, TagEdit,
    testing::Values(
        edit_case{"SetNew", {"set", "title=x", "artist=y"}, {"album=z"}, {"album=z", "title=x", "artist=y"}},
        edit_case{"SetKeepsPlaceAndCase", {"set", "title=new"}, {"TITLE=old", "a=b"}, {"TITLE=new", "a=b"}},
        edit_case{"SetReplacesAllValues", {"set", "a=3"}, {"a=1", "a=2"}, {"a=3"}},
        edit_case{"SetSeveralValues", {"set", "a=1", "b=x", "A=2"}, {"a=0"}, {"a=1", "a=2", "b=x"}},
        edit_case{"SetNothingRemoves", {"set", "a="}, {"a=1", "a=2", "b=x"}, {"b=x"}},
        edit_case{"SetNothingAndSomething", {"set", "a=", "a=2"}, {"a=1"}, {"a=2"}},
        edit_case{"SetTheSame", {"set", "A=1", "a=2"}, {"a=1", "a=2"}, {"a=1", "a=2"}},
        edit_case{"SetAnotherOrder", {"set", "a=2", "a=1"}, {"a=1", "a=2"}, {"a=2", "a=1"}},
        edit_case{"SetAbsentToNothing", {"set", "b="}, {"a=1"}, {"a=1"}},
        edit_case{"SetALiteralAt", {"set", "a=@@b=c"}, {}, {"a=@b=c"}},
        edit_case{"AddAppends", {"add", "A=2", "a=3"}, {"a=1", "b=x"}, {"a=1", "a=2", "a=3", "b=x"}},
        edit_case{"AddToNone", {"add", "a=1"}, {}, {"a=1"}},
        edit_case{"RemoveFields", {"remove", "A", "b"}, {"a=1", "a=2", "b=x", "c=y"}, {"c=y"}},
        edit_case{"RemoveAValue", {"remove", "a=1"}, {"a=1", "a=2", "a=1"}, {"a=2"}},
        edit_case{"RemoveTheLastValue", {"remove", "a=1"}, {"a=1", "b=x"}, {"b=x"}},
        edit_case{"RemoveAnotherValue", {"remove", "a=3", "c", "d=1"}, {"a=1", "b=x"}, {"a=1", "b=x"}},
        edit_case{"RemoveAnEmptyValue", {"remove", "a="}, {"a=1", "a="}, {"a=1"}},
        edit_case{"SetAGain",
                  {"set", "ReplayGain_Track_Gain=-7.15", "replaygain_album_peak=0.5"},
                  {"a=1"},
                  {"a=1", "replaygain_track_gain=-7.15 dB", "replaygain_album_peak=0.500000"}},
        edit_case{"SetTheSameGain",
                  {"set", "replaygain_track_gain=-7.1502 DB"},
                  {"replaygain_track_gain=-7.15 dB"},
                  {"replaygain_track_gain=-7.15 dB"}},
        edit_case{"SetAGainToNothing", {"set", "replaygain_track_gain="}, {"replaygain_track_gain=+1.00 dB"}, {}},
        edit_case{"TheLastGainStands",
                  {"add", "replaygain_track_gain=1", "replaygain_track_gain=2"},
                  {"replaygain_track_gain=+3.00 dB"},
                  {"replaygain_track_gain=+2.00 dB"}},
        edit_case{"RemoveGains",
                  {"remove", "replaygain_track_gain", "replaygain_album_gain=1"},
                  {"replaygain_track_gain=+3.00 dB", "replaygain_album_gain=+1.00 dB"},
                  {}},
        edit_case{"RemoveAnotherGain",
                  {"remove", "replaygain_track_gain=1"},
                  {"replaygain_track_gain=+3.00 dB"},
                  {"replaygain_track_gain=+3.00 dB"}}),
    [](const auto& row) { return row.param.name; });

TEST_F(TagVerb, ValuesComeFromFiles) {
  auto& file = put("note://a", {});
  const struct {
    const char* content;
    const char* value;
  } rows[]{{"two\nlines\n", "two\nlines"},
           {"\xEF\xBB\xBFmarked", "marked"},
           {"\r\nx\r\n", "\r\nx"},
           {"@x", "@x"},
           {"gr\xC3\xBC\n\n", "gr\xC3\xBC\n"}};
  for (const auto& row : rows) {
    test::write_bytes(scratch / "words", row.content);
    EXPECT_EQ(tag({"set", "a=@" + (scratch / "words"), "note://a"}).status, exit_status::done);
    EXPECT_EQ(fields_of(file.subsongs[0]), strings{std::string("a=") + row.value});
  }
  test::write_bytes(scratch / "words", "\n");
  EXPECT_EQ(tag({"set", "a=@" + (scratch / "words"), "note://a"}).status, exit_status::done);
  EXPECT_EQ(fields_of(file.subsongs[0]), strings());
}

TEST_F(TagVerb, NothingIsTouchedWhenAValueIsNone) {
  auto& file = put("note://a", {});
  test::write_bytes(scratch / "latin", "gr\xFC");
  test::write_bytes(scratch / "nul", std::string("a\0b", 3));
  for (const auto& value : {"title=@" + (scratch / "latin"), "title=@" + (scratch / "nul"), "title=@" + (scratch / "-"),
                            std::string("replaygain_track_gain=loud"), std::string("replaygain_track_peak=1 dBm"),
                            std::string("replaygain_track_peak=nan")}) {
    const auto result = tag({"set", "artist=x", value, "note://a"});
    EXPECT_NE(result.status, exit_status::done) << value;
    EXPECT_NE(result.err, "") << value;
  }
  std::filesystem::resize_file(scratch / "latin", 16'777'217);
  const auto large = tag({"set", "title=@" + (scratch / "latin"), "note://a"});
  EXPECT_TRUE(large.err.ends_with("/latin: The file is longer than 16777216 bytes")) << large.err;
  EXPECT_NE(tag({"add", "artist=", "note://a"}).status, exit_status::done);
  EXPECT_EQ(file.opened_for_writing, 0);
}

TEST_F(TagVerb, SubsongsByNumber) {
  auto& file = notes()["note://disc"];
  file.subsongs = {info_of({"album=a", "title=1"}), info_of({"album=b", "title=2"})};
  EXPECT_EQ(tag({"set", "album=b", "note://disc"}).out, "1 file changed\n");
  EXPECT_EQ(file.set, std::vector<std::size_t>{0}) << "the other had it";
  EXPECT_EQ(file.committed, 1);
  EXPECT_EQ(tag({"set", "--subsong", "2", "title=x", "note://disc"}).status, exit_status::done);
  EXPECT_EQ(fields_of(file.subsongs[0]), (strings{"album=b", "title=1"}));
  EXPECT_EQ(fields_of(file.subsongs[1]), (strings{"album=b", "title=x"}));
  const auto missing = tag({"set", "--subsong", "3", "title=x", "note://disc"});
  EXPECT_EQ(missing.status, exit_status::failed);
  EXPECT_EQ(missing.err, "zel: note://disc: Unexpected subsong index\n");
  EXPECT_EQ(file.committed, 2);
  EXPECT_EQ(tag({"set", "--dry-run", "title=", "note://disc"}).out,
            "note://disc\n# subsong 1\n  - title=1\n# subsong 2\n  - title=x\n1 file would be changed\n");
}

TEST_F(TagVerb, CopyPutsFieldsAndGainsInPlaceOfTheOld) {
  put("note://from", {"title=x", "genre=1", "genre=2", "replaygain_album_gain=+1.00 dB"});
  auto& to = put("note://to", {"TITLE=x", "comment=c", "replaygain_track_peak=0.500000"});
  to.subsongs[0].info_set("codec", "PCM");
  EXPECT_EQ(tag({"copy", "--dry-run", "note://from", "note://to"}).out,
            "note://to\n  - comment=c\n  + genre=1\n  + genre=2\n  - replaygain_track_peak=0.500000\n"
            "  + replaygain_album_gain=+1.00 dB\n1 file would be changed\n");
  EXPECT_EQ(tag({"copy", "note://from", "note://to", "note://from"}).out, "1 file changed, 1 file unchanged\n");
  EXPECT_EQ(fields_of(to.subsongs[0]), (strings{"title=x", "genre=1", "genre=2", "replaygain_album_gain=+1.00 dB"}));
  EXPECT_NE(to.subsongs[0].info_get("codec"), nullptr);
  EXPECT_EQ(notes()["note://from"].committed, 0);
}

TEST_F(TagVerb, CopyOfSubsongs) {
  notes()["note://disc"].subsongs = {info_of({"title=1"}), info_of({"title=2"})};
  auto& twin = notes()["note://twin"];
  twin.subsongs.resize(2);
  auto& single = put("note://single", {});
  EXPECT_EQ(tag({"copy", "note://disc", "note://twin"}).status, exit_status::done);
  EXPECT_EQ(fields_of(twin.subsongs[0]), strings{"title=1"});
  EXPECT_EQ(fields_of(twin.subsongs[1]), strings{"title=2"});
  const auto refused = tag({"copy", "note://disc", "note://single"});
  EXPECT_EQ(refused.status, exit_status::failed);
  EXPECT_EQ(refused.err, "zel: note://single: The source has 2 subsongs, this has 1: choose one with --subsong\n");
  EXPECT_EQ(single.committed, 0);
  EXPECT_EQ(tag({"copy", "--subsong", "2", "note://disc", "note://single", "note://twin"}).status, exit_status::done);
  EXPECT_EQ(fields_of(single.subsongs[0]), strings{"title=2"});
  EXPECT_EQ(fields_of(twin.subsongs[0]), strings{"title=2"});
}

TEST_F(TagVerb, ClearLeavesItToTheWriter) {
  auto& file = put("note://a", {"title=x"});
  put("note://bare", {});
  EXPECT_EQ(tag({"clear", "--dry-run", "note://a"}).out, "note://a\n  - title=x\n1 file would be cleared\n");
  EXPECT_EQ(file.opened_for_writing, 0);
  // What has no field may have pictures.
  EXPECT_EQ(tag({"clear", "note://a", "note://bare"}).out, "2 files cleared\n");
  EXPECT_EQ(file.cleared, 1);
  EXPECT_EQ(file.committed, 0);
  EXPECT_TRUE(file.set.empty());
  EXPECT_EQ(notes()["note://bare"].cleared, 1);
}

TEST_F(TagVerb, TheRestIsDoneWhenOneFails) {
  auto& good = put("note://good", {"title=old"});
  put("note://full", {}).commit_failure = "Device full";
  put("note://fixed", {}).is_read_only = true;
  put("note://same", {"title=new"});
  for (const char* jobs : {"1", "4"}) {
    good.subsongs[0].meta_set("title", "old");
    const auto result = tag({"set", "-j", jobs, "title=new", "note://full", "note://good", "note://fixed",
                             "note://missing", "note://same"});
    EXPECT_EQ(result.status, exit_status::failed);
    EXPECT_EQ(result.out, "1 file changed, 1 file unchanged\n");
    EXPECT_EQ(result.err, "zel: note://full: Device full\n"
                          "zel: note://fixed: Tagging of this file format is not supported\n"
                          "zel: note://missing: Object not found\n");
    EXPECT_EQ(fields_of(good.subsongs[0]), strings{"title=new"});
  }
}

// Whoever stops an edit wants to know how far it has come.
TEST_F(TagVerb, AnInterruptedEditTellsWhatIsDone) {
  const strings files{"note://0", "note://1", "note://2", "note://3", "note://4", "note://5"};
  for (int round = 0; round < 50; ++round) {
    const auto stops_at = static_cast<std::size_t>(round) % files.size();
    for (const auto& path : files) put(path, {"title=" + std::to_string(round)}).committed = 0;
    notes()[files[stops_at]].is_interrupted = true;
    const bool is_json = round % 2 != 0;
    strings arguments{"set", "-j", is_json ? "4" : "1", "title=new"};
    if (is_json) arguments.emplace_back("--json");
    arguments.insert(arguments.end(), files.begin(), files.end());
    const auto result = tag(arguments);
    EXPECT_EQ(result.err, "User abort");
    const auto changed = static_cast<std::size_t>(
        std::ranges::count_if(files, [](const auto& path) { return notes()[path].committed == 1; }));
    const auto lines = static_cast<std::size_t>(std::ranges::count(result.out, '\n'));
    if (is_json) {
      EXPECT_EQ(lines, changed) << result.out;
    } else {
      EXPECT_EQ(result.out,
                changed == 0 ? "" : std::to_string(changed) + (changed == 1 ? " file" : " files") + " changed\n");
    }
    notes().clear();
  }
}

TEST_F(TagVerb, AFileBrieflyInUseIsWaitedFor) {
  put("note://a", {}).times_in_use = 2;
  EXPECT_EQ(tag({"set", "title=x", "note://a"}).status, exit_status::done);
}

TEST_F(TagVerb, JsonTellsOldAndNew) {
  put("note://a", {"TITLE=x", "genre=1"});
  put("note://b", {"title=y"});
  const auto result = tag({"set", "--json", "title=y", "genre=1", "genre=2", "note://a", "note://missing", "note://b"});
  EXPECT_EQ(result.status, exit_status::failed);
  EXPECT_EQ(result.out,
            R"({"path":"note://a","changed":true,"dry_run":false,"subsongs":[{"subsong":0,"changes":[)"
            R"({"name":"title","old":["x"],"new":["y"]},{"name":"genre","old":["1"],"new":["1","2"]}]}]})"
            "\n"
            R"({"path":"note://missing","error":{"type":"exception_io_not_found","message":"Object not found"}})"
            "\n"
            R"({"path":"note://b","changed":true,"dry_run":false,"subsongs":[{"subsong":0,"changes":[)"
            R"({"name":"genre","old":[],"new":["1","2"]}]}]})"
            "\n");
}

TEST_F(TagVerb, DifferencesLeaveOutWhatIsCommonAtTheEnds) {
  put("note://a", {"a=1", "a=2", "a=3", "a=1"});
  EXPECT_EQ(tag({"set", "--dry-run", "a=1", "a=x\ny", "a=@@3", "a=1", "note://a"}).out,
            "note://a\n  - a=2\n  - a=3\n  + a=x\\ny\n  + a=@@3\n1 file would be changed\n");
  EXPECT_EQ(tag({"set", "--dry-run", "a=1", "a=1", "note://a"}).out,
            "note://a\n  - a=2\n  - a=3\n1 file would be changed\n");
  EXPECT_EQ(tag({"add", "--dry-run", "a=1", "note://a"}).out, "note://a\n  + a=1\n1 file would be changed\n");
}

TEST_F(TagVerb, WhatShowPrintsSetTakesBack) {
  const strings fields{"title=a=b",
                       "comment=@home",
                       "genre=1",
                       "genre=2",
                       "ARTIST=Bj\xC3\xB6rk",
                       "replaygain_track_gain=-7.15 dB",
                       "replaygain_album_peak=0.988553"};
  put("note://a", fields);
  const auto shown = tag({"show", "note://a"});
  EXPECT_EQ(shown.status, exit_status::done);
  strings again{"set"};
  for (std::size_t at = 0; at < shown.out.size();) {
    const auto end = shown.out.find('\n', at);
    again.push_back(shown.out.substr(at, end - at));
    at = end + 1;
  }
  auto& other = put("note://b", {});
  again.insert(again.end(), {"--", "note://b"});
  EXPECT_EQ(tag(again).status, exit_status::done);
  EXPECT_EQ(fields_of(other.subsongs[0]), fields);
}

TEST_F(TagVerb, ShowOfSeveral) {
  put("note://a", {"Title=x\ny"});
  notes()["note://disc"].subsongs = {info_of({"title=1"}), info_of({"replaygain_track_gain=+1.00 dB"})};
  const auto text = tag({"show", "note://a", "note://missing", "note://disc"});
  EXPECT_EQ(text.status, exit_status::failed);
  EXPECT_EQ(text.out, "# note://a\nTitle=x\\ny\n# note://disc\n# subsong 1\ntitle=1\n# subsong 2\n"
                      "replaygain_track_gain=+1.00 dB\n");
  EXPECT_EQ(text.err, "zel: note://missing: Object not found\n");
  EXPECT_EQ(tag({"show", "--subsong", "2", "note://disc"}).out, "replaygain_track_gain=+1.00 dB\n");
  EXPECT_EQ(tag({"show", "--json", "note://a", "note://disc"}).out,
            R"({"path":"note://a","subsongs":[{"subsong":0,"meta":{"title":["x\ny"]},"replaygain":{}}]})"
            "\n"
            R"({"path":"note://disc","subsongs":[{"subsong":1,"meta":{"title":["1"]},"replaygain":{}},)"
            R"({"subsong":2,"meta":{},"replaygain":{"track_gain":"+1.00 dB"}}]})"
            "\n");
}

TEST_F(TagVerb, AnEditAfterAnotherSeesIt) {
  auto& file = put("note://a", {});
  EXPECT_EQ(tag({"add", "a=1", "note://a", "note://a"}).out, "2 files changed\n");
  EXPECT_EQ(fields_of(file.subsongs[0]), (strings{"a=1", "a=1"}));
}

} // namespace

} // namespace zelmora::cli
