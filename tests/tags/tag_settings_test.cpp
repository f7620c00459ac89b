// What each setting of the tag engine does to the tags that are written and read.
#include "tags/tag_settings.h"

#include "../host/host_fixture.h"
#include "frame/advconfig.h"
#include "frame/exceptions.h"
#include "frame/memory_file.h"
#include "tags/id3v2_tag.h"
#include "tags/tag_processor.h"
#include "tail_bytes.h"

#include <algorithm>

namespace zelmora::test {
namespace {

using namespace std::string_view_literals;

const bytes audio(5000, std::byte(0x55));

service_ptr_t<advconfig_entry> setting(std::string_view key) {
  for (const auto& entry : enumerate_services<advconfig_entry>())
    if (entry->place().key == key) return entry;
  throw exception_service_not_found();
}

/// Settings stand for the whole process: what a test changes goes back to the default.
class TagSettings : public HostTest {
 protected:
  ~TagSettings() override {
    for (const auto& [key, value] : changed_) setting(key)->set_text(value);
  }
  void set(const std::string& key, std::string_view value) {
    const auto entry = setting(key);
    if (entry->kind() == advconfig_kind::radio) {
      for (const auto& other : enumerate_services<advconfig_entry>())
        if (other->place().parent == entry->place().parent && other->get_default_text() == "yes")
          changed_.emplace_back(other->place().key, "yes");
    } else {
      changed_.emplace_back(key, entry->get_default_text());
    }
    entry->set_text(value);
  }

