#include "mpeg/frame_index.h"

#include <algorithm>
#include <array>
#include <mutex>

namespace zelmora {

namespace {

constexpr std::size_t cached_indexes = 10;
/// Of ten weeks: beyond, seeks read more headers.
constexpr std::size_t most_entries = 262'144;

struct cache_slot {
  mpeg_index_key key;
  mpeg_frame_index_ptr index;
  std::uint64_t last_use = 0;
};

struct index_cache {
  std::mutex mutex;
  std::uint64_t uses = 0;
  std::array<cache_slot, cached_indexes> slots;
};

index_cache& cache() {
  static index_cache instance;
  return instance;
}

} // namespace

void mpeg_frame_index::add(const entry& found) {
  const std::lock_guard lock(cache().mutex);
  if (entries_.size() == most_entries) return;
  const auto next = std::ranges::upper_bound(entries_, found.frame, {}, &entry::frame);
  if (next != entries_.end() && next->frame - found.frame <= spacing) return;
  if (next != entries_.begin() && found.frame - std::prev(next)->frame <= spacing) return;
  entries_.insert(next, found);
}

std::optional<mpeg_frame_index::entry> mpeg_frame_index::find_last(std::uint64_t value,
                                                                   std::uint64_t entry::*member) const {
  const std::lock_guard lock(cache().mutex);
  const auto next = std::ranges::upper_bound(entries_, value, {}, member);
  if (next == entries_.begin()) return std::nullopt;
  return *std::prev(next);
}

std::optional<mpeg_frame_index::entry> mpeg_frame_index::find(std::uint64_t frame) const {
  return find_last(frame, &entry::frame);
}
std::optional<mpeg_frame_index::entry> mpeg_frame_index::find_sample(std::uint64_t sample) const {
  return find_last(sample, &entry::sample);
}

void mpeg_frame_index::clear() {
  const std::lock_guard lock(cache().mutex);
  entries_.clear();
}

mpeg_frame_index_ptr get_mpeg_frame_index(const mpeg_index_key& key) {
  auto& all = cache();
  const std::lock_guard lock(all.mutex);
  auto found = std::ranges::find_if(all.slots, [&](const cache_slot& s) { return s.index && s.key == key; });
  if (found == all.slots.end()) {
    found = std::ranges::min_element(all.slots, {}, &cache_slot::last_use);
    found->key = key;
    found->index = std::make_shared<mpeg_frame_index>();
  }
  found->last_use = ++all.uses;
  return found->index;
}

} // namespace zelmora
