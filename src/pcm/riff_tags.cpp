#include "pcm/riff_tags.h"

#include "frame/bytes.h"
#include "frame/exceptions.h"
#include "pcm/riff_info.h"
#include "tags/id3v2_tag.h"
#include "tags/soundcheck.h"
#include "tags/tag_merge.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace zelmora {

using namespace zelmora_io;

namespace {

using byte_vector = std::vector<std::byte>;

/// The file's bytes [position, position + size). Where it ends before that, `exception_io_data_truncation`.
byte_vector read_bytes(file& file, std::uint64_t position, std::uint64_t size, abort_callback& abort) {
  try {
    file.seek(position, abort);
  } catch (const exception_io_seek_out_of_range&) {
    throw exception_io_data_truncation();
  }
  return file.read_bytes(size, abort);
}

/// The tag in an ID3 chunk, without what may stand behind it.
byte_vector read_id3_bytes(file& file, const wave_extent& chunk, abort_callback& abort) {
  const auto header = read_bytes(file, chunk.position, std::min<std::uint64_t>(chunk.size, id3v2_header_size), abort);
  const auto size = header.size() < id3v2_header_size ? 0 : id3v2_tag_size(header);
  if (size == 0) throw exception_io_data();
  return read_bytes(file, chunk.position, std::min(chunk.size, size), abort);
}

byte_vector read_info_list(file& file, const wave_extent& chunk, abort_callback& abort) {
  if (chunk.size > max_info_list) throw exception_io_data("An INFO list is too large");
  return read_bytes(file, chunk.position, chunk.size, abort);
}

std::vector<riff_info_item> read_info_items(file& file, const wave_extent& chunk, abort_callback& abort) {
  const auto payload = read_info_list(file, chunk, abort);
  const auto file_size = file.get_size(abort);
  return parse_riff_info(payload, file_size - std::min(file_size, chunk.position + chunk.size));
}

/// What no reader looks at, sizes beyond the file's end among it.
std::vector<riff_info_item> read_hidden_info_items(file& file, const wave_extent& chunk, abort_callback& abort) {
  constexpr auto any_size = std::numeric_limits<std::uint32_t>::max();
  auto items = parse_riff_info(read_info_list(file, chunk, abort), any_size);
  std::erase_if(items, [](const auto& item) { return has_riff_info_fields(std::span(&item, 1)); });
  return items;
}

/// Runs `read` on an empty `file_info`; false, and `info` as it was, when there is no such chunk or it is damaged.
template <class Read>
bool read_tag(const std::optional<wave_extent>& chunk, file_info& info, Read read) {
  if (!chunk) return false;
  file_info_impl found;
  try {
    read(*chunk, found);
  } catch (const exception_io_data&) {
    return false;
  }
  copy_tag(info, found);
  info.info_remove(info_field::tagtype); // of no use where there is one kind in one place
  return true;
}

std::optional<wave_extent> find_first(const riff_layout& layout, riff_role role) {
  const auto chunk = std::ranges::find(layout.chunks, role, &riff_chunk::role);
  if (chunk == layout.chunks.end()) return std::nullopt;
  return wave_extent{chunk->payload(), chunk->size};
}

/// The first ID3v2 tag of a file.
struct old_id3 {
  byte_vector bytes;    ///< empty when there is none
  bool is_seen = false; ///< by readers; one that is damaged may still hold pictures
};

old_id3 find_old_id3(file& file, const riff_layout& layout, abort_callback& abort) {
  old_id3 result;
  file_info_impl ignored;
  result.is_seen = read_tag(find_first(layout, riff_role::id3), ignored, [&](const wave_extent& chunk, file_info& out) {
    result.bytes = read_id3_bytes(file, chunk, abort);
    read_id3v2(result.bytes, out);
  });
  return result;
}

/// What an INFO list to come stands on: the fields of the first list, which is what readers see, and what is no field
/// in any of them. Nothing when readers can't read the first, and so see none: such lists are left alone.
std::vector<riff_info_item> find_old_info(file& file, const riff_layout& layout, abort_callback& abort) {
  std::vector<riff_info_item> result;
  bool is_first = true;
  for (const auto& chunk : layout.chunks) {
    if (chunk.role != riff_role::info) continue;
    const wave_extent extent{chunk.payload(), chunk.size};
    if (!std::exchange(is_first, false)) {
      std::ranges::move(read_hidden_info_items(file, extent, abort), std::back_inserter(result));
      continue;
    }
    try {
      result = read_info_items(file, extent, abort);
    } catch (const exception_io_data&) {
      return {};
    }
  }
  return result;
}

/// SoundCheck lives in ID3v2 alone.
bool has_soundcheck(const file_info& info) {
  return info.info_get(soundcheck_field::user_option) != nullptr || info.info_get(soundcheck_field::raw) != nullptr;
}

riff_edit make_edit(file& file, const riff_layout& layout, const file_info& info, abort_callback& abort) {
  riff_edit edit;
  const auto old = find_old_id3(file, layout, abort);
  // The free chunks of the file are all the padding that it needs.
  auto tag = write_id3v2(old.bytes, old.bytes.size(), info, {.padding = id3v2_padding::none});
  if (old.is_seen && tag == old.bytes) return edit; // Readers see no other tag: nothing has changed.

  const auto old_items = find_old_info(file, layout, abort);
  const bool has_id3 = find_first(layout, riff_role::id3).has_value();
  bool info_suffices = false;
  if (has_riff_info_fields(old_items)) {
    const auto items = update_riff_info(old_items, info);
    info_suffices = riff_info_holds(items, info) && !has_soundcheck(info);
    if (items != old_items) edit.info = {true, write_riff_info(items)};
  }
  if (has_id3 || (!info_suffices && !tag.empty())) edit.id3 = {true, std::move(tag)};
  return edit;
}

} // namespace

void read_riff_tags(file& file, const riff_tag_chunks& chunks, file_info& info, abort_callback& abort) {
  const bool has_id3 = read_tag(chunks.id3, info, [&](const wave_extent& chunk, file_info& out) {
    read_id3v2(read_id3_bytes(file, chunk, abort), out);
  });
  if (has_id3) return;
  read_tag(chunks.info, info,
           [&](const wave_extent& chunk, file_info& out) { read_riff_info(read_info_items(file, chunk, abort), out); });
}

void write_riff_tags(file_ptr& file, std::string_view path, const file_info& info, abort_callback& abort) {
  const auto layout = read_riff_layout(*file, abort);
  run_riff_edit(file, path, layout, make_edit(*file, layout, info, abort), abort);
}

void remove_riff_tags(file_ptr& file, std::string_view path, abort_callback& abort) {
  const auto layout = read_riff_layout(*file, abort);
  riff_edit edit;
  edit.id3.is_replaced = find_first(layout, riff_role::id3).has_value();
  edit.info.is_replaced = find_first(layout, riff_role::info).has_value();
  run_riff_edit(file, path, layout, edit, abort);
}

} // namespace zelmora
