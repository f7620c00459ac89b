#include "generated_info.h"

#include "frame/text.h"

#include <array>

namespace zelmora::test {

namespace {

constexpr std::array<std::string_view, 24> known_names{
    "title",          "ARTIST",          "album",  "album artist", "date",       "genre",      "comment",
    "tracknumber",    "rating",          "lyrics", "totaltracks",  "discnumber", "totaldiscs", "composer",
    "publisher",      "comment mood",    "www",    "bpm",          "date ",      "performer",  "release date",
    "movement index", "unsynced lyrics", "FOO[1]"};

std::string encode(char32_t c) {
  std::string out;
  if (c < 0x80)
    out += static_cast<char>(c);
  else if (c < 0x800)
    out += {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
  else if (c < 0x10000)
    out += {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
            static_cast<char>(0x80 | (c & 0x3F))};
  else
    out += {static_cast<char>(0xF0 | c >> 18), static_cast<char>(0x80 | (c >> 12 & 0x3F)),
            static_cast<char>(0x80 | (c >> 6 & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
  return out;
}

/// The float nearest to a decimal fraction.
float decimal(std::size_t number, double steps) { return static_cast<float>(static_cast<double>(number) / steps); }

} // namespace

meta_list list_meta(const file_info& info) {
  meta_list result;
  for (std::size_t i = 0; i < info.meta_get_count(); ++i) {
    std::string name = info.meta_enum_name(i);
    for (auto& c : name) c = ascii_lower(c);
    for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n) result[name].push_back(info.meta_enum_value(i, n));
  }
  return result;
}

std::string info_generator::wild_text() {
  constexpr std::array<std::string_view, 12> pieces{" / ", ";", "(17)", "((x", "2001-02-03",   "3/12",
                                                    " ",   "é", "日",   "😀",   "\xEF\xBB\xBF", "126"};
  std::string text;
  const auto length = below(20) == 0 ? 20000 : below(12);
  while (text.size() < length) {
    if (below(3) == 0) {
      text += pieces[below(pieces.size())];
      continue;
    }
    auto c = static_cast<char32_t>(1 + below(below(2) == 0 ? 0x7E : 0x10FFFE));
    if (c >= 0xD800 && c < 0xE000) c = U'x';
    text += encode(c);
  }
  return text;
}

std::string info_generator::tame_text() {
  constexpr std::array<std::string_view, 6> letters{"a", "Z", "ä", "日", "😀", " b"};
  std::string text = "v";
  for (auto n = below(30); n != 0; --n) text += letters[below(letters.size())];
  return text;
}

replaygain_info info_generator::gains() {
  replaygain_info result;
  if (below(2) == 0) result.track_gain = decimal(below(4000), 100);
  if (below(2) == 0) result.album_gain = -decimal(below(4000), 100);
  if (below(2) == 0) result.track_peak = decimal(below(1500), 1000);
  if (below(2) == 0) result.album_peak = decimal(below(1500), 1000);
  return result;
}

file_info_impl info_generator::wild() {
  file_info_impl info;
  for (auto fields = below(12); fields != 0; --fields) {
    const std::string name(below(2) == 0 ? known_names[below(known_names.size())] : "x" + std::to_string(below(9)));
    for (auto values = 1 + below(3) * below(3); values != 0; --values) info.meta_add(name, wild_text());
  }
  info.set_replaygain(gains());
  return info;
}

file_info_impl info_generator::tame() {
  constexpr std::array<std::string_view, 12> single{"title",      "album",        "subtitle",        "copyright",
                                                    "encoded by", "comment",      "my field",        "other",
                                                    "zebra",      "comment mood", "unsynced lyrics", "bpm"};
  constexpr std::array<std::string_view, 6> several{"artist",  "composer",  "album artist",
                                                    "my list", "publisher", "genre"};
  file_info_impl info;
  for (const auto name : single)
    if (below(3) != 0) info.meta_add(name, tame_text());
  for (const auto name : several)
    for (auto values = below(4); values != 0; --values) info.meta_add(name, tame_text());
  if (below(2) == 0) {
    info.meta_add("tracknumber", std::to_string(1 + below(99)));
    info.meta_add("totaltracks", std::to_string(1 + below(99)));
  }
  if (below(2) == 0) info.meta_add("date", std::to_string(1900 + below(200)) + "-0" + std::to_string(1 + below(9)));
  info.set_replaygain(gains());
  return info;
}

} // namespace zelmora::test
