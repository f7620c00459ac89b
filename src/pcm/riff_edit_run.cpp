// Carries out what `riff_plan.h` has planned.
#include "frame/bytes.h"
#include "frame/exceptions.h"
#include "frame/rewrite.h"
#include "pcm/riff_plan.h"
#include "pcm/riff_tags.h"

namespace zelmora {

using namespace zelmora_io;

namespace {

/// Whether `step` makes the size field tell of bytes behind `size`.
bool tells_of_more(const riff_step& step, std::uint64_t size) {
  if (step.kind != riff_step_kind::write || step.position != riff_size_field) return false;
  return load_le<std::uint32_t>(step.bytes.data()) + riff_uncounted > size;
}

void run_step(file& file, const riff_step& step, abort_callback& abort) {
  abort.check();
  switch (step.kind) {
  case riff_step_kind::write:
    file.seek(step.position, abort);
    file.write(step.bytes.data(), step.bytes.size(), abort);
    break;
  case riff_step_kind::flush: flush_to_disk(file, abort); break;
  case riff_step_kind::cut: file.resize(step.position, abort); break;
  }
}

/// Takes back what was written behind the end, so that a full disk is as full as it was.
void drop_growth(file& file, std::uint64_t size) noexcept {
  try {
    abort_callback_dummy no_abort;
    if (file.get_size(no_abort) > size) file.resize(size, no_abort);
  } catch (const std::exception&) {
    // No reader looks there, and the next edit writes over it.
  }
}

void run_steps(file& file, const std::vector<riff_step>& steps, std::uint64_t size, abort_callback& abort) {
  bool is_growth_told = false;
  try {
    for (const auto& step : steps) {
      is_growth_told = is_growth_told || tells_of_more(step, size);
      run_step(file, step, abort);
    }
  } catch (...) {
    if (!is_growth_told) drop_growth(file, size);
    throw;
  }
}

void rewrite(file_ptr& file, std::string_view path, const std::vector<riff_piece>& pieces, abort_callback& abort) {
  file_rewriter rewriter(path, abort);
  for (const auto& piece : pieces) {
    rewriter.output().write(piece.bytes.data(), piece.bytes.size(), abort);
    file->seek(piece.begin, abort);
    file::transfer(*file, rewriter.output(), piece.end - piece.begin, abort);
  }
  rewriter.commit(file, abort);
}

} // namespace

void run_riff_edit(file_ptr& file, std::string_view path, const riff_layout& layout, const riff_edit& edit,
                   abort_callback& abort) {
  if (!edit.id3.is_replaced && !edit.info.is_replaced) return;
  const auto to = find_riff_destination(layout, edit);
  if (can_plan_riff_edit(layout, to))
    run_steps(*file, plan_riff_edit(layout, edit, to), layout.file_size, abort);
  else
    rewrite(file, path, list_riff_pieces(layout, edit, to), abort);
}

} // namespace zelmora
