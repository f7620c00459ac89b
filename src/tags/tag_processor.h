// The tags of an untyped byte stream: ID3v2 at the head; APE, Lyrics3 and ID3v1 at the tail. What inputs call.
#pragma once

#include "frame/album_art.h"
#include "frame/file.h"
#include "frame/file_info.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelmora {

/// The kinds that a file may be given, as a sum.
enum class tag_kinds : std::uint32_t { none = 0, id3v1 = 1, id3v2 = 2, ape = 4 };
constexpr tag_kinds operator|(tag_kinds a, tag_kinds b) {
  return static_cast<tag_kinds>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
constexpr bool has_kind(tag_kinds kinds, tag_kinds one) {
  return (static_cast<std::uint32_t>(kinds) & static_cast<std::uint32_t>(one)) != 0;
}

/// What becomes of the encoder's delay that iTunes keeps in a comment of ID3v2, when that tag is removed.
enum class apple_gapless {
  removed,
  configured ///< it stays, in a tag of its own, if "tagging.id3.retainAppleGapless" says so
};

/// The ID3v2 tags that a stream begins with.
struct id3v2_zone {
  std::uint64_t size = 0; ///< [bytes]
  std::size_t count = 0;  ///< only the first is ever parsed
  bool is_cut = false;    ///< the last claims more than there is, and `size` is all there is
};

/// Every operation raises what the stream raises, `exception_aborted` included. A damaged tag counts as absent.
class tag_processor {
 public:
  /// Finds the tags at the head and leaves the stream right behind them.
  static id3v2_zone skip_id3v2(zelmora_io::file& source, abort_callback& abort);

  /// Adds what the first ID3v2 tag says. Raises `exception_tag_not_found`; `exception_io_data` for a damaged tag.
  static void read_id3v2(zelmora_io::file& source, file_info& info, abort_callback& abort);
  /// The comment "iTunSMPB" of the first ID3v2 tag: the delay and the length of the music. None without it.
  static std::optional<std::string> read_apple_gapless(zelmora_io::file& source, abort_callback& abort);
  /// Adds what the tags of the tail say, and answers where they begin. Raises `exception_tag_not_found`.
  static std::uint64_t read_trailing(zelmora_io::file& source, file_info& info, abort_callback& abort);
  /// Fills `info` from both ends: ID3v2 before APE before ID3v1. Raises `exception_tag_not_found`.
  static void read(zelmora_io::file& source, file_info& info, abort_callback& abort);

  /// Makes `kinds` the tags of `target`, all of them saying `info`. The object at `path` holds the old bytes or the new
  /// at every moment; `target` is open on it afterwards. With no path, or one that can't be replaced, the bytes are
  /// moved within `target`. Nothing is written when nothing changes. A head that goes past the end raises
  /// `exception_io_data`: what it claims may be audio.
  static void write(file_ptr& target, std::string_view path, const file_info& info, tag_kinds kinds,
                    abort_callback& abort, apple_gapless gapless = apple_gapless::removed);
  static void remove_id3v2(file_ptr& target, std::string_view path, abort_callback& abort);
  static void remove_trailing(file_ptr& target, std::string_view path, abort_callback& abort);
  static void remove_all(file_ptr& target, std::string_view path, abort_callback& abort,
                         apple_gapless gapless = apple_gapless::removed);

  /// The pictures of an APE tag where there is one and no ID3v2, else those of ID3v2. Raises
  /// `exception_album_art_not_found` where neither is.
  static album_art_set read_pictures(zelmora_io::file& source, abort_callback& abort);
  /// Makes `pictures` the ones that `target` shows, in the kind that `read_pictures` looks at; a file without tags gets
  /// ID3v2. Fields stay.
  static void write_pictures(file_ptr& target, std::string_view path, const album_art_set& pictures,
                             abort_callback& abort);
};

/// The head zone for hosts and other modules, over objects that can't be replaced.
class id3v2_tag_service : public service_base {
 public:
  using interface_type = id3v2_tag_service;
  using interface_parent = service_base;
  static constexpr guid class_guid = "8B5D4F0A-2C77-4E63-9E0F-61D1B9A3C571"_guid;

  virtual id3v2_zone skip(zelmora_io::file& source, abort_callback& abort) = 0;
  virtual void read(zelmora_io::file& source, file_info& info, abort_callback& abort) = 0;
  virtual void write(zelmora_io::file& target, const file_info& info, abort_callback& abort) = 0;
  virtual void remove(zelmora_io::file& target, abort_callback& abort) = 0;
};

/// The kinds with which an MP3 file whose tags read as `current`, behind a head of `head`, is to say `info`: those it
/// has; for a file without, the configured scheme. An ID3v2 tag that says nothing for `current`, of pictures alone say,
/// is there as well.
tag_kinds choose_mp3_tag_kinds(const file_info& current, const id3v2_zone& head, const file_info& info);

} // namespace zelmora
