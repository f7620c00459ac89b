// How much memory code asks for at once: whether a header's claim was believed. A program that calls these has its
// operator new replaced by one that takes note.
#pragma once

#include <cstddef>

namespace zelmora::test {

void clear_largest_allocation() noexcept;
/// [bytes], since the last clearing.
std::size_t largest_allocation() noexcept;
/// How often memory was asked for, by C++ code of this program and of the modules that it loads.
std::size_t allocation_count() noexcept;

} // namespace zelmora::test
