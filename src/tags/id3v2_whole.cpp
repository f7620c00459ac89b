#include "tags/id3v2_whole.h"

#include "frame/exceptions.h"
#include "tags/tag_settings.h"

namespace zelmora {

using id3parser::parseError;
using id3parser::tag;
using zelmora_io::exception_io_data;

tag parse_id3v2(std::span<const std::byte> data, const id3parser::frame_filter& wanted) {
  try {
    return id3parser::parse(data, wanted);
  } catch (const parseError& failure) {
    throw exception_io_data(failure.what());
  }
}

tag parse_replaceable_id3v2(std::span<const std::byte> old_tag) {
  if (old_tag.empty()) return {};
  try {
    return id3parser::parse(old_tag);
  } catch (const parseError&) {
    return {};
  }
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
