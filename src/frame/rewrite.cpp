#include "frame/rewrite.h"

#include "frame/host_services.h"
#include "frame/input_open.h"

#include <fmt/core.h>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// How long a temporary may be in use by somebody else (a virus scanner, an indexer) before the rewrite gives up [s].
constexpr double lock_patience = 1.0;

service_ptr_t<filesystem_v2> replacing_filesystem(std::string_view path) {
  auto result = service_cast<filesystem_v2>(filesystem::g_get_interface(path).get());
  if (!result) throw exception_io_object_is_remote();
  return result;
}

std::string temporary_name(std::string_view target) {
  const auto digest =
      service_single<hasher_md5>()->process_single(fmt::format("{}tmpretagging temporary file", target));
  std::string name = "temp-";
  for (const auto byte : digest) name += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
  return name + ".tmp";
}

} // namespace

std::string rewrite_temporary_path(std::string_view path) {
  const auto service = replacing_filesystem(path);
  const auto target = service->resolve_target(path);
  return service->get_sibling_path(target, temporary_name(target));
}

bool can_rewrite(std::string_view path) {
  return static_cast<bool>(service_cast<filesystem_v2>(filesystem::g_get_interface(path).get()));
}

void remove_rewrite_leftover(std::string_view path) noexcept {
  try {
    abort_callback_dummy no_abort;
    if (can_rewrite(path)) replacing_filesystem(path)->remove_temporary(rewrite_temporary_path(path), no_abort);
  } catch (const std::exception&) {
    // There was none, or it can't be removed now: the next rewrite overwrites it.
  }
}

void flush_to_disk(file& file, abort_callback& abort) {
  if (auto durable = service_cast<file_v2>(&file)) durable->flush_to_disk(abort);
}

file_rewriter::file_rewriter(std::string_view path, abort_callback& abort)
    : filesystem_(replacing_filesystem(path)), path_(path), target_(filesystem_->resolve_target(path)),
      temporary_(filesystem_->get_sibling_path(target_, temporary_name(target_))) {
  retry_while_in_use(lock_patience, abort, [&] { filesystem_->open_temporary(output_, temporary_, abort); });
}

file_rewriter::~file_rewriter() {
  if (placed_) return;
  try {
    abort_callback_dummy no_abort;
    filesystem_->discard_temporary(*output_, temporary_, no_abort);
  } catch (const std::exception&) {
    // What is left is overwritten by the next rewrite of this path.
  }
}

/// The temporary stays open, and so locked, until it is in place: between its last byte and the rename no other process
/// may take it for a leftover.
void file_rewriter::place(file* source, durability wanted, abort_callback& abort) {
  abort.check();
  filesystem_->replace({*output_, temporary_, target_, source, wanted}, abort);
  placed_ = true;
  output_.release();
}

void file_rewriter::commit(file_ptr& source, abort_callback& abort) {
  flush_to_disk(*output_, abort);
  place(source.get(), durability::on_disk, abort);
  source.release();
  // The rewrite is done: an abort from here on must not tell otherwise.
  abort_callback_dummy no_abort;
  retry_while_in_use(lock_patience, no_abort,
                     [&] { input_open_file_helper(source, path_, input_open_info_write, no_abort); });
}

void file_rewriter::commit_new(durability wanted, abort_callback& abort) {
  if (wanted == durability::on_disk) flush_to_disk(*output_, abort);
  if (auto held_back = service_cast<file_v2>(output_.get())) held_back->flush_to_system(abort);
  place(nullptr, wanted, abort);
}

void splice(file& target, std::uint64_t begin, std::uint64_t end, std::span<const std::byte> content,
            abort_callback& abort) {
  target.ensure_seekable();
  const auto old_size = target.get_size_ex(abort);
  if (begin > end || end > old_size) throw exception_io_seek_out_of_range();
  const bool moves = content.size() != end - begin;
  const auto tail = moves ? old_size - end : 0;
  const auto new_size = checked_add<std::uint64_t>(begin, checked_add<std::uint64_t>(content.size(), old_size - end));

  // The store holds the old bytes that are written over: what is cut out, for the way back, and the tail if it moves.
  file_ptr store;
  const auto stored = end - begin + tail;
  const bool small = (moves ? old_size : stored) <= tail_in_memory_limit;
  filesystem::g_open(store, small ? "tempmem://" : "tempfile://", open_mode::write_new, abort);
  target.seek(begin, abort);
  file::transfer(target, *store, stored, abort);
  store->seek(end - begin, abort);

  try {
    // Growing first: a size that the object can't have shows before anything is overwritten.
    if (new_size > old_size) target.resize(new_size, abort);
    target.seek(begin, abort);
    target.write(content.data(), content.size(), abort);
    file::transfer(*store, target, tail, abort);
    if (new_size < old_size) target.resize(new_size, abort);
    flush_to_disk(target, abort);
  } catch (...) {
    abort_callback_dummy no_abort;
    store->seek(0, no_abort);
    target.seek(begin, no_abort);
    file::transfer(*store, target, stored, no_abort);
    if (moves) target.resize(old_size, no_abort);
    flush_to_disk(target, no_abort);
    throw;
  }
}

} // namespace zelmora
