// Tags of WAV files on a disk: system calls that fail or are the last, reads per file, and what independent readers
// make of what was written.
#include "pcm/input_wav.h"

#include "host/host_fixture.h"
#include "host/io_statistics.h"
#include "pcm_test_support.h"
#include "riff_bytes.h"
#include "support/syscall_faults.h"
#include "tags/id3v2_tag.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <memory>

namespace zelmora::test {
namespace {

using namespace std::string_literals;
using namespace zelmora_io;

struct edit_case {
  const char* name;
  std::string file;
  const char* old_tags;
  const char* new_tags;
  std::string tail{}; ///< bytes that are nobody's, behind the end
  friend std::ostream& operator<<(std::ostream& out, const edit_case& row) { return out << row.name; }
};

std::string id3(std::string_view info) {
  attach_own_services();
  return to_text(write_id3v2({}, 0, make_info(info), {.padding = id3v2_padding::none}));
}

const std::string head = fmt_chunk() + chunk("data", audio(20'001));

std::vector<edit_case> edit_cases() {
  const auto old_id3 = chunk("id3 ", id3("title=Old"));
  const auto old_info = info_list(chunk("INAM", "Old\0"s));
  const auto long_title = "title=" + std::string(9000, 't');
  static const std::string long_tags = long_title;
  return {
      {"appended", riff(head), "", "title=New"},
      {"longer_than_a_page", riff(head + old_id3), "title=Old", long_tags.c_str()},
      {"staged", riff(head + old_id3), "title=Old", "artist=A|B; title=New"},
      {"in_junk", riff(chunk("JUNK", std::string(500, 'j')) + head + old_id3), "title=Old", "title=New"},
      {"info", riff(head + old_info + chunk("cue ", "1234")), "title=Old", "artist=Somebody; title=Old"},
      {"info_and_id3", riff(old_info + head + old_id3), "title=Old", "title=New"},
      {"removed", riff(old_info + head + old_id3), "title=Old", ""},
      {"rewritten", riff(head + old_id3), "title=Old", "title=New, and longer", "TAG of somebody else"},
  };
}

class RiffFile : public HostTest, public testing::WithParamInterface<edit_case> {
 protected:
  const std::string path = scratch / "song.wav";

  void SetUp() override {
    attach_own_services();
    put_old();
  }
  void put_old() {
    ::unlink(path.c_str());
    write_bytes(path, GetParam().file + GetParam().tail);
  }
  void edit(abort_callback& token) {
    input_wav wav;
    wav.open(nullptr, path, input_open_info_write, token);
    if (*GetParam().new_tags == '\0')
      wav.remove_tags(token);
    else
      wav.retag(make_info(GetParam().new_tags), token);
  }
  std::string tags() {
    input_wav wav;
    wav.open(nullptr, path, input_open_info_read, abort);
    file_info_impl info;
    wav.get_info(info, abort);
    return meta_text(info);
  }
  void expect_whole(bool must_be_new, const std::string& after) {
    const auto now = tags();
    EXPECT_TRUE(now == GetParam().new_tags || (!must_be_new && now == GetParam().old_tags)) << after << ": " << now;
    const auto content = read_bytes(path);
    EXPECT_EQ(look_at(to_bytes(content)).data, audio(20'001)) << after;
    EXPECT_TRUE(content.ends_with(GetParam().tail)) << after;
  }
  void expect_whole_and_alone(bool must_be_new, const std::string& after) {
    expect_whole(must_be_new, after);
    EXPECT_EQ(scratch.list(), std::vector<std::string>{"song.wav"}) << after;
  }
  /// The names of the calls of an edit that nothing disturbs, and the size of what it makes.
  std::vector<std::string> calls(std::uint64_t* size = nullptr) {
    const syscall_watch watch({});
    edit(abort);
    if (size != nullptr) *size = read_bytes(path).size();
    return {watch.names().begin(), watch.names().end()};
  }
};

TEST_P(RiffFile, FailureOfEachCall) {
  const auto names = calls();
  ASSERT_GT(names.size(), 8u);
  for (const int error : {EIO, ENOSPC}) {
    for (std::size_t n = 0; n < names.size(); ++n) {
      put_old();
      std::string failure;
      {
        const syscall_watch watch({.fail_at = n, .error = error});
        failure = raised([&] { edit(abort); });
      }
      const auto where = std::to_string(n) + ", " + names[n] + ": " + failure;
      expect_whole_and_alone(failure.empty(), where);
      EXPECT_TRUE(failure.empty() || failure.starts_with("exception_io")) << where;
    }
  }
}

// A full disk takes no byte: the file is no longer than it was.
TEST_P(RiffFile, DiskThatIsFullFromSomePointOn) {
  const auto names = calls();
  for (std::size_t n = 0; n < names.size(); ++n) {
    put_old();
    std::string failure;
    {
      const syscall_watch watch({.error = ENOSPC, .writes_fail_from = n});
      failure = raised([&] { edit(abort); });
    }
    expect_whole_and_alone(failure.empty(), std::to_string(n) + ", " + names[n] + ": " + failure);
  }
}

TEST_P(RiffFile, AbortAtEachCall) {
  const auto count = calls().size();
  for (std::size_t n = 0; n < count; ++n) {
    put_old();
    abort_callback_impl token;
    std::string failure;
    {
      const syscall_watch watch(abort_before(n, token));
      failure = raised([&] { edit(token); });
    }
    EXPECT_TRUE(failure.empty() || failure == "exception_aborted: User abort") << failure;
    expect_whole_and_alone(failure.empty(), "abort at " + std::to_string(n));
  }
}

TEST_P(RiffFile, KilledAtEachCall) {
  std::uint64_t size = 0;
  const auto names = calls(&size);
  for (std::size_t n = 0; n < names.size(); ++n) {
    put_old();
    const int status = run_in_child([&] {
      const syscall_watch watch({.kill_at = n});
      edit(abort);
      return 0;
    });
    ASSERT_EQ(status, -SIGKILL) << n;
    const auto where = "killed at " + std::to_string(n) + ", " + names[n];
    expect_whole(false, where);
    // Another try ends where one that nothing disturbs does, unless all that is missing is what the first would have
    // freed.
    const bool was_done = tags() == GetParam().new_tags;
    edit(abort);
    expect_whole_and_alone(true, where);
    if (!was_done) {
      EXPECT_EQ(read_bytes(path).size(), size) << where;
    }
  }
}

TEST_P(RiffFile, ShortTransfersAreGoneOnWith) {
  const auto count = calls().size();
  for (std::size_t n = 0; n < count; ++n) {
    put_old();
    {
      const syscall_watch watch({.shorten_at = n});
      edit(abort);
    }
    expect_whole_and_alone(true, std::to_string(n));
  }
}

INSTANTIATE_TEST_SUITE_P(Edits, RiffFile, testing::ValuesIn(edit_cases()),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Reads ----------------------------------------------------------------------------------------------------------

struct reads_case {
  const char* name;
  std::string chunks;
  std::uint64_t reads; ///< at most
};

class RiffFileReads : public HostTest {};

TEST_F(RiffFileReads, TagsCostOneMoreReadAtMost) {
  const auto large = fmt_chunk() + chunk("data", audio(300'000));
  const auto list = info_list(chunk("INAM", "T\0"s));
  for (const auto& row :
       {reads_case{"small", head.substr(0, 24) + chunk("data", audio(1000)), 1},
        reads_case{"small_with_tags",
                   list + head.substr(0, 24) + chunk("data", audio(1000)) + chunk("id3 ", id3("title=T")), 1},
        reads_case{"large", large, 1}, reads_case{"list_in_front", list + large, 1},
        reads_case{"list_behind", large + list, 2}, reads_case{"id3_behind", large + chunk("id3 ", id3("title=T")), 2},
        reads_case{"both_behind", large + list + chunk("id3 ", id3("title=T")), 2},
        reads_case{"list_in_front_id3_behind", list + large + chunk("id3 ", id3("title=T")), 2},
        reads_case{"other_chunks_behind", large + chunk("cue ", "1234") + chunk("smpl", "1234"), 2}}) {
    const auto path = scratch / "reads.wav";
    write_bytes(path, riff(row.chunks));
    host::thread_io_statistics() = {};
    input_wav wav;
    wav.open(nullptr, path, input_open_info_read, abort);
    file_info_impl info;
    wav.get_info(info, abort);
    EXPECT_LE(host::thread_io_statistics().reads, row.reads) << row.name;
  }
}

// --- Independent readers --------------------------------------------------------------------------------------------

/// Lines "READER<tab>FIELD<tab>VALUE" of all readers that are there; "MISSING<tab>READER" for others.
std::vector<std::string> read_with_peers(const std::string& path) {
  const auto command = "/usr/bin/python3 '" ZELMORA_PCM_TESTS "/read_with_peers.py' '" + path + "' 2>&1";
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(::popen(command.c_str(), "r"), &::pclose);
  std::vector<std::string> lines;
  std::array<char, 4096> line;
  while (out && std::fgets(line.data(), line.size(), out.get()) != nullptr) {
    lines.emplace_back(line.data());
    lines.back().erase(lines.back().find_last_not_of('\n') + 1);
  }
  return lines;
}

class RiffFilePeers : public HostTest {};

TEST_F(RiffFilePeers, ReadWhatWasWritten) {
  attach_own_services();
  std::size_t compared = 0;
  for (const auto* const name : {"wav/base.wav", "wav/s24.wav", "wav_tags/info_ffmpeg.wav", "wav_tags/id3_mutagen.wav",
                                 "wav_tags/info_ffmpeg_id3_mutagen.wav", "wav_tags/both_taglib.wav"}) {
    const auto path = scratch / "peers.wav";
    const auto content = load_fixture(name);
    write_bytes(path, to_text(content));
    const auto audio_before = look_at(content).data;
    // Shorter and longer in turn, so that tags are placed in every way.
    for (const auto& title : {"A title"s, std::string(700, 't'), "T\xC3\xAFtle"s, std::string(40, 'u')}) {
      input_wav wav;
      wav.open(nullptr, path, input_open_info_write, abort);
      wav.retag(make_info("artist=A; title=" + title), abort);
      EXPECT_EQ(look_at(to_bytes(read_bytes(path))).data, audio_before);
      const auto lines = read_with_peers(path);
      for (const std::string reader : {"mutagen", "ffprobe", "taglib"}) {
        if (std::ranges::find(lines, "MISSING\t" + reader) != lines.end()) continue;
        // ffprobe takes INFO, which has ASCII alone, before ID3.
        if (reader == "ffprobe" && title.find('\xC3') != std::string::npos) continue;
        // mutagen reads ID3 alone.
        const bool has_id3 = look_at(to_bytes(read_bytes(path))).id3.size() > 0;
        if (reader == "mutagen" && !has_id3) continue;
        const auto says = [&](const std::string& field) {
          return std::ranges::find(lines, reader + "\t" + field) != lines.end();
        };
        EXPECT_TRUE(says("title\t" + title) && says("artist\tA"))
            << reader << ", " << name << testing::PrintToString(lines);
        ++compared;
      }
    }
  }
  if (compared == 0) GTEST_SKIP() << "none of python3-mutagen, python3-taglib and ffprobe is installed";
}

} // namespace
} // namespace zelmora::test
