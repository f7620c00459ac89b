// The way from a RIFF file to its `riff_destination`: a list of writes, pure arithmetic over the chunks. Every prefix
// of it leaves a file with the old tags or the new, and its audio:
//
//   - payloads are written where no reader looks: inside "JUNK", or behind the end that the file's header tells;
//   - one write of at most 8 bytes makes them visible, a chunk's header or the file's size field;
//   - what they replace becomes "JUNK" by a write of 4 bytes after that, the first of a kind last, since readers take
//   the
//     first;
//   - a new chunk whose place is that of an old one is staged behind the end first: the old one goes, and the new one
//     settles in its place;
//   - between steps that must reach the disk in order stands a flush.
#pragma once

#include "pcm/riff_destination.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zelmora {

enum class riff_step_kind { write, flush, cut };

struct riff_step {
  riff_step_kind kind = riff_step_kind::flush;
  std::uint64_t position = 0;     ///< of a write; the size that a cut leaves
  std::vector<std::byte> bytes{}; ///< of a write
};

/// Whether there is such a way. There is none where bytes that are nobody's stand behind the end of RIFF and would have
/// to move, and where the chunks to be staged don't fit below 4 GiB.
bool can_plan_riff_edit(const riff_layout& layout, const riff_destination& to);

std::vector<riff_step> plan_riff_edit(const riff_layout& layout, const riff_edit& edit, const riff_destination& to);

} // namespace zelmora
