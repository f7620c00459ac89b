#include "tags/ape_tag.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>

namespace zelmora {

using namespace zelmora_io;

namespace {

constexpr std::string_view magic = "APETAGEX";

// Flags of header and footer.
constexpr std::uint32_t has_header = 0x80000000;
constexpr std::uint32_t is_header = 0x20000000;

// Flags of an item.
constexpr std::uint32_t read_only_bit = 1;
constexpr unsigned type_shift = 1;
constexpr std::uint32_t type_mask = 3;

constexpr std::size_t item_header_size = 8; ///< value size and flags, in front of the key

/// Tags up to this size are read whole; in larger ones, unwanted values are not read [bytes].
constexpr std::uint64_t read_whole_limit = 65536;

/// Header and footer, but for the magic and the reserved bytes.
struct ape_footer {
  std::uint32_t version = 0;
  std::uint32_t size = 0; ///< of the items and the footer [bytes]
  std::uint32_t count = 0;
  std::uint32_t flags = 0;

  bool is_valid() const noexcept {
    return (version == ape_version_1 || version == ape_version_2) && size >= ape_footer_size &&
           size <= std::numeric_limits<std::uint32_t>::max() - ape_footer_size;
  }
  std::uint64_t items_size() const noexcept { return size - ape_footer_size; }
  std::uint32_t whole_size() const noexcept {
    return size + ((flags & has_header) != 0 ? static_cast<std::uint32_t>(ape_footer_size) : 0);
  }
};

std::optional<ape_footer> parse_footer(std::span<const std::byte> bytes) {
  if (bytes.size() != ape_footer_size || !starts_with(bytes, magic)) return std::nullopt;
  le_reader in(bytes.subspan(magic.size()));
  ape_footer result;
  result.version = in.le32();
  result.size = in.le32();
  result.count = in.le32();
  result.flags = in.le32();
  return result;
}

/// A footer behind which `end` bytes of the object lie, its own among them.
ape_footer require_footer(std::span<const std::byte> bytes, std::uint64_t end) {
  const auto footer = parse_footer(bytes);
  if (!footer) throw exception_tag_not_found();
  if (!footer->is_valid() || footer->whole_size() > end) throw exception_io_data();
  return *footer;
}

/// Items in memory.
class memory_items {
 public:
  explicit memory_items(std::span<const std::byte> data) : in_(data) {}
  std::uint64_t remaining() const noexcept { return in_.remaining(); }
  std::uint32_t number() { return in_.le32(); }
  /// Nothing when no zero byte ends the key.
  std::optional<std::string> key() {
    le_reader ahead = in_;
    const auto text = ahead.text(std::min(in_.remaining(), max_ape_key + 1));
    const auto length = text.find('\0');
    if (length == std::string_view::npos) return std::nullopt;
    in_.skip(length + 1);
    return std::string(text.substr(0, length));
  }
  std::string value(std::uint32_t size) { return std::string(in_.text(size)); }
  void skip(std::uint32_t size) { in_.skip(size); }

 private:
  le_reader in_;
};

/// Items of a large tag, read one by one.
class file_items {
 public:
  file_items(file& source, std::uint64_t size, abort_callback& abort)
      : source_(source), remaining_(size), abort_(abort) {}
  std::uint64_t remaining() const noexcept { return remaining_; }
  std::uint32_t number() {
    remaining_ -= sizeof(std::uint32_t);
    return source_.read_lendian_t<std::uint32_t>(abort_);
  }
  std::optional<std::string> key() {
    std::string result;
    while (remaining_ != 0 && result.size() <= max_ape_key) {
      --remaining_;
      const auto c = source_.read_lendian_t<char>(abort_);
      if (c == '\0') return result;
      result.push_back(c);
    }
    return std::nullopt;
  }
  std::string value(std::uint32_t size) {
    std::string result(size, '\0');
    source_.read_object(result.data(), size, abort_);
    remaining_ -= size;
    return result;
  }
  void skip(std::uint32_t size) {
    source_.skip_object(size, abort_);
    remaining_ -= size;
  }

