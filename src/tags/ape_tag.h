// APE tags as they stand in files: items between an optional header and a footer. Versions 1 and 2 are read, 2 is
// written. Source: "APEv2 specification", wiki.hydrogenaud.io.
#pragma once

#include "frame/file.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zelmora {

enum class ape_item_type : std::uint8_t { text = 0, binary = 1, external = 2, reserved = 3 };

struct ape_item {
  bool read_only = false;
  ape_item_type type = ape_item_type::text;
  std::string key;
  std::string value; ///< bytes; UTF-8 in text, with a zero byte between several values

  bool is_writable_text() const noexcept { return !read_only && type == ape_item_type::text; }
  friend bool operator==(const ape_item&, const ape_item&) = default;
};

inline constexpr std::uint32_t ape_version_1 = 1000;
inline constexpr std::uint32_t ape_version_2 = 2000;

struct ape_tag {
  std::uint32_t version = ape_version_2;
  std::vector<ape_item> items; ///< in file order
};

/// Length of a header, and of a footer [bytes].
inline constexpr std::size_t ape_footer_size = 32;

// Limits. None is met by a tag that a person made.

/// Larger values end the parsing of a tag, and are not written [bytes].
inline constexpr std::uint32_t max_ape_value = 0x1000000;
/// Longer keys end the parsing; the format allows 255 characters [bytes].
inline constexpr std::size_t max_ape_key = 65535;
/// Items beyond this many are not looked at: each costs ten times its smallest size in memory.
inline constexpr std::uint32_t max_ape_items = 1u << 20;
/// The items of a larger tag are not read: they would have to be in memory to be written back [bytes].
inline constexpr std::uint64_t max_ape_tag_size = std::uint64_t{256} << 20;

/// The whole size of the tag that ends with these 32 bytes, header included [bytes]; 0 when they are no footer.
std::uint32_t ape_tag_size(std::span<const std::byte> footer);

enum class ape_items_wanted {
  all,
  text ///< text alone: what describes a track. Pictures are skipped over.
};

/// Items from `data`, which has no header or footer, up to `count`. The first that doesn't fit ends them, silently. In
/// version 1 flags mean nothing, and every item is writable text.
std::vector<ape_item> parse_ape_items(std::uint32_t version, std::uint32_t count, std::span<const std::byte> data,
                                      ape_items_wanted wanted = ape_items_wanted::all);

/// The tag that `data` ends with. Without a footer there raises `exception_tag_not_found`; with one that can't be
/// right, `exception_io_data`.
ape_tag parse_ape_tag(std::span<const std::byte> data, ape_items_wanted wanted = ape_items_wanted::all);

/// The tag of which the footer ends at `end`, which moves in front of the tag. Raises as `parse_ape_tag`, and leaves
/// `end` then.
ape_tag read_ape_tag(zelmora_io::file& source, std::uint64_t& end, abort_callback& abort,
                     ape_items_wanted wanted = ape_items_wanted::all);
/// The same without its items; answers the version.
std::uint32_t skip_ape_tag(zelmora_io::file& source, std::uint64_t& end, abort_callback& abort);

/// A tag of version 2 with header and footer. Keys are not empty and hold no zero byte; values above `max_ape_value`
/// raise `exception_io_data`, as they could not be read back.
std::vector<std::byte> format_ape_tag(std::span<const ape_item> items);
/// Writes it at the position of `target`, in one call.
void write_ape_tag(zelmora_io::file& target, std::span<const ape_item> items, abort_callback& abort);

} // namespace zelmora
