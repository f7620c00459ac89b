#include "tag_compare.h"

#include "tags/id3v2_tag.h"

#include <algorithm>

namespace zelmora::fuzz {

bool same_pictures(const album_art_set& a, const album_art_set& b) {
  return a.size() == b.size() && std::ranges::all_of(a, [&](const album_art_entry& entry) {
           const auto other = find_album_art(b, entry.id);
           return other && std::ranges::equal(other->bytes(), entry.data->bytes());
         });
}

file_info_impl through_id3v2(const file_info& info) {
  file_info_impl result;
  if (const auto tag = write_id3v2({}, 0, info); !tag.empty()) read_id3v2(tag, result);
  return result;
}

bool has_too_many_values(const file_info& info) {
  constexpr std::size_t limit = 1000;
  std::size_t values = 0;
  for (std::size_t i = 0; i < info.meta_get_count(); ++i) values += info.meta_enum_value_count(i);
  return values > limit;
}

bool has_title(const file_info& info, std::string_view title) {
  const auto field = info.meta_find("title");
  return field != file_info::npos && info.meta_enum_value_count(field) == 1 && info.meta_enum_value(field, 0) == title;
}

} // namespace zelmora::fuzz
