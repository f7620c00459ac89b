// The adaptor, the look-up over entries, post-processing and the wrappers, over formats made for the purpose.
#include "frame/call_stack.h"
#include "frame/filesystem.h"
#include "frame/input_helper.h"
#include "frame/input_impl.h"
#include "frame/memory_file.h"
#include "support/faulty_file.h"
#include "support/test_services.h"

#include <gtest/gtest.h>
#include <limits>
#include <map>

namespace zelmora {
namespace {

using namespace zelmora_io;

std::map<std::string, std::string, std::less<>> objects; ///< what "mem://" holds
int objects_opened = 0;

class map_filesystem : public filesystem {
 public:
  bool is_our_path(std::string_view path) override { return path.starts_with("mem://"); }
  bool get_canonical_path(std::string_view, std::string&) override { return false; }
  bool get_display_path(std::string_view, std::string&) override { return false; }
  void open(file_ptr& out, std::string_view path, open_mode, abort_callback&) override {
    const auto found = objects.find(path);
    if (found == objects.end()) throw exception_io_not_found();
    ++objects_opened;
    out = service_new<memory_file>(std::string_view(found->second));
  }
  void remove(std::string_view, abort_callback&) override { throw exception_io_denied(); }
  void move(std::string_view, std::string_view, abort_callback&) override { throw exception_io_denied(); }
};
service_factory_single_t<map_filesystem> map_filesystem_factory;

/// "RAMP": 1000 samples at 1000 Hz in chunks of 100, each sample its own number.
class input_ramp : public input_stubs {
 public:
  void open(file_ptr file, std::string_view path, t_input_open_reason reason, abort_callback& abort) {
    if (reason == input_open_info_write) throw exception_tagging_unsupported();
    input_open_file_helper(file, path, reason, abort);
    file_ = std::move(file);
    std::array<char, 4> magic{};
    file_->read_object(magic.data(), 4, abort);
    if (std::string_view(magic.data(), 4) != "RAMP") throw exception_io_data("ramp: bad magic");
    gather_warning("first");
    gather_warning("second");
  }
  void get_info(file_info& info, abort_callback&) {
    info.set_length(1.0);
    info.info_set_wfx(1000, 1, 4);
  }
  t_filestats get_file_stats(abort_callback& abort) { return file_->get_stats(abort); }
  void decode_initialize(std::uint32_t, std::uint32_t, abort_callback&) { position_ = 0; }
  bool decode_run(audio_chunk& chunk, abort_callback&) {
    if (position_ >= 1000) return false;
    std::array<float, 100> data;
    const auto count = std::min<std::uint64_t>(100, 1000 - position_);
    for (std::uint64_t i = 0; i < count; ++i) data[i] = static_cast<float>(position_ + i);
    chunk.set_data_32(data.data(), count, 1, 1000);
    position_ += count;
    return true;
  }
  void decode_seek(double seconds, abort_callback&) {
    position_ = std::min<std::uint64_t>(audio_math::time_to_samples(seconds, 1000), 1000);
  }
  bool decode_get_dynamic_info(file_info& info, double&) {
    info.info_set("bitrate_dynamic", "320");
    info.info_set("title", "must not pass a range");
    return true;
  }

  static bool g_is_our_content_type(std::string_view type) { return type == "audio/x-ramp"; }
  static bool g_is_our_path(std::string_view, std::string_view extension) {
    return stricmp_utf8(extension, "ramp") == 0;
  }
  static bool g_is_our_file_header(std::span<const std::byte> head) { return starts_with(head, "RAMP"); }
  static guid g_get_guid() { return "00000000-0000-0000-0000-0000000000C1"_guid; }
  static std::string_view g_get_name() { return "ramp"; }

