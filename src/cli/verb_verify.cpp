// `zel verify`: whether files decode in full, and whether seeking in them is exact.
#include "cli/json_writer.h"
#include "cli/over_damage.h"
#include "cli/pcm_output.h"
#include "cli/progress.h"
#include "cli/seek_check.h"
#include "cli/verbs.h"
#include "cli/warning_log.h"
#include "cli/worker_pool.h"
#include "frame/input_open.h"
#include "frame/text.h"

#include <algorithm>
#include <array>
#include <fmt/core.h>
#include <md5.h>

namespace zelmora::cli {

using namespace zelmora_io;

namespace {

/// The digest (RFC 1321) of PCM as it is delivered.
class pcm_digest {
 public:
  pcm_digest() { MD5Init(&context_); }

  void add(const audio_chunk& chunk) {
    const auto bytes = encoder_.encode(chunk.samples());
    MD5Update(&context_, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }

  std::string text() {
    std::array<std::uint8_t, MD5_DIGEST_LENGTH> digest{};
    MD5Final(digest.data(), &context_);
    std::string result;
    for (const auto byte : digest) result += fmt::format("{:02x}", byte);
    return result;
  }

 private:
  MD5_CTX context_{};
  pcm_encoder encoder_{sample_form::f32};
};

/// The check of one path, subsong by subsong.
class path_check {
 public:
  path_check(const verify_options& options, const std::string& path, progress& shown, abort_callback& abort,
             outcome& result)
      : options_(options), path_(path), shown_(shown), abort_(abort), result_(result) {}

  void run() {
    std::uint32_t count = 0;
    try {
      open();
      count = decoder_->get_subsong_count();
      if (count == 0) throw exception_io_data();
    } catch (const exception_aborted&) {
      throw;
    } catch (const std::exception& failure) {
      return report(std::nullopt, failure);
    }
    several_ = count > 1;
    for (std::uint32_t i = 0; i < count; ++i) check_guarded(i);
  }

 private:
  void open() {
    log_ = service_new<warning_log>(event_logger::information);
    const auto opened = open_input(input_decoder::class_guid, nullptr, path_, log_, abort_);
    decoder_ = service_extension<input_decoder>(opened.instance.get());
  }

  void check_guarded(std::uint32_t index) {
    std::uint32_t subsong = index;
    position_ = 0;
    try {
      // After a failure a decoder is good for nothing more.
      if (!decoder_) open();
      subsong = decoder_->get_subsong(index);
      check(subsong);
    } catch (const exception_aborted&) {
      throw;
    } catch (const std::exception& failure) {
      decoder_.release();
      for (const auto& entry : log_->entries()) tell(subsong, entry.text);
      report(subsong, failure);
    }
  }

  void check(std::uint32_t subsong) {
    file_info_impl info;
    traced::get_info(*decoder_, subsong, info, abort_);
    length_ = info.get_length();
    if (length_ < 0 && decoder_->get_file_stats(abort_).size == t_filestats::unknown_size)
      throw exception_io_no_length();
    verify_description found;
    found.path = path_;
    found.subsong = subsong;
    log_->follow(&position_);
    const auto damage = decode_testing(found);
    if (found.samples == 0) {
      const auto told = info.info_get_wfx();
      found.sample_rate = told.rate;
      found.channels = told.channels;
    }
    log_->follow(nullptr);
    for (const auto& entry : log_->entries()) found.warnings.push_back(entry.text);
    if (damage && !is_told(found, *damage)) found.warnings.insert(found.warnings.begin(), *damage);
    if (options_.seeks > 0) compare_seeks(found);
    log_->clear();
    found.ok = found.warnings.empty();
    report(found);
  }

  /// Decodes all, and answers what stopped the test of integrity, if that did. Playback may pass over such damage: then
  /// it is decoded once more as for that, which also tells of what lies behind.
  std::optional<std::string> decode_testing(verify_description& found) {
    try {
      decode_all(found, decode_flag_testing_integrity | decode_flag_no_seeking);
      return std::nullopt;
    } catch (const exception_io_data& failure) {
      const auto at = position_;
      const std::string text = failure.what();
      open();
      log_->follow(&position_);
      position_ = 0;
      found.samples = 0;
      try {
        decode_all(found, decode_flag_no_seeking);
        return text;
      } catch (const exception_io_data&) {
        position_ = at;
        log_->clear();
      }
      throw;
    }
  }

