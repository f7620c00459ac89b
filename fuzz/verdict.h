// How a fuzz target says that something is wrong.
#pragma once

#include "frame/exceptions.h"

#include <fmt/core.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <string>

namespace zelmora::fuzz {

/// Raised by a check, for what is wrong.
struct violation {
  std::string text;
};

/// What is wrong after `run`, empty for nothing; an exception that comes out is wrong.
template <class Run>
std::string verdict_of(Run run) {
  try {
    run();
  } catch (const violation& found) {
    return found.text;
  } catch (const std::exception& failure) {
    return fmt::format("{}: {}", exception_class_name(failure), failure.what());
  }
  return {};
}

/// The body of `LLVMFuzzerTestOneInput`: ends the process when `check` of the bytes answers with what is wrong.
template <class Check>
int run_check(const std::uint8_t* data, std::size_t size, Check check) {
  const std::string wrong = check(std::span(reinterpret_cast<const std::byte*>(data), size));
  if (wrong.empty()) return 0;
  std::fprintf(stderr, "%s\n", wrong.c_str());
  std::abort();
}

} // namespace zelmora::fuzz