 private:
  file_ptr file_;
  std::uint64_t position_ = 0;
};

/// Claims ".ramp" and ".grudge" too, refuses all; registered last, so it is asked first among equals.
class input_grudge : public input_ramp {
 public:
  void open(file_ptr, std::string_view, t_input_open_reason, abort_callback&) {
    throw exception_io_data("grudge: refused");
  }
  static bool g_is_our_content_type(std::string_view) { return false; }
  static bool g_is_our_path(std::string_view, std::string_view extension) {
    return stricmp_utf8(extension, "ramp") == 0 || stricmp_utf8(extension, "grudge") == 0;
  }
  static bool g_is_our_file_header(std::span<const std::byte>) { return false; }
  static std::string_view g_get_name() { return "grudge"; }
};

/// Opens any ".ramp" file, but only after everybody else had a try.
class input_modest : public input_ramp {
 public:
  void open(file_ptr, std::string_view, t_input_open_reason, abort_callback&) {}
  static bool g_is_low_merit() { return true; }
  static bool g_is_our_content_type(std::string_view) { return false; }
  static bool g_is_our_file_header(std::span<const std::byte>) { return false; }
  static std::string_view g_get_name() { return "modest"; }
};

/// ".wide": sizes that no file can have.
class input_wide : public input_ramp {
 public:
  void open(file_ptr, std::string_view, t_input_open_reason, abort_callback&) { throw kiv::exception_overflow(); }
  static bool g_is_our_content_type(std::string_view) { return false; }
  static bool g_is_our_path(std::string_view, std::string_view extension) { return extension == "wide"; }
  static bool g_is_our_file_header(std::span<const std::byte>) { return false; }
  static std::string_view g_get_name() { return "wide"; }
};

/// "TWIN": two tracks, with tags.
class input_twin : public input_stubs {
 public:
  void open(file_ptr file, std::string_view path, t_input_open_reason reason, abort_callback& abort) {
    has_hint = static_cast<bool>(file);
    input_open_file_helper(file, path, reason, abort);
    std::array<char, 4> magic{};
    file->read_object(magic.data(), 4, abort);
    if (std::string_view(magic.data(), 4) != "TWIN") throw exception_io_unsupported_format();
  }
  std::uint32_t get_subsong_count() { return 2; }
  std::uint32_t get_subsong(std::uint32_t index) { return index + 10; }
  void get_info(std::uint32_t subsong, file_info& info, abort_callback&) { info.set_length(subsong); }
  t_filestats get_file_stats(abort_callback&) { return {}; }
  void decode_initialize(std::uint32_t, std::uint32_t, abort_callback&) {}
  bool decode_run(audio_chunk&, abort_callback&) { throw exception_io_data("twin: broken"); }
  void decode_seek(double, abort_callback&) {}
  void retag_set_info(std::uint32_t subsong, const file_info& info, abort_callback&) {
    written += std::to_string(subsong) + *info.meta_get("title") + ";";
  }
  void retag_commit(abort_callback&) { written += "commit"; }

  static bool g_is_our_path(std::string_view, std::string_view extension) { return extension == "twin"; }
  static bool g_is_our_file_header(std::span<const std::byte> head) { return starts_with(head, "TWIN"); }
  static bool g_can_write_tags() { return true; }
  static guid g_get_guid() { return {}; }
  static std::string_view g_get_name() { return "twin"; }

