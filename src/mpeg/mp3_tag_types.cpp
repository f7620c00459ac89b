#include "mpeg/mp3_tag_types.h"

#include "frame/command_job.h"
#include "frame/exceptions.h"
#include "frame/host_services.h"
#include "frame/rewrite.h"
#include "frame/text.h"
#include "mpeg/mp3_stream.h"

#include <algorithm>
#include <fmt/core.h>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::string_view kinds_option = "kinds";
/// Selections are looked at so far for what to offer.
constexpr std::size_t files_examined = 100;

struct kind_row {
  tag_kinds kind;
  std::string_view name;
  std::string_view label;
};
constexpr kind_row kind_rows[]{
    {tag_kinds::id3v1, "id3v1", "ID3v1"},
    {tag_kinds::id3v2, "id3v2", "ID3v2"},
    {tag_kinds::ape, "ape", "APE"},
};

tag_kinds parse_kinds(const std::vector<std::string>& names) {
  auto kinds = tag_kinds::none;
  for (const auto& row : kind_rows)
    if (std::ranges::find(names, row.name) != names.end()) kinds = kinds | row.kind;
  return kinds;
}

std::vector<std::string> kind_names(tag_kinds kinds) {
  std::vector<std::string> names;
  for (const auto& row : kind_rows)
    if (has_kind(kinds, row.kind)) names.emplace_back(row.name);
  return names;
}

std::vector<dialog_field> dialog_fields() {
  dialog_field kinds{std::string(kinds_option), "Tag types", field_kind::choices,
                     "The kinds of tags that the files are to have; all others are removed"};
  for (const auto& row : kind_rows) kinds.choices.push_back({std::string(row.name), std::string(row.label)});
  return {kinds};
}

// --- one file --------------------------------------------------------------------------------------------------------

file_info_impl read_tags(file& source, abort_callback& abort) {
  file_info_impl info;
  try {
    tag_processor::read(source, info, abort);
  } catch (const exception_tag_not_found&) {
    // It says nothing.
  }
  return info;
}

album_art_set read_pictures(file& source, abort_callback& abort) {
  try {
    return tag_processor::read_pictures(source, abort);
  } catch (const exception_album_art_not_found&) {
    return {};
  } catch (const exception_io_data&) {
    return {};
  }
}

/// Those of the file's own kinds, or with which the settings would begin.
tag_kinds kinds_of(file& source, abort_callback& abort) {
  source.ensure_seekable();
  const auto info = read_tags(source, abort);
  return choose_mp3_tag_kinds(info, tag_processor::skip_id3v2(source, abort), info);
}

/// Pictures stand in ID3v2 where there is such a tag, else in APE. When that changes they have to move.
bool pictures_move(const id3v2_zone& head, tag_kinds kinds) {
  const bool will_be_id3v2 = has_kind(kinds, tag_kinds::id3v2);
  return (head.count != 0) != will_be_id3v2 && (will_be_id3v2 || has_kind(kinds, tag_kinds::ape));
}

/// `pictures` are those that the file shows before. What only its other tag has comes behind them.
void write_both(file_ptr& target, std::string_view path, const file_info& info, tag_kinds kinds, album_art_set pictures,
                abort_callback& abort) {
  tag_processor::write(target, path, info, kinds, abort, apple_gapless::configured);
  for (auto& hidden : read_pictures(*target, abort))
    if (!find_album_art(pictures, hidden.id)) pictures.push_back(std::move(hidden));
  tag_processor::write_pictures(target, path, pictures, abort);
}

/// Both steps on a copy, which then takes the place of the file.
void write_with_pictures(file_ptr& target, const std::string& path, const file_info& info, tag_kinds kinds,
                         const album_art_set& pictures, abort_callback& abort) {
  if (!can_rewrite(path)) return write_both(target, path, info, kinds, pictures, abort);
  file_rewriter rewriter(path, abort);
  file_ptr copy(&rewriter.output());
  target->seek(0, abort);
  file::transfer(*target, *copy, target->get_size_ex(abort), abort);
  write_both(copy, {}, info, kinds, pictures, abort);
  copy.release(); // or the file stays locked once it is in place
  rewriter.commit(target, abort);
}

} // namespace

