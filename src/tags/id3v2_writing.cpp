#include "tags/id3v2_writing.h"

#include "frame/replaygain_text.h"
#include "frame/text.h"
#include "tags/soundcheck.h"
#include "tags/tag_settings.h"
#include "tags/text_encoding.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <utility>

namespace zelmora {

using id3parser::frame;
using id3parser::make_described_frame;
using id3parser::make_text_frame;
using id3parser::parseError;
using id3parser::strictness;
using id3parser::tag;
using id3parser::text_encoding;

namespace {

constexpr std::string_view url_prefix = "www";
constexpr std::string_view comment_field = "comment";

// --- what is kept --------------------------------------------------------------------------------------------------

bool is_rebuilt_always(const field_map& said) {
  constexpr std::array<std::string_view, 3> rebuilt{"tracknumber", "discnumber", "movement name"};
  return std::ranges::any_of(rebuilt, [&](std::string_view name) { return said.contains(name); }) ||
         std::ranges::any_of(said, [](const auto& entry) { return is_replaygain_field(entry.first); });
}

bool says_part_of(const field_map& said, const field_map& wanted) {
  return std::ranges::all_of(said, [&](const auto& entry) {
    const auto found = wanted.find(entry.first);
    return found != wanted.end() && found->second == entry.second;
  });
}

/// Sorts old frames into those that are kept, those that go, and those that may still hold together with others.
class frame_sorter {
 public:
  frame_sorter(field_map& wanted, const id3v2_context& context) : wanted_(wanted), context_(context) {
    context_.rule = strictness::strict;
  }

  /// What of `old` is kept.
  std::vector<frame> sort(std::vector<frame> old) {
    for (auto& one : old) sort_alone(std::move(one));
    keep_group([](std::uint32_t) { return true; });
    for (const auto id : {fourcc("COMM"), fourcc("USLT"), fourcc("TXXX")})
      keep_group([id](std::uint32_t of) { return of == id; });
    keep_group([](std::uint32_t of) { return of == fourcc("TYER") || of == fourcc("TDAT"); });
    return std::move(kept_);
  }

 private:
  void sort_alone(frame one) {
    field_map said;
    try {
      add_frame_fields(said, one, context_);
    } catch (const parseError&) {
      return;
    }
    if (is_rebuilt_always(said)) return;
    if (wanted_.contains(soundcheck_comment_field) && comment_text(one, soundcheck_comment)) return;
    if (says_part_of(said, wanted_))
      keep(std::move(one), said);
    else
      undecided_.push_back(std::move(one));
  }

  void keep(frame one, const field_map& said) {
    for (const auto& entry : said)
      if (const auto found = wanted_.find(entry.first); found != wanted_.end()) wanted_.erase(found);
    kept_.push_back(std::move(one));
  }

  /// Keeps all undecided frames whose id `belongs`, when together they say what is wanted.
  template <class Filter>
  void keep_group(Filter belongs) {
    const auto rest =
        std::stable_partition(undecided_.begin(), undecided_.end(), [&](const frame& f) { return belongs(f.id); });
    const std::span group(undecided_.begin(), rest);
    const auto said = read_frame_fields(group, context_);
    if (group.empty() || !says_part_of(said, wanted_)) return;
    for (auto& one : group) keep(std::move(one), said);
    undecided_.erase(undecided_.begin(), rest);
  }

  field_map& wanted_;
  id3v2_context context_;
  std::vector<frame> kept_;
  std::vector<frame> undecided_;
};

// --- time stamps ---------------------------------------------------------------------------------------------------

/// Whether `text` has the form of `pattern`, in which "#" is a digit.
bool has_form(std::string_view text, std::string_view pattern) {
  return std::ranges::equal(text, pattern, [](char c, char p) { return p == '#' ? c >= '0' && c <= '9' : c == p; });
}

/// Section 4 of "ID3 tag version 2.4.0 - Main Structure": a subset of ISO 8601.
bool is_time_stamp(std::string_view text) {
  constexpr std::array<std::string_view, 6> forms{"####",          "####-##",          "####-##-##",
                                                  "####-##-##T##", "####-##-##T##:##", "####-##-##T##:##:##"};
  return std::ranges::any_of(forms, [&](std::string_view form) { return has_form(text, form); });
}

bool is_time_stamp_or_pair(std::string_view text) {
  const auto slash = text.find('/');
  if (slash == std::string_view::npos) return is_time_stamp(text);
  return is_time_stamp(text.substr(0, slash)) && is_time_stamp(text.substr(slash + 1));
}

// --- new frames ----------------------------------------------------------------------------------------------------

/// Makes frames of what `fields` holds, and takes it out of there.
class frame_maker {
 public:
  frame_maker(std::vector<frame>& out, field_map& fields, unsigned version, const id3v2_frame_options& options)
      : out_(out), fields_(fields), version_(version), options_(options) {}

