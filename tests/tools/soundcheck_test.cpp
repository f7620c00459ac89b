// The commands that ask a file's writer for SoundCheck values.
#include "frame/context_command.h"
#include "support/fake_front_end.h"
#include "support/note_input.h"
#include "support/test_services.h"

#include <gtest/gtest.h>

namespace zelmora {
namespace {

struct command_case {
  const char* title;
  const char* name;
  const char* help;
  const char* field;
  const char* value;
};

class SoundCheck : public testing::TestWithParam<command_case> {
 protected:
  SoundCheck() {
    test::reset_front_end();
    test::notes().clear();
  }

  /// The index of the command called `name`.
  std::size_t find(std::string_view name) {
    for (std::size_t i = 0; i < entry->get_command_count(); ++i)
      if (entry->describe(i).name == name) return i;
    ADD_FAILURE() << "no command " << name;
    return 0;
  }

  service_ptr_t<context_command_entry> entry = (test::attach_own_services(), service_single<context_command_entry>());
  abort_callback_dummy abort;
};

TEST_P(SoundCheck, AsksTheWriterOfEachItem) {
  const auto index = find(GetParam().name);
  EXPECT_EQ(entry->describe(index).help, GetParam().help);
  auto& plain = test::notes()["note://plain.mp3"];
  plain.subsongs[0].info_set("codec", "MP3");
  plain.subsongs[0].meta_add("title", "x");
  auto& twin = test::notes()["note://twin.m4a"];
  twin.subsongs.resize(2);
  const std::vector<media_item> items{{"note://plain.mp3", 0}, {"note://twin.m4a", 2}};
  EXPECT_EQ(entry->run(index, items), command_result::done);
  EXPECT_EQ(test::front_end().jobs, std::vector<std::string>{"Writing SoundCheck tags"});
  EXPECT_EQ(test::front_end().steps,
            (std::vector<std::pair<unsigned, std::string>>{{0, "note://plain.mp3"}, {2500, "note://twin.m4a"}}));
  EXPECT_TRUE(test::front_end().messages.empty());
  const auto& written = plain.subsongs[0];
  EXPECT_EQ(written.info_get_count(), 2u) << "no other request";
  ASSERT_NE(written.info_get(GetParam().field), nullptr);
  EXPECT_EQ(*written.info_get(GetParam().field), GetParam().value);
  ASSERT_NE(written.meta_get("title"), nullptr);
  EXPECT_EQ(*written.meta_get("title"), "x");
  EXPECT_EQ(plain.committed, 1);
  EXPECT_EQ(twin.set, std::vector<std::size_t>{1});
  EXPECT_EQ(twin.committed, 1);
}

INSTANTIATE_TEST_SUITE_P(All, SoundCheck,
                         testing::Values(command_case{"CopyTrack", "Copy track ReplayGain to SoundCheck",
                                                      "Copies ReplayGain track gain value to SoundCheck tags.",
                                                      "Apple_SoundCheck_user_option", "1"},
                                         command_case{"CopyAlbum", "Copy album ReplayGain to SoundCheck",
                                                      "Copies ReplayGain album gain value to SoundCheck tags.",
                                                      "Apple_SoundCheck_user_option", "2"},
                                         command_case{"Remove", "Remove SoundCheck information",
                                                      "Removes SoundCheck tags from the files.",
                                                      "Apple_SoundCheck_clear", "1"}),
                         [](const auto& row) { return row.param.title; });

using SoundCheckItems = SoundCheck;

TEST_F(SoundCheckItems, ThoseThatFailAreToldAtTheEnd) {
  test::notes()["note://good.mp3"];
  test::notes()["note://full.mp3"].commit_failure = "Device full";
  test::notes()["note://locked.mp3"].times_in_use = 1000;
  const std::vector<media_item> items{
      {"note://full.mp3", 0}, {"note://good.mp3", 0}, {"note://locked.mp3", 0}, {"note://missing.mp3", 0}};
  EXPECT_EQ(entry->run(0, items), command_result::some_failed);
  EXPECT_EQ(test::notes()["note://good.mp3"].committed, 1);
  EXPECT_GT(test::notes()["note://locked.mp3"].opened_for_writing, 5) << "tried again for half a second";
  ASSERT_EQ(test::front_end().messages.size(), 1u);
  EXPECT_EQ(test::front_end().messages[0].title, "SoundCheck - Information");
  EXPECT_EQ(test::front_end().messages[0].text,
            "Error while processing\nnote://full.mp3\nReason:\nDevice full\n\n"
            "Error while processing\nnote://locked.mp3\nReason:\nFile is already in use\n\n"
            "Error while processing\nnote://missing.mp3\nReason:\nObject not found\n\n"
            "3 out of 4 items could not be processed.");
}

TEST_F(SoundCheckItems, WaitForAFileThatIsBrieflyInUse) {
  test::notes()["note://a.mp3"].times_in_use = 2;
  EXPECT_EQ(entry->run(0, std::vector<media_item>{{"note://a.mp3", 0}}), command_result::done);
  EXPECT_EQ(test::notes()["note://a.mp3"].committed, 1);
}

TEST_F(SoundCheckItems, AreOfferedByExtension) {
  for (std::size_t i = 0; i < 3; ++i) {
    for (const char* path : {"a.MP3", "a.mp4", "a.m4a", "a.aiff", "a.wav", "a.aac"})
      EXPECT_TRUE(entry->is_offered(i, std::vector<media_item>{{path, 0}}, abort)) << path;
    for (const char* path : {"a.flac", "a.m4b", "a.aif", "a.w64", "mp3"})
      EXPECT_FALSE(entry->is_offered(i, std::vector<media_item>{{"b.mp3", 0}, {path, 0}}, abort)) << path;
  }
}

} // namespace
} // namespace zelmora
