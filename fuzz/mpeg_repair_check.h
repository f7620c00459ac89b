// What must hold for repairs of any bytes in which frames of MPEG audio are found.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// Takes `data` as a file and repairs it in each way: the edits must be possible, leave every frame, and have nothing
/// left to do for a second time. Returns what is wrong, empty for nothing.
std::string check_mpeg_repair(std::span<const std::byte> data);

} // namespace zelmora::fuzz
