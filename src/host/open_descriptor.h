// File descriptors with one owner, and the ways in which the host gets one: only for regular files, never blocking, and
// for writing only under a lock.
#pragma once

#include <string>
#include <sys/stat.h>
#include <utility>

namespace zelmora::host {

/// Owns a descriptor.
class unique_fd {
 public:
  unique_fd() noexcept = default;
  explicit unique_fd(int descriptor) noexcept : descriptor_(descriptor) {}
  unique_fd(unique_fd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  unique_fd& operator=(unique_fd&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~unique_fd();

  int get() const noexcept { return descriptor_; }
  explicit operator bool() const noexcept { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

/// An open regular file, with what fstat(2) said of it.
struct open_descriptor {
  unique_fd fd;
  struct stat status {};
};

/// fstat(2); raises by `errno`.
struct stat read_status(int descriptor);

/// Opens for reading. What is no regular file raises at once: a directory `exception_io_denied`, which is what the
/// system says of writing to one, all else `exception_io` naming the kind.
open_descriptor open_for_reading(const std::string& path);

enum class missing_file { raises, is_created };

/// Opens for reading and writing, under the exclusive lock that every writer takes: held until the descriptor is
/// closed, by anybody else's it raises `exception_io_sharing_violation`. When it returns, `path` names the file that is
/// locked.
open_descriptor open_for_writing(const std::string& path, missing_file missing);

/// Creates `path` for its owner alone, under the lock. What a killed process left there is removed first, whatever it
/// is but a directory; what another process has locked raises `exception_io_sharing_violation`.
open_descriptor create_temporary(const std::string& path);

/// Removes a temporary that no process has locked; one in use stays.
void remove_unlocked(const std::string& path);

enum class links { are_followed, stand_for_themselves };

/// Whether `path` still names the file of which fstat(2) said `opened`: a rename may have come in between.
bool still_names(const std::string& path, const struct stat& opened, links last = links::stand_for_themselves);

/// Takes the writers' lock; false when somebody else has it. File systems without locks grant it.
bool try_lock(int descriptor);

} // namespace zelmora::host
