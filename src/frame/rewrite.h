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
#include <vector>

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

/// New bytes for the range [begin, end) of an object.
struct file_edit {
  std::uint64_t begin = 0; ///< [bytes]
  std::uint64_t end = 0;
  std::vector<std::byte> content;
};

enum class edit_steps {
  together,  ///< the object holds none of the edits or all of them
  one_by_one ///< the object may also hold the last few of them: each edit is good by itself
};

/// Makes all of `edits`, which are in order and don't overlap. What stands there already is not written; when that is
/// all, nothing is. Otherwise, by what is left:
///
///   a range that keeps its size, or the end of the object    one write over it, one cut, or one write that goes past
///   when it grows or goes (up to `tail_in_memory_limit`)     the old end; then a flush to the disk
///   several of those                                         the same, from the last to the first; but only
///                                                            `one_by_one`
///   anything else                                            one `file_rewriter` pass that copies the rest
///   anything else where `path` can't be replaced             `splice`, from the last to the first
///
/// A failure or an abort leaves the old bytes. A kill leaves the old or the new at every operation, but for the last
/// form, and `one_by_one`; in the middle of a single write of more than one page it may leave a part of it, within the
/// edited range alone. Afterwards `target` is open on the object. Ranges outside the object raise
/// `exception_io_seek_out_of_range`.
void apply_edits(file_ptr& target, std::string_view path, std::span<const file_edit> edits, abort_callback& abort,
                 edit_steps steps = edit_steps::together);

} // namespace zelmora
