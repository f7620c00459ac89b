#include "tags/tag_merge.h"

#include "frame/replaygain_text.h"
#include "frame/text.h"

#include <algorithm>

namespace zelmora {

namespace {

/// Technical fields that pass from tag to tag.
bool is_soundcheck_field(std::string_view name) { return has_prefix_utf8(name, "Apple SoundCheck"); }

void add_unset_gains(file_info& out, const replaygain_info& more) {
  auto gains = out.get_replaygain();
  if (!gains.is_album_gain_set()) gains.album_gain = more.album_gain;
  if (!gains.is_track_gain_set()) gains.track_gain = more.track_gain;
  if (!gains.is_album_peak_set()) gains.album_peak = more.album_peak;
  if (!gains.is_track_peak_set()) gains.track_peak = more.track_peak;
  out.set_replaygain(gains);
}

} // namespace

void copy_tag(file_info& out, const file_info& source) {
  out.copy_meta(source);
  add_unset_gains(out, source.get_replaygain());
  for (std::size_t i = 0; i < source.info_get_count(); ++i) {
    const auto& name = source.info_enum_name(i);
    if (ascii_equal(name, info_field::tagtype) || is_soundcheck_field(name))
      out.info_set(name, source.info_enum_value(i));
  }
}

void merge_weaker_tag(file_info& out, const file_info& source) {
  add_unset_gains(out, source.get_replaygain());
  for (std::size_t i = 0; i < source.info_get_count(); ++i) {
    const auto& name = source.info_enum_name(i);
    if (is_soundcheck_field(name) && out.info_find(name) == file_info::npos)
      out.info_set(name, source.info_enum_value(i));
  }
  const auto* const weaker = source.info_get(info_field::tagtype);
  if (weaker == nullptr) return;
  const auto* const stronger = out.info_get(info_field::tagtype);
  out.info_set(info_field::tagtype, stronger == nullptr ? *weaker : *stronger + "|" + *weaker);
}

bool has_tag_content(const file_info& info) {
  return info.meta_get_count() != 0 || info.get_replaygain() != replaygain_info();
}

bool says_the_same(const file_info& a, const file_info& b) {
  using namespace replaygain_field;
  const auto gains_a = a.get_replaygain();
  const auto gains_b = b.get_replaygain();
  for (const auto name : {track_gain, track_peak, album_gain, album_peak})
    if (get_replaygain_field(gains_a, name) != get_replaygain_field(gains_b, name)) return false;
  return a.has_same_meta(b);
}

tag_kinds_found parse_tag_type(std::string_view tag_type) {
  tag_kinds_found result;
  while (!tag_type.empty()) {
    const auto end = std::min(tag_type.find('|'), tag_type.size());
    const auto kind = tag_type.substr(0, end);
    result.ape = result.ape || kind == "apev1" || kind == "apev2";
    result.id3v1 = result.id3v1 || kind == "id3v1";
    result.id3v2 = result.id3v2 || kind == "id3v2" || kind.starts_with("id3v2.");
    tag_type.remove_prefix(std::min(end + 1, tag_type.size()));
  }
  return result;
}

} // namespace zelmora
