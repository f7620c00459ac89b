// The one template of fuzz targets for inputs: bytes that claim to be a file are opened, described, decoded and sought
// in, over each of the ways in which files behave. Used by the fuzz targets here and by the replay of their seeds in
// tests/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace zelmora::fuzz {

/// Runs `data` through whatever input of the program opens it as `path`. Returns what is wrong, empty for nothing: only
/// I/O exceptions may come out, chunks must be valid, and a seek must give what decoding from the start gave.
std::string check_input(std::span<const std::byte> data, std::string_view path);

/// The body of `LLVMFuzzerTestOneInput`: ends the process when something is wrong.
int run_input_target(const std::uint8_t* data, std::size_t size, std::string_view path);

} // namespace zelmora::fuzz
