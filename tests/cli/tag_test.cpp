// `zel tag` on real files: what is written is read back, and the audio stays.
#include "cli/zel_process.h"

#include "support/fixtures.h"

#include <algorithm>
#include <filesystem>

namespace zelmora::test {

namespace {

class Tag : public ZelTest {
 protected:
  /// A copy of a WAV fixture.
  void take(std::string_view fixture, std::string_view name) const {
    std::filesystem::copy_file(fixture_path(std::string("wav/").append(fixture)), path(name));
  }
  nlohmann::ordered_json shown(const std::string& name) const {
    const auto result = zel({"tag", "show", "--json", name});
    EXPECT_EQ(result.status, 0) << result.err;
    return json_lines_of(result.out).at(0).at("subsongs").at(0);
  }
  std::string pcm(const std::string& name) const {
    const auto result = zel({"verify", "--json", name});
    EXPECT_EQ(result.status, 0) << result.err;
    return json_lines_of(result.out).at(0).at("pcm_md5");
  }
};

TEST_F(Tag, WhatIsSetIsReadAndTheAudioStays) {
  for (const std::string fixture :
       {"s16.wav", "f32.wav", "u8.wav", "odd_list_before_data.wav", "s24_sox_extensible.wav"}) {
    const auto& name = fixture;
    take(fixture, name);
    const auto audio = pcm(name);
    // Small, then too large for any room that was left, then small again.
    for (const auto& title : {std::string("Aria"), std::string(20'000, 'x'), std::string("Gr\xC3\xBC\xC3\x9F")}) {
      const auto result =
          zel({"tag", "set", "title=" + title, "genre=Jazz", "genre=Blues", "replaygain_track_gain=-7.15 dB", name});
      EXPECT_EQ(result.status, 0) << fixture << result.err;
      EXPECT_EQ(result.out, "1 file changed\n") << fixture;
      const auto tags = shown(name);
      EXPECT_EQ(tags.at("meta").at("title"), (std::vector<std::string>{title})) << fixture;
      EXPECT_EQ(tags.at("meta").at("genre"), (std::vector<std::string>{"Jazz", "Blues"})) << fixture;
      EXPECT_EQ(tags.at("replaygain").at("track_gain"), "-7.15 dB") << fixture;
      EXPECT_EQ(pcm(name), audio) << fixture;
    }
    EXPECT_EQ(zel({"tag", "clear", name}).status, 0);
    EXPECT_TRUE(shown(name).at("meta").empty()) << fixture;
    EXPECT_TRUE(shown(name).at("replaygain").empty()) << fixture;
    EXPECT_EQ(pcm(name), audio) << fixture;
  }
}

TEST_F(Tag, AnEditThatChangesNothingWritesNothing) {
  take("s16.wav", "a.wav");
  ASSERT_EQ(zel({"tag", "set", "title=x", "replaygain_track_gain=1", "a.wav"}).status, 0);
  const auto bytes = read("a.wav");
  const auto before = status_of(path("a.wav"));
  for (const auto& edit : std::vector<std::vector<std::string>>{
           {"set", "TITLE=x"}, {"set", "replaygain_track_gain=+1.00 dB"}, {"remove", "comment"}, {"copy", "a.wav"}}) {
    auto arguments = edit;
    arguments.insert(arguments.begin(), "tag");
    arguments.insert(arguments.end(), {"--", "a.wav"});
    EXPECT_EQ(zel(arguments).out, "1 file unchanged\n") << edit[0];
    const auto after = status_of(path("a.wav"));
    EXPECT_EQ(after.st_ino, before.st_ino) << edit[0];
    EXPECT_EQ(after.st_ctim.tv_sec, before.st_ctim.tv_sec) << edit[0];
    EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec) << edit[0];
    EXPECT_EQ(read("a.wav"), bytes) << edit[0];
  }
}

TEST_F(Tag, ManyFilesAtOnce) {
  std::string list;
  for (int i = 0; i < 20; ++i) {
    const auto name = std::to_string(i) + ".wav";
    if (i != 7) take("s16.wav", name);
    list += name + '\n';
  }
  const auto result = zel({"tag", "set", "-j", "4", "album=x", "--files-from", "-"}, {.input = list});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "19 files changed\n");
  EXPECT_EQ(result.err, "zel: 7.wav: Object not found\n");
  for (int i = 0; i < 20; ++i) {
    if (i == 7) continue;
    EXPECT_EQ(shown(std::to_string(i) + ".wav").at("meta").at("album"), std::vector<std::string>{"x"}) << i;
  }
}

TEST_F(Tag, CopiedAndRemoved) {
  take("s16.wav", "a.wav");
  take("s24.wav", "b.wav");
  ASSERT_EQ(zel({"tag", "set", "title=x", "artist=y", "replaygain_album_peak=0.5", "a.wav"}).status, 0);
  ASSERT_EQ(zel({"tag", "copy", "a.wav", "b.wav"}).status, 0);
  EXPECT_EQ(shown("b.wav"), shown("a.wav"));
  ASSERT_EQ(zel({"tag", "remove", "title", "artist=other", "--", "b.wav"}).status, 0);
  EXPECT_EQ(shown("b.wav").at("meta").dump(), R"({"artist":["y"]})");
}

TEST_F(Tag, AFileThatIsReadOnlyStaysAndIsTold) {
  take("s16.wav", "a.wav");
  std::filesystem::permissions(path("a.wav"), std::filesystem::perms{0444});
  const auto bytes = read("a.wav");
  const auto result = zel({"tag", "set", "title=x", "a.wav"}, {.as_nobody = true});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel: a.wav: Access denied\n");
  EXPECT_EQ(read("a.wav"), bytes);
}

TEST_F(Tag, SoundCheckIsWrittenAndRemovedOnRequest) {
  take("s16.wav", "a.wav");
  const auto audio = pcm("a.wav");
  ASSERT_EQ(zel({"tag", "set", "title=x", "replaygain_track_gain=0", "replaygain_album_gain=-6", "a.wav"}).status, 0);
  // Levels at -16 LUFS: 10^(-0.2) of the references for the track, 10^(0.4) for the album.
  for (const auto& [what, levels] : {std::pair{"track", " 277 277 629 629 "}, {"album", " 9D0 9D0 1888 1888 "}}) {
    EXPECT_EQ(zel({"run", std::string("Copy ") + what + " ReplayGain to SoundCheck", "a.wav"}).status, 0);
    EXPECT_NE(read("a.wav").find("iTunNORM"), std::string::npos) << what;
    EXPECT_NE(read("a.wav").find(levels), std::string::npos) << what;
  }
  EXPECT_EQ(zel({"run", "Remove SoundCheck information", "a.wav"}).status, 0);
  EXPECT_EQ(read("a.wav").find("iTunNORM"), std::string::npos);
  EXPECT_EQ(shown("a.wav").dump(), R"({"subsong":0,"meta":{"title":["x"]},)"
                                   R"("replaygain":{"track_gain":"+0.00 dB","album_gain":"-6.00 dB"}})");
  EXPECT_EQ(pcm("a.wav"), audio);
}

using TagOfNone = ZelTest;

TEST_F(TagOfNone, ContainersWithoutTagsStayAsTheyAre) {
  for (const std::string name : {"rf64.wav", "wave64.w64"}) {
    std::filesystem::copy_file(fixture_path("wav/" + name), path(name));
    const auto result = zel({"tag", "set", "title=x", name});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "zel: " + name + ": Tagging of this file format is not supported\n");
    EXPECT_EQ(read(name), read_bytes(fixture_path("wav/" + name)));
  }
}

TEST_F(TagOfNone, WhatTakesNoTagsSaysSo) {
  const struct {
    std::vector<std::string> arguments;
    const char* reason;
  } rows[]{{{"set", "title=x"}, "Access denied"},
           {{"clear"}, "Access denied"},
           {{"set", "--dry-run", "title=x"}, "Tagging of this file format is not supported"}};
  for (auto [arguments, reason] : rows) {
    arguments.insert(arguments.begin(), "tag");
    arguments.insert(arguments.end(), {"--", "tone://440,1"});
    const auto result = zel(arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, std::string("zel: tone://440,1: ") + reason + "\n");
  }
}

TEST_F(TagOfNone, AFieldThatIsAFileIsNotGuessedAt) {
  write("title=x", "");
  write("a.wav", float_wav(ramp(10)));
  const auto result = zel({"tag", "set", "title=x", "a.wav"});
  EXPECT_EQ(result.status, 2);
  EXPECT_TRUE(result.err.starts_with("zel: \"title=x\" is a file as well: put -- between fields and paths\n"));
  EXPECT_EQ(zel({"tag", "remove", "a.wav", "a.wav"}).status, 2) << "the name was forgotten";
}

TEST_F(TagOfNone, NothingIsDoneWithoutASource) {
  const auto result = zel({"tag", "copy", "missing.wav", "tone://440,1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel: missing.wav: Object not found\n");
}

} // namespace

} // namespace zelmora::test