  static bool is_told(const verify_description& found, std::string_view text) {
    return std::ranges::any_of(found.warnings, [&](const std::string& told) { return told.starts_with(text); });
  }

  void decode_all(verify_description& found, std::uint32_t flags) {
    traced::initialize(*decoder_, found.subsong, flags, abort_);
    audio_chunk_impl chunk;
    pcm_digest digest;
    bool uniform = true;
    const bool is_testing = (flags & decode_flag_testing_integrity) != 0;
    const auto tell = [&](const std::exception& damage) { log_->log_entry(damage.what(), event_logger::error); };
    while (is_testing ? traced::run(*decoder_, chunk, abort_) : run_over_damage(*decoder_, chunk, abort_, tell)) {
      abort_.check();
      if (chunk.get_sample_count() == 0) continue;
      if (!chunk.is_valid()) throw exception_io_data();
      if (found.samples == 0) {
        found.sample_rate = chunk.get_srate();
        found.channels = chunk.get_channels();
      }
      uniform = uniform && chunk.get_srate() == found.sample_rate;
      digest.add(chunk);
      found.samples += chunk.get_sample_count();
      position_ += chunk.get_duration();
      show_progress(length_ > 0 ? position_ / length_ : -1);
    }
    found.pcm_md5 = digest.text();
    if (length_ < 0 || !uniform || found.samples == 0) return check_empty(found);
    const auto told = audio_math::time_to_samples(length_, found.sample_rate);
    if (told != found.samples)
      found.warnings.push_back(fmt::format("Length told is {} samples, decoded {}", told, found.samples));
  }

  /// Streams whose samples the length can't be counted in.
  void check_empty(verify_description& found) const {
    if (found.samples == 0 && length_ > 0)
      found.warnings.push_back(fmt::format("Length told is {:.3f} s, decoded nothing", length_));
  }

  void compare_seeks(verify_description& found) {
    if (!decoder_->can_seek()) {
      found.warnings.push_back("Seeking is not supported");
      found.seeks.emplace();
      return;
    }
    const seek_plan plan{found.subsong, found.samples, options_.seeks, options_.seed};
    found.seeks = check_seeks(
        *decoder_, plan, found.warnings, [this](double fraction) { show_progress(fraction); }, abort_);
  }

  void show_progress(double fraction) { shown_.show(path_, std::min(fraction, 1.0)); }

  std::string subject(std::optional<std::uint32_t> subsong) const {
    return several_ && subsong ? fmt::format("{}, subsong {}", path_, *subsong) : path_;
  }

  void tell(std::optional<std::uint32_t> subsong, std::string_view what) {
    result_.fail(path_, several_ && subsong ? fmt::format("subsong {}: {}", *subsong, what) : std::string(what));
  }

  void report(std::optional<std::uint32_t> subsong, const std::exception& failure) {
    tell(subsong, position_ > 0 ? fmt::format("{} (at {:.3f} s)", failure.what(), position_) : failure.what());
    if (options_.json)
      append_json_error(result_.output, path_, subsong, failure);
    else
      result_.output += fmt::format("{}: NOT OK\n", escape_for_display(subject(subsong)));
  }

  void report(const verify_description& found) {
    for (const auto& text : found.warnings) tell(found.subsong, text);
    if (options_.json) return append_json(result_.output, found);
    result_.output +=
        fmt::format("{}: {}: {} samples, {} Hz, {} channels, MD5 {}", escape_for_display(subject(found.subsong)),
                    found.ok ? "ok" : "NOT OK", found.samples, found.sample_rate, found.channels, found.pcm_md5);
    if (found.seeks)
      result_.output +=
          fmt::format(", {} of {} seeks exact (seed {})", found.seeks->exact, found.seeks->tried, options_.seed);
    result_.output += '\n';
  }

  const verify_options& options_;
  const std::string& path_;
  progress& shown_;
  abort_callback& abort_;
  outcome& result_;
  service_ptr_t<warning_log> log_;
  service_ptr_t<input_decoder> decoder_;
  bool several_ = false;
  double length_ = file_info::length_unknown; ///< [s]
  double position_ = 0;                       ///< [s]
};

} // namespace

exit_status run_verify(const verify_options& options, program_context& context) {
  path_list paths(options.input, context.abort);
  progress shown(paths.count());
  return work_on_paths(paths, options.jobs, context.out, [&](const std::string& path, std::size_t, outcome& result) {
    path_check(options, path, shown, context.abort, result).run();
    shown.finish_path();
  });
}

} // namespace zelmora::cli
