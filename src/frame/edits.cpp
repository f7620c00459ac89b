// Edits of an object, in the cheapest way that is safe. docs/decisions/0007 says what a kill can leave.
#include "frame/rewrite.h"

#include <algorithm>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// An edit, less what stands there already.
struct change {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  std::span<const std::byte> content;
  std::vector<std::byte> old; ///< the bytes of [begin, end), once they have been read

  bool keeps_size() const noexcept { return content.size() == end - begin; }
};

std::vector<std::byte> read_range(file& source, std::uint64_t begin, std::uint64_t end, abort_callback& abort) {
  source.seek(begin, abort);
  return source.read_bytes(end - begin, abort);
}

/// Cuts off the bytes at both ends that stay what they are; all of it may be cut.
void narrow(change& what) {
  const auto front = std::ranges::mismatch(what.old, what.content).in1 - what.old.begin();
  what.old.erase(what.old.begin(), what.old.begin() + front);
  what.content = what.content.subspan(static_cast<std::size_t>(front));
  what.begin += static_cast<std::uint64_t>(front);
  while (!what.old.empty() && what.old.back() == what.content.back()) {
    what.old.pop_back();
    what.content = what.content.first(what.content.size() - 1);
    --what.end;
  }
}

std::vector<change> find_changes(file& target, std::span<const file_edit> edits, std::uint64_t size,
                                 abort_callback& abort) {
  std::vector<change> changes;
  std::uint64_t last_end = 0;
  for (const auto& edit : edits) {
    if (edit.begin < last_end || edit.end < edit.begin || edit.end > size) throw exception_io_seek_out_of_range();
    last_end = edit.end;
    change found{edit.begin, edit.end, edit.content, {}};
    if (found.keeps_size()) {
      found.old = read_range(target, edit.begin, edit.end, abort);
      narrow(found);
      if (found.content.empty()) continue;
    }
    changes.push_back(std::move(found));
  }
  return changes;
}

/// Whether one operation does it, a write over the old bytes, one that goes past the old end, or a cut; and what a
/// failure would have to bring back can be kept in memory.
bool is_one_operation(const change& what, std::uint64_t size) {
  if (what.keeps_size()) return true;
  if (what.end - what.begin > tail_in_memory_limit) return false;
  return what.end == size && (what.content.empty() || what.content.size() > what.end - what.begin);
}

bool fits_in_place(std::span<const change> changes, std::uint64_t size, edit_steps steps) {
  return (changes.size() == 1 || steps == edit_steps::one_by_one) &&
         std::ranges::all_of(changes, [&](const change& what) { return is_one_operation(what, size); });
}

void overwrite(file& target, const change& what, abort_callback& abort) {
  if (what.content.empty()) return target.resize(what.begin, abort);
  target.seek(what.begin, abort);
  target.write(what.content.data(), what.content.size(), abort);
}

void restore(file& target, std::span<const change> changes, std::uint64_t size) {
  abort_callback_dummy no_abort;
  for (const auto& what : changes) {
    target.seek(what.begin, no_abort);
    target.write(what.old.data(), what.old.size(), no_abort);
  }
  if (target.get_size(no_abort) != size) target.resize(size, no_abort);
  flush_to_disk(target, no_abort);
}

void apply_in_place(file& target, std::span<change> changes, std::uint64_t size, abort_callback& abort) {
  // What a failure has to bring back is in memory before the first byte changes.
  for (auto& what : changes)
    if (!what.keeps_size()) what.old = read_range(target, what.begin, what.end, abort);
  auto begun = changes.size();
  try {
    while (begun != 0) overwrite(target, changes[--begun], abort);
    flush_to_disk(target, abort);
  } catch (...) {
    restore(target, changes.subspan(begun), size);
    throw;
  }
}

void apply_by_rewrite(file_ptr& target, std::string_view path, std::span<const change> changes, std::uint64_t size,
                      abort_callback& abort) {
  file_rewriter rewriter(path, abort);
  std::uint64_t position = 0;
  const auto copy_up_to = [&](std::uint64_t end) {
    target->seek(position, abort);
    file::transfer(*target, rewriter.output(), end - position, abort);
  };
  for (const auto& what : changes) {
    copy_up_to(what.begin);
    rewriter.output().write(what.content.data(), what.content.size(), abort);
    position = what.end;
  }
  copy_up_to(size);
  rewriter.commit(target, abort);
}

void apply_by_splices(file& target, std::span<change> changes, abort_callback& abort) {
  // The first is made last: nothing that could fail follows it.
  for (auto& what : changes.subspan(1))
    if (!what.keeps_size()) what.old = read_range(target, what.begin, what.end, abort);
  auto left = changes.size();
  try {
    for (; left != 0; --left) {
      const auto& what = changes[left - 1];
      splice(target, what.begin, what.end, what.content, abort);
    }
  } catch (...) {
    // A splice that fails has undone itself; those behind it are undone in the order of their places.
    abort_callback_dummy no_abort;
    for (const auto& what : changes.subspan(left))
      splice(target, what.begin, what.begin + what.content.size(), what.old, no_abort);
    throw;
  }
}

bool is_replaceable(std::string_view path) {
  try {
    return !path.empty() && can_rewrite(path);
  } catch (const exception_io_no_handler_for_path&) {
    return false;
  }
}

} // namespace

void apply_edits(file_ptr& target, std::string_view path, std::span<const file_edit> edits, abort_callback& abort,
                 edit_steps steps) {
  target->ensure_seekable();
  const auto size = target->get_size_ex(abort);
  auto changes = find_changes(*target, edits, size, abort);
  if (changes.empty()) return;
  if (fits_in_place(changes, size, steps))
    apply_in_place(*target, changes, size, abort);
  else if (is_replaceable(path))
    apply_by_rewrite(target, path, changes, size, abort);
  else
    apply_by_splices(*target, changes, abort);
}

} // namespace zelmora
