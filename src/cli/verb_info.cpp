// `zel info`: what files are.
#include "cli/json_writer.h"
#include "cli/verbs.h"
#include "cli/warning_log.h"
#include "cli/worker_pool.h"
#include "frame/input_open.h"
#include "frame/replaygain_text.h"
#include "frame/text.h"
#include "host/effort.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fmt/compile.h>
#include <fmt/core.h>
#include <iterator>

namespace zelmora::cli {

namespace {

host::io_statistics difference(const host::io_statistics& after, const host::io_statistics& before) {
  return {after.reads - before.reads, after.bytes_read - before.bytes_read, after.seeks - before.seeks,
          after.writes - before.writes, after.bytes_written - before.bytes_written};
}

/// Fills `media`, whose `path` is given.
void describe(media_description& media, service_ptr_t<warning_log>& log, abort_callback& abort) {
  const auto before = host::thread_io_statistics();
  {
    const auto opened = open_input(input_info_reader::class_guid, nullptr, media.path, log, abort);
    const auto reader = service_extension<input_info_reader>(opened.instance.get());
    media.input = opened.entry->get_name();
    const auto size = reader->get_file_stats(abort).size;
    if (size != t_filestats::unknown_size) media.size = size;
    const auto count = reader->get_subsong_count();
    for (std::uint32_t i = 0; i < count; ++i) {
      auto& entry = media.subsongs.emplace_back();
      entry.subsong = reader->get_subsong(i);
      reader->get_info(entry.subsong, entry.info, abort);
    }
  }
  for (const auto& entry : log->entries()) media.warnings.push_back(entry.text);
  media.io = difference(host::thread_io_statistics(), before);
}

// --- for people ------------------------------------------------------------------------------------------------------

/// Names up to this long share one column; the value of a longer one follows after a blank.
constexpr std::size_t name_column = 20;
constexpr std::size_t indent = 2;

void append_field(std::string& out, std::string_view name, std::string_view value) {
  constexpr std::size_t value_start = indent + name_column;
  constexpr std::size_t usual_width = 64;
  if (name.size() < name_column && value.size() < usual_width - value_start) {
    // Nearly every line: laid out in place.
    std::array<char, usual_width> line;
    line.fill(' ');
    std::memcpy(line.data() + indent, name.data(), name.size());
    std::memcpy(line.data() + value_start, value.data(), value.size());
    if (is_printable_ascii({line.data(), line.size()})) {
      line[value_start + value.size()] = '\n';
      out.append(line.data(), value_start + value.size() + 1);
      return;
    }
  }
  out.append(indent, ' ');
  const auto start = out.size();
  append_display(out, name);
  const auto shown = out.size() - start;
  out.append(shown < name_column ? name_column - shown : 1, ' ');
  append_display(out, value);
  out += '\n';
}

/// "3:25.040", "1:02:03.500"
std::string clock_text(double seconds) {
  constexpr double longest = 1e15;
  const auto milliseconds = static_cast<std::uint64_t>(std::llround(std::min(seconds, longest) * 1000));
  const auto whole = milliseconds / 1000;
  const auto rest = milliseconds % 1000;
  if (whole < 3600) {
    std::array<char, 16> text;
    return {text.data(), fmt::format_to(text.data(), FMT_COMPILE("{}:{:02}.{:03}"), whole / 60, whole % 60, rest)};
  }
  return fmt::format("{}:{:02}:{:02}.{:03}", whole / 3600, whole / 60 % 60, whole % 60, rest);
}

void append_gains(std::string& out, const replaygain_info& gains) {
  if (gains.is_track_gain_set()) append_field(out, "track gain", format_gain(gains.track_gain));
  if (gains.is_track_peak_set()) append_field(out, "track peak", format_peak(gains.track_peak));
  if (gains.is_album_gain_set()) append_field(out, "album gain", format_gain(gains.album_gain));
  if (gains.is_album_peak_set()) append_field(out, "album peak", format_peak(gains.album_peak));
}

void append_subsong(std::string& out, const file_info& info) {
  const auto length = info.get_length();
  append_field(out, "length", length < 0 ? "unknown" : clock_text(length));
  for (std::size_t i = 0; i < info.info_get_count(); ++i)
    append_field(out, info.info_enum_name(i), info.info_enum_value(i));
  for (std::size_t i = 0; i < info.meta_get_count(); ++i)
    for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n)
      append_field(out, info.meta_enum_name(i), info.meta_enum_value(i, n));
  append_gains(out, info.get_replaygain());
}

void append_text(std::string& out, const media_description& media) {
  append_display(out, media.path);
  out += '\n';
  append_field(out, "input", media.input);
  if (media.size) {
    std::array<char, 32> text;
    const auto* const end = fmt::format_to(text.data(), FMT_COMPILE("{} bytes"), *media.size);
    append_field(out, "size", {text.data(), end});
  }
  for (const auto& entry : media.subsongs) {
    if (media.subsongs.size() > 1) fmt::format_to(std::back_inserter(out), " subsong {}\n", entry.subsong);
    append_subsong(out, entry.info);
  }
  for (const auto& text : media.warnings) append_field(out, "warning", text);
  if (media.io)
    append_field(out, "io",
                 fmt::format("{} reads, {} bytes, {} seeks", media.io->reads, media.io->bytes_read, media.io->seeks));
  out += '\n';
}

} // namespace

exit_status run_info(const info_options& options, program_context& context) {
  host::set_effort(options.fast ? host::effort::fast : host::effort::full);
  path_list paths(options.input, context.abort);
  const auto jobs = jobs_for_reading(options.jobs);
  return work_on_paths(paths, jobs, context.out, [&](const std::string& path, std::size_t, outcome& result) {
    media_description media;
    media.path = path;
    try {
      auto log = service_new<warning_log>();
      describe(media, log, context.abort);
    } catch (const zelmora_io::exception_aborted&) {
      throw;
    } catch (const std::exception& failure) {
      return fail_path(result, path, failure, form_of(options.json));
    }
    if (!options.io_statistics) media.io.reset();
    if (options.json)
      append_json(result.output, media);
    else
      append_text(result.output, media);
  });
}

} // namespace zelmora::cli
