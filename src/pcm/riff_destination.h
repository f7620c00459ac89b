// Where the chunks of a RIFF file stand when an edit of its tags is done.
//
// Chunks that are replaced become free, and so does "JUNK"; neighbours become one stretch, and a stretch at the very
// end of the file is cut off. A new chunk takes the first stretch that it fills, or that it leaves at least the header
// of another chunk of; the rest stays "JUNK". What finds no stretch goes to the end. Sizes are even. No other chunk
// moves.
#pragma once

#include "pcm/riff_layout.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zelmora {

/// New content of the tags of a file. A kind that is not replaced keeps its chunks; one that is replaced by nothing
/// loses them.
struct riff_edit {
  struct replacement {
    bool is_replaced = false;
    std::vector<std::byte> payload{}; ///< empty for no chunk
  };
  replacement id3;
  replacement info;

  bool replaces(const riff_chunk& chunk) const noexcept {
    return (chunk.role == riff_role::id3 && id3.is_replaced) || (chunk.role == riff_role::info && info.is_replaced);
  }
};

/// Chunks next to each other that are free, or are to be.
struct riff_stretch {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  std::uint64_t free_end = 0; ///< of what is free by now: where the first chunk that is to go begins, or `end`
  std::uint64_t used_end = 0; ///< of the new chunks at its beginning
};

/// A new chunk and its place.
struct riff_placement {
  riff_role role = riff_role::other;
  std::vector<std::byte> bytes{}; ///< header and payload
  std::uint64_t target = 0;
  std::optional<std::size_t> in{}; ///< the stretch; none for the end of the file
  std::uint64_t end() const noexcept { return target + bytes.size(); }
};

struct riff_destination {
  std::vector<riff_stretch> stretches; ///< by position, without `tail`
  std::vector<riff_placement> placed;
  std::optional<riff_stretch> tail; ///< the one at the end of the file
  std::uint64_t end = 0;            ///< of RIFF
};

/// Whether `size` bytes may stand in `room`: nothing must be left, or enough for a header.
bool fits_riff_gap(std::uint64_t size, std::uint64_t room) noexcept;

std::vector<std::byte> make_riff_header(const riff_code& code, std::uint64_t size);

/// Whether the size field of a file that ends at `end` can tell so.
bool fits_riff_size(std::uint64_t end) noexcept;

/// Raises `exception_io_data` when the file would be larger than its size field can tell.
riff_destination find_riff_destination(const riff_layout& layout, const riff_edit& edit);

/// A part of the new file when it is written from start to end.
struct riff_piece {
  std::uint64_t begin = 0; ///< in the old file
  std::uint64_t end = 0;
  std::vector<std::byte> bytes{}; ///< when there are any, they stand for it
};

std::vector<riff_piece> list_riff_pieces(const riff_layout& layout, const riff_edit& edit, const riff_destination& to);

} // namespace zelmora
