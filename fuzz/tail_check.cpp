#include "tail_check.h"

#include "frame/memory_file.h"
#include "support/test_services.h"
#include "tag_compare.h"
#include "tags/ape_mapping.h"
#include "tags/lyrics3.h"
#include "tags/tag_merge.h"
#include "tags/trailing_tags.h"

#include <algorithm>

namespace zelmora::fuzz {

using zelmora_io::exception_io_data;

namespace {

using bytes = std::vector<std::byte>;

file_info_impl read(std::span<const std::byte> content) {
  abort_callback_dummy abort;
  file_info_impl info;
  try {
    read_trailing_tags(*service_new<memory_file>(content), info, abort);
  } catch (const exception_io_data&) {
    // No tags, which say nothing.
  }
  return info;
}

trailing_zone scan(std::span<const std::byte> content) {
  abort_callback_dummy abort;
  return scan_trailing_tags(*service_new<memory_file>(content), tail_use::replace, abort);
}

bytes apply_edit(std::span<const std::byte> content, const file_edit& edit) {
  bytes result(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(edit.begin));
  result.insert(result.end(), edit.content.begin(), edit.content.end());
  const auto rest = content.subspan(static_cast<std::size_t>(edit.end));
  result.insert(result.end(), rest.begin(), rest.end());
  return result;
}

bytes write(std::span<const std::byte> content, const file_info& info, trailing_kinds kinds) {
  abort_callback_dummy abort;
  return apply_edit(content, write_trailing_tags(*service_new<memory_file>(content), info, kinds, abort));
}

std::vector<ape_item> items_to_keep(const trailing_zone& zone) {
  std::vector<ape_item> result;
  if (zone.ape)
    std::ranges::copy_if(zone.ape->items, std::back_inserter(result),
                         [](const ape_item& item) { return !item.is_writable_text(); });
  return result;
}

bytes remove(std::span<const std::byte> content) {
  abort_callback_dummy abort;
  return apply_edit(content, remove_trailing_tags(*service_new<memory_file>(content), abort));
}

/// How many APE tags show one after the other as tails are removed: one operation takes one of them.
std::size_t count_stacked_ape_tags(std::span<const std::byte> content) {
  std::size_t count = 0;
  bytes rest(content.begin(), content.end());
  for (; scan(rest).ape; rest = remove(rest)) ++count;
  return count;
}

/// Saving what was read: what a kind can't hold as it stands settles within two rounds, or one for each tag that shows.
std::string check_saves(std::span<const std::byte> content, trailing_kinds kinds) {
  const bool has_ape = has_kind(kinds, trailing_kinds::ape);
  const auto kept = items_to_keep(scan(content));
  const auto first = write(content, read(content), kinds);
  auto saved = write(first, read(first), kinds);
  if (has_ape && !says_the_same(read(saved), read(first))) return "a tag of ours says something else";
  if (has_ape && items_to_keep(scan(saved)) != kept) return "an item got lost";
  for (auto rounds = has_ape ? 0 : count_stacked_ape_tags(saved); rounds != 0; --rounds)
    saved = write(saved, read(saved), kinds);
  return write(saved, read(saved), kinds) == saved ? "" : "saving what was read changes it again and again";
}

bool ends_with_ape_tag(std::span<const std::byte> content) {
  try {
    parse_ape_tag(content);
    return true;
  } catch (const exception_io_data&) {
    return false;
  }
}

std::string check_removal(std::span<const std::byte> content) {
  const bool has_ape = scan(content).ape.has_value();
  const auto rest = remove(content);
  if (remove(rest).size() == rest.size()) return {};
  // Of several APE tags one goes, and with it what stands behind the next.
  return has_ape && ends_with_ape_tag(rest) ? "" : "something is left of the tail";
}

/// Items that were read come back, pictures and all.
std::string check_items(std::span<const std::byte> data, std::uint32_t version) {
  const ape_tag tag{version, parse_ape_items(version, max_ape_items, data)};
  const auto again = parse_ape_tag(format_ape_tag(tag.items));
  if (again.items != tag.items) return "items don't come back";
  file_info_impl info;
  read_ape_fields(tag, info);
  const auto pictures = read_ape_pictures(tag.items);
  std::vector<ape_item> items;
  write_ape_pictures(pictures, items);
  return same_pictures(read_ape_pictures(items), pictures) ? "" : "pictures don't come back";
}

} // namespace

std::string check_ape(std::span<const std::byte> data) {
  test::attach_own_services();
  for (const auto kinds : {trailing_kinds::ape, trailing_kinds::both})
    if (auto wrong = check_saves(data, kinds); !wrong.empty()) return wrong;
  for (const auto version : {ape_version_1, ape_version_2})
    if (auto wrong = check_items(data, version); !wrong.empty()) return wrong;
  return check_removal(data);
}

std::string check_id3v1_lyrics3(std::span<const std::byte> data) {
  test::attach_own_services();
  abort_callback_dummy abort;
  const auto file = service_new<memory_file>(data);
  for (std::uint64_t end = data.size(), tries = 0; end != 0 && tries < 64; --end, ++tries) {
    file_info_impl info;
    auto begin = end;
    try {
      read_lyrics3(*file, begin, &info, abort);
    } catch (const exception_io_data&) {
      continue;
    }
    if (begin >= end) return "a block of no length";
    for (std::size_t i = 0; i < info.meta_get_count(); ++i)
      if (info.meta_enum_value(i, 0).empty()) return "an empty field";
  }
  if (auto wrong = check_saves(data, trailing_kinds::id3v1); !wrong.empty()) return wrong;
  return check_removal(data);
}

} // namespace zelmora::fuzz
