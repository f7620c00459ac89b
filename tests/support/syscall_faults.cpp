#include "support/syscall_faults.h"

#include <algorithm>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>

namespace zelmora::test {

namespace {

thread_local syscall_watch* watch = nullptr;

/// Sends a call through `real`, unless the plan says otherwise; `failed` is what the call returns then.
template <class Result, class Real>
Result watched(std::string_view name, Result failed, Real real, bool takes_room = false) {
  if (watch == nullptr || watch->enter(name, takes_room) != syscall_watch::verdict::fail) return real();
  errno = watch->error();
  return failed;
}

/// As `watched`, for a call that moves `bytes`.
template <class Real>
ssize_t watched_transfer(std::string_view name, std::size_t bytes, Real real, bool takes_room) {
  if (watch == nullptr) return real(bytes);
  switch (watch->enter(name, takes_room)) {
  case syscall_watch::verdict::pass: return real(bytes);
  case syscall_watch::verdict::shorten: return real(std::min<std::size_t>(bytes, 1));
  case syscall_watch::verdict::fail: errno = watch->error(); return -1;
  }
  return -1;
}

} // namespace

syscall_watch::syscall_watch(syscall_plan plan) : plan_(std::move(plan)) {
  if (watch != nullptr) std::abort();
  watch = this;
}

syscall_watch::~syscall_watch() { watch = nullptr; }

syscall_watch* syscall_watch::current() noexcept { return watch; }

std::size_t syscall_watch::count(std::string_view name) const {
  return static_cast<std::size_t>(std::ranges::count(names_, name));
}

syscall_watch::verdict syscall_watch::enter(std::string_view name, bool takes_room) {
  const auto number = names_.size();
  names_.push_back(name);
  if (plan_.before) {
    watch = nullptr;
    plan_.before(number, name);
    watch = this;
  }
  if (number == plan_.kill_at) std::raise(SIGKILL);
  if (number == plan_.fail_at || name == plan_.refused || (takes_room && number >= plan_.writes_fail_from))
    return verdict::fail;
  return number == plan_.shorten_at ? verdict::shorten : verdict::pass;
}

} // namespace zelmora::test

// The linker gives `NAME`'s callers `__wrap_NAME`, and `__real_NAME` the original.
// NOLINTBEGIN(bugprone-reserved-identifier)

using zelmora::test::watched;
using zelmora::test::watched_transfer;

/// A call whose failure is -1 and that moves no data.
#define ZELMORA_WRAP(NAME, PARAMETERS, ARGUMENTS, TAKES_ROOM)                                                          \
  extern "C" int __real_##NAME PARAMETERS;                                                                             \
  extern "C" int __wrap_##NAME PARAMETERS;                                                                             \
  extern "C" int __wrap_##NAME PARAMETERS {                                                                            \
    return watched(                                                                                                    \
        #NAME, -1, [&] { return __real_##NAME ARGUMENTS; }, TAKES_ROOM);                                               \
  }

ZELMORA_WRAP(fstat, (int fd, struct stat* out), (fd, out), false)
ZELMORA_WRAP(fstatat, (int dir, const char* path, struct stat* out, int flags), (dir, path, out, flags), false)
ZELMORA_WRAP(stat, (const char* path, struct stat* out), (path, out), false)
ZELMORA_WRAP(ftruncate, (int fd, off_t size), (fd, size), false)
ZELMORA_WRAP(fallocate, (int fd, int mode, off_t start, off_t size), (fd, mode, start, size), true)
ZELMORA_WRAP(fsync, (int fd), (fd), false)
ZELMORA_WRAP(fdatasync, (int fd), (fd), false)
ZELMORA_WRAP(rename, (const char* from, const char* to), (from, to), false)
ZELMORA_WRAP(renameat2, (int d, const char* from, int e, const char* to, unsigned flags), (d, from, e, to, flags),
             false)
