// `zel tag`: shows and edits the tags of files.
#include "cli/json_writer.h"
#include "cli/progress.h"
#include "cli/tag_edit.h"
#include "cli/verbs.h"
#include "cli/worker_pool.h"
#include "frame/exceptions.h"
#include "frame/input_open.h"
#include "frame/text.h"

#include <atomic>
#include <fmt/core.h>

namespace zelmora::cli {

namespace {

constexpr double open_timeout = 0.5; // [s]

/// The subsongs of a file that the options mean.
std::vector<std::uint32_t> subsongs_of(input_info_reader& reader, std::optional<std::uint32_t> only) {
  if (only) return {*only};
  std::vector<std::uint32_t> result;
  const auto count = reader.get_subsong_count();
  for (std::uint32_t i = 0; i < count; ++i) result.push_back(reader.get_subsong(i));
  return result;
}

std::vector<subsong_description> read_subsongs(input_info_reader& reader, std::optional<std::uint32_t> only,
                                               abort_callback& abort) {
  std::vector<subsong_description> result;
  for (const auto subsong : subsongs_of(reader, only)) {
    auto& entry = result.emplace_back();
    entry.subsong = subsong;
    reader.get_info(subsong, entry.info, abort);
  }
  return result;
}

void append_subsong_line(std::string& out, std::size_t count, std::uint32_t subsong) {
  if (count > 1) fmt::format_to(std::back_inserter(out), "# subsong {}\n", subsong);
}

// --- show ------------------------------------------------------------------------------------------------------------

void append_text(std::string& out, const media_description& media) {
  for (const auto& [subsong, info] : media.subsongs) {
    append_subsong_line(out, media.subsongs.size(), subsong);
    for (std::size_t i = 0; i < info.meta_get_count(); ++i)
      for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n) {
        append_assignment(out, info.meta_enum_name(i), info.meta_enum_value(i, n));
        out += '\n';
      }
    for (const auto name : gain_field_names)
      if (const auto value = get_replaygain_field(info.get_replaygain(), name); !value.empty()) {
        append_assignment(out, name, value);
        out += '\n';
      }
  }
}

exit_status show(const tag_options& options, program_context& context) {
  path_list paths(options.input, context.abort);
  // One file's lines are nothing but fields.
  const bool has_headings = paths.count() != 1;
  return work_on_paths(paths, jobs_for_reading(options.jobs), context.out,
                       [&](const std::string& path, std::size_t, outcome& result) {
                         try {
                           media_description media;
                           media.path = path;
                           const auto reader = input_entry::g_open_for_info_read(nullptr, path, nullptr, context.abort);
                           media.subsongs = read_subsongs(*reader, options.subsong, context.abort);
                           if (options.json) return append_tags_json(result.output, media);
                           if (has_headings) result.output += "# " + escape_for_display(path) + '\n';
                           append_text(result.output, media);
                         } catch (const zelmora_io::exception_aborted&) {
                           throw;
                         } catch (const std::exception& failure) {
                           fail_path(result, path, failure, form_of(options.json));
                         }
                       });
}

// --- edits -----------------------------------------------------------------------------------------------------------

/// What is to be done to every file.
struct edit_plan {
  std::vector<tag_edit> edits;
  std::vector<subsong_description> source; ///< of `copy`

  void apply_to(tag_action action, file_info& info, std::size_t index) const {
    if (action == tag_action::clear) {
      info.meta_remove_all();
      info.set_replaygain({});
    } else if (action == tag_action::copy) {
      const auto& from = source[source.size() == 1 ? 0 : index].info;
      info.copy_meta(from);
      info.set_replaygain(from.get_replaygain());
    } else {
      for (const auto& edit : edits) apply(edit, info);
    }
  }
};

/// One file, open.
struct opened_tags {
  service_ptr_t<input_info_reader> reader;
  service_ptr_t<input_info_writer> writer; ///< the same object; null for a dry run
};

opened_tags open_tags(const std::string& path, bool dry_run, abort_callback& abort) {
  opened_tags result;
  if (!dry_run) {
    result.writer = input_entry::g_open_for_info_write_timeout(nullptr, path, nullptr, open_timeout, abort);
    result.reader = result.writer;
    return result;
  }
  const auto opened = open_input(input_info_reader::class_guid, nullptr, path, nullptr, abort);
  const auto entry = service_cast<input_entry_v2>(opened.entry.get());
  if (!entry || !entry->can_write_tags()) throw exception_tagging_unsupported();
  result.reader = service_extension<input_info_reader>(opened.instance.get());
  return result;
}

/// The edit of one path, from the opening to what is told of it.
class file_edit {
 public:
  file_edit(const tag_options& options, const edit_plan& plan, const std::string& path, abort_callback& abort)
      : options_(options), plan_(plan), abort_(abort) {
    description_.path = path;
    description_.is_dry_run = options.dry_run;
  }

