// The chunks of a RIFF file as an edit needs them: all of them, and sound. Where a reader makes do with what it finds,
// a writer that misreads one size would turn audio into free space.
#pragma once

#include "frame/file.h"
#include "pcm/wave_chunks.h"

#include <cstdint>
#include <vector>

namespace zelmora {

/// "RIFF", the size and "WAVE" [bytes]; the first chunk stands behind them.
inline constexpr std::uint64_t riff_file_header = 12;
inline constexpr std::uint64_t riff_chunk_header = 8;
inline constexpr std::uint64_t riff_size_field = 4; ///< its position
/// The file's size field counts from its own end [bytes].
inline constexpr std::uint64_t riff_uncounted = 8;

enum class riff_role {
  other,
  junk, ///< free
  id3,
  info, ///< a LIST that begins with "INFO"
};

struct riff_chunk {
  riff_code code;
  riff_role role = riff_role::other;
  std::uint64_t position = 0; ///< of the header
  std::uint64_t size = 0;     ///< of the payload [bytes]

  std::uint64_t payload() const noexcept { return position + riff_chunk_header; }
  /// Where the next chunk begins.
  std::uint64_t end() const noexcept { return wave_align(payload() + size, wave_container::riff); }
  friend bool operator==(const riff_chunk&, const riff_chunk&) = default;
};

struct riff_layout {
  std::vector<riff_chunk> chunks; ///< without gaps
  std::uint64_t end = 0;          ///< of the last chunk, on an even position, which may be one behind the file's end
  std::uint32_t claimed_size = 0; ///< the file's size field as it stands
  std::uint64_t file_size = 0;    ///< [bytes]
  std::uint64_t tail = 0;         ///< where bytes that are nobody's begin
  bool has_foreign_tail = false;  ///< bytes behind the end of RIFF that no edit of ours left
};

/// Reads the layout of `file`, a RIFF file of known size. Chunks that overlap, pass the end of RIFF or of the file, or
/// are too many, and data without a size raise `exception_io_data`.
riff_layout read_riff_layout(zelmora_io::file& file, abort_callback& abort);

} // namespace zelmora
