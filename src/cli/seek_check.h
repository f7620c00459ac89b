// Whether decoding from a position gives what the linear decode gives there.
#pragma once

#include "cli/json_writer.h"
#include "frame/input.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zelmora::cli {

struct seek_plan {
  std::uint32_t subsong = 0;
  std::uint64_t samples = 0; ///< what the linear decode gave, per channel
  unsigned seeks = 0;
  std::uint64_t seed = 0;
};

/// Most samples per channel that are compared after a seek.
inline constexpr std::size_t seek_window = 4096;

/// The positions that a plan tries [0, samples]: the first sample, the second, the last and the exact end as far as
/// `seeks` allows, then random ones. The same seed gives the same positions everywhere.
std::vector<std::uint64_t> seek_positions(const seek_plan& plan);

/// Decodes the subsong again, keeping the samples at the positions, and then seeks to each in a shuffled order. After a
/// seek the samples must be the same to the bit, and the end must come where it came. What differs is told in
/// `problems`, the first few in words. `advance` hears how far [0, 1] a decode has come. Memory does not grow with the
/// length or the number of seeks: many are done in several rounds.
seek_results check_seeks(input_decoder& decoder, const seek_plan& plan, std::vector<std::string>& problems,
                         const std::function<void(double)>& advance, abort_callback& abort);

} // namespace zelmora::cli