ZELMORA_WRAP(unlink, (const char* path), (path), false)
ZELMORA_WRAP(fchmod, (int fd, mode_t mode), (fd, mode), false)
ZELMORA_WRAP(fchown, (int fd, uid_t user, gid_t group), (fd, user, group), false)
ZELMORA_WRAP(fsetxattr, (int fd, const char* name, const void* value, std::size_t size, int flags),
             (fd, name, value, size, flags), true)
ZELMORA_WRAP(futimens, (int fd, const timespec* times), (fd, times), false)
// NFS locks exclusively only what is open for writing (flock(2), NFS details): so do all tests.
extern "C" int __real_flock(int fd, int operation);
extern "C" int __wrap_flock(int fd, int operation);
extern "C" int __wrap_flock(int fd, int operation) {
  if ((::fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDONLY) {
    errno = EBADF;
    return -1;
  }
  return watched("flock", -1, [&] { return __real_flock(fd, operation); });
}
ZELMORA_WRAP(faccessat, (int dir, const char* path, int mode, int flags), (dir, path, mode, flags), false)
ZELMORA_WRAP(mkdir, (const char* path, mode_t mode), (path, mode), true)
ZELMORA_WRAP(mkostemp, (char* path, int flags), (path, flags), true)

#undef ZELMORA_WRAP

extern "C" {

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & (O_CREAT | __O_TMPFILE)) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  return watched("open", -1, [&] { return __real_open(path, flags, mode); });
}

int __real_close(int fd);
int __wrap_close(int fd);
int __wrap_close(int fd) {
  if (watched("close", -1, [] { return 0; }) == 0) return __real_close(fd);
  // A descriptor is gone even when its closing fails.
  const int error = errno;
  __real_close(fd);
  errno = error;
  return -1;
}

ssize_t __real_pread(int fd, void* buffer, std::size_t bytes, off_t offset);
ssize_t __wrap_pread(int fd, void* buffer, std::size_t bytes, off_t offset);
ssize_t __wrap_pread(int fd, void* buffer, std::size_t bytes, off_t offset) {
  return watched_transfer(
      "pread", bytes, [&](std::size_t count) { return __real_pread(fd, buffer, count, offset); }, false);
}

ssize_t __real_pwrite(int fd, const void* data, std::size_t bytes, off_t offset);
ssize_t __wrap_pwrite(int fd, const void* data, std::size_t bytes, off_t offset);
ssize_t __wrap_pwrite(int fd, const void* data, std::size_t bytes, off_t offset) {
  return watched_transfer(
      "pwrite", bytes, [&](std::size_t count) { return __real_pwrite(fd, data, count, offset); }, true);
}

ssize_t __real_flistxattr(int fd, char* out, std::size_t size);
ssize_t __wrap_flistxattr(int fd, char* out, std::size_t size);
ssize_t __wrap_flistxattr(int fd, char* out, std::size_t size) {
  return watched("flistxattr", ssize_t{-1}, [&] { return __real_flistxattr(fd, out, size); });
}

ssize_t __real_fgetxattr(int fd, const char* name, void* out, std::size_t size);
ssize_t __wrap_fgetxattr(int fd, const char* name, void* out, std::size_t size);
ssize_t __wrap_fgetxattr(int fd, const char* name, void* out, std::size_t size) {
  return watched("fgetxattr", ssize_t{-1}, [&] { return __real_fgetxattr(fd, name, out, size); });
}

char* __real_realpath(const char* path, char* out);
char* __wrap_realpath(const char* path, char* out);
char* __wrap_realpath(const char* path, char* out) {
  return watched("realpath", static_cast<char*>(nullptr), [&] { return __real_realpath(path, out); });
}

ssize_t __real_readlink(const char* path, char* out, std::size_t size);
ssize_t __wrap_readlink(const char* path, char* out, std::size_t size);
ssize_t __wrap_readlink(const char* path, char* out, std::size_t size) {
  return watched("readlink", ssize_t{-1}, [&] { return __real_readlink(path, out, size); });
}
}

// NOLINTEND(bugprone-reserved-identifier)
