// The ID3v2 container: one tag as a list of raw frames, and back. Nothing here knows what a frame means beyond its
// text. Sources: id3.org, "ID3 tag version 2.2.0", "ID3 tag version 2.3.0", "ID3 tag version 2.4.0 - Main Structure".
#pragma once

#include "frame/bytes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <vector>

namespace zelmora::id3parser {

class parseError : public std::runtime_error {
 public:
  parseError() : std::runtime_error("ID3v2 parse error") {}
};
class writeError : public std::runtime_error {
 public:
  writeError() : std::runtime_error("ID3v2 write error") {}
};

/// Frames of this size and more make a tag unreadable, are not written, and inflate to no more [bytes].
inline constexpr std::size_t frame_size_limit = 0x4000000;
/// What a synchsafe number of four bytes can't hold [bytes].
inline constexpr std::size_t synchsafe_limit = 0x10000000;
/// What a tag's compressed frames may inflate to, over sixteen times its size [bytes].
inline constexpr std::size_t inflation_allowance = 0x1000000;
/// How much may be left free behind the frames, so that a tag keeps its place [bytes].
inline constexpr std::size_t usual_padding_limit = 16384;

struct frame {
  std::uint32_t id = 0;           ///< four characters; 0 for one that is in no table
  std::vector<std::byte> payload; ///< without unsynchronisation, length indicator and compression

  friend bool operator==(const frame&, const frame&) = default;
};

/// Answers whether a frame of that id is wanted.
using frame_filter = std::function<bool(std::uint32_t id)>;

struct tag {
  std::vector<frame> frames;
  unsigned version = 0; ///< 2, 3 or 4
};

enum class damaged_frames { raise, leave_out };

/// The tag that `data` begins with. Version 2.2 names become those of 2.3. Raises `parseError` when the structure is
/// damaged anywhere, and by default for a wanted frame whose payload is.
tag parse(std::span<const std::byte> data, const frame_filter& wanted = nullptr,
          damaged_frames damaged = damaged_frames::raise);

/// `source` as bytes. Where it fits into `old_size` with no more than `padding_limit` to spare it has exactly that
/// size; otherwise it gets up to 2048 bytes of padding within that limit. Raises `writeError` for versions other than 3
/// and 4 and for what is too large, a single frame included.
std::vector<std::byte> serialize(const tag& source, std::uint64_t old_size, std::size_t padding_limit);

/// Undoes unsynchronisation. `damaged` tells that the data ended at a false synchronisation.
struct synchronised {
  std::vector<std::byte> data;
  bool damaged = false;
};
synchronised undo_unsynchronisation(std::span<const std::byte> data);

} // namespace zelmora::id3parser
