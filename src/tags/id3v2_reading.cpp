#include "tags/id3v2_reading.h"

#include "frame/replaygain_text.h"
#include "frame/text.h"
#include "tags/genres.h"
#include "tags/text_encoding.h"

#include <algorithm>
#include <cmath>
#include <fmt/core.h>

namespace zelmora {

using id3parser::frame;
using id3parser::parseError;
using id3parser::strictness;

namespace {

constexpr std::string_view date_field = "date";
constexpr std::string_view album_artist_field = "album artist";
constexpr std::string_view compilation_artist = "Various Artists";
/// Comments whose description begins so hold what iTunes keeps for itself.
constexpr std::string_view itunes_prefix = "iTun";

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_four_digits(std::string_view text) { return text.size() == 4 && std::ranges::all_of(text, is_digit); }

/// Whether `text` has the form of "####-##-##".
bool is_day(std::string_view text) {
  return text.size() == 10 && is_four_digits(text.substr(0, 4)) && text[4] == '-' && is_digit(text[5]) &&
         is_digit(text[6]) && text[7] == '-' && is_digit(text[8]) && is_digit(text[9]);
}

void add_value(field_map& out, std::string_view field, std::string value) {
  if (value.empty()) return;
  auto place = out.lower_bound(field);
  if (place == out.end() || out.key_comp()(field, place->first))
    place = out.emplace_hint(place, std::string(field), std::vector<std::string>());
  place->second.push_back(std::move(value));
}

void set_value(field_map& out, std::string_view field, std::string value) {
  if (const auto found = out.find(field); found != out.end()) out.erase(found);
  add_value(out, field, std::move(value));
}

/// The first value of `field`; empty when there is none.
std::string_view first_value(const field_map& fields, std::string_view field) {
  const auto found = fields.find(field);
  return found == fields.end() || found->second.empty() ? std::string_view() : std::string_view(found->second.front());
}

std::string_view trim_blanks(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

/// The length of `name` without a number in brackets at its end; a name that is nothing else keeps it.
std::size_t length_without_number(std::string_view name) {
  if (!name.ends_with(']')) return name.size();
  auto at = name.size() - 1;
  while (at > 0 && is_digit(name[at - 1])) --at;
  const bool has_digits = at < name.size() - 1;
  return has_digits && at > 1 && name[at - 1] == '[' ? at - 1 : name.size();
}

/// One frame on its way into the map.
class frame_reader {
 public:
  frame_reader(field_map& out, const frame& source, const id3v2_field_row& row, const id3v2_context& context)
      : out_(out), source_(source), row_(row), context_(context), field_(id3v2_field_name(row, context)) {}

  void read() {
    if (is_strict() && !is_among(row_.proper_in, context_.version)) throw parseError();
    if (names_no_field()) return;
    switch (row_.reading) {
    case id3v2_reading::one: return add_value(out_, field_, first_string());
    case id3v2_reading::many: return read_many();
    case id3v2_reading::pair: return read_pair();
    case id3v2_reading::year: return read_year();
    case id3v2_reading::day_month: return read_day_month();
    case id3v2_reading::genre: return read_genre();
    case id3v2_reading::described: return read_described();
    case id3v2_reading::comment: return read_comment();
    case id3v2_reading::free_text: return read_free_text();
    case id3v2_reading::free_url: return read_free_url();
    case id3v2_reading::url: return read_url();
    case id3v2_reading::rating: return read_rating();
    }
  }

 private:
  bool is_strict() const { return context_.rule == strictness::strict; }
  id3parser::string_cursor strings() const { return text_of(source_, context_.rule); }
  std::string first_string() const { return strings().next().value_or(std::string()); }

  /// What a field with a description is called.
  std::string described_field(std::string_view description) const {
    return description.empty() ? std::string(field_) : fmt::format("{} {}", field_, description);
  }

  /// Whether the frame has a name of its own that no field can have, in letters beyond ASCII for one. Nobody can see
  /// it, so nobody can want it gone: it says nothing.
  bool names_no_field() const {
    const bool is_comment = row_.reading == id3v2_reading::comment;
    const bool is_free_text = row_.reading == id3v2_reading::free_text;
    if (!is_comment && !is_free_text && row_.reading != id3v2_reading::free_url) return false;
    auto cursor = is_comment ? described_text_of(source_, strictness::lenient) : text_of(source_, strictness::lenient);
    auto name = cursor.next().value_or(std::string());
    if (is_free_text)
      name.resize(length_without_number(name));
    else
      name = described_field(name);
    return !name.empty() && !file_info::is_valid_field_name(name);
  }

  void read_many() {
    auto cursor = strings();
    auto text = cursor.next();
    if (!text) return;
    if (context_.version < 4 && cursor.is_at_end()) return split_at_slashes(*text);
    for (; text; text = cursor.next()) add_value(out_, field_, std::move(*text));
  }

  void split_at_slashes(std::string_view text) {
    constexpr std::string_view separator = " / ";
    for (;;) {
      const auto at = text.find(separator);
      add_value(out_, field_, std::string(text.substr(0, at)));
      if (at == std::string_view::npos) return;
      text.remove_prefix(at + separator.size());
    }
  }

  void read_pair() {
    const auto text = first_string();
    const auto slash = std::min(text.find('/'), text.size());
    add_value(out_, field_, text.substr(0, slash));
    if (slash < text.size()) add_value(out_, row_.second_field, text.substr(slash + 1));
  }

  void read_year() {
    auto text = first_string();
    const auto date = first_value(out_, date_field);
    if (!is_part_of_date(text, date)) return;
    if (is_day(date)) text += date.substr(4);
    set_first_date(std::move(text));
  }

  void read_day_month() {
    const auto text = first_string();
    const auto date = first_value(out_, date_field);
    if (!is_part_of_date(text, date)) return;
    std::string combined = is_four_digits(date) || is_day(date) ? std::string(date.substr(0, 4)) : "0000";
    combined.append("-").append(text, 2, 2);
    if (!text.starts_with("00")) combined.append("-").append(text, 0, 2);
    set_first_date(std::move(combined));
  }

  /// Whether `text` has the four digits of a year, or of day and month. Any other becomes the date where there is none.
  bool is_part_of_date(const std::string& text, std::string_view date) {
    if (is_four_digits(text)) return true;
    if (is_strict()) throw parseError();
    if (date.empty()) add_value(out_, date_field, text);
    return false;
  }

  void set_first_date(std::string value) {
    const auto found = out_.find(date_field);
    if (found == out_.end())
      add_value(out_, date_field, std::move(value));
    else
      found->second.front() = std::move(value);
  }

  void read_genre() {
    for (auto cursor = strings(); auto text = cursor.next();) {
      if (context_.version >= 4) {
        add_value(out_, field_, normalise_genre(*text));
        continue;
      }
      for (std::string_view rest = *text; !rest.empty();) {
        const auto semicolon = std::min(rest.find(';'), rest.size());
        add_value(out_, field_, normalise_genre(trim_blanks(rest.substr(0, semicolon))));
        rest.remove_prefix(std::min(semicolon + 1, rest.size()));
      }
    }
  }

  /// "17", "(17)Rock", "(RX)", "((Foo" or a name (version 2.3.0, section 4.2.1, TCON).
  static std::string normalise_genre(std::string_view text) {
    if (!text.starts_with('(')) {
      if (text.empty() || !std::ranges::all_of(text, is_digit)) return std::string(text);
      const auto name = numbered_genre(text);
      return std::string(name.empty() ? text : name);
    }
    if (text.starts_with("((")) return std::string(text.substr(1));
    if (text.starts_with("(RX)")) return "Remix";
    if (text.starts_with("(CR)")) return "Cover";
    const auto close = text.find(')');
    const auto inner = text.substr(1, close == std::string_view::npos ? close : close - 1);
    const auto digits =
        inner.substr(0, static_cast<std::size_t>(std::ranges::find_if_not(inner, is_digit) - inner.begin()));
    return std::string(numbered_genre(digits));
  }

  /// The name of a genre number that ID3v2 frames may refer to; empty for others.
  static std::string_view numbered_genre(std::string_view digits) {
    const auto number = parse_integer(digits);
    return number && *number >= 0 ? id3v2_genre_name(static_cast<std::uint64_t>(*number)) : std::string_view();
  }

  void read_described() {
    auto cursor = described_text_of(source_, context_.rule);
    cursor.skip();
    if (auto text = cursor.next()) add_value(out_, field_, std::move(*text));
  }

  void read_comment() {
    auto cursor = described_text_of(source_, context_.rule);
    const auto description = cursor.next().value_or(std::string());
    if (description.starts_with(itunes_prefix)) return;
    auto text = cursor.next();
    if (!text) return;
    add_value(out_, described_field(description), std::move(*text));
  }

  void read_free_text() {
    auto cursor = strings();
    auto name = cursor.next().value_or(std::string());
    if (count_strings(source_) < 2) return refuse_when_strict();
    if (is_replaygain_field(name)) {
      auto value = cursor.next().value_or(std::string());
      if (std::ranges::none_of(value, is_digit)) return refuse_when_strict();
      return add_value(out_, name, std::move(value));
    }
    name.resize(length_without_number(name));
    if (name.empty()) return;
    while (auto value = cursor.next()) add_value(out_, name, std::move(*value));
  }

  void read_free_url() {
    auto cursor = strings();
    const auto description = cursor.next();
    const auto rest = cursor.rest();
    if (!description || rest.empty()) return refuse_when_strict();
    add_value(out_, described_field(*description), url_text(rest));
  }

  void read_url() {
    if (source_.payload.empty()) throw parseError();
    add_value(out_, field_, url_text(source_.payload));
  }

  static std::string url_text(std::span<const std::byte> bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return from_latin1(text.substr(0, text.find('\0')));
  }

  /// An email, then one byte from 1 to 255: five steps (version 2.3.0, section 4.18).
  void read_rating() {
    const auto end = std::ranges::find(source_.payload, std::byte{0});
    if (source_.payload.end() - end < 2) throw parseError();
    const auto byte = std::to_integer<unsigned>(*(end + 1));
    if (byte == 0) return;
    const float steps = static_cast<float>(byte - 1) * (4.0f / 254.0f) + 0.5f;
    set_value(out_, field_, std::to_string(static_cast<unsigned>(std::floor(steps)) + 1));
  }

  void refuse_when_strict() const {
    if (is_strict()) throw parseError();
  }

  field_map& out_;
  const frame& source_;
  const id3v2_field_row& row_;
  const id3v2_context& context_;
  std::string_view field_;
};

} // namespace

bool field_name_less::operator()(std::string_view a, std::string_view b) const {
  const auto size = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < size; ++i) {
    const auto x = static_cast<unsigned char>(ascii_lower(a[i]));
    const auto y = static_cast<unsigned char>(ascii_lower(b[i]));
    if (x != y) return x < y;
  }
  return a.size() < b.size();
}

const id3v2_field_row* find_id3v2_row(std::uint32_t id) {
  const auto found = std::ranges::find(id3v2_table::rows, id, &id3v2_field_row::id);
  return found == id3v2_table::rows.end() ? nullptr : &*found;
}

std::string_view id3v2_field_name(const id3v2_field_row& row, const id3v2_context& context) {
  return row.id == fourcc("TPE2") && !context.tpe2_is_album_artist ? id3v2_band_field : row.field;
}

void add_frame_fields(field_map& out, const frame& source, const id3v2_context& context) {
  if (const auto* row = find_id3v2_row(source.id)) frame_reader(out, source, *row, context).read();
}

std::string_view implied_album_artist(const field_map& fields) {
  const auto flag = first_value(fields, "itunescompilation");
  return parse_decimal(flag).value > 0 && first_value(fields, album_artist_field).empty() ? compilation_artist
                                                                                          : std::string_view();
}

std::optional<std::string> comment_text(const frame& source, std::string_view description) {
  if (source.id != fourcc("COMM")) return std::nullopt;
  try {
    auto cursor = described_text_of(source, strictness::lenient);
    const auto found = cursor.next();
    if (!found || !ascii_equal(*found, description)) return std::nullopt;
    return cursor.next();
  } catch (const parseError&) {
    return std::nullopt;
  }
}

bool has_numbered_name(const frame& source) {
  if (source.id != fourcc("TXXX")) return false;
  try {
    const auto name = text_of(source, strictness::lenient).next();
    return name && length_without_number(*name) != name->size();
  } catch (const parseError&) {
    return false;
  }
}

} // namespace zelmora
