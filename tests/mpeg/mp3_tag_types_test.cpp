// The kinds of tags of MP3 files changed, over real files.
#include "mpeg/mp3_tag_types.h"

#include "mp3_command_test.h"

namespace zelmora::test {
namespace {

constexpr const char* command = "MP3 tag types...";

class Mp3TagTypes : public Mp3Command {
 protected:
  command_result change(const char* kinds, const std::vector<std::string>& paths) {
    host::set_dialog_answers({{"kinds", kinds}});
    return run(command, paths);
  }
  file_info_impl tags(const std::string& path) {
    file_info_impl info;
    tag_processor::read(*open(path), info, abort);
    return info;
  }
  /// "" where there are no tags.
  std::string kinds(const std::string& path) {
    try {
      return *tags(path).info_get(info_field::tagtype);
    } catch (const exception_tag_not_found&) {
      return "";
    }
  }
};

TEST_F(Mp3TagTypes, EachKindSaysTheSame) {
  const auto path = put("id3v2_id3v1.mp3");
  const auto title = *tags(path).meta_get("title");
  const std::pair<const char*, const char*> rows[]{{"ape", "apev2"},
                                                   {"id3v1,ape", "apev2|id3v1"},
                                                   {"id3v1", "id3v1"},
                                                   {"id3v1,id3v2,ape", "id3v2.3|apev2|id3v1"},
                                                   {"id3v2", "id3v2.3"}};
  for (const auto& [wanted, found] : rows) {
    EXPECT_EQ(change(wanted, {path}), command_result::done);
    EXPECT_EQ(kinds(path), found);
    EXPECT_EQ(*tags(path).meta_get("title"), title) << wanted;
    EXPECT_NE(read_bytes(path).find(fixture("mono.mp3")), std::string::npos) << "audio";
  }
}

TEST_F(Mp3TagTypes, WhatAppleTellsOfTheLengthStays) {
  const auto path = put("itunsmpb.mp3");
  const auto delay = [&] {
    auto source = zelmora_io::file_ptr();
    zelmora_io::filesystem::g_open(source, path, zelmora_io::open_mode::read, abort);
    return tag_processor::read_apple_gapless(*source, abort);
  };
  const auto told = delay();
  ASSERT_TRUE(told);
  EXPECT_EQ(change("ape", {path}), command_result::done);
  EXPECT_EQ(delay(), told);
}

TEST_F(Mp3TagTypes, FilesThatCannotBeReadAreTold) {
  host::set_answers(host::answers::yes);
  EXPECT_EQ(run(command, {scratch / "missing.mp3"}), command_result::some_failed);
  EXPECT_EQ(said, "MP3 Tag Types - Information: Could not update item (missing.mp3): Object not found\n");
}

TEST_F(Mp3TagTypes, DefaultIsWhatAllFilesHave) {
  const auto both = put("both.mp3", fixture("id3v2_id3v1.mp3"));
  const auto ape = put("apev2.mp3");
  host::set_answers(host::answers::yes);
  EXPECT_EQ(run(command, {both}), command_result::done);
  EXPECT_EQ(read_bytes(both), fixture("id3v2_id3v1.mp3"));
  EXPECT_EQ(raised([&] { run(command, {both, ape}); }), "dialog_unanswered: --kinds: A value is needed");
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(read_bytes(ape), fixture("apev2.mp3"));
}

TEST_F(Mp3TagTypes, NoKindAtAllIsAskedFor) {
  const auto path = put("id3v2_id3v1.mp3");
  EXPECT_EQ(change("", {path}), command_result::aborted) << "nobody says yes";
  EXPECT_EQ(read_bytes(path), fixture("id3v2_id3v1.mp3"));
  host::set_answers(host::answers::yes);
  EXPECT_EQ(change("", {path}), command_result::done);
  EXPECT_EQ(said, "MP3 Tag Types: All tags of 1 file will be removed. Are you sure? [y/N] y\n");
  EXPECT_EQ(kinds(path), "");
  EXPECT_EQ(read_bytes(path), fixture("mono.mp3"));
}

TEST_F(Mp3TagTypes, FilesThatAreNoMpegAudioAreLeftAlone) {
  const auto noise = put("noise.mp3", pattern(5000));
  const auto path = put("apev2.mp3");
  EXPECT_EQ(change("id3v1", {noise, path, path}), command_result::some_failed);
  EXPECT_EQ(said, "MP3 Tag Types - Information: Could not update item (noise.mp3): No frames of MPEG audio found\n");
  EXPECT_EQ(read_bytes(noise), pattern(5000));
  EXPECT_EQ(kinds(path), "id3v1");
}

class Mp3TagTypesWithPicture : public Mp3TagTypes {
 protected:
  Mp3TagTypesWithPicture() {
    put("art.mp3", fixture("id3v2_id3v1.mp3"));
    auto target = open(path, zelmora_io::open_mode::write_existing);
    const std::vector<std::byte> picture(3000, std::byte{0x11});
    tag_processor::write_pictures(target, path, {{album_art_id::cover_front, make_album_art(picture)}}, abort);
  }
  std::size_t picture_size() {
    const auto pictures = tag_processor::read_pictures(*open(path), abort);
    const auto front = find_album_art(pictures, album_art_id::cover_front);
    return front ? front->bytes().size() : 0;
  }

  const std::string path = scratch / "art.mp3";
};

TEST_F(Mp3TagTypesWithPicture, PicturesMoveAlong) {
  for (const char* wanted : {"ape", "id3v2", "id3v2,ape", "ape,id3v1", "id3v1,id3v2"}) {
    EXPECT_EQ(change(wanted, {path}), command_result::done);
    EXPECT_EQ(picture_size(), 3000u) << wanted;
  }
}

TEST_F(Mp3TagTypesWithPicture, OldOrNewWhateverFails) {
  const auto old_bytes = read_bytes(path);
  for (const auto kinds : {tag_kinds::ape, tag_kinds::id3v2, tag_kinds::none}) {
    write_bytes(path, old_bytes);
    const auto edit = [&](abort_callback& token) { change_mp3_tag_kinds(path, kinds, token); };
    edit(abort);
    const edit_check check{scratch, path, old_bytes, read_bytes(path), edit};
    expect_old_or_new_after_failures(check);
    expect_old_or_new_after_kills(check);
  }
}

} // namespace
} // namespace zelmora::test
