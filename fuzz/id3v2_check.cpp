#include "id3v2_check.h"

#include "frame/exceptions.h"
#include "support/test_services.h"
#include "tag_compare.h"
#include "tags/id3v2_pictures.h"
#include "tags/id3v2_tag.h"
#include "tags/tag_merge.h"

#include <algorithm>
#include <optional>

namespace zelmora::fuzz {

namespace {

using bytes = std::vector<std::byte>;

std::optional<file_info_impl> read(std::span<const std::byte> data) {
  file_info_impl info;
  try {
    read_id3v2(data, info);
  } catch (const zelmora_io::exception_io_data&) {
    return std::nullopt;
  }
  return info;
}

/// `info` as a tag of `version`, read back. Nothing to say makes no tag.
std::optional<file_info_impl> round(const file_info& info, unsigned version) {
  const auto written = write_id3v2({}, 0, info, {version});
  return written.empty() ? file_info_impl() : read(written);
}

/// What a version can't hold as it stands settles within two rounds.
std::string check_rounds(const file_info& info, unsigned version) {
  const auto first = round(info, version);
  const auto second = first ? round(*first, version) : std::nullopt;
  const auto third = second ? round(*second, version) : std::nullopt;
  if (!third) return "a tag of ours can't be read";
  return says_the_same(*second, *third) ? "" : "a tag of ours doesn't settle";
}

/// A new title, and what has nothing to do with it.
std::string check_edit(std::span<const std::byte> tag, const file_info& info) {
  file_info_impl wanted(info);
  wanted.meta_set("title", "changed");
  const auto changed = write_id3v2(tag, tag.size(), wanted);
  const auto found = read(changed);
  if (!found || !has_title(*found, "changed")) return "a new title isn't there";
  if (!same_pictures(read_id3v2_pictures(changed), read_id3v2_pictures(tag))) return "a new title changes pictures";
  return {};
}

} // namespace

std::string check_id3v2(std::span<const std::byte> data) {
  test::attach_own_services();
  const auto info = read(data);
  if (!info) {
    // A damaged tag is no reason not to write a new one over it.
    file_info_impl wanted;
    wanted.meta_set("title", "x");
    const auto replaced = read(write_id3v2(data, data.size(), wanted));
    return replaced && says_the_same(*replaced, wanted) ? "" : "a damaged tag isn't replaced";
  }
  if (has_too_many_values(*info)) return {};
  const auto size = std::min<std::uint64_t>(id3v2_tag_size(data), data.size());
  const auto tag = data.first(size);
  if (const auto saved = write_id3v2(tag, tag.size(), *info); saved.size() > tag.size() * 4 + 65536)
    return "a saved tag is far larger than it was";
  if (auto wrong = check_edit(tag, *info); !wrong.empty()) return wrong;
  for (const unsigned version : {3u, 4u})
    if (auto wrong = check_rounds(*info, version); !wrong.empty()) return wrong;
  return {};
}

} // namespace zelmora::fuzz