  void make_from_row(const id3v2_field_row& row, std::string_view field) {
    const auto found = fields_.find(field);
    if (found == fields_.end() || !is_among(row.written_in, version_)) return;
    if (write(row, found->second)) fields_.erase(field_map::const_iterator(fields_.find(field)));
  }

  void make_rest() {
    for (const auto& [name, values] : fields_) make_free(name, values);
    fields_.clear();
  }

 private:
  using value_list = std::vector<std::string>;

  /// False leaves the values for a free text frame.
  bool write(const id3v2_field_row& row, const value_list& said) {
    const bool is_one = said.size() == 1;
    switch (row.writing) {
    case id3v2_writing::none: return false;
    case id3v2_writing::one: return is_one && add(make_text_frame(row.id, options_.encoding, said));
    case id3v2_writing::many: return write_many(row.id, said, " / ");
    case id3v2_writing::pair: return is_one && write_pair(row, said.front());
    case id3v2_writing::date: return is_one && is_time_stamp_or_pair(said.front()) && add_ascii(row.id, said.front());
    case id3v2_writing::date_before_v4: return is_one && write_date_before_v4(said.front());
    case id3v2_writing::year_before_v4:
      return is_one && has_form(said.front(), "####") && add_ascii(row.id, said.front());
    case id3v2_writing::genre: return write_genre(row.id, said);
    case id3v2_writing::described:
      return is_one && add(make_described_frame(row.id, options_.encoding, {}, said.front()));
    case id3v2_writing::url: return is_one && write_url(row.id, said.front());
    case id3v2_writing::rating: return is_one && !options_.rating_as_text && write_rating(said.front());
    }
    return false;
  }

  bool add(frame made) {
    out_.push_back(std::move(made));
    return true;
  }

  /// Numbers and dates need no other encoding, and some readers know no other for them.
  bool add_ascii(std::uint32_t id, std::string text) {
    const std::array<std::string, 1> strings{std::move(text)};
    return add(make_text_frame(id, text_encoding::eight_bit, strings));
  }

  bool write_many(std::uint32_t id, const value_list& said, std::string_view separator) {
    if (version_ >= 4) return add(make_text_frame(id, options_.encoding, said));
    std::array<std::string, 1> joined;
    for (const auto& value : said) {
      if (!joined[0].empty()) joined[0] += separator;
      joined[0] += value;
    }
    return add(make_text_frame(id, options_.encoding, joined));
  }

  /// "number/total". The total goes in any case, unless it has several values.
  bool write_pair(const id3v2_field_row& row, std::string text) {
    const auto total = fields_.find(row.second_field);
    const auto first_slash = text.find('/');
    if (first_slash != std::string::npos)
      std::replace(text.begin() + static_cast<std::ptrdiff_t>(first_slash) + 1, text.end(), '/', '_');
    if (total != fields_.end() && total->second.size() == 1) {
      if (first_slash == std::string::npos) {
        auto count = total->second.front();
        std::ranges::replace(count, '/', '_');
        text += '/' + count;
      }
      fields_.erase(total);
    }
    return add_ascii(row.id, std::move(text));
  }

  bool write_date_before_v4(const std::string& date) {
    if (options_.compatible_dates) return add_ascii(fourcc("TYER"), date);
    if (has_form(date, "####")) return add_ascii(fourcc("TYER"), date);
    if (has_form(date, "####-##-##") || has_form(date, "#### ## ##")) {
      add_ascii(fourcc("TYER"), date.substr(0, 4));
      return add_ascii(fourcc("TDAT"), date.substr(8, 2) + date.substr(5, 2));
    }
    if (has_form(date, "####-##")) {
      add_ascii(fourcc("TYER"), date.substr(0, 4));
      return add_ascii(fourcc("TDAT"), "00" + date.substr(5, 2));
    }
    return true; // there is no frame for any other
  }