  static inline bool has_hint = false;
  static inline std::string written;
};

input_factory_t<input_wide> wide_factory;
input_factory_t<input_twin> twin_factory;
input_factory_t<input_modest> modest_factory; // registered first: listed last but for its merit
input_factory_t<input_ramp> ramp_factory;
input_factory_t<input_grudge> grudge_factory;

class log_keeper : public event_logger {
 public:
  void log_entry(std::string_view text, unsigned severity) override {
    lines.push_back(std::string(text) + std::to_string(severity));
  }
  std::vector<std::string> lines;
};

class Inputs : public testing::Test {
 protected:
  void SetUp() override {
    test::attach_own_services();
    objects = {{"mem://a.ramp", "RAMP"},
               {"mem://renamed.bin", "RAMP"},
               {"mem://broken.grudge", "GRUD"},
               {"mem://what.bin", "????"}};
    objects_opened = 0;
  }
  std::string opened_by(std::string_view path, file_ptr hint = nullptr) {
    return std::string(open_input(input_decoder::class_guid, std::move(hint), path, nullptr, abort).entry->get_name());
  }
  template <class Call>
  static std::string failure_of(Call&& call) {
    try {
      call();
      return "nothing";
    } catch (const std::exception& e) {
      return exception_class_name(e) + ": " + e.what();
    }
  }
  service_ptr_t<input_decoder> ramp(std::uint32_t flags = decode_flag_no_postprocess) {
    auto decoder = input_entry::g_open_for_decoding(nullptr, "mem://a.ramp", nullptr, abort);
    decoder->initialize(0, flags, abort);
    return decoder;
  }
  std::vector<float> drain(input_decoder& decoder) {
    std::vector<float> all;
    audio_chunk_impl chunk;
    while (decoder.run(chunk, abort)) {
      EXPECT_TRUE(chunk.is_valid());
      all.insert(all.end(), chunk.samples().begin(), chunk.samples().end());
    }
    EXPECT_FALSE(decoder.run(chunk, abort)) << "the end stays the end";
    return all;
  }
  abort_callback_dummy abort;
};

std::vector<float> numbers(int from, int to) {
  std::vector<float> result;
  for (int i = from; i < to; ++i) result.push_back(static_cast<float>(i));
  return result;
}

// --- the adaptor -----------------------------------------------------------------------------------------------------

TEST_F(Inputs, SingleTrackContract) {
  auto decoder = input_entry::g_open_for_decoding(nullptr, "mem://a.ramp", nullptr, abort);
  file_info_impl info;
  decoder->get_info(0, info, abort);
  EXPECT_EQ(info.get_length(), 1.0);
  EXPECT_EQ(failure_of([&] { decoder->get_info(1, info, abort); }),
            "exception_io_bad_subsong_index: Unexpected subsong index");
  EXPECT_EQ(failure_of([&] { decoder->initialize(1, 0, abort); }),
            "exception_io_bad_subsong_index: Unexpected subsong index");
  EXPECT_EQ(decoder->get_subsong_count(), 1u);
  decoder->initialize(0, 0, abort);
  EXPECT_EQ(drain(*decoder), numbers(0, 1000));
  decoder->seek(0.5, abort);
  EXPECT_EQ(drain(*decoder), numbers(500, 1000));
  decoder->seek(1.0, abort);
  EXPECT_TRUE(drain(*decoder).empty());
  decoder->seek(77, abort);
  EXPECT_TRUE(drain(*decoder).empty()) << "past the end is the end";
  decoder->initialize(0, 0, abort);
  EXPECT_EQ(drain(*decoder).size(), 1000u) << "initialising again starts the track anew";
  EXPECT_EQ(failure_of([&] { decoder->seek(-0.001, abort); }),
            "exception_io_data: Unsupported format or corrupted file");
  EXPECT_EQ(failure_of([&] { decoder->seek(std::numeric_limits<double>::quiet_NaN(), abort); }),
            "exception_io_data: Unsupported format or corrupted file");
  auto revised = service_extension<input_decoder_v3>(decoder.get());
  std::vector<std::byte> raw;
  audio_chunk_impl chunk;
  EXPECT_EQ(failure_of([&] { revised->run_raw(chunk, raw, abort); }),
            "exception_not_implemented: Feature not implemented");
  EXPECT_EQ(revised->extended_param(guid{}, nullptr, 0), 0u);
}

TEST_F(Inputs, UnknownClassIsNotImplemented) {
  service_ptr_t<service_base> out;
  EXPECT_EQ(failure_of([&] { ramp_factory.get().open(guid{}, out, nullptr, "mem://a.ramp", nullptr, abort); }),
            "exception_not_implemented: Feature not implemented");
}

TEST_F(Inputs, WritingWhereAFormatCannot) {
  EXPECT_EQ(failure_of([&] { ramp_factory.get().open_for_info_write(nullptr, "mem://a.ramp", abort); }),
            "exception_tagging_unsupported: Tagging of this file format is not supported");
}

TEST_F(Inputs, GatheredWarningsAreDeliveredOnce) {
  auto log = service_new<log_keeper>();
  auto decoder = input_entry::g_open_for_decoding(nullptr, "mem://a.ramp", log, abort);
  EXPECT_TRUE(log->lines.empty()) << "not before initialize";
  decoder->initialize(0, 0, abort);
  decoder->initialize(0, 0, abort);
  EXPECT_EQ(log->lines, (std::vector<std::string>{"first1", "second1"}));
  auto reader_log = service_new<log_keeper>();
  input_entry::g_open_for_info_read(nullptr, "mem://a.ramp", reader_log, abort);
  EXPECT_EQ(reader_log->lines.size(), 2u) << "a reader has no initialize";
}

TEST_F(Inputs, FileHelperUsesTheHintRewound) {
  auto hint = service_new<memory_file>(std::string_view("RAMP"));
  hint->seek(3, abort);
  file_ptr file = hint;
  input_open_file_helper(file, "mem://nonexistent", input_open_decode, abort);
  EXPECT_EQ(file.get(), hint.get());
  EXPECT_EQ(file->get_position(abort), 0u);
  EXPECT_EQ(objects_opened, 0);
  file.release();
  EXPECT_EQ(
      failure_of([&] { input_open_file_helper(file, "mem://a.ramp", static_cast<t_input_open_reason>(3), abort); }),
      "exception_bug_check: unknown reason to open an input");
}

// --- choosing an input -----------------------------------------------------------------------------------------------

TEST_F(Inputs, ClaimsThenMeritThenFirstBytes) {
  EXPECT_EQ(opened_by("mem://a.ramp"), "ramp") << "the grudge refuses, the modest comes last";
  EXPECT_EQ(opened_by("mem://a.RAMP", service_new<memory_file>(std::string_view("RAMP"))), "ramp");
  objects["mem://junk.ramp"] = "JUNK";
  EXPECT_EQ(opened_by("mem://junk.ramp"), "modest");
  EXPECT_EQ(opened_by("mem://renamed.bin"), "ramp") << "known by its first bytes";
}

TEST_F(Inputs, ReportedErrorIsThatOfTheClosestClaim) {
  EXPECT_EQ(failure_of([&] { opened_by("mem://broken.grudge"); }), "exception_io_data: grudge: refused");
  EXPECT_EQ(failure_of([&] { opened_by("mem://what.bin"); }),
            "exception_io_unsupported_format: Unsupported file format");
  EXPECT_EQ(failure_of([&] { opened_by("mem://none.ramp"); }), "exception_io_not_found: Object not found")
      << "not a refusal: it ends the search";
  EXPECT_EQ(failure_of([&] { opened_by("mem://none.bin"); }), "exception_io_not_found: Object not found");
  EXPECT_EQ(failure_of([&] { opened_by("nosuch://x"); }), "exception_io_no_handler_for_path: Invalid path");
  EXPECT_EQ(failure_of([&] { opened_by("nosuch://x.grudge"); }), "exception_io_data: grudge: refused");
}

class typed_file : public memory_file {
 public:
  using memory_file::memory_file;
  bool get_content_type(std::string& out) override {
    out = "audio/x-ramp; codecs=1 ";
    return true;
  }
};

TEST_F(Inputs, ContentTypeIsTheStrongestClaim) {
  EXPECT_EQ(opened_by("mem://x.grudge", service_new<typed_file>(std::string_view("RAMP"))), "ramp");
  EXPECT_EQ(failure_of([&] { opened_by("mem://x.grudge", service_new<typed_file>(std::string_view("JUNK"))); }),
            "exception_io_data: ramp: bad magic");
}

TEST_F(Inputs, StreamThatCannotRewindIsTriedByOneEntryThatReads) {
  auto stream = test::make_faulty_file(service_new<memory_file>(std::string_view("JUNKJUNK")), {.no_seek = true});
  EXPECT_EQ(failure_of([&] { opened_by("http://x/y.bin", stream); }),
            "exception_io_unsupported_format: Unsupported file format");
}

TEST_F(Inputs, AbortPassesThrough) {
  abort_callback_impl token;
  token.set();
  EXPECT_EQ(failure_of([&] { open_input(input_decoder::class_guid, nullptr, "mem://a.ramp", nullptr, token); }),
            "exception_aborted: User abort");
}

TEST_F(Inputs, ImpossibleSizesAreARefusal) {
  objects["mem://x.wide"] = "????";
  EXPECT_EQ(failure_of([&] { opened_by("mem://x.wide"); }), "exception_io_data: Unsupported format or corrupted file");
  objects["mem://x.wide"] = "RAMP";
  EXPECT_EQ(opened_by("mem://x.wide"), "ramp") << "the search goes on";
}

TEST_F(Inputs, AWriterOpensARenamedFileByItsPath) {
  objects["mem://renamed.bin"] = "TWIN";
  input_twin::written.clear();
  auto writer = input_entry::g_open_for_info_write(nullptr, "mem://renamed.bin", nullptr, abort);
  EXPECT_FALSE(input_twin::has_hint) << "what was opened for a look is no hint";
  file_info_impl info;
  info.meta_set("title", "a");
  writer->set_info(10, info, abort);
  info.meta_set("title", "b");
  writer->set_info(11, info, abort);
  writer->commit(abort);
  EXPECT_EQ(input_twin::written, "10a;11b;commit");
  EXPECT_EQ(writer->get_subsong(1), 11u);
  EXPECT_TRUE(service_extension<input_entry_v2>(&twin_factory.get())->can_write_tags());
  EXPECT_FALSE(ramp_factory.get().can_write_tags());
  open_input(input_info_writer::class_guid, service_new<memory_file>(std::string_view("TWIN")), "mem://x.bin", nullptr,
             abort);
  EXPECT_TRUE(input_twin::has_hint) << "the host's own hint stays one";
}

// --- post-processing -------------------------------------------------------------------------------------------------

/// Delays everything by 150 samples' worth of chunks, so that after a seek it needs that much lead-in; its output is
/// what came in, negated.
class delaying_processor : public decode_postprocessor_instance {
 public:
  bool run(audio_chunk_list& chunks, std::uint32_t flags, abort_callback&) override {
    for (auto& chunk : chunks)
      for (std::size_t i = 0; i < chunk.get_sample_count(); ++i) chunk.get_data()[i] *= -1;
    held_.splice(held_.end(), chunks);
    while (held_.size() > ((flags & postprocess_flag_end_of_stream) != 0 ? 0u : 2u)) {
      chunks.push_back(held_.front());
      held_.pop_front();
    }
    return true;
  }
  bool get_dynamic_info(file_info&) override { return false; }
  void flush() override { held_.clear(); }
  double get_latency() override { return 0.150; }