 private:
  file& source_;
  std::uint64_t remaining_;
  abort_callback& abort_;
};

template <class Items>
std::vector<ape_item> walk(Items in, std::uint32_t version, std::uint32_t count, ape_items_wanted wanted) {
  std::vector<ape_item> result;
  count = std::min(count, max_ape_items);
  for (std::uint32_t n = 0; n < count && in.remaining() >= item_header_size; ++n) {
    const auto size = in.number();
    const auto stored_flags = in.number();
    const auto flags = version == ape_version_1 ? 0 : stored_flags;
    auto key = in.key();
    if (!key || size > max_ape_value || size > in.remaining()) break;
    ape_item item;
    item.read_only = (flags & read_only_bit) != 0;
    item.type = static_cast<ape_item_type>(flags >> type_shift & type_mask);
    if (wanted == ape_items_wanted::text && item.type != ape_item_type::text) {
      in.skip(size);
      continue;
    }
    item.key = std::move(*key);
    item.value = in.value(size);
    result.push_back(std::move(item));
  }
  return result;
}

/// The footer that ends at `end`.
ape_footer read_footer(file& source, std::uint64_t end, abort_callback& abort) {
  if (end < ape_footer_size) throw exception_tag_not_found();
  std::array<std::byte, ape_footer_size> bytes;
  source.seek(end - ape_footer_size, abort);
  source.read_object(bytes.data(), bytes.size(), abort);
  return require_footer(bytes, end);
}

std::vector<ape_item> read_items(file& source, std::uint64_t end, const ape_footer& footer, ape_items_wanted wanted,
                                 abort_callback& abort) {
  if (footer.size > max_ape_tag_size) throw exception_io_data();
  source.seek(end - footer.size, abort);
  const auto size = footer.items_size();
  if (size > read_whole_limit && wanted == ape_items_wanted::text)
    return walk(file_items(source, size, abort), footer.version, footer.count, wanted);
  std::vector<std::byte> data(static_cast<std::size_t>(size));
  source.read_object(data.data(), data.size(), abort);
  return parse_ape_items(footer.version, footer.count, data, wanted);
}

} // namespace

std::uint32_t ape_tag_size(std::span<const std::byte> footer) {
  const auto parsed = parse_footer(footer);
  return parsed && parsed->is_valid() ? parsed->whole_size() : 0;
}

std::vector<ape_item> parse_ape_items(std::uint32_t version, std::uint32_t count, std::span<const std::byte> data,
                                      ape_items_wanted wanted) {
  return walk(memory_items(data), version, count, wanted);
}

ape_tag parse_ape_tag(std::span<const std::byte> data, ape_items_wanted wanted) {
  if (data.size() < ape_footer_size) throw exception_tag_not_found();
  const auto footer = require_footer(data.last(ape_footer_size), data.size());
  const auto items = data.last(footer.size).first(static_cast<std::size_t>(footer.items_size()));
  return {footer.version, parse_ape_items(footer.version, footer.count, items, wanted)};
}

ape_tag read_ape_tag(file& source, std::uint64_t& end, abort_callback& abort, ape_items_wanted wanted) {
  const auto footer = read_footer(source, end, abort);
  ape_tag result{footer.version, read_items(source, end, footer, wanted, abort)};
  end -= footer.whole_size();
  return result;
}

std::uint32_t skip_ape_tag(file& source, std::uint64_t& end, abort_callback& abort) {
  const auto footer = read_footer(source, end, abort);
  end -= footer.whole_size();
  return footer.version;
}

namespace {

/// Writes into room that has been counted before.
class tag_writer {
 public:
  explicit tag_writer(std::span<std::byte> room) : room_(room) {}
  void number(std::uint32_t value) {
    store_le(room_.data(), value);
    room_ = room_.subspan(sizeof value);
  }
  void text(std::string_view bytes) {
    std::ranges::copy(as_byte_span(bytes), room_.begin());
    room_ = room_.subspan(bytes.size());
  }
  void zeros(std::size_t count) { room_ = room_.subspan(count); }
  void edge(const ape_footer& footer) {
    text(magic);
    for (const auto value : {footer.version, footer.size, footer.count, footer.flags}) number(value);
    zeros(sizeof(std::uint64_t));
  }

 private:
  std::span<std::byte> room_; ///< zero so far
};

std::uint32_t size_of_items(std::span<const ape_item> items) {
  std::uint64_t size = 0;
  for (const auto& item : items) {
    if (item.value.size() > max_ape_value || item.key.size() > max_ape_key)
      throw exception_io_data("The value is too large for an APE tag");
    size += item_header_size + item.key.size() + 1 + item.value.size();
  }
  if (size + 2 * ape_footer_size > max_ape_tag_size || items.size() > max_ape_items)
    throw exception_io_data("The tag is too large for an APE tag");
  return static_cast<std::uint32_t>(size);
}

} // namespace

std::vector<std::byte> format_ape_tag(std::span<const ape_item> items) {
  const auto items_size = size_of_items(items);
  std::vector<std::byte> result(ape_footer_size + items_size + ape_footer_size);
  tag_writer out(result);
  ape_footer footer{ape_version_2, items_size + static_cast<std::uint32_t>(ape_footer_size),
                    static_cast<std::uint32_t>(items.size()), has_header | is_header};
  out.edge(footer);
  for (const auto& item : items) {
    out.number(static_cast<std::uint32_t>(item.value.size()));
    out.number((item.read_only ? read_only_bit : 0) | static_cast<std::uint32_t>(item.type) << type_shift);
    out.text(item.key);
    out.zeros(1);
    out.text(item.value);
  }
  footer.flags = has_header;
  out.edge(footer);
  return result;
}

void write_ape_tag(file& target, std::span<const ape_item> items, abort_callback& abort) {
  const auto tag = format_ape_tag(items);
  target.write(tag.data(), tag.size(), abort);
}

} // namespace zelmora
