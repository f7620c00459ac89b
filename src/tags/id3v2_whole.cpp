#include "tags/id3v2_whole.h"

#include "frame/exceptions.h"
#include "tags/id3v2_reading.h"
#include "tags/tag_settings.h"

namespace zelmora {

using id3parser::parseError;
using id3parser::tag;
using zelmora_io::exception_io_data;

tag parse_id3v2(std::span<const std::byte> data, const id3parser::frame_filter& wanted,
                id3parser::damaged_frames damaged) {
  try {
    return id3parser::parse(data, wanted, damaged);
  } catch (const parseError& failure) {
    throw exception_io_data(failure.what());
  }
}

bool is_field_frame(std::uint32_t id) { return find_id3v2_row(id) != nullptr; }

tag parse_replaceable_id3v2(std::span<const std::byte> old_tag) {
  if (old_tag.empty()) return {};
  // A frame without a name can't be written: readers would take it for the end of the frames.
  const auto has_name = [](std::uint32_t id) { return id != 0; };
  tag result;
  try {
    result = id3parser::parse(old_tag, has_name, id3parser::damaged_frames::leave_out);
    id3parser::parse(old_tag, is_field_frame);
  } catch (const parseError&) {
    // To readers of fields the tag is none; its pictures they may have seen.
    std::erase_if(result.frames, [](const id3parser::frame& f) { return is_field_frame(f.id); });
  }
  return result;
}

unsigned choose_id3v2_version(const id3v2_write_options& options, const tag& old) {
  if (options.version == 3 || options.version == 4) return options.version;
  return old.version == 3 || old.version == 4 ? old.version : get_id3v2_write_version();
}

std::vector<std::byte> serialize_id3v2(const tag& made, std::uint64_t old_size, id3v2_padding padding) {
  if (made.frames.empty()) return {};
  const bool may_pad = padding == id3v2_padding::configured && id3v2_uses_padding();
  try {
    return id3parser::serialize(made, old_size, may_pad ? id3parser::usual_padding_limit : 0);
  } catch (const id3parser::writeError& failure) {
    throw exception_io_data(failure.what());
  }
}

} // namespace zelmora