  /// Whether there was anything to change.
  bool run() {
    const auto opened = open_tags(std::string(description_.path), options_.dry_run, abort_);
    const bool clears = options_.action == tag_action::clear;
    // The writer looks for what to remove; pictures are not among the fields.
    description_.is_changed = clears;
    const auto subsongs = subsongs_of(*opened.reader, is_of_source() ? std::nullopt : options_.subsong);
    if (is_of_source() && plan_.source.size() != 1 && plan_.source.size() != subsongs.size())
      throw zelmora_io::exception_io(fmt::format("The source has {} subsongs, this has {}: choose one with --subsong",
                                                 plan_.source.size(), subsongs.size()));
    for (std::size_t i = 0; i < subsongs.size(); ++i) edit_subsong(opened, subsongs[i], i);
    if (options_.dry_run || !description_.is_changed) return description_.is_changed;
    if (clears)
      opened.writer->remove_tags(abort_);
    else
      opened.writer->commit(abort_);
    return true;
  }

  const tag_change_description& description() const noexcept { return description_; }

 private:
  /// `copy --subsong` chooses what is copied.
  bool is_of_source() const noexcept { return options_.action == tag_action::copy; }

  void edit_subsong(const opened_tags& opened, std::uint32_t subsong, std::size_t index) {
    file_info_impl before;
    opened.reader->get_info(subsong, before, abort_);
    auto after = before;
    plan_.apply_to(options_.action, after, index);
    auto& entry = description_.subsongs.emplace_back();
    entry.subsong = subsong;
    entry.changes = difference(before, after);
    if (entry.changes.empty()) return;
    description_.is_changed = true;
    if (opened.writer && options_.action != tag_action::clear) opened.writer->set_info(subsong, after, abort_);
  }

  const tag_options& options_;
  const edit_plan& plan_;
  abort_callback& abort_;
  tag_change_description description_;
};

void append_text(std::string& out, const tag_change_description& file) {
  if (!file.is_changed) return;
  append_display(out, file.path);
  out += '\n';
  for (const auto& entry : file.subsongs) {
    if (!entry.changes.empty()) append_subsong_line(out, file.subsongs.size(), entry.subsong);
    for (const auto& change : entry.changes) append_text(out, change);
  }
}

edit_plan make_plan(const tag_options& options, abort_callback& abort) {
  edit_plan plan;
  if (options.action != tag_action::copy) {
    plan.edits = make_edits(options.action, options.fields, abort);
    return plan;
  }
  try {
    const auto reader = input_entry::g_open_for_info_read(nullptr, options.source, nullptr, abort);
    plan.source = read_subsongs(*reader, options.subsong, abort);
  } catch (const zelmora_io::exception_io& failure) {
    throw zelmora_io::exception_io(options.source + ": " + failure.what());
  }
  return plan;
}

std::string file_count(std::size_t count) { return fmt::format("{} {}", count, count == 1 ? "file" : "files"); }

/// "2 files changed, 1 file unchanged"
std::string summary(const tag_options& options, std::size_t changed, std::size_t unchanged) {
  const char* const done = options.action == tag_action::clear ? "cleared" : "changed";
  std::string text;
  if (changed != 0)
    text = options.dry_run ? fmt::format("{} would be {}", file_count(changed), done)
                           : fmt::format("{} {}", file_count(changed), done);
  if (unchanged != 0) text += fmt::format("{}{} unchanged", text.empty() ? "" : ", ", file_count(unchanged));
  return text.empty() ? text : text + '\n';
}

/// The edit of many files, and how many of them it has changed.
class edit_run {
 public:
  edit_run(const tag_options& options, program_context& context)
      : options_(options), context_(context), plan_(make_plan(options, context.abort)),
        paths_(options.input, context.abort), shown_(paths_.count()) {}

  exit_status run() {
    try {
      const auto status =
          work_on_paths(paths_, options_.jobs != 0 ? options_.jobs : 1, context_.out,
                        [this](const std::string& path, std::size_t, outcome& result) { edit_path(path, result); });
      tell_summary();
      return status;
    } catch (const zelmora_io::exception_aborted&) {
      tell_summary();
      throw;
    }
  }

 private:
  void edit_path(const std::string& path, outcome& result) {
    shown_.show(path, -1);
    try {
      file_edit work(options_, plan_, path, context_.abort);
      ++(work.run() ? changed_ : unchanged_);
      if (options_.json)
        append_json(result.output, work.description());
      else if (options_.dry_run)
        append_text(result.output, work.description());
    } catch (const zelmora_io::exception_aborted&) {
      throw;
    } catch (const std::exception& failure) {
      fail_path(result, path, failure, form_of(options_.json));
    }
    shown_.finish_path();
  }

  void tell_summary() {
    if (!options_.json) context_.out.write(summary(options_, changed_, unchanged_));
  }

  const tag_options& options_;
  program_context& context_;
  const edit_plan plan_;
  path_list paths_;
  progress shown_;
  std::atomic<std::size_t> changed_{0};
  std::atomic<std::size_t> unchanged_{0};
};

exit_status edit(const tag_options& options, program_context& context) { return edit_run(options, context).run(); }

} // namespace

exit_status run_tag(const tag_options& options, program_context& context) {
  return options.action == tag_action::show ? show(options, context) : edit(options, context);
}

} // namespace zelmora::cli
