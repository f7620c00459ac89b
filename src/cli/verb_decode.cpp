// `zel decode`: samples into a file or a stream.
#include "cli/byte_sink.h"
#include "cli/decode_targets.h"
#include "cli/over_damage.h"
#include "cli/pcm_output.h"
#include "cli/progress.h"
#include "cli/verbs.h"
#include "cli/warning_log.h"
#include "cli/wav_writer.h"
#include "cli/worker_pool.h"
#include "frame/input_open.h"
#include "host/local_path.h"

#include <algorithm>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zelmora::cli {

using namespace zelmora_io;

namespace {

/// Writing to the output failed: the message is about that, not about the source.
class output_failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

constexpr std::string_view standard_output_mark = "-";

bool is_directory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// Devices and pipes are written to, not replaced.
bool is_special(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

std::unique_ptr<byte_sink> open_sink(const std::string& output, abort_callback& abort) {
  if (output == standard_output_mark)
    return std::make_unique<descriptor_sink>(STDOUT_FILENO, descriptor_sink::ownership::borrowed, abort);
  if (!is_special(output)) return std::make_unique<file_sink>(output, abort);
  return std::make_unique<descriptor_sink>(open_for_writing(output, abort), descriptor_sink::ownership::owned, abort);
}

/// One track on its way from a decoder to a sink.
class track_copier {
 public:
  track_copier(const decode_options& options, const std::string& path, const std::string& output, progress& shown,
               abort_callback& abort)
      : options_(options), path_(path), output_(output), shown_(shown), abort_(abort),
        encoder_(form_of(options.format)) {}

  void run(service_ptr_t<warning_log>& log) {
    const auto opened = open_input(input_decoder::class_guid, nullptr, path_, log, abort_);
    const auto decoder = service_extension<input_decoder>(opened.instance.get());
    const auto subsong = options_.subsong ? *options_.subsong : first_subsong(*decoder);
    file_info_impl info;
    traced::get_info(*decoder, subsong, info, abort_);
    length_ = info.get_length();
    refuse_endless(*decoder);
    start(*decoder, subsong);
    log->follow(&position_);
    copy(*decoder, *log);
    if (!sink_) begin(info.info_get_wfx());
    finish();
    log->follow(nullptr);
  }

  /// Nothing was written because there was nothing left.
  bool ended_before_start() const { return options_.start > 0 && written_ == 0 && remaining_ != 0; }

 private:
  static std::uint32_t first_subsong(input_decoder& decoder) {
    if (decoder.get_subsong_count() == 0) throw exception_io_data();
    return decoder.get_subsong(0);
  }

  /// A generator without end may fill a pipe, until its reader has enough, but not a disk.
  void refuse_endless(input_decoder& decoder) const {
    const bool endless = length_ < 0 && decoder.get_file_stats(abort_).size == t_filestats::unknown_size;
    if (endless && !options_.length && output_ != standard_output_mark && !is_special(output_))
      throw usage_error("It has no end: --length says where to stop");
  }

  void start(input_decoder& decoder, std::uint32_t subsong) {
    const bool seeks = options_.start > 0 && decoder.can_seek();
    std::uint32_t flags = 0;
    if (!seeks) flags |= decode_flag_no_seeking;
    if (!options_.postprocess) flags |= decode_flag_no_postprocess;
    traced::initialize(decoder, subsong, flags, abort_);
    if (seeks)
      traced::seek(decoder, options_.start, abort_);
    else
      to_skip_ = options_.start;
    position_ = seeks ? options_.start : 0;
  }

  void copy(input_decoder& decoder, event_logger& log) {
    audio_chunk_impl chunk;
    const auto tell = [&](const std::exception& damage) { log.log_entry(damage.what(), event_logger::error); };
    while (remaining_ != 0) {
      abort_.check();
      if (!run_over_damage(decoder, chunk, abort_, tell)) return;
      if (chunk.get_sample_count() == 0) continue;
      if (!chunk.is_valid()) throw exception_io_data();
      const double duration = chunk.get_duration();
      if (to_skip_ > 0) process_skip(chunk, to_skip_);
      if (chunk.get_sample_count() != 0) put(chunk);
      position_ += duration;
      shown_.show(path_, length_ > 0 ? std::min(position_ / length_, 1.0) : -1.0);
    }
  }

  void put(const audio_chunk& chunk) {
    if (!sink_) begin({chunk.get_srate(), chunk.get_channels(), chunk.get_channel_config()});
    check_format(chunk);
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.get_sample_count(), remaining_));
    if (remaining_ != no_limit) remaining_ -= count;
    written_ += count;
    const auto bytes = encoder_.encode(chunk.samples().first(count * chunk.get_channels()));
    guarded([&] { wav_ ? wav_->write(bytes) : sink_->write(bytes); });
  }

  /// With the first samples, or at the end when there were none.
  void begin(const file_info::wfx& format) {
    if (format.rate == 0 || format.channels == 0) throw exception_io_data();
    rate_ = format.rate;
    channels_ = format.channels;
    if (options_.length) remaining_ = audio_math::time_to_samples(*options_.length, rate_);
    guarded([&] {
      sink_ = open_sink(output_, abort_);
      if (!is_wav(options_.format)) return;
      const auto mask = channel_config_count(format.mask) == channels_ ? format.mask : channel_config_guess(channels_);
      wav_.emplace(*sink_, wav_format{rate_, channels_, mask, form_of(options_.format)}, expected_samples());
    });
  }

