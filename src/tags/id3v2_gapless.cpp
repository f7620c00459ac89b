#include "tags/id3v2_gapless.h"

#include "tags/id3v2_text.h"
#include "tags/id3v2_whole.h"
#include "tags/id3v2_writing.h"
#include "tags/tag_settings.h"

#include <algorithm>

namespace zelmora {

namespace {

constexpr std::string_view gapless_comment = "iTunSMPB";

} // namespace

std::vector<std::byte> keep_apple_gapless(std::span<const std::byte> old_tag, std::uint64_t old_size) {
  auto kept = parse_replaceable_id3v2(old_tag);
  const auto found =
      std::ranges::find_if(kept.frames, [](const auto& f) { return comment_text(f, gapless_comment).has_value(); });
  if (found == kept.frames.end()) return {};
  auto comment = std::move(*found);
  kept.frames.clear();
  kept.frames.push_back(std::move(comment));
  set_version(kept, get_id3v2_write_version());
  return serialize_id3v2(kept, old_size, id3v2_padding::configured);
}

} // namespace zelmora
