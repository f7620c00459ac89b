#include "tags/id3v2_gapless.h"

#include "tags/id3v2_reading.h"
#include "tags/id3v2_whole.h"
#include "tags/id3v2_writing.h"
#include "tags/tag_settings.h"

#include <algorithm>

namespace zelmora {

namespace {

constexpr std::string_view gapless_comment = "iTunSMPB";

bool is_gapless_comment(const id3parser::frame& f) { return comment_text(f, gapless_comment).has_value(); }

} // namespace

std::optional<std::string> read_apple_gapless(std::span<const std::byte> tag) {
  try {
    const auto is_comment = [](std::uint32_t id) { return id == fourcc("COMM"); };
    const auto parsed = parse_id3v2(tag, is_comment, id3parser::damaged_frames::leave_out);
    const auto found = std::ranges::find_if(parsed.frames, is_gapless_comment);
    if (found != parsed.frames.end()) return comment_text(*found, gapless_comment);
  } catch (const zelmora_io::exception_io_data&) {
    // A damaged tag counts as absent.
  }
  return std::nullopt;
}

std::vector<std::byte> keep_apple_gapless(std::span<const std::byte> old_tag, std::uint64_t old_size) {
  auto kept = parse_replaceable_id3v2(old_tag);
  const auto found = std::ranges::find_if(kept.frames, is_gapless_comment);
  if (found == kept.frames.end()) return {};
  auto comment = std::move(*found);
  kept.frames.clear();
  kept.frames.push_back(std::move(comment));
  set_version(kept, get_id3v2_write_version());
  return serialize_id3v2(kept, old_size, id3v2_padding::configured);
}

} // namespace zelmora