  std::optional<std::uint64_t> expected_samples() const {
    if (length_ < 0) return options_.length ? std::optional(remaining_) : std::nullopt;
    const auto total = audio_math::time_to_samples(length_, rate_);
    const auto skipped = std::min(audio_math::time_to_samples(options_.start, rate_), total);
    return std::min(total - skipped, remaining_);
  }

  void check_format(const audio_chunk& chunk) const {
    const bool same_rate = chunk.get_srate() == rate_;
    const bool same_channels = chunk.get_channels() == channels_;
    if (same_channels && (same_rate || !wav_)) return;
    throw exception_io_data(
        fmt::format("The format changes at {:.3f} s from {} Hz, {} channels to {} Hz, {} channels: one "
                    "output can't hold both",
                    position_, rate_, channels_, chunk.get_srate(), chunk.get_channels()));
  }

  void finish() {
    guarded([&] {
      if (wav_ && !wav_->finish())
        throw exception_io_data(
            fmt::format("The header stands wrong: the stream had {} samples, not as many as told", written_));
      sink_->finish();
    });
  }

  template <class Action>
  void guarded(const Action& action) const {
    try {
      action();
    } catch (const exception_io_no_data& failure) {
      if (output_ == standard_output_mark) throw standard_output_failure(failure.what(), true);
      throw output_failure(failure.what());
    } catch (const exception_io& failure) {
      throw output_failure(failure.what());
    }
  }

  static constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

  const decode_options& options_;
  const std::string& path_;
  const std::string& output_;
  progress& shown_;
  abort_callback& abort_;
  pcm_encoder encoder_;
  std::unique_ptr<byte_sink> sink_;
  std::optional<wav_writer> wav_;
  double length_ = file_info::length_unknown; ///< [s]
  double position_ = 0;                       ///< [s]
  double to_skip_ = 0;                        ///< [s]
  std::uint64_t remaining_ = no_limit;
  std::uint64_t written_ = 0;
  std::uint32_t rate_ = 0;
  std::uint32_t channels_ = 0;
};

void decode_path(const decode_options& options, const std::string& path, const decode_target& target, progress& shown,
                 abort_callback& abort, outcome& result) {
  auto log = service_new<warning_log>();
  try {
    if (!target.refusal.empty()) return result.fail(path, target.refusal);
    if (is_same_file(path, target.output)) return result.fail(path, "The output is the file itself");
    track_copier copier(options, path, target.output, shown, abort);
    copier.run(log);
    if (copier.ended_before_start()) log->log_entry("it ends before --start", event_logger::warning);
  } catch (const exception_aborted&) {
    throw;
  } catch (const standard_output_failure&) {
    throw;
  } catch (const usage_error& error) {
    result.fail(path, error.what(), exit_status::usage);
  } catch (const output_failure& failure) {
    result.fail(target.output == standard_output_mark ? "standard output" : target.output, failure.what());
  } catch (const std::exception& failure) {
    result.fail(path, failure.what());
  }
  for (const auto& entry : log->entries()) {
    const auto text = entry.severity >= event_logger::error ? entry.text : "warning: " + entry.text;
    // What is wrong among the samples is lost in the output.
    if (entry.severity >= event_logger::error || entry.is_of_decoding)
      result.fail(path, text);
    else
      result.add_error(path, text);
  }
}

std::string_view extension_of(output_format format) {
  switch (form_of(format)) {
  case sample_form::s16: return "s16";
  case sample_form::s24: return "s24";
  case sample_form::s32: return "s32";
  case sample_form::f32: break;
  }
  return "f32";
}

/// As the system takes it: a local path may have a scheme.
std::string system_output(const std::string& output) {
  if (output == standard_output_mark || !host::is_local_path(output)) return output;
  try {
    return host::system_path(output);
  } catch (const exception_io& failure) {
    throw usage_error(fmt::format("-o {}: {}", output, failure.what()), "decode");
  }
}

std::vector<decode_target> choose_targets(const decode_options& options, const std::vector<std::string>& paths) {
  const auto output = system_output(options.output);
  if (output == standard_output_mark && isatty(STDOUT_FILENO) == 1)
    throw usage_error("samples are not for a terminal: name a file, or pipe them on", "decode");
  const auto extension = is_wav(options.format) ? "wav" : extension_of(options.format);
  if (output != standard_output_mark && is_directory(output)) return plan_targets(paths, output, extension);
  if (output.ends_with('/')) throw usage_error(output + " is no directory", "decode");
  if (paths.size() > 1) throw usage_error("several paths need an existing directory for -o", "decode");
  return {{output, {}}};
}

} // namespace

exit_status run_decode(const decode_options& options, program_context& context) {
  // All paths are known before the first output is written, so that none of them is written over.
  path_arguments all;
  path_list given(options.input, context.abort);
  for (std::string path; given.next(path);) all.paths.push_back(path);
  const auto targets = choose_targets(options, all.paths);
  path_list paths(all, context.abort);
  progress shown(paths.count());
  return work_on_paths(paths, options.jobs, context.out,
                       [&](const std::string& path, std::size_t number, outcome& result) {
                         decode_path(options, path, targets[number], shown, context.abort, result);
                         shown.finish_path();
                       });
}

} // namespace zelmora::cli