 private:
  std::vector<std::pair<std::string, std::string>> changed_;
};

bool holds(const bytes& tag, std::string_view wanted) {
  const auto found = as_byte_span(wanted);
  return std::search(tag.begin(), tag.end(), found.begin(), found.end()) != tag.end();
}

struct writing_case {
  const char* name;
  const char* key;
  const char* value;
  std::vector<std::pair<std::string_view, std::string_view>> fields;
  std::string_view before; ///< in the tag as long as the setting has its default, and not with `value`
  std::string_view after;  ///< the other way round
};
std::ostream& operator<<(std::ostream& out, const writing_case& c) { return out << c.name; }

class WritingSettings : public TagSettings, public testing::WithParamInterface<writing_case> {
 protected:
  static bytes write() {
    file_info_impl info;
    for (const auto& [name, value] : GetParam().fields) info.meta_set(name, value);
    return write_id3v2({}, 0, info);
  }
};

TEST_P(WritingSettings, change_the_tag) {
  const auto& tested = GetParam();
  const auto usual = write();
  EXPECT_TRUE(holds(usual, tested.before));
  EXPECT_FALSE(holds(usual, tested.after));
  set(tested.key, tested.value);
  const auto changed = write();
  EXPECT_FALSE(holds(changed, tested.before));
  EXPECT_TRUE(holds(changed, tested.after));
}

INSTANTIATE_TEST_SUITE_P(
    keys, WritingSettings,
    testing::Values(
        writing_case{"version", "tagging.id3.write-2.4", "yes", {{"title", "t"}}, "ID3\x03"sv, "ID3\x04"sv},
        writing_case{"dates", "tagging.id3.dateCompat", "no", {{"date", "2001-02-03"}}, "2001-02-03"sv, "TDAT"sv},
        writing_case{"rating", "tagging.id3.ratingTXXX", "yes", {{"rating", "4"}}, "POPM"sv, "r\0a\0t\0i\0n\0g\0"sv},
        writing_case{"band",
                     "tagging.id3.tpe2-album-artist",
                     "no",
                     {{"album artist", "x"}},
                     "TPE2"sv,
                     "a\0l\0b\0u\0m\0 \0a\0r\0t\0i\0s\0t\0"sv}),
    case_name);

TEST_F(TagSettings, PaddingIsLeftOnlyWhereItIsWanted) {
  file_info_impl info;
  info.meta_set("title", "t");
  const auto padded = write_id3v2({}, 0, info);
  EXPECT_EQ(padded.back(), std::byte{0});
  set("tagging.id3.usePadding", "no");
  const auto plain = write_id3v2({}, 0, info);
  EXPECT_LT(plain.size(), padded.size());
  EXPECT_EQ(write_id3v2(padded, padded.size(), info), padded) << "nothing changes";
  info.meta_set("title", "u");
  EXPECT_EQ(write_id3v2(padded, padded.size(), info).size(), plain.size());
}

TEST_F(TagSettings, SoundCheckFollowsTheGainThatIsChosen) {
  file_info_impl info;
  info.set_replaygain({.album_gain = -3, .track_gain = 0});
  EXPECT_FALSE(holds(write_id3v2({}, 0, info), "iTunNORM"));
  set("tagging.soundCheck.trackGain", "yes");
  EXPECT_TRUE(holds(write_id3v2({}, 0, info), " 277 277 629 629 24CA8"));
  set("tagging.soundCheck.level.replayGain", "yes");
  EXPECT_TRUE(holds(write_id3v2({}, 0, info), " 3E8 3E8 9C4 9C4 24CA8"));
  set("tagging.soundCheck.albumGain", "yes");
  EXPECT_TRUE(holds(write_id3v2({}, 0, info), " 7CB 7CB 137C 137C 24CA8"));
}

TEST_F(TagSettings, TheSchemeIsForFilesWithoutTags) {
  using enum tag_kinds;
  file_info_impl untagged;
  file_info_impl tagged;
  tagged.info_set("tagtype", "apev2|id3v1");
  for (const auto& [key, wanted] :
       {std::pair("tagging.mp3.id3v2", id3v2), std::pair("tagging.mp3.ape+id3v1", ape | id3v1),
        std::pair("tagging.mp3.ape", ape), std::pair("tagging.mp3.id3v2+id3v1", id3v2 | id3v1)}) {
    set(key, "yes");
    EXPECT_EQ(choose_mp3_tag_kinds(untagged, {}, untagged), wanted) << key;
    EXPECT_EQ(choose_mp3_tag_kinds(tagged, {}, untagged), ape | id3v1) << key;
  }
}

// --- what players need to cut the encoder's delay ------------------------------------------------------------------

const auto gapless_v3 = frame_v3("COMM", text("engiTunSMPB\0 00000000 00000210 000009C4"sv));
const auto gapless_v2 = frame_v2("COM", text("engiTunSMPB\0 00000000 00000210 000009C4"sv));

class AppleGapless : public TagSettings {
 protected:
  bytes remove(const bytes& head, apple_gapless gapless = apple_gapless::configured) {
    const auto object = service_new<memory_file>(head + audio + ape_bytes(ape_item_bytes("Title", "t"), 1));
    file_ptr target(object.get());
    tag_processor::remove_all(target, {}, abort, gapless);
    const auto once = object->content();
    tag_processor::remove_all(target, {}, abort, gapless);
    EXPECT_EQ(object->content(), once) << "a second time";
    return once;
  }
};

TEST_F(AppleGapless, OutlivesTheOtherTags) {
  set("tagging.id3.usePadding", "no");
  const auto title = frame_v3("TIT2", text("t"));
  EXPECT_EQ(remove(make_tag(3, title + gapless_v3 + frame_v3("COMM", text("engx\0y"sv)))),
            make_tag(3, gapless_v3) + audio);
  EXPECT_EQ(remove(make_tag(2, gapless_v2)), make_tag(3, gapless_v3) + audio) << "2.2 is not written";
  EXPECT_EQ(remove(make_tag(3, gapless_v3, 0x80)), make_tag(3, gapless_v3) + audio) << "unsynchronised before";
  EXPECT_EQ(remove(make_tag(3, title)), audio);
  EXPECT_EQ(remove(make_tag(3, title + gapless_v3), apple_gapless::removed), audio);
  EXPECT_EQ(remove(make_tag(3, to_bytes("COMM") + be_size(99) + bytes(9))), audio) << "damaged";
  EXPECT_EQ(remove({}), audio);
  set("tagging.id3.write-2.4", "yes");
  const auto gapless_v4 = frame_v4("COMM", text("engiTunSMPB\0 00000000 00000210 000009C4"sv));
  EXPECT_EQ(remove(make_tag(3, title + gapless_v3)), make_tag(4, gapless_v4, 0x80) + audio);
  set("tagging.id3.retainAppleGapless", "no");
  EXPECT_EQ(remove(make_tag(3, title + gapless_v3)), audio);
}

TEST_F(AppleGapless, TheRoomOfTheOldTagIsKeptAsForAnyEdit) {
  const auto head = make_tag(3, frame_v3("TIT2", text("a long title")) + gapless_v3);
  const auto left = remove(head);
  EXPECT_EQ(left.size(), head.size() + audio.size());
  EXPECT_EQ(left[10], std::byte{'C'});
}

} // namespace
} // namespace zelmora::test
