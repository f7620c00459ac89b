#include "support/golden.h"

#include "frame/exceptions.h"
#include "frame/input_open.h"
#include "frame/memory_file.h"
#include "frame/text.h"
#include "support/decode_all.h"
#include "support/faulty_file.h"
#include "support/fixtures.h"
#include "support/test_services.h"

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace zelmora::test {

using namespace zelmora_io;

namespace {

constexpr std::size_t frames_per_block = 4096;
constexpr std::size_t max_blocks = 4;
/// Faults are tried at each of so many operations, and at evenly spaced ones beyond.
constexpr std::size_t max_faults = 150;

/// What the golden file holds of a dump, in parts that some rows of the matrix leave out.
struct dump_text {
  std::string length;
  std::string info;
  std::string log;
  std::string audio;
  std::string seeks;

  std::string whole() const { return length + info + log + audio + seeks; }
};

void dump_info(dump_text& out, std::uint32_t subsong, const file_info& info) {
  const auto length = info.get_length();
  out.length += length < 0 ? fmt::format("subsong {} length unknown\n", subsong)
                           : fmt::format("subsong {} length {:.9f} s\n", subsong, length);
  out.info += fmt::format("subsong {}\n", subsong);
  for (std::size_t i = 0; i < info.info_get_count(); ++i)
    out.info += fmt::format("  info {} = {}\n", info.info_enum_name(i), info.info_enum_value(i));
  for (std::size_t i = 0; i < info.meta_get_count(); ++i)
    for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n)
      out.info +=
          fmt::format("  meta {} = {}\n", info.meta_enum_name(i), escape_for_display(info.meta_enum_value(i, n)));
  const auto gains = info.get_replaygain();
  const auto gain = [&](std::string_view name, bool is_set, float value) {
    if (is_set) out.info += fmt::format("  replaygain {} = {:.6f}\n", name, value);
  };
  gain("album_gain", gains.is_album_gain_set(), gains.album_gain);
  gain("track_gain", gains.is_track_gain_set(), gains.track_gain);
  gain("album_peak", gains.is_album_peak_set(), gains.album_peak);
  gain("track_peak", gains.is_track_peak_set(), gains.track_peak);
}

void dump_audio(std::string& out, const decoded_audio& audio) {
  out += fmt::format("  format {} Hz, {} channels, mask 0x{:x}{}\n", audio.rate, audio.channels, audio.mask,
                     audio.changes_format ? ", changing" : "");
  if (audio.rejected_chunks != 0) out += fmt::format("  {} chunks that a host rejects\n", audio.rejected_chunks);
  const auto frames = audio.frames();
  for (std::size_t i = 0; i < max_blocks && i * frames_per_block < frames; ++i) {
    const auto count = std::min(frames_per_block, frames - i * frames_per_block);
    out += fmt::format("  block {}: {} frames, {}\n", i, count,
                       pcm_md5(audio.from(i * frames_per_block).first(count * audio.channels)));
  }
  out += fmt::format("  total: {} frames, {}\n", frames, pcm_md5(audio.samples));
}

void dump_seeks(std::string& out, input_decoder& decoder, const decoded_audio& linear, abort_callback& abort) {
  const auto frames = linear.frames();
  for (const std::size_t third : {0u, 1u, 2u, 3u}) {
    const auto target = frames * third / 3;
    decoder.seek(audio_math::samples_to_time(target, std::max(linear.rate, 1u)), abort);
    const auto rest = decode_to_end(decoder, abort);
    const bool is_exact = std::ranges::equal(rest.samples, linear.from(target), [](audio_sample a, audio_sample b) {
      return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
    });
    out += fmt::format("  seek to {}: {} frames, {}{}\n", target, rest.frames(), pcm_md5(rest.samples),
                       is_exact ? "" : ", not as decoded from the start");
  }
}

/// Throws what the input throws.
dump_text dump(file_ptr file, std::string_view path, abort_callback& abort) {
  dump_text out;
  const auto logger = service_new<recording_logger>();
  const auto opened = open_input(input_decoder::class_guid, std::move(file), path, logger, abort);
  const auto decoder = service_extension<input_decoder>(opened.instance.get());
  out.info += fmt::format("input {}\n", opened.entry->get_name());
  for (std::uint32_t i = 0; i < decoder->get_subsong_count(); ++i) {
    const auto subsong = decoder->get_subsong(i);
    file_info_impl info;
    decoder->get_info(subsong, info, abort);
    dump_info(out, subsong, info);
    try {
      decoder->initialize(subsong, 0, abort);
    } catch (const exception_io_data& e) {
      out.audio += fmt::format("subsong {} does not decode: {}: {}\n", subsong, exception_class_name(e), e.what());
      continue;
    }
    const auto audio = decode_to_end(*decoder, abort);
    out.audio += fmt::format("subsong {} audio\n", subsong);
    dump_audio(out.audio, audio);
    if (!decoder->can_seek()) continue;
    out.seeks += fmt::format("subsong {} seeks\n", subsong);
    dump_seeks(out.seeks, *decoder, audio, abort);
  }
  for (const auto& entry : logger->entries()) out.log += fmt::format("log {}\n", entry);
  return out;
}

file_ptr open_copy(const std::vector<std::byte>& content) { return service_new<memory_file>(content); }

/// As `dump`, with a refusal as the text.
dump_text dump_or_refusal(file_ptr file, std::string_view path) {
  abort_callback_dummy abort;
  try {
    return dump(std::move(file), path, abort);
  } catch (const exception_io& e) {
    dump_text out;
    out.info = fmt::format("refused: {}: {}\n", exception_class_name(e), e.what());
    return out;
  }
}

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

/// The golden text; written first when an update is asked for.
std::string load_golden(std::string_view asset, const std::string& actual) {
  const auto path = fixture_path(fmt::format("golden/{}.txt", asset));
  const char* update = std::getenv("ZELMORA_UPDATE_GOLDEN");
  if (update != nullptr && std::string_view(update) == "1") {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << actual;
  }
  return read_text(path);
}

enum class fault { failure, end_of_file, abort };

/// One run with a fault at `operation`. Returns false once the run has no such operation.
bool check_fault(const std::vector<std::byte>& content, std::string_view asset, fault kind, std::size_t operation,
                 const std::string& golden) {
  file_faults faults;
  (kind == fault::failure ? faults.fail_at : kind == fault::abort ? faults.abort_at : faults.shorten_at) = operation;
  const auto count = std::make_shared<operation_count>();
  abort_callback_dummy abort;
  std::string outcome;
  try {
    const auto text = dump(make_faulty_file(open_copy(content), faults, count), asset, abort).whole();
    if (kind == fault::end_of_file || text == golden) return count->total > operation;
    outcome = text;
  } catch (const exception_aborted&) {
    if (kind == fault::abort) return true;
    outcome = "User abort";
  } catch (const exception_io& e) {
    // A file that is refused is refused in all rows; no fault may turn into something else.
    if (kind != fault::abort || golden.starts_with("refused")) return count->total > operation;
    outcome = e.what();
  } catch (const std::exception& e) {
    outcome = exception_class_name(e) + ": " + e.what();
  }
  ADD_FAILURE() << asset << ": fault of kind " << static_cast<int>(kind) << " at operation " << operation << " gave\n"
                << outcome;
  return count->total > operation;
}

void check_faults(const std::vector<std::byte>& content, std::string_view asset, fault kind,
                  const std::string& golden) {
  for (std::size_t operation = 0, step = 1; check_fault(content, asset, kind, operation, golden); operation += step)
    if (operation >= max_faults) step *= 2;
}

void check_without_seeking(const std::vector<std::byte>& content, std::string_view asset, const golden_traits& traits,
                           const dump_text& plain) {
  file_faults faults;
  faults.no_seek = true;
  const auto text = dump_or_refusal(make_faulty_file(open_copy(content), faults), asset);
  if (traits.needs_seeking && text.info.starts_with("refused")) return;
  if (traits.needs_ends) {
    EXPECT_EQ(text.info.starts_with("refused"), traits.is_refused) << asset << " without seeking: " << text.info;
    return;
  }
  EXPECT_EQ(text.info + text.audio, plain.info + plain.audio) << asset << " without seeking";
}

void check_without_size(const std::vector<std::byte>& content, std::string_view asset, const golden_traits& traits,
                        const dump_text& plain) {
  file_faults faults;
  faults.no_size = true;
  const auto text = dump_or_refusal(make_faulty_file(open_copy(content), faults), asset);
  if (traits.needs_ends) {
    EXPECT_EQ(text.info.starts_with("refused"), traits.is_refused) << asset << " without a size: " << text.info;
    return;
  }
  EXPECT_EQ(text.info + text.audio + text.seeks, plain.info + plain.audio + plain.seeks) << asset << " without a size";
}

} // namespace

void check_golden(std::string_view asset, const golden_traits& traits) {
  attach_own_services();
  const auto content = load_fixture(asset);
  const auto plain = dump_or_refusal(open_copy(content), asset);
  const auto golden = load_golden(asset, plain.whole());
  EXPECT_EQ(plain.whole(), golden) << asset;
  EXPECT_EQ(plain.info.starts_with("refused"), traits.is_refused) << asset;

  file_faults faults;
  faults.one_byte_reads = true;
  EXPECT_EQ(dump_or_refusal(make_faulty_file(open_copy(content), faults), asset).whole(), golden)
      << asset << " one byte at a time";
  check_without_size(content, asset, traits, plain);
  check_without_seeking(content, asset, traits, plain);
  for (const auto kind : {fault::failure, fault::end_of_file, fault::abort}) check_faults(content, asset, kind, golden);
}

} // namespace zelmora::test
