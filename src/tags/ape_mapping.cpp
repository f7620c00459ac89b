#include "tags/ape_mapping.h"

#include "frame/replaygain_text.h"
#include "frame/text.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace zelmora {

namespace {

constexpr char between_values = '\0';

/// A number and a total that share one item.
struct number_pair {
  std::string_view key;
  std::string_view number;
  std::string_view total;
};
constexpr std::array number_pairs{
    number_pair{"Track", "tracknumber", "totaltracks"},
    number_pair{"Disc", "discnumber", "totaldiscs"},
};

enum class direction { both, read_only };
struct named_key {
  std::string_view key;
  std::string_view field;
  direction used;
};
constexpr std::array named_keys{
    named_key{"Year", "date", direction::both},
    named_key{"albumartist", "album artist", direction::read_only},
    named_key{"album_artist", "album artist", direction::read_only},
};

struct picture_key {
  std::string_view key;
  guid id;
};
constexpr std::array picture_keys{
    picture_key{"Cover Art (Front)", album_art_id::cover_front},
    picture_key{"Cover Art (Back)", album_art_id::cover_back},
    picture_key{"Artist Picture", album_art_id::artist},
    picture_key{"Cover Art (Artist)", album_art_id::artist},
    picture_key{"Cover Art (Disc)", album_art_id::disc},
    picture_key{"Cover Art (Media)", album_art_id::disc},
};

const picture_key* find_picture_key(const ape_item& item) {
  if (item.type != ape_item_type::binary) return nullptr;
  const auto found =
      std::ranges::find_if(picture_keys, [&](const auto& row) { return ascii_equal(row.key, item.key); });
  return found == picture_keys.end() ? nullptr : &*found;
}

void set_if_any(file_info& info, std::string_view field, std::string_view value) {
  if (!value.empty()) info.meta_set(field, repair_utf8(value));
}

/// True when `item` is a number or a total, which has been taken then: one value, the first.
bool read_number(const ape_item& item, file_info& info) {
  const auto value = std::string_view(item.value).substr(0, item.value.find(between_values));
  for (const auto& pair : number_pairs) {
    if (ascii_equal(item.key, pair.key)) {
      const auto slash = std::min(value.find('/'), value.size());
      set_if_any(info, pair.number, value.substr(0, slash));
      set_if_any(info, pair.total, value.substr(std::min(slash + 1, value.size())));
      return true;
    }
    for (const auto field : {pair.number, pair.total}) {
      if (!ascii_equal(item.key, field)) continue;
      set_if_any(info, field, value);
      return true;
    }
  }
  return false;
}

void read_values(const ape_item& item, file_info& info) {
  const auto known = std::ranges::find_if(named_keys, [&](const auto& row) { return ascii_equal(row.key, item.key); });
  const auto field = known == named_keys.end() ? std::string_view(item.key) : known->field;
  if (!file_info::is_valid_field_name(field)) return;
  for (std::string_view rest = item.value; !rest.empty();) {
    const auto value = rest.substr(0, rest.find(between_values));
    rest.remove_prefix(std::min(value.size() + 1, rest.size()));
    if (!value.empty()) info.meta_add(field, repair_utf8(value));
  }
}

void read_text_item(const ape_item& item, replaygain_info& gains, file_info& info) {
  if (set_replaygain_field(gains, item.key, item.value)) return;
  if (item.read_only) {
    if (file_info::is_valid_field_name(item.key)) info.meta_add(item.key, repair_utf8(item.value));
    return;
  }
  if (!read_number(item, info)) read_values(item, info);
}

} // namespace

void read_ape_fields(const ape_tag& tag, file_info& info) {
  auto gains = info.get_replaygain();
  for (const auto& item : tag.items)
    if (item.type == ape_item_type::text) read_text_item(item, gains, info);
  info.set_replaygain(gains);
  if (tag.version == ape_version_1) info.info_set(info_field::tagtype, "apev1");
  if (tag.version == ape_version_2) info.info_set(info_field::tagtype, "apev2");
}

