#include "host/open_descriptor.h"

#include "frame/exceptions.h"
#include "host/errno_map.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <fmt/core.h>
#include <sys/file.h>
#include <unistd.h>

namespace zelmora::host {

using namespace zelmora_io;

namespace {

/// A FIFO would block without O_NONBLOCK; it does nothing to a regular file.
constexpr int common_flags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

/// How often a path may come to name another file between its opening and its locking before that counts as in use.
constexpr int attempts = 8;

const char* kind_of(mode_t mode) {
  if (S_ISFIFO(mode)) return "FIFO";
  if (S_ISSOCK(mode)) return "socket";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "device";
  if (S_ISLNK(mode)) return "link";
  return "unknown kind";
}

void check_regular(mode_t mode) {
  if (S_ISREG(mode)) return;
  if (S_ISDIR(mode)) raise_errno(EISDIR);
  throw exception_io(fmt::format("Not a regular file ({})", kind_of(mode)));
}

unique_fd try_open(const std::string& path, int flags, mode_t mode = 0) {
  for (;;) {
    const int descriptor = ::open(path.c_str(), flags | common_flags, mode);
    if (descriptor >= 0 || errno != EINTR) return unique_fd(descriptor);
  }
}

[[noreturn]] void raise_not_opened(const std::string& path, int error) {
  // Sockets can't be opened at all, and the error for that says something about drives.
  struct stat status {};
  if (error == ENXIO && ::stat(path.c_str(), &status) == 0) check_regular(status.st_mode);
  raise_open_errno(error);
}

open_descriptor open_regular(const std::string& path, int flags, mode_t mode = 0) {
  open_descriptor result;
  result.fd = try_open(path, flags, mode);
  if (!result.fd) raise_not_opened(path, errno);
  result.status = read_status(result.fd.get());
  check_regular(result.status.st_mode);
  return result;
}

void unlink_if_there(const std::string& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) raise_errno(errno);
}

enum class leftover { gone, in_use };

/// A temporary that nobody has written to for this long is nobody's any more [s].
constexpr std::time_t abandoned_after = 600;

/// Another user's temporary can't be opened to see whether it is locked; its age has to tell.
leftover clear_foreign_leftover(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) raise_errno(errno);
  if (::time(nullptr) - status.st_mtim.tv_sec < abandoned_after) return leftover::in_use;
  if (::unlink(path.c_str()) != 0 && errno != ENOENT)
    throw exception_io_denied(fmt::format("Access denied to {}, which another user's save left behind", path));
  return leftover::gone;
}

/// Removes what a killed process left at `path`, under its lock.
leftover clear_leftover(const std::string& path) {
  // For writing: network file systems lock no others exclusively (flock(2), NFS details).
  const auto fd = try_open(path, O_RDWR | O_NOFOLLOW);
  if (!fd) {
    if (errno == ENOENT) return leftover::gone;
    if (errno == EACCES) return clear_foreign_leftover(path);
    // A link can't be opened without being followed, and a socket not at all.
    if (errno != ELOOP && errno != ENXIO) raise_open_errno(errno);
    unlink_if_there(path);
    return leftover::gone;
  }
  const auto status = read_status(fd.get());
  if (S_ISDIR(status.st_mode)) raise_errno(EISDIR);
  if (!try_lock(fd.get())) return leftover::in_use;
  if (still_names(path, status, links::stand_for_themselves)) unlink_if_there(path);
  return leftover::gone;
}

} // namespace

unique_fd::~unique_fd() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

struct stat read_status(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) raise_errno(errno);
  return status;
}

bool still_names(const std::string& path, const struct stat& opened, links last) {
  struct stat now {};
  const int flags = last == links::are_followed ? 0 : AT_SYMLINK_NOFOLLOW;
  if (::fstatat(AT_FDCWD, path.c_str(), &now, flags) != 0) {
    if (errno == ENOENT) return false;
    raise_errno(errno);
  }
  return now.st_dev == opened.st_dev && now.st_ino == opened.st_ino;
}

bool try_lock(int descriptor) {
  for (;;) {
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return true;
    switch (errno) {
    case EINTR: break;
    case EWOULDBLOCK: return false;
    case ENOLCK:
    case ENOSYS:
    case EOPNOTSUPP:
    case EINVAL: return true;
    default: raise_errno(errno);
    }
  }
}

open_descriptor open_for_reading(const std::string& path) { return open_regular(path, O_RDONLY); }

open_descriptor open_for_writing(const std::string& path, missing_file missing) {
  const int flags = missing == missing_file::is_created ? O_RDWR | O_CREAT : O_RDWR;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    auto result = open_regular(path, flags, 0666);
    if (!try_lock(result.fd.get())) throw exception_io_sharing_violation();
    if (!still_names(path, result.status, links::are_followed)) continue;
    // The size may have changed while another writer held the lock.
    result.status = read_status(result.fd.get());
    return result;
  }
  throw exception_io_sharing_violation();
}

open_descriptor create_temporary(const std::string& path) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    open_descriptor result;
    result.fd = try_open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (!result.fd) {
      if (errno != EEXIST) raise_open_errno(errno);
      if (clear_leftover(path) == leftover::in_use) throw exception_io_sharing_violation();
      continue;
    }
    try {
      result.status = read_status(result.fd.get());
      if (!try_lock(result.fd.get())) throw exception_io_sharing_violation();
      if (!still_names(path, result.status, links::stand_for_themselves)) continue;
    } catch (const exception_io_sharing_violation&) {
      throw; // whoever has locked it takes it for a leftover
    } catch (const std::exception&) {
      ::unlink(path.c_str());
      throw;
    }
    return result;
  }
  throw exception_io_sharing_violation();
}

void remove_unlocked(const std::string& path) { clear_leftover(path); }

} // namespace zelmora::host
