// Safe rewriting: the one way in which a file is written anew.
//
// A rewrite fills a temporary beside the source and puts it in the source's place in one step, after its content has
// reached the disk. At every moment the path holds the old bytes or the new. The temporary's name follows from the
// path, so that what a killed process leaves behind is overwritten by the next rewrite, and goes when the path is next
// opened for writing.
//
// Where an object can't be replaced (it has no such file system, or only its handle is known), `splice` moves its tail
// through a temporary store and restores the old bytes when that fails.
#pragma once

#include "frame/filesystem.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace zelmora {

/// Where `path`'s rewrite stores its temporary: "temp-", 32 hexadecimal digits and ".tmp", in the directory of the file
/// that `path` leads to. Raises `exception_io_object_is_remote` for paths that can't be replaced.
std::string rewrite_temporary_path(std::string_view path);

/// Whether `path` belongs to a file system that can replace its objects.
bool can_rewrite(std::string_view path);

/// Removes the temporary that a killed rewrite of `path` left. The caller has `path` open for writing, so that no other
/// process is at it. Never raises.
void remove_rewrite_leftover(std::string_view path) noexcept;

/// Returns when what was written to `file` has reached the disk; objects without a disk return at once.
void flush_to_disk(zelmora_io::file& file, abort_callback& abort);

/// One rewrite. Fill `output()`, then `commit`. Destroyed before that, it removes the temporary and leaves the source
/// alone.
class file_rewriter {
 public:
  /// Opens the temporary, waiting up to 1.0 s for a locked one.
  file_rewriter(std::string_view path, abort_callback& abort);
  ~file_rewriter();
  file_rewriter(const file_rewriter&) = delete;
  file_rewriter& operator=(const file_rewriter&) = delete;

  zelmora_io::file& output() { return *output_; }

  /// Flushes, replaces `source`, and opens the path anew into `source` for writing. When the replacement fails,
  /// `source` is what it was.
  void commit(file_ptr& source, abort_callback& abort);

  using durability = zelmora_io::durability;
  /// Puts the temporary in the place of a path that nobody has open, or that doesn't exist yet.
  void commit_new(durability wanted, abort_callback& abort);

 private:
  void place(zelmora_io::file* source, durability wanted, abort_callback& abort);

  service_ptr_t<zelmora_io::filesystem_v2> filesystem_;
  std::string path_;
  std::string target_;
  std::string temporary_;
  file_ptr output_;
  bool placed_ = false;
};

/// Objects up to this size are kept in memory while their tail moves [bytes].
inline constexpr std::uint64_t tail_in_memory_limit = 16'777'216;

/// Replaces the bytes [begin, end) of `target` by `content`. Content of the same size is written over the old, and
/// nothing else is touched; otherwise what follows moves through "tempmem://" (up to `tail_in_memory_limit`) or
/// "tempfile://". A failure or an abort restores the old bytes before it is passed on; only a kill, or a second
/// failure, can leave the object between the two.
void splice(zelmora_io::file& target, std::uint64_t begin, std::uint64_t end, std::span<const std::byte> content,
            abort_callback& abort);

} // namespace zelmora
