// Tags of WAV files through the input: what is read, which kind is written, and that nothing else changes.
#include "pcm/input_wav.h"

#include "pcm/riff_layout.h"
#include "pcm_test_support.h"
#include "riff_bytes.h"
#include "support/faulty_file.h"
#include "tags/id3v2_tag.h"

#include <map>

namespace zelmora::test {
namespace {

using namespace std::string_literals;
using namespace zelmora_io;

std::string id3(std::string_view info) { return to_text(write_id3v2({}, 0, make_info(info))); }

/// A file under edit.
struct tagged_wav {
  service_ptr_t<memory_file> file;
  abort_callback_dummy abort;
  explicit tagged_wav(std::string_view content) : file(service_new<memory_file>(content)) { attach_own_services(); }
  explicit tagged_wav(const bytes& content) : tagged_wav(to_text(content)) {}

  file_info_impl info() {
    file_info_impl result;
    test_decoder(file_ptr(file.get())).decoder->get_info(0, result, abort);
    return result;
  }
  std::string tags() { return meta_text(info()); }
  void edit(const std::function<void(input_wav&)>& change) {
    input_wav wav;
    wav.open(file_ptr(file.get()), "test.wav", input_open_info_write, abort);
    change(wav);
    file_info_impl told;
    wav.get_info(told, abort);
    EXPECT_EQ(meta_text(told), tags()) << "the writer itself sees what it wrote";
  }
  void retag(const file_info& info) {
    edit([&](input_wav& wav) { wav.retag(info, abort); });
  }
  void remove_tags() {
    edit([&](input_wav& wav) { wav.remove_tags(abort); });
  }
  std::string audio() { return look_at(file->content()).data; }
  std::string text() { return to_text(file->content()); }
  /// The codes of the chunks.
  std::string chunks() {
    std::string result;
    for (const auto& c : read_riff_layout(*file, abort).chunks)
      result += (result.empty() ? "" : ",") + (c.role == riff_role::info ? "INFO"s : std::string(c.code.view()));
    return result;
  }
};

// --- Reading --------------------------------------------------------------------------------------------------------

TEST(riff_tags, of_independent_taggers_read_as_independent_readers_read_them) {
  std::map<std::string, file_info_impl> expected;
  for (const auto& row : load_fixture_table("wav_tags/expected_tags.tsv")) expected[row[0]].meta_add(row[1], row[2]);
  ASSERT_GE(expected.size(), 5u);
  for (const auto& [file, info] : expected)
    EXPECT_EQ(tagged_wav(load_fixture("wav_tags/" + file)).tags(), meta_text(info)) << file;
  EXPECT_EQ(tagged_wav(load_fixture("wav_tags/info_cp1252.wav")).tags(), "artist=Bj\xC3\xB6rk; engineer=Eg");
  EXPECT_EQ(tagged_wav(load_fixture("wav_tags/isft_only.wav")).tags(), "");
}

const std::string head = fmt_chunk() + chunk("data", audio(20));
const std::string title_list = info_list(chunk("INAM", "From INFO\0"s));

struct read_case {
  const char* name;
  std::string file;
  const char* expected;
  friend std::ostream& operator<<(std::ostream& out, const read_case& row) { return out << row.name; }
};
const read_case read_cases[]{
    {"id3_wins", riff(title_list + head + chunk("id3 ", id3("title=From ID3"))), "title=From ID3"},
    {"upper_case", riff(head + chunk("ID3 ", id3("title=From ID3"))), "title=From ID3"},
    {"no_other_case", riff(head + chunk("Id3 ", id3("title=From ID3"))), ""},
    {"first_id3", riff(head + chunk("ID3 ", id3("title=First")) + chunk("id3 ", id3("title=Second"))), "title=First"},
    {"first_info", riff(info_list(chunk("INAM", "First\0"s)) + head + title_list), "title=First"},
    {"other_lists_are_none", riff(chunk("LIST", "adtlxxxx") + head + title_list), "title=From INFO"},
    {"damaged_id3_counts_as_absent", riff(title_list + head + chunk("id3 ", "ID3\xFFgarbage")), "title=From INFO"},
    {"id3_with_a_size_beyond_its_chunk", riff(title_list + head + chunk("id3 ", id3("title=Cut").substr(0, 20))),
     "title=From INFO"},
    {"id3_of_size_0", riff(title_list + head + chunk("id3 ", "")), "title=From INFO"},
    {"damaged_info_counts_as_absent", riff(head + info_list("INAM" + le32_text(2) + "T\0IART"s + le32_text(99) + "A")),
     ""},
    {"chunk_beyond_the_end_of_riff", riff(title_list + head + "id3 " + le32_text(1000) + "ID3"), "title=From INFO"},
    {"behind_the_end_of_riff", riff(head) + title_list, ""},
    {"riff_size_0", riff(head + title_list).replace(4, 4, 4, '\0'), "title=From INFO"},
    {"never_closed", riff(fmt_chunk() + "data" + le32_text(0) + audio(20) + title_list), ""},
    {"before_the_format", riff(chunk("id3 ", id3("title=From ID3")) + head), "title=From ID3"},
};

class riff_tags_read : public testing::TestWithParam<read_case> {};
TEST_P(riff_tags_read, gives) {
  tagged_wav wav(GetParam().file);
  EXPECT_EQ(wav.tags(), GetParam().expected);
  EXPECT_EQ(info_text(wav.info(), info_field::tagtype), "");
  EXPECT_EQ(info_text(wav.info(), info_field::codec), "PCM");
}
INSTANTIATE_TEST_SUITE_P(cases, riff_tags_read, testing::ValuesIn(read_cases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(riff_tags, gains_are_read_from_id3) {
  auto info = make_info("title=T");
  info.set_replaygain({.track_gain = -7.15f});
  tagged_wav wav(riff(head));
  wav.retag(info);
  EXPECT_EQ(wav.info().get_replaygain().track_gain, -7.15f);
}

TEST(riff_tags, are_only_those_of_riff_on_seekable_files) {
  const auto file = riff(head + title_list);
  file_faults stream;
  stream.no_seek = true;
  EXPECT_EQ(meta_text(test_decoder(make_faulty_file(service_new<memory_file>(file), stream)).info()), "");
  const auto ds64 =
      chunk("ds64", le32_text(file.size() + 28) + le32_text(0) + le32_text(20) + le32_text(0) + std::string(12, '\0'));
  const auto rf64 = "RF64" + le32_text(0xFFFFFFFF) + "WAVE" + ds64 + head + title_list;
  EXPECT_EQ(tagged_wav(rf64).tags(), "");
  abort_callback_dummy abort;
  input_wav wav;
  EXPECT_THROW(wav.open(service_new<memory_file>(rf64), "x.wav", input_open_info_write, abort),
               exception_tagging_unsupported);
  EXPECT_THROW(wav.open(fixture_file("wav/wave64.w64"), "x.w64", input_open_info_write, abort),
               exception_tagging_unsupported);
}

// A chunk that claims 4 GiB in a file that ends before that, of which the size is not known.
TEST(riff_tags, claims_are_not_allocated) {
  auto file = riff(head + "id3 " + le32_text(0xF0000000) + "ID3\3\0\0\x7F\x7F\x7F\x7F"s);
  file.replace(4, 4, le32_text(0xFFFFFFF0));
  file_faults no_size;
  no_size.no_size = true;
  const auto source = make_faulty_file(service_new<memory_file>(file), no_size);
  EXPECT_EQ(meta_text(test_decoder(source).info()), "");
}

// --- Writing --------------------------------------------------------------------------------------------------------

struct write_case {
  const char* name;
  std::string file;
  const char* info;
  const char* chunks; ///< afterwards
  friend std::ostream& operator<<(std::ostream& out, const write_case& row) { return out << row.name; }
};
const std::string id3_list = riff(head + chunk("id3 ", id3("title=From ID3")) + title_list);
const std::string software_list = info_list(chunk("ISFT", "Lavf58\0"s));

const write_case write_cases[]{
    {"untagged_gets_id3", riff(head), "title=T", "fmt ,data,id3 "},
    {"untagged_with_nothing_to_say", riff(head), "", "fmt ,data"},
    {"info_stays_alone_when_it_holds_all", riff(head + title_list), "artist=A; title=T", "fmt ,data,INFO"},
    {"info_gets_id3_for_other_alphabets", riff(head + title_list), "title=T\xC3\xA4", "fmt ,data,id3 ,INFO"},
    {"info_gets_id3_for_several_values", riff(head + title_list), "artist=A|B", "fmt ,data,id3 ,INFO"},
    {"info_gets_id3_for_other_fields", riff(title_list + head), "mood=calm; title=T", "INFO,JUNK,fmt ,data,id3 "},
    {"both_are_written", id3_list, "title=T", "fmt ,data,id3 ,INFO"},
    {"id3_alone_stays_alone", riff(head + chunk("ID3 ", id3("title=Old"))), "artist=A", "fmt ,data,id3 "},
    {"a_list_of_other_codes_is_no_tag", riff(software_list + head), "title=T", "INFO,fmt ,data,id3 "},
    {"fields_gone_leave_the_other_codes", riff(head + info_list(chunk("INAM", "Title\0"s) + chunk("ISFT", "x\0"s))), "",
     "fmt ,data,INFO"},
    {"an_empty_list_is_not_written", riff(head + title_list), "", "fmt ,data"},
    {"all_fields_gone", id3_list, "", "fmt ,data"},
    {"damaged_id3_is_replaced", riff(head + chunk("id3 ", "garbage")), "title=T", "fmt ,data,id3 "},
    {"two_id3_become_one", riff(chunk("id3 ", id3("title=A")) + head + chunk("id3 ", id3("title=B"))), "title=C",
     "id3 ,JUNK,fmt ,data"},
    {"junk_is_used", riff(chunk("JUNK", std::string(2000, 'j')) + head), "title=T", "id3 ,JUNK,fmt ,data"},
    {"damaged_info_is_left_alone", riff(head + info_list("INAM" + le32_text(99) + "A")), "title=T",
     "fmt ,data,INFO,id3 "},
    {"damaged_info_behind_another",
     riff(head + title_list + info_list("INAM" + le32_text(99) + "A") + chunk("cue ", "")), "title=T",
     "fmt ,data,INFO,JUNK,cue "},
};

class riff_tags_write : public testing::TestWithParam<write_case> {};

TEST_P(riff_tags_write, keeps_the_audio_and_reads_back) {
  const auto& row = GetParam();
  tagged_wav wav(row.file);
  const auto before = wav.audio();
  wav.retag(make_info(row.info));
  EXPECT_EQ(wav.tags(), meta_text(make_info(row.info)));
  EXPECT_EQ(wav.chunks(), row.chunks);
  EXPECT_EQ(wav.audio(), before);
  const auto once = wav.text();
  EXPECT_EQ(load_le<std::uint32_t>(once.data() + 4) + 8, once.size());
  wav.retag(make_info(row.info));
  EXPECT_EQ(wav.text(), once) << "the same again changes nothing";
}
TEST_P(riff_tags_write, removal_takes_both_kinds) {
  tagged_wav wav(GetParam().file);
  const auto before = wav.audio();
  wav.retag(make_info(GetParam().info));
  wav.remove_tags();
  EXPECT_EQ(wav.chunks().find("id3"), std::string::npos) << wav.chunks();
  EXPECT_EQ(wav.chunks().find("INFO"), std::string::npos) << wav.chunks();
  EXPECT_EQ(wav.audio(), before);
}
INSTANTIATE_TEST_SUITE_P(cases, riff_tags_write, testing::ValuesIn(write_cases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(riff_tags, what_a_damaged_id3_holds_beside_its_fields_stays) {
  const auto not_deflated = "TIT2\0\0\0\x06\0\x80"s + "\0\0\0\x09??"s;
  const auto body = not_deflated + "PRIV\0\0\0\x04\0\0priv"s;
  tagged_wav wav(riff(head + chunk("id3 ", "ID3\3\0\0\0\0\0"s + static_cast<char>(body.size()) + body) + title_list));
  EXPECT_EQ(wav.tags(), "title=From INFO");
  wav.retag(make_info("artist=A"));
  EXPECT_EQ(wav.tags(), "artist=A");
  EXPECT_NE(wav.text().find("priv"), std::string::npos);
  wav.retag(make_info(""));
  EXPECT_EQ(wav.tags(), "");
  EXPECT_NE(wav.text().find("priv"), std::string::npos);
}

TEST(riff_tags, saving_what_was_read_writes_nothing) {
  attach_own_services();
  for (const auto* const name : {"info_ffmpeg.wav", "id3_mutagen.wav", "info_ffmpeg_id3_mutagen.wav", "both_taglib.wav",
                                 "info_cp1252.wav", "isft_only.wav"}) {
    const auto content = load_fixture("wav_tags/"s + name);
    auto count = std::make_shared<operation_count>();
    abort_callback_dummy abort;
    input_wav wav;
    wav.open(make_faulty_file(service_new<memory_file>(content), {}, count), name, input_open_info_write, abort);
    file_info_impl info;
    wav.get_info(info, abort);
    wav.retag(info, abort);
    EXPECT_EQ(count->bytes_written, 0u) << name;
  }
}

// The audio is not copied: the tag twice at most, since an old one in the same place has to stay until the new one is
// safe.
TEST(riff_tags, an_edit_writes_about_the_size_of_the_tag) {
  const auto file = riff(fmt_chunk() + chunk("data", audio(3'000'000)));
  auto count = std::make_shared<operation_count>();
  abort_callback_dummy abort;
  input_wav wav;
  wav.open(make_faulty_file(service_new<memory_file>(file), {}, count), "x.wav", input_open_info_write, abort);
  wav.retag(make_info("title=" + std::string(1000, 't')), abort);
  EXPECT_LT(count->bytes_written, 2300u);
  EXPECT_LT(count->bytes_read, 500u);
  count->bytes_written = 0;
  wav.retag(make_info("title=" + std::string(1000, 'u')), abort);
  EXPECT_LT(count->bytes_written, 4500u);
}

TEST(riff_tags, files_whose_audio_has_no_known_end_are_refused_as_they_are) {
  for (const std::string name :
       {"wav_tags/info_piped.wav", "wav/data_truncated.wav", "wav/data_size_zero.wav", "wav/sizes_of_an_empty_file.wav",
        "wav/piped_sox.wav", "wav/riff_size_too_small.wav"}) {
    const auto content = load_fixture(name);
    tagged_wav wav(content);
    EXPECT_THROW(wav.retag(make_info("title=T")), exception_io_data) << name;
    EXPECT_THROW(wav.remove_tags(), exception_io_data) << name;
    EXPECT_EQ(wav.file->content(), content) << name;
  }
}

} // namespace
} // namespace zelmora::test
