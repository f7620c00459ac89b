#include "pcm/riff_plan.h"

#include "frame/bytes.h"

#include <algorithm>
#include <array>
#include <map>
#include <span>

namespace zelmora {

namespace {

void append(std::vector<std::byte>& to, std::span<const std::byte> bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

/// Whether some new chunk's place is, in part, that of an old one.
bool needs_staging(const riff_destination& to) {
  const auto meets_old = [](const riff_stretch& s) {
    return s.used_end != s.begin && s.free_end != s.end && !fits_riff_gap(s.used_end - s.begin, s.free_end - s.begin);
  };
  return std::ranges::any_of(to.stretches, meets_old) || (to.tail && meets_old(*to.tail));
}

/// Where staged chunks begin: behind all there is and all there is to be, with gaps that a "JUNK" can fill.
std::uint64_t find_stage(std::uint64_t old_end, std::uint64_t new_end) {
  if (fits_riff_gap(new_end, old_end)) return old_end;
  if (fits_riff_gap(old_end, new_end)) return new_end;
  return std::max(old_end, new_end) + riff_chunk_header;
}

std::uint64_t find_stage_end(const riff_layout& layout, const riff_destination& to) {
  auto end = find_stage(layout.end, to.end);
  for (const auto& placement : to.placed) end += placement.bytes.size();
  return end;
}

bool appends(const riff_destination& to) {
  return std::ranges::any_of(to.placed, [](const riff_placement& p) { return !p.in; });
}

/// Puts the steps together, and keeps track of what they have done to the file.
class planner {
 public:
  planner(const riff_layout& layout, const riff_edit& edit, const riff_destination& to)
      : layout_(layout), edit_(edit), to_(to), size_field_(layout.claimed_size), end_(layout.end),
        file_size_(layout.file_size) {
    for (const auto& chunk : layout.chunks)
      if (chunk.role == riff_role::junk) junk_[chunk.position] = chunk.size;
  }

  std::vector<riff_step> run() {
    const bool is_staged = needs_staging(to_);
    if (is_staged) stage();
    for (const auto role : order()) {
      if (!is_staged) place(role);
      strip(role);
    }
    if (is_staged) settle_staged();
    for (const auto& s : to_.stretches) merge(s.used_end, s.end);
    cut();
    flush();
    return std::move(steps_);
  }

 private:
  /// ID3 hides INFO from readers. Where there is ID3 to come it comes first, so that the new list, which may say less,
  /// never shows in its place; where there is none the list goes first, so that the old one never shows.
  std::array<riff_role, 2> order() const {
    const bool has_id3 = std::ranges::any_of(to_.placed, [](const auto& p) { return p.role == riff_role::id3; });
    if (has_id3) return {riff_role::id3, riff_role::info};
    return {riff_role::info, riff_role::id3};
  }

  void write(std::uint64_t position, std::vector<std::byte> bytes) {
    file_size_ = std::max(file_size_, position + bytes.size());
    steps_.push_back({riff_step_kind::write, position, std::move(bytes)});
  }
  void flush() {
    if (!steps_.empty() && steps_.back().kind != riff_step_kind::flush) steps_.push_back({});
  }

  /// Makes the file's size field tell of the bytes before `end`, and of no others.
  void tell_end(std::uint64_t end) {
    end_ = end;
    // The last pad byte may be missing from the file, or from the size: the chunks are the same.
    const auto told = std::min(end, file_size_);
    if (size_field_ == told - riff_uncounted || size_field_ == end - riff_uncounted) return;
    size_field_ = told - riff_uncounted;
    std::vector<std::byte> field(4);
    store_le(field.data(), checked_cast<std::uint32_t>(size_field_));
    flush();
    write(riff_size_field, std::move(field));
    flush();
  }

  /// Writes `bytes` from `end` on, where no reader looks, and then tells of them.
  void extend(std::uint64_t end, std::span<const std::byte> bytes) {
    tell_end(end);
    cut_behind(end);
    flush();
    const auto from = std::min(end, file_size_);
    std::vector<std::byte> padded(static_cast<std::size_t>(end - from));
    append(padded, bytes);
    write(from, std::move(padded));
    tell_end(end + bytes.size());
  }

  /// The free chunks of [begin, end) become one.
  void merge(std::uint64_t begin, std::uint64_t end) {
    if (begin == end) return;
    const auto size = end - begin - riff_chunk_header;
    if (const auto old = junk_.find(begin); old != junk_.end() && old->second == size) return;
    write(begin, make_riff_header(riff_codes::junk, size));
    junk_[begin] = size;
  }

  /// Puts a new chunk at the beginning of the free [target, end).
  void settle(const riff_placement& placement, std::uint64_t end) {
    merge(placement.target, end);
    flush();
    const auto header = placement.bytes.begin() + riff_chunk_header;
    std::vector<std::byte> hidden(header, placement.bytes.end());
    if (placement.end() != end) {
      const auto rest = end - placement.end() - riff_chunk_header;
      append(hidden, make_riff_header(riff_codes::junk, rest));
      junk_[placement.end()] = rest;
    }
    write(placement.target + riff_chunk_header, std::move(hidden));
    flush();
    write(placement.target, {placement.bytes.begin(), header});
    flush();
  }

  void place(riff_role role) {
    for (const auto& placement : to_.placed) {
      if (placement.role != role) continue;
      if (placement.in)
        settle(placement, to_.stretches[*placement.in].free_end);
      else if (to_.tail && to_.tail->free_end != to_.tail->end)
        settle(placement, to_.tail->free_end); // Old chunks behind it go later.
      else
        extend(placement.target, placement.bytes);
    }
  }

  void strip(riff_role role) {
    const auto code = as_byte_span(riff_codes::junk.view());
    for (auto chunk = layout_.chunks.rbegin(); chunk != layout_.chunks.rend(); ++chunk) {
      if (chunk->role != role || !edit_.replaces(*chunk)) continue;
      flush();
      write(chunk->position, {code.begin(), code.end()});
      junk_[chunk->position] = chunk->size;
    }
  }

  void stage() {
    stage_ = find_stage(layout_.end, to_.end);
    std::vector<std::byte> bytes;
    if (stage_ != layout_.end) {
      bytes = make_riff_header(riff_codes::junk, stage_ - layout_.end - riff_chunk_header);
      bytes.resize(static_cast<std::size_t>(stage_ - layout_.end));
      junk_[layout_.end] = stage_ - layout_.end - riff_chunk_header;
    }
    for (const auto& placement : to_.placed) append(bytes, placement.bytes);
    extend(layout_.end, bytes);
  }

  void settle_staged() {
    for (const auto& placement : to_.placed)
      settle(placement, placement.in ? to_.stretches[*placement.in].end : stage_);
  }

  /// Drops what is free, or was staged, at the end.
  void cut() {
    if (layout_.has_foreign_tail) return;
    if (end_ != to_.end) tell_end(to_.end);
    cut_behind(to_.end);
  }

  void cut_behind(std::uint64_t end) {
    if (file_size_ <= end) return;
    flush();
    steps_.push_back({riff_step_kind::cut, end});
    file_size_ = end;
  }

  const riff_layout& layout_;
  const riff_edit& edit_;
  const riff_destination& to_;
  std::vector<riff_step> steps_;
  std::map<std::uint64_t, std::uint64_t> junk_; ///< sizes of the free chunks by position
  std::uint64_t size_field_;
  std::uint64_t end_; ///< of RIFF
  std::uint64_t file_size_;
  std::uint64_t stage_ = 0; ///< where the staged chunks begin
};

} // namespace

bool can_plan_riff_edit(const riff_layout& layout, const riff_destination& to) {
  if (!needs_staging(to)) return !layout.has_foreign_tail || !appends(to);
  return !layout.has_foreign_tail && fits_riff_size(find_stage_end(layout, to));
}

std::vector<riff_step> plan_riff_edit(const riff_layout& layout, const riff_edit& edit, const riff_destination& to) {
  return planner(layout, edit, to).run();
}

} // namespace zelmora