void change_mp3_tag_kinds(const std::string& path, tag_kinds kinds, abort_callback& abort) {
  auto target = open_for_edit(path, abort);
  // Other formats have other tags, whatever their files are called.
  byte_window window(target);
  const auto stream = parse_mp3_stream(*target, window, abort);
  if (kinds == tag_kinds::none) return tag_processor::remove_all(target, path, abort, apple_gapless::configured);
  const auto info = read_tags(*target, abort);
  const auto pictures = pictures_move(stream.head, kinds) ? read_pictures(*target, abort) : album_art_set();
  if (pictures.empty())
    tag_processor::write(target, path, info, kinds, abort, apple_gapless::configured);
  else
    write_with_pictures(target, path, info, kinds, pictures, abort);
}

namespace {

// --- all of them -----------------------------------------------------------------------------------------------------

/// The kinds that all of the first files have; unset where they differ.
command_result find_default(const std::string& title, media_items files, field_value& value, bool& is_any_readable) {
  item_failures unreadable({"Could not update item (", "): "});
  bool is_first = true;
  const auto examine = [&](const media_item& item, abort_callback& abort) {
    file_ptr source;
    filesystem::g_open(source, item.path, open_mode::read, abort);
    const auto names = kind_names(kinds_of(*source, abort));
    if (is_first)
      value = names;
    else if (value != field_value(names))
      value = {};
    is_first = false;
  };
  const auto result = process_items(title, files.first(std::min(files.size(), files_examined)), unreadable, examine);
  is_any_readable = !is_first;
  // Some that aren't are told when they are to be written; where none is there is nothing to ask.
  if (!is_any_readable) unreadable.show("MP3 Tag Types - Information");
  return result;
}

bool confirm_removal(std::size_t count) {
  return service_single<popup_message>()->ask(
      fmt::format("All tags of {} file{} will be removed. Are you sure?", count, count == 1 ? "" : "s"),
      "MP3 Tag Types");
}

command_result change_types(media_items items) {
  const auto files = distinct_files(items);
  dialog_model dialog{fmt::format("MP3 tag types ({} files)", files.size()), {}, dialog_fields()};
  auto& field = dialog.field(kinds_option);
  bool is_any_readable = false;
  if (find_default(dialog.title, files, field.value, is_any_readable) == command_result::aborted)
    return command_result::aborted;
  if (!is_any_readable) return command_result::some_failed;
  if (!show_dialog(dialog, "Could not initialize \"MP3 Tag Types\" dialog")) return command_result::aborted;
  const auto kinds = parse_kinds(*dialog.choices(kinds_option));
  if (kinds == tag_kinds::none && !confirm_removal(files.size())) return command_result::aborted;

  std::string chosen;
  for (const auto& name : kind_names(kinds)) chosen += (chosen.empty() ? "" : ", ") + name;
  if (chosen.empty()) chosen = "none";
  item_failures failures({"Could not update item (", "): "});
  const auto result = process_items(
      "MP3 Tag Types - Updating Files", files, failures, [&](const media_item& item, abort_callback& abort) {
        change_mp3_tag_kinds(item.path, kinds, abort);
        service_single<console>()->print(fmt::format("MP3 Tag Types: {}: {}", escape_for_display(item.path), chosen));
      });
  failures.show("MP3 Tag Types - Information");
  return result;
}

constexpr context_command commands[]{
    {"Tagging", "MP3 tag types...", "Changes type of tags in MP3 file (advanced).",
     [](media_items items, abort_callback&) { return all_have_extension(items, "MP3;MP2;MP1"); }, &change_types,
     &dialog_fields},
};
context_command_factory factory(commands);

} // namespace

} // namespace zelmora
