// What must hold when the tags at both ends of any bytes are written.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// Writes what was read, and something else, in each choice of kinds; writes pictures; and removes all of it. Returns
/// what is wrong, empty for nothing: what stands between the tags stays what it is.
std::string check_tag_processor(std::span<const std::byte> data);

} // namespace zelmora::fuzz
