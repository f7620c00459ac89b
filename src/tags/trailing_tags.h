// The tags that stand at the end of a stream: a stack of APE, Lyrics3 and ID3v1 blocks.
//
// Writing is in two steps, so that it can be made safe: what is there is looked up, what is to be there is computed in
// memory, and the difference is an edit for `apply_edits`.
#pragma once

#include "frame/file.h"
#include "frame/file_info.h"
#include "frame/rewrite.h"
#include "tags/ape_tag.h"
#include "tags/id3v1.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace zelmora {

/// The kinds that a tail may be given, as a sum.
enum class trailing_kinds : std::uint32_t { none = 0, ape = 1, id3v1 = 2, both = 3 };
constexpr bool has_kind(trailing_kinds kinds, trailing_kinds one) {
  return (static_cast<std::uint32_t>(kinds) & static_cast<std::uint32_t>(one)) != 0;
}

// A block that would begin before `floor` [bytes], in what the head of the stream is known to hold, is none.

/// Fills `info` from the last APE tag and the ID3v1 tag behind it, and answers where they begin [bytes]. A damaged one
/// counts as absent; without either raises `exception_tag_not_found`. The stream is seekable and of known size.
std::uint64_t read_trailing_tags(zelmora_io::file& source, file_info& info, abort_callback& abort,
                                 std::uint64_t floor = 0);

/// What a tail is looked at for.
enum class tail_use {
  replace, ///< Lyrics3 blocks stay in the file: the tail begins behind the last of them
  remove   ///< Lyrics3 blocks belong to it; what the blocks hold is of no interest
};

/// What a tail consists of.
struct trailing_zone {
  std::uint64_t begin = 0; ///< [bytes]; `end` when there is none
  std::uint64_t end = 0;   ///< of the stream
  // With `tail_use::replace`:
  std::optional<ape_tag> ape; ///< the last one
  std::vector<std::byte> ape_bytes;
  std::optional<id3v1_block> id3v1; ///< the last one
};

/// Strips blocks from the end for as long as there are any; of APE tags only the last one counts.
trailing_zone scan_trailing_tags(zelmora_io::file& source, tail_use use, abort_callback& abort,
                                 std::uint64_t floor = 0);

/// The bytes of a tail with `kinds` that says `info`, in place of `old`: APE first, then ID3v1. Items of the old APE
/// tag that aren't writable text are kept. A block that says the same already stays as it is, byte for byte.
std::vector<std::byte> make_trailing_tags(const trailing_zone& old, const file_info& info, trailing_kinds kinds);

/// The edit that gives `source` a tail with `kinds` that says `info`. With `none` as `remove_trailing_tags`.
file_edit write_trailing_tags(zelmora_io::file& source, const file_info& info, trailing_kinds kinds,
                              abort_callback& abort, std::uint64_t floor = 0);
/// The edit that removes the tail, Lyrics3 included.
file_edit remove_trailing_tags(zelmora_io::file& source, abort_callback& abort, std::uint64_t floor = 0);

/// The same for hosts and other modules, over objects that can't be replaced: an edit that fails is undone, one that is
/// killed may be left half done.
class trailing_tag_service : public service_base {
 public:
  using interface_type = trailing_tag_service;
  using interface_parent = service_base;
  static constexpr guid class_guid = "8B5D4F0A-2C77-4E63-9E0F-61D1B9A3C570"_guid;

  // In slot order.
  virtual void read(zelmora_io::file& source, file_info& info, abort_callback& abort) = 0;
  virtual void write(zelmora_io::file& target, const file_info& info, trailing_kinds kinds, abort_callback& abort) = 0;
  virtual void remove(zelmora_io::file& target, abort_callback& abort) = 0;
  virtual bool id3v1_sufficient(const file_info& info) = 0;
  virtual void id3v1_truncate(file_info& info) = 0;
  /// As `read`; `offset` is where the tail begins.
  virtual void read(zelmora_io::file& source, file_info& info, std::uint64_t& offset, abort_callback& abort) = 0;
};

} // namespace zelmora