  bool write_genre(std::uint32_t id, const value_list& said) {
    value_list escaped = said;
    for (auto& value : escaped)
      if (value.starts_with('(')) value.insert(0, 1, '(');
    return write_many(id, escaped, ";");
  }

  bool write_url(std::uint32_t id, std::string_view url) {
    const auto encoded = to_latin1(url);
    const auto bytes = as_byte_span(encoded);
    return add({id, {bytes.begin(), bytes.end()}});
  }

  bool write_rating(std::string_view text) {
    constexpr std::string_view email = "Windows Media Player 9 Series";
    constexpr std::array<std::uint8_t, 5> steps{1, 64, 128, 196, 255};
    constexpr std::size_t size = 35;
    const auto rating = parse_integer(text);
    if (!rating || *rating < 1 || *rating > std::ssize(steps)) return false;
    frame made{fourcc("POPM"), std::vector<std::byte>(size)};
    std::ranges::copy(as_byte_span(email), made.payload.begin());
    made.payload[email.size() + 1] = std::byte{steps[static_cast<std::size_t>(*rating - 1)]};
    return add(std::move(made));
  }

  void make_free(std::string_view name, const value_list& said) {
    const auto is_named = [&](std::string_view prefix) {
      return name.size() >= prefix.size() && ascii_equal(name.substr(0, prefix.size()), prefix) &&
             (name.size() == prefix.size() || name[prefix.size()] == ' ');
    };
    const auto behind = [&](std::string_view prefix) {
      name.remove_prefix(prefix.size());
      while (name.starts_with(' ')) name.remove_prefix(1);
      return name;
    };
    if (is_named(url_prefix)) return make_free_urls(behind(url_prefix), said);
    if (is_named(comment_field)) return make_comments(behind(comment_field), said);
    make_free_text(name, said);
  }

  void make_free_urls(std::string_view description, const value_list& said) {
    for (const auto& value : said) {
      frame made{fourcc("WXXX"), {static_cast<std::byte>(options_.encoding)}};
      append_string(made.payload, options_.encoding, description);
      const auto encoded = to_latin1(value);
      const auto bytes = as_byte_span(encoded);
      made.payload.insert(made.payload.end(), bytes.begin(), bytes.end());
      add(std::move(made));
    }
  }

  void make_comments(std::string_view description, const value_list& said) {
    if (ascii_equal(description, soundcheck_comment)) description = soundcheck_comment;
    constexpr std::string_view plain = "0123456789abcdefABCDEF ";
    const bool is_plain = description.starts_with("iTun") && std::ranges::all_of(said, [&](const std::string& value) {
                            return value.find_first_not_of(plain) == std::string::npos;
                          });
    const auto encoding = is_plain ? text_encoding::eight_bit : options_.encoding;
    for (const auto& value : said) add(make_described_frame(fourcc("COMM"), encoding, description, value));
  }

  void make_free_text(std::string_view name, const value_list& said) {
    const bool is_gain = is_replaygain_field(name) && said.size() == 1;
    const auto encoding = is_gain ? text_encoding::eight_bit : options_.encoding;
    value_list strings{std::string(name)};
    if (version_ >= 4 || is_gain) {
      strings.insert(strings.end(), said.begin(), said.end());
      add(make_text_frame(fourcc("TXXX"), encoding, strings));
      return;
    }
    strings.emplace_back();
    for (const auto& value : said) {
      strings[1] = value;
      add(make_text_frame(fourcc("TXXX"), encoding, strings));
    }
  }

  std::vector<frame>& out_;
  field_map& fields_;
  unsigned version_;
  const id3v2_frame_options& options_;
};

} // namespace

id3v2_frame_options configured_frame_options(unsigned version) {
  return {version < 4 ? text_encoding::utf16_bom : text_encoding::utf8, id3v2_writes_compatible_dates(),
          id3v2_writes_rating_as_txxx()};
}

void rebuild_frames(tag& target, field_map fields, const id3v2_context& context, const id3v2_frame_options& options) {
  std::erase_if(target.frames, has_numbered_name);
  target.frames = frame_sorter(fields, context).sort(std::move(target.frames));
  frame_maker maker(target.frames, fields, target.version, options);
  for (const auto& row : id3v2_table::rows)
    if (row.writing != id3v2_writing::none) maker.make_from_row(row, id3v2_field_name(row, context));
  maker.make_rest();
}

} // namespace zelmora
