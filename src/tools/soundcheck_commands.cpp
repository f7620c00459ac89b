// Commands that write or remove SoundCheck values: the comment "iTunNORM", by which Apple's players level tracks.
//
// They know nothing of tags. A request goes to each file's own writer in a technical field, which is never stored: the
// writers of ID3v2 and MP4 look for it.
#include "frame/command_job.h"
#include "frame/input.h"
#include "tags/soundcheck.h"

#include <fmt/core.h>

namespace zelmora {

namespace {

/// What the writer is asked for.
struct request {
  std::string_view field;
  std::string_view value;
};
constexpr request copy_track_gain{soundcheck_field::user_option, "1"};
constexpr request copy_album_gain{soundcheck_field::user_option, "2"};
constexpr request remove_values{soundcheck_field::clear, "1"};

constexpr double open_timeout = 0.5; // [s]

bool is_offered(media_items items, abort_callback&) { return all_have_extension(items, "MP3;MP4;M4A;AIFF;WAV;AAC"); }

void write_item(const media_item& item, const request& wanted, abort_callback& abort) {
  const auto writer = input_entry::g_open_for_info_write_timeout(nullptr, item.path, nullptr, open_timeout, abort);
  file_info_impl info;
  writer->get_info(item.subsong, info, abort);
  info.info_set(wanted.field, wanted.value);
  writer->set_info(item.subsong, info, abort);
  writer->commit(abort);
}

command_result write_items(media_items items, const request& wanted) {
  item_failures failures({"Error while processing\n", "\nReason:\n"});
  const auto result =
      process_items("Writing SoundCheck tags", items, failures,
                    [&](const media_item& item, abort_callback& abort) { write_item(item, wanted, abort); });
  failures.show("SoundCheck - Information",
                fmt::format("{} out of {} items could not be processed.", failures.count(), items.size()));
  return result;
}

constexpr std::string_view group = "Tagging";
constexpr context_command commands[]{
    {group, "Copy track ReplayGain to SoundCheck", "Copies ReplayGain track gain value to SoundCheck tags.",
     &is_offered, [](media_items items) { return write_items(items, copy_track_gain); }},
    {group, "Copy album ReplayGain to SoundCheck", "Copies ReplayGain album gain value to SoundCheck tags.",
     &is_offered, [](media_items items) { return write_items(items, copy_album_gain); }},
    {group, "Remove SoundCheck information", "Removes SoundCheck tags from the files.", &is_offered,
     [](media_items items) { return write_items(items, remove_values); }},
};
context_command_factory factory(commands);

} // namespace

} // namespace zelmora