namespace {

/// Values that are in the tag for good, by the folded name of the field that they are read as.
using fixed_values = std::unordered_multimap<std::string, std::string>;

fixed_values list_fixed_values(std::span<const ape_item> items) {
  fixed_values result;
  for (const auto& item : items)
    if (item.type == ape_item_type::text) result.emplace(fold_utf8(item.key), repair_utf8(item.value));
  return result;
}

/// Takes one such value away, if there is one.
bool take_fixed_value(fixed_values& fixed, const std::string& folded_name, const std::string& value) {
  const auto [first, last] = fixed.equal_range(folded_name);
  const auto found = std::find_if(first, last, [&](const auto& entry) { return entry.second == value; });
  if (found == last) return false;
  fixed.erase(found);
  return true;
}

void add_text(std::vector<ape_item>& items, std::string key, std::string value) {
  items.push_back({false, ape_item_type::text, std::move(key), std::move(value)});
}

bool is_number_field(std::string_view name) {
  return std::ranges::any_of(
      number_pairs, [&](const auto& pair) { return ascii_equal(name, pair.number) || ascii_equal(name, pair.total); });
}

void write_number(const number_pair& pair, const file_info& info, std::vector<ape_item>& items) {
  const auto* const number = info.meta_get(pair.number);
  if (number == nullptr) return;
  const auto* const total = info.meta_get(pair.total);
  add_text(items, std::string(pair.key), total == nullptr ? *number : *number + "/" + *total);
}

/// Upper case for the first character, lower case for the others, as most taggers show keys.
std::string key_of_field(std::string_view name) {
  for (const auto& row : named_keys)
    if (row.used == direction::both && ascii_equal(name, row.field)) return std::string(row.key);
  std::string key(name);
  std::ranges::transform(key, key.begin(), ascii_lower);
  key.front() = static_cast<char>(uCharUpper(static_cast<unsigned char>(key.front())));
  return key;
}

void write_field(const file_info& info, std::size_t field, fixed_values& fixed, std::vector<ape_item>& items) {
  const auto& name = info.meta_enum_name(field);
  if (is_number_field(name) || !file_info::is_valid_field_name(name)) return;
  // The gains say what a field of such a name would.
  if (!get_replaygain_field(info.get_replaygain(), name).empty()) return;
  const auto folded = fixed.empty() ? std::string() : fold_utf8(name);
  std::string joined;
  std::size_t values = 0;
  for (std::size_t n = 0; n < info.meta_enum_value_count(field); ++n) {
    const auto& value = info.meta_enum_value(field, n);
    if (take_fixed_value(fixed, folded, value)) continue;
    if (values++ != 0) joined.push_back(between_values);
    joined += value;
  }
  if (values != 0) add_text(items, key_of_field(name), std::move(joined));
}

} // namespace

void write_ape_fields(const file_info& info, std::vector<ape_item>& items) {
  std::erase_if(items, [](const ape_item& item) { return item.is_writable_text(); });
  auto fixed = list_fixed_values(items);
  for (const auto& pair : number_pairs) write_number(pair, info, items);
  for (std::size_t i = 0; i < info.meta_get_count(); ++i) write_field(info, i, fixed, items);
  using namespace replaygain_field;
  for (const auto name : {album_gain, album_peak, track_gain, track_peak})
    if (auto text = get_replaygain_field(info.get_replaygain(), name); !text.empty())
      add_text(items, std::string(name), std::move(text));
}

album_art_set read_ape_pictures(std::span<const ape_item> items) {
  album_art_set pictures;
  for (const auto& item : items) {
    const auto* const row = find_picture_key(item);
    if (row == nullptr || find_album_art(pictures, row->id)) continue;
    const auto name_end = item.value.find('\0');
    if (name_end == std::string::npos || name_end + 1 == item.value.size()) continue;
    const auto bytes = as_byte_span(std::string_view(item.value).substr(name_end + 1));
    pictures.push_back({row->id, make_album_art({bytes.begin(), bytes.end()})});
  }
  return pictures;
}

namespace {

/// The file name that stands before a picture's bytes.
std::string picture_name(std::span<const std::byte> picture) {
  const auto format = image_format_name(picture);
  if (format.empty()) return "hello";
  return "hello." + (format == "jpeg" ? "jpg" : format);
}

/// Whether the items show `pictures` already, but for those that they can't hold.
bool shows_the_same(const album_art_set& pictures, std::span<const ape_item> items) {
  const auto shown = read_ape_pictures(items);
  std::size_t wanted = 0;
  for (const auto& picture : pictures) {
    if (std::ranges::find(picture_keys, picture.id, &picture_key::id) == picture_keys.end()) continue;
    ++wanted;
    const auto there = find_album_art(shown, picture.id);
    if (!there || !std::ranges::equal(there->bytes(), picture.data->bytes())) return false;
  }
  return wanted == shown.size();
}

} // namespace

bool write_ape_pictures(const album_art_set& pictures, std::vector<ape_item>& items) {
  if (!pictures.empty() && shows_the_same(pictures, items)) return false;
  const auto removed = std::erase_if(items, [](const ape_item& item) { return find_picture_key(item) != nullptr; });
  const auto kept = items.size();
  for (const auto& picture : pictures) {
    const auto row = std::ranges::find(picture_keys, picture.id, &picture_key::id);
    if (row == picture_keys.end()) continue;
    const auto bytes = picture.data->bytes();
    auto value = picture_name(bytes) + '\0';
    if (bytes.size() > max_ape_value - value.size())
      throw exception_album_art_unsupported_format("The picture is too large for an APE tag");
    value.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    items.push_back({false, ape_item_type::binary, std::string(row->key), std::move(value)});
  }
  return removed != 0 || items.size() != kept;
}

} // namespace zelmora
