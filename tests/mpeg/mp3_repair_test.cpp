// Headers, streams and gapless information repaired: what is told afterwards, and that all audio stays byte for byte.
#include "mpeg/mp3_repair.h"

#include "mp3_command_test.h"
#include "mpeg/vbr_headers.h"
#include "support/bytes.h"

namespace zelmora::test {
namespace {

constexpr const char* fix = "Fix VBR MP3 header...";
constexpr const char* rebuild = "Rebuild MP3 stream";
constexpr const char* gapless = "Edit MP3 gapless playback information";

/// The frame at `offset` as a header, or what it isn't.
mpeg_vbr_info header_at(const std::string& content, std::size_t offset) {
  return read_xing(as_byte_span(content).subspan(offset)).value_or(mpeg_vbr_info());
}

struct fix_case {
  const char* file;
  std::size_t old_audio; ///< where the first frame of music begins [bytes]
  std::size_t new_audio;
  std::uint32_t frames;
  bool is_vbr;
  std::uint32_t delay;
  std::uint32_t padding;
  std::size_t header = 0;     ///< [bytes]
  std::string_view said = {}; ///< what the user is told
};

class FixHeader : public Mp3Command, public testing::WithParamInterface<fix_case> {};

TEST_P(FixHeader, TellsWhatTheFramesAre) {
  const auto& row = GetParam();
  const auto path = put(row.file);
  const auto before = read_bytes(path);
  EXPECT_EQ(run(fix, {path}), command_result::done);
  EXPECT_EQ(said, row.said);
  const auto after = read_bytes(path);
  EXPECT_TRUE(after.substr(row.new_audio) == before.substr(row.old_audio)) << "audio and tags";
  EXPECT_TRUE(after.substr(0, row.header) == before.substr(0, row.header));
  const auto told = header_at(after, row.header);
  EXPECT_EQ(told.frames, row.frames);
  EXPECT_EQ(told.bytes, after.size() - row.header);
  EXPECT_EQ(told.is_vbr, row.is_vbr);
  EXPECT_EQ(told.delay, row.delay);
  EXPECT_EQ(told.padding, row.padding);
  EXPECT_TRUE(told.table);
  // What is right is left alone.
  const auto status = status_of(path);
  EXPECT_EQ(run(fix, {path}), command_result::done);
  EXPECT_EQ(status_of(path).st_ino, status.st_ino);
  EXPECT_EQ(status_of(path).st_mtim.tv_nsec, status.st_mtim.tv_nsec);
}

// The numbers of frames, delays and paddings are those of tests/data/make_mpeg.sh and the encoders' own headers.
INSTANTIATE_TEST_SUITE_P(
    files, FixHeader,
    testing::Values(fix_case{"vbr_no_header.mp3", 0, 208, 13, true, 0, 0},
                    fix_case{"cbr64_no_header.mp3", 0, 208, 17, false, 0, 0},
                    fix_case{"mpeg2_no_header.mp3", 0, 288, 14, false, 0, 0},
                    fix_case{"vbri.mp3", 417, 208, 13, true, 0, 0},
                    fix_case{"fewer_frames_told.mp3", 208, 208, 13, false, 576, 1170},
                    fix_case{"info_of_one_frame.mp3", 208, 208, 13, false, 0, 0},
                    fix_case{"itunsmpb.mp3", 150, 358, 13, false, 576, 1170, 150},
                    fix_case{"frames_missing.mp3", 208, 208, 10, false, 576, 0, 0,
                             "Fix VBR MP3 Header - Information: frames_missing.mp3: padding too small, truncating from "
                             "-2286 to 0\n"}),
    [](const auto& row) {
      const std::string name = row.param.file;
      return name.substr(0, name.find('.'));
    });

class RepairMp3 : public Mp3Command {};

TEST_F(RepairMp3, SeekTableOfUnequalFrames) {
  const auto path = put("vbr_no_header.mp3");
  const auto content = read_bytes(path);
  ASSERT_EQ(run(fix, {path}), command_result::done);
  const auto told = header_at(read_bytes(path), 0);
  std::vector<std::size_t> offsets; // from the header on
  for (std::size_t at = 0; at < content.size(); at += parse_mpeg_header(as_byte_span(content).subspan(at))->frame_size)
    offsets.push_back(208 + at);
  for (std::size_t i = 0; i < 100; ++i)
    EXPECT_EQ((*told.table)[i], offsets[offsets.size() * i / 100] * 255 / (208 + content.size())) << i;
}

TEST_F(RepairMp3, FilesWithARightHeaderAreNotTouched) {
  for (const char* name : {"cbr128.mp3", "vbr.mp3", "abr96.mp3", "mpeg25_info.mp3", "ffmpeg_vbr.mp3", "apev2.mp3"}) {
    const auto path = put(name);
    const auto inode = status_of(path).st_ino;
    for (const char* command : {fix, rebuild}) EXPECT_EQ(run(command, {path}), command_result::done);
    EXPECT_EQ(said, "");
    EXPECT_EQ(read_bytes(path), fixture(name)) << name;
    EXPECT_EQ(status_of(path).st_ino, inode);
  }
}

TEST_F(RepairMp3, WhatFailsIsToldInTheCommandsWords) {
  const auto noise = put("noise.mp3", pattern(5000));
  const auto low = put("mpeg25_8kbit.mp3");
  const auto layer2 = put("layer2.mp3", fixture("stereo.mp2"));
  EXPECT_EQ(run(fix, {noise, layer2}), command_result::some_failed);
  EXPECT_EQ(said, "Fix VBR MP3 Header - Information: Could not update item (noise.mp3): No frames of MPEG audio found\n"
                  "\n"
                  "  Could not update item (layer2.mp3): Expected MPEG layer 3 (\"MP3\"), found layer 2\n");
  EXPECT_EQ(run(rebuild, {low}), command_result::some_failed);
  EXPECT_EQ(said, "Rebuild MP3 Stream - Information: Could not process item (mpeg25_8kbit.mp3): "
                  "Writing MPEG-2.5 headers not supported\n");
  EXPECT_EQ(read_bytes(low), fixture("mpeg25_8kbit.mp3"));
}

TEST_F(RepairMp3, RebuildingLeavesFramesAndTags) {
  const auto plain = put("plain.mp3", fixture("cbr64_no_header.mp3"));
  ASSERT_EQ(run(fix, {plain}), command_result::done);
  const auto whole = read_bytes(plain);
  for (const char* name : {"garbage_inside.mp3", "id3v1_inside.mp3"}) {
    const auto path = put(name);
    EXPECT_EQ(run(rebuild, {path}), command_result::done);
    EXPECT_EQ(said, "") << "no bit is lost";
    EXPECT_TRUE(read_bytes(path) == whole) << name;
  }
  // Players give up long before; the music behind is kept.
  constexpr std::size_t ninth = 208 + 1671;
  const auto far = put("far.mp3", whole.substr(0, ninth) + std::string(3'000'000, 'j') + whole.substr(ninth));
  EXPECT_EQ(run(rebuild, {far}), command_result::done);
  EXPECT_TRUE(read_bytes(far) == whole);
  const auto head = "ID3\x04" + std::string(5, '\0') + "\x14" + std::string(20, '\0');
  const std::string lyrics = "LYRICSBEGININD0000200000021LYRICS200";
  const auto tail = "TAG" + std::string(125, 'x');
  const auto junk = std::string(700, 'j');
  const auto path = put("tagged.mp3", head + junk + whole.substr(208) + junk + lyrics + tail);
  EXPECT_EQ(run(rebuild, {path}), command_result::done);
  EXPECT_TRUE(read_bytes(path) == head + whole + lyrics + tail);
}

TEST_F(RepairMp3, RebuildingKeepsTagsThatHaveStrayed) {
  const auto whole = fixture("id3v2_id3v1.mp3");
  for (const auto& strayed : {std::string(10, '\0') + whole, "junk" + whole, whole + std::string(1000, '\0')}) {
    const auto path = put("strayed.mp3", strayed);
    EXPECT_EQ(run(rebuild, {path}), command_result::done);
    EXPECT_NE(said.find("had strayed; it was kept"), std::string::npos) << said;
    EXPECT_TRUE(read_bytes(path) == whole);
  }
}

TEST_F(RepairMp3, AHeadThatClaimsTheAudioIsLeftAlone) {
  const auto cut = std::string("ID3\x04\0\0\0\0\x20\x00", 10) + fixture("vbr_no_header.mp3");
  const auto path = put("cut.mp3", cut); // 4096 bytes: a file that grows would be all tag
  EXPECT_EQ(run(fix, {path}), command_result::some_failed);
  EXPECT_TRUE(read_bytes(path) == cut);
}

TEST_F(RepairMp3, OldOrNewWhateverFails) {
  struct {
    const char* file;
    mp3_repair (*find)(zelmora_io::file&, abort_callback&);
  } constexpr rows[]{
      {"fewer_frames_told.mp3", fix_mp3_header}, // in place
      {"vbr_no_header.mp3", fix_mp3_header},
      {"garbage_inside.mp3", rebuild_mp3_stream},
  };
  for (const auto& row : rows) {
    const auto path = put("song.mp3", fixture(row.file));
    const auto edit = [&](abort_callback& token) { repair_mp3_file(path, row.find, token); };
    edit(abort);
    const edit_check check{scratch, path, fixture(row.file), read_bytes(path), edit};
    expect_old_or_new_after_failures(check);
    expect_old_or_new_after_kills(check);
  }
}

TEST_F(RepairMp3, RebuildingTellsWhichFramesHaveLostBits) {
  auto content = fixture("cbr128.mp3");
  constexpr std::size_t seventh = 2924; // the header's not counted
  content.replace(seventh, 418, 418, '\x55');
  const auto path = put("damaged.mp3", content);
  EXPECT_EQ(run(rebuild, {path}), command_result::done);
  EXPECT_EQ(said, "Rebuild MP3 Stream - Information: damaged.mp3: padding too small, truncating from -225 to 0\n"
                  "\n"
                  "  damaged.mp3: Frame 6 may not decode in full: it refers to bits that are lost\n");
  const auto cut = fixture("cbr64_no_header.mp3");
  EXPECT_EQ(run(rebuild, {put("cut.mp3", cut.substr(0, 3000))}), command_result::done);
  EXPECT_EQ(said, "Rebuild MP3 Stream - Information: cut.mp3: The incomplete frame at the end was removed\n");
}

TEST_F(RepairMp3, GaplessInformationIsWritten) {
  const auto known = put("vbr.mp3");
  const auto unknown = put("vbr_no_header.mp3");
  host::set_dialog_answers({{"delay", "1000"}, {"padding", "4095"}});
  EXPECT_EQ(run(gapless, {known, unknown}), command_result::done);
  for (const auto& path : {known, unknown}) {
    const auto told = header_at(read_bytes(path), 0);
    EXPECT_EQ(told.delay, 1000u) << path;
    EXPECT_EQ(told.padding, 4095u) << path;
    EXPECT_TRUE(told.is_vbr);
    EXPECT_TRUE(told.tool.starts_with("LAME")) << "others look for that";
  }
  // Of a header that is right all else stays, but for its checksum; with the old values it is the old one again.
  const auto edited = read_bytes(known);
  const auto original = fixture("vbr.mp3");
  ASSERT_EQ(edited.size(), original.size());
  const auto first = std::ranges::mismatch(edited, original).in1 - edited.begin();
  EXPECT_EQ(first, 156 + 21);
  EXPECT_TRUE(edited.substr(192) == original.substr(192));
  EXPECT_NE(edited.substr(190, 2), original.substr(190, 2));
  host::set_dialog_answers({{"delay", "576"}, {"padding", "927"}});
  EXPECT_EQ(run(gapless, {known}), command_result::done);
  EXPECT_TRUE(read_bytes(known) == original);

  const auto low = put("mpeg25_info.mp3");
  EXPECT_EQ(run(gapless, {low}), command_result::done) << "nothing has to be made anew";

  host::set_dialog_answers({{"padding", "0"}});
  EXPECT_EQ(run(gapless, {known, put("itunsmpb.mp3"), put("cbr64_no_header.mp3")}), command_result::some_failed);
  EXPECT_EQ(said, "Edit MP3 Gapless Info - Information: Could not process item (cbr64_no_header.mp3): The file tells "
                  "neither delay nor padding: both have to be given\n");
  EXPECT_EQ(header_at(read_bytes(known), 0).delay, 576u) << "as it was";
  EXPECT_EQ(header_at(read_bytes(scratch / "itunsmpb.mp3"), 150).delay, 576u) << "as its comment says";
}

TEST_F(RepairMp3, GaplessInformationLeavesSomethingToPlay) {
  const auto path = put("short.mp3", fixture("cbr64_no_header.mp3").substr(0, 209 * 4)); // 4608 samples
  const auto try_values = [&](const char* delay, const char* padding) {
    host::set_dialog_answers({{"delay", delay}, {"padding", padding}});
    return run(gapless, {path});
  };
  EXPECT_EQ(try_values("3000", "1608"), command_result::some_failed);
  EXPECT_TRUE(said.ends_with("Delay and padding leave nothing to play\n")) << said;
  EXPECT_EQ(try_values("4000", "0"), command_result::done);
  EXPECT_EQ(try_values("3000", "1607"), command_result::done);
}

TEST_F(RepairMp3, DefaultsAreWhatAllFilesTell) {
  const auto a = put("mono.mp3");
  const auto b = put("cbr128.mp3"); // the same delay, another padding
  host::set_answers(host::answers::yes);
  EXPECT_EQ(run(gapless, {a, b}), command_result::done);
  EXPECT_EQ(said, "");
  EXPECT_EQ(read_bytes(a), fixture("mono.mp3"));
  EXPECT_EQ(read_bytes(b), fixture("cbr128.mp3"));
}

TEST(FramePlaces, OfMoreFramesThanAreKept) {
  mpeg_frame_places places;
  constexpr std::uint64_t count = 600'000; // twice what is kept, and more
  for (std::uint64_t i = 0; i < count; ++i) places.add(i * 100);
  EXPECT_EQ(places.count(), count);
  EXPECT_EQ(places.find(0), 0u);
  for (const std::uint64_t frame : {1u, 262'143u, 262'144u, 524'288u, 599'999u}) {
    EXPECT_LE(places.find(frame), frame * 100);
    EXPECT_GT(places.find(frame) + 4 * 100, frame * 100);
  }
  EXPECT_THROW(places.find(count), kiv::exception_bug_check);
}

} // namespace
} // namespace zelmora::test
