#include "support/largest_allocation.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::size_t> largest = 0;
std::atomic<std::size_t> count = 0;
} // namespace

// The library's own form for std::stable_sort and others; what allocates must be of one make with what frees.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  count.fetch_add(1, std::memory_order_relaxed);
  auto known = largest.load(std::memory_order_relaxed);
  while (known < size && !largest.compare_exchange_weak(known, size, std::memory_order_relaxed)) {
  }
  return std::malloc(size != 0 ? size : 1);
}
void* operator new(std::size_t size) {
  if (void* const result = operator new(size, std::nothrow)) return result;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace zelmora::test {

void clear_largest_allocation() noexcept { largest = 0; }
std::size_t largest_allocation() noexcept { return largest; }
std::size_t allocation_count() noexcept { return count; }

} // namespace zelmora::test
