// The commands that repair MP3 files: the header, the stream, and what is left out for gapless playback.
#include "frame/command_job.h"
#include "frame/exceptions.h"
#include "frame/host_services.h"
#include "frame/input.h"
#include "frame/text.h"
#include "mpeg/mp3_repair.h"

#include <fmt/core.h>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// What a command says, and what it does to one file.
struct repair_command {
  std::string_view title;       ///< of its messages
  std::string_view job_title;   ///< while it works
  std::string_view before_path; ///< of an item that failed
  std::string_view start_failure;
};
constexpr repair_command fix_header{"Fix VBR MP3 Header", "Fix VBR MP3 Header - Updating Files",
                                    "Could not update item (", "Could not initialize \"Fix VBR MP3 Header\" dialog"};
constexpr repair_command rebuild_stream{"Rebuild MP3 Stream", "Rebuild MP3 Stream - Processing Files",
                                        "Could not process item (",
                                        "Could not initialize \"Rebuild MP3 Stream\" dialog ("};
constexpr repair_command edit_gapless{"Edit MP3 Gapless Info", "Edit MP3 Gapless Info - Updating Files",
                                      "Could not process item (",
                                      "Could not initialize \"Edit MP3 Gapless Info\" dialog ("};

using repair_function = std::function<mp3_repair(file& source, abort_callback& abort)>;

/// What is to be read at the end: failures, and what was found out about files that didn't fail.
class repair_report {
 public:
  explicit repair_report(const repair_command& command) : command_(command), failures_({command.before_path, "): "}) {}

  void add(const std::string& path, const mp3_repair& done) {
    const auto shown = escape_for_display(path);
    service_single<console>()->print(fmt::format("{}: {}: {}", command_.title, shown, done.summary));
    for (const auto& note : done.notes) {
      if (!notes_.empty()) notes_ += "\n\n";
      notes_ += fmt::format("{}: {}", shown, note);
    }
  }
  item_failures& failures() { return failures_; }

  void show() const {
    auto text = failures_.text();
    if (!text.empty() && !notes_.empty()) text += "\n\n";
    text += notes_;
    if (!text.empty())
      service_single<popup_message>()->show(text, fmt::format("{} - Information", command_.title),
                                            popup_icon::information);
  }

 private:
  const repair_command& command_;
  item_failures failures_;
  std::string notes_;
};

command_result repair_files(const repair_command& command, media_items files, const repair_function& repair) {
  repair_report report(command);
  const auto repair_item = [&](const media_item& item, abort_callback& abort) {
    report.add(item.path, repair_mp3_file(item.path, repair, abort));
  };
  const auto result = [&] {
    try {
      return process_items(command.job_title, files, report.failures(), repair_item);
    } catch (const std::exception& reason) {
      raise_start_failure(command.start_failure, reason.what());
    }
  }();
  report.show();
  return result;
}

command_result fix_headers(media_items items) {
  return repair_files(fix_header, distinct_files(items), fix_mp3_header);
}
command_result rebuild_streams(media_items items) {
  return repair_files(rebuild_stream, distinct_files(items), rebuild_mp3_stream);
}

// --- gapless playback ------------------------------------------------------------------------------------------------

struct gapless_field {
  std::string_view option;
  std::string_view label;
  std::string_view help;
  std::string_view info_name; ///< by which inputs tell it
};
constexpr gapless_field delay_field{"delay", "Encoder delay", "Samples of silence in front of the music", "enc_delay"};
constexpr gapless_field padding_field{"padding", "Encoder padding", "Samples of silence behind it", "enc_padding"};
constexpr std::int64_t most_samples = 4095; // 12 bits

std::vector<dialog_field> gapless_dialog_fields() {
  std::vector<dialog_field> fields;
  for (const auto& row : {delay_field, padding_field}) {
    dialog_field field{
        std::string(row.option), std::string(row.label), field_kind::number, std::string(row.help), 0, most_samples};
    field.unset = "as it is";
    fields.push_back(std::move(field));
  }
  return fields;
}

field_value number_of(const file_info& info, std::string_view name) {
  const auto* const text = info.info_get(name);
  const auto number = text == nullptr ? std::nullopt : parse_integer(*text);
  return number ? field_value(*number) : field_value();
}

/// Puts what all of `files` tell into the dialog; what they differ in stays as it is.
command_result scan_files(media_items files, dialog_model& dialog, item_failures& unreadable) {
  bool is_first = true;
  const auto scan = [&](const media_item& item, abort_callback& abort) {
    file_info_impl info;
    input_entry::g_open_for_info_read(nullptr, item.path, nullptr, abort)->get_info(item.subsong, info, abort);
    for (const auto& row : {delay_field, padding_field}) {
      auto& value = dialog.field(row.option).value;
      const auto found = number_of(info, row.info_name);
      value = is_first || value == found ? found : field_value();
    }
    is_first = false;
  };
  return process_items("Edit MP3 Gapless Info - Scanning Files", files, unreadable, scan);
}

std::optional<std::uint32_t> samples_of(const dialog_model& dialog, const gapless_field& field) {
  const auto number = dialog.number(field.option);
  return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

command_result edit_gapless_info(media_items items) {
  const auto files = distinct_files(items);
  dialog_model dialog{"Edit MP3 Gapless Info", {}, gapless_dialog_fields()};
  item_failures unreadable({edit_gapless.before_path, "): "}); // told again when they are to be written
  const auto scanned = scan_files(files, dialog, unreadable);
  if (scanned == command_result::aborted) return command_result::aborted;
  if (!show_dialog(dialog, edit_gapless.start_failure)) return command_result::aborted;
  const mp3_gapless wanted{samples_of(dialog, delay_field), samples_of(dialog, padding_field)};
  if (!wanted.delay && !wanted.padding) {
    unreadable.show(fmt::format("{} - Information", edit_gapless.title));
    return scanned;
  }
  return repair_files(edit_gapless, files,
                      [&](file& source, abort_callback& abort) { return set_mp3_gapless(source, wanted, abort); });
}

// --- all of them -----------------------------------------------------------------------------------------------------

bool is_offered(media_items items, abort_callback&) { return all_have_extension(items, "MP3"); }

constexpr std::string_view group = "Utils";
constexpr context_command commands[]{
    {group, "Fix VBR MP3 header...",
     "Corrects missing VBR headers on specified MP3 files; use this to solve incorrect displayed length.", &is_offered,
     &fix_headers},
    {group, "Rebuild MP3 stream",
     "Rebuilds the MP3 file, removing anything that doesn't belong to either MP3 data or the tags.", &is_offered,
     &rebuild_streams},
    {group, "Edit MP3 gapless playback information", "Edits gapless playback information of an MP3 file (advanced).",
     &is_offered, &edit_gapless_info, &gapless_dialog_fields},
};
context_command_factory factory(commands);

} // namespace

} // namespace zelmora