 private:
  audio_chunk_list held_;
};

/// Wants no lead-in.
class prompt_processor : public delaying_processor {
 public:
  bool run(audio_chunk_list&, std::uint32_t, abort_callback&) override { return false; }
  double get_latency() override { return 0; }
};

bool processor_wanted = false;
bool processor_is_prompt = false;
class delaying_entry : public decode_postprocessor_entry {
 public:
  service_ptr_t<decode_postprocessor_instance> instantiate(const file_info& info) override {
    EXPECT_EQ(info.info_get_int("samplerate"), 1000) << "it is offered the stream's technical fields";
    if (!processor_wanted) return nullptr;
    if (processor_is_prompt) return service_new<prompt_processor>();
    return service_new<delaying_processor>();
  }
};
service_factory_single_t<delaying_entry> delaying_entry_factory;

TEST_F(Inputs, PostProcessingIsSampleAccurateAfterASeek) {
  processor_wanted = true;
  auto decoder = ramp(0);
  auto plain = ramp(decode_flag_no_postprocess);
  processor_wanted = false;
  EXPECT_EQ(drain(*plain), numbers(0, 1000)) << "the flag forbids it";
  auto expected = numbers(0, 1000);
  for (auto& sample : expected) sample *= -1;
  EXPECT_EQ(drain(*decoder), expected);
  for (const int target : {0, 1, 99, 149, 150, 151, 333, 999, 1000, 1200}) {
    decoder->seek(target / 1000.0, abort);
    const auto got = drain(*decoder);
    const auto from = expected.begin() + std::min(target, 1000);
    EXPECT_EQ(got, std::vector<float>(from, expected.end())) << "seek to " << target;
  }
  EXPECT_THROW(decoder->seek(-1, abort), exception_io_data);
}

TEST_F(Inputs, WithoutLatencyTheFirstChunkAfterASeekIsWhole) {
  processor_wanted = true;
  processor_is_prompt = true;
  auto decoder = ramp(0);
  processor_wanted = processor_is_prompt = false;
  decoder->seek(0.25, abort);
  audio_chunk_impl chunk;
  ASSERT_TRUE(decoder->run(chunk, abort));
  EXPECT_EQ(chunk.get_sample_count(), 100u);
  EXPECT_EQ(chunk.get_data()[0], 250.0f);
}

// --- wrappers --------------------------------------------------------------------------------------------------------

TEST_F(Inputs, RangeOfATrack) {
  auto range = make_range_decoder(ramp(), 0, 0.2504, 0.3);
  range->initialize(0, 0, abort);
  EXPECT_EQ(drain(*range), numbers(250, 550)) << "the crossing chunk keeps what is left, rounded";
  range->seek(0.1, abort);
  EXPECT_EQ(drain(*range).front(), 350.0f);
  range->seek(0.3, abort);
  EXPECT_TRUE(drain(*range).empty());
  range->seek(5, abort);
  EXPECT_TRUE(drain(*range).empty());
  EXPECT_THROW(range->seek(-0.1, abort), exception_io_data);
  EXPECT_EQ(failure_of([&] { range->initialize(1, 0, abort); }),
            "exception_io_bad_subsong_index: Unexpected subsong index");
  auto tiny = make_range_decoder(ramp(), 0, 0, 0.0004);
  tiny->initialize(0, 0, abort);
  EXPECT_TRUE(drain(*tiny).empty()) << "rounds to no sample";
  file_info_impl info;
  double delta = 0;
  EXPECT_TRUE(range->get_dynamic_info(info, delta));
  EXPECT_EQ(*info.info_get("bitrate_dynamic"), "320");
  EXPECT_EQ(info.info_get("title"), nullptr);
}

TEST_F(Inputs, HelperKeepsItsDecoderForTheSamePath) {
  input_helper helper;
  helper.open("mem://a.ramp", 0, decode_flag_no_postprocess, abort);
  const auto opened = objects_opened;
  audio_chunk_impl chunk;
  ASSERT_TRUE(helper.run(chunk, abort));
  helper.open("mem://a.ramp", 0, decode_flag_no_postprocess, abort);
  EXPECT_EQ(objects_opened, opened) << "not opened again";
  ASSERT_TRUE(helper.run(chunk, abort));
  EXPECT_EQ(chunk.get_data()[0], 0.0f) << "but initialised again";
  helper.open("mem://renamed.bin", 0, 0, abort);
  EXPECT_GT(objects_opened, opened);
  helper.close();
  EXPECT_THROW(helper.run(chunk, abort), kiv::exception_bug_check);
}

TEST_F(Inputs, HelperDropsADecoderThatFailed) {
  objects["mem://x.twin"] = "TWIN";
  input_helper helper;
  helper.open("mem://x.twin", 10, decode_flag_no_postprocess, abort);
  audio_chunk_impl chunk;
  EXPECT_EQ(failure_of([&] { helper.run(chunk, abort); }), "exception_io_data: twin: broken");
  EXPECT_FALSE(helper.is_open());
  const auto opened = objects_opened;
  helper.open("mem://x.twin", 10, decode_flag_no_postprocess, abort);
  EXPECT_GT(objects_opened, opened);
}

} // namespace
} // namespace zelmora
