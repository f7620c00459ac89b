// How a fuzz target says that something is wrong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// The body of `LLVMFuzzerTestOneInput`: ends the process when `check` of the bytes answers with what is wrong.
template <class Check>
int run_check(const std::uint8_t* data, std::size_t size, Check check) {
  const std::string wrong = check(std::span(reinterpret_cast<const std::byte*>(data), size));
  if (wrong.empty()) return 0;
  std::fprintf(stderr, "%s\n", wrong.c_str());
  std::abort();
}

} // namespace zelmora::fuzz
