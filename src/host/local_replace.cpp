#include "host/local_replace.h"

#include "host/errno_map.h"
#include "host/local_file.h"
#include "host/local_path.h"
#include "host/open_descriptor.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace zelmora::host {

using namespace zelmora_io;

namespace {

constexpr mode_t permission_bits = 07777;
constexpr mode_t set_id_bits = S_ISUID | S_ISGID;

unique_fd open_existing(const std::string& path, int flags) {
  for (;;) {
    const int descriptor = ::open(path.c_str(), flags | O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor >= 0 || errno != EINTR) return unique_fd(descriptor);
  }
}

void flush(int descriptor) {
  while (::fsync(descriptor) != 0) {
    // Some file systems can't flush a directory, and say so.
    if (errno == EINVAL) return;
    if (errno != EINTR) raise_errno(errno);
  }
}

/// The file mode creation mask. The process's own can only be read by setting it, which other threads would see.
mode_t creation_mask() {
  constexpr mode_t usual_mask = 022;
  const auto fd = open_existing("/proc/self/status", 0);
  if (!fd) return usual_mask;
  std::array<char, 512> text;
  const auto got = ::read(fd.get(), text.data(), text.size());
  const std::string_view status(text.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
  constexpr std::string_view label = "Umask:\t";
  const auto at = status.find(label);
  if (at == std::string_view::npos) return usual_mask;
  mode_t mask = 0;
  for (const char c : status.substr(at + label.size())) {
    if (c < '0' || c > '7') break;
    mask = mask * 8 + static_cast<mode_t>(c - '0');
  }
  return mask;
}

/// Attributes that speak of the old content or grant a right to it.
bool belongs_to_content(std::string_view name) {
  return name == "security.ima" || name == "security.evm" || name == "security.capability";
}

bool is_refusal(int error) { return error == EPERM || error == EACCES || error == ENOTSUP || error == ENODATA; }

std::vector<char> read_attribute(int descriptor, const char* name, bool& refused) {
  for (;;) {
    const auto size = ::fgetxattr(descriptor, name, nullptr, 0);
    if (size < 0) break;
    std::vector<char> value(static_cast<std::size_t>(size));
    const auto got = ::fgetxattr(descriptor, name, value.data(), value.size());
    if (got >= 0) {
      value.resize(static_cast<std::size_t>(got));
      return value;
    }
    if (errno != ERANGE) break;
  }
  refused = is_refusal(errno);
  if (!refused) raise_errno(errno);
  return {};
}

std::vector<char> list_attributes(int descriptor) {
  for (;;) {
    const auto size = ::flistxattr(descriptor, nullptr, 0);
    if (size <= 0) {
      if (size < 0 && !is_refusal(errno)) raise_errno(errno);
      return {};
    }
    std::vector<char> names(static_cast<std::size_t>(size));
    const auto got = ::flistxattr(descriptor, names.data(), names.size());
    if (got >= 0) {
      names.resize(static_cast<std::size_t>(got));
      return names;
    }
    if (errno != ERANGE) raise_errno(errno);
  }
}

/// Copies the extended attributes, access control lists among them. One that this process may not set is left out; no
/// room for one is a failure.
void copy_attributes(int from, int to) {
  const auto names = list_attributes(from);
  for (std::size_t at = 0; at < names.size();) {
    const std::string name(&names[at]);
    at += name.size() + 1;
    if (belongs_to_content(name)) continue;
    bool refused = false;
    const auto value = read_attribute(from, name.c_str(), refused);
    if (refused) continue;
    if (::fsetxattr(to, name.c_str(), value.data(), value.size(), 0) != 0 && !is_refusal(errno)) raise_errno(errno);
  }
}

/// Gives `descriptor` the owner and group of `old` as far as this process may, and returns the permissions that fit: a
/// file that could not keep its owner or group is not set-id, and grants its new group no more than it grants
/// everybody.
mode_t copy_ownership(int descriptor, const struct stat& old) {
  const auto own = read_status(descriptor);
  mode_t mode = old.st_mode & permission_bits;
  bool same_owner = own.st_uid == old.st_uid;
  bool same_group = own.st_gid == old.st_gid;
  if (!same_owner || !same_group) {
    if (::fchown(descriptor, old.st_uid, old.st_gid) == 0) return mode;
    if (errno != EPERM && errno != EINVAL) raise_errno(errno);
    // The owner can't be given away; one of one's own groups can.
    if (!same_group) {
      same_group = ::fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) == 0;
      if (!same_group && errno != EPERM && errno != EINVAL) raise_errno(errno);
    }
  }
  if (!same_owner || !same_group) mode &= ~set_id_bits;
  if (!same_group) mode &= ~mode_t{S_IRWXG} | ((mode & S_IRWXO) << 3);
  return mode;
}

void set_mode(int descriptor, mode_t mode) {
  if (::fchmod(descriptor, mode) == 0) return;
  // File systems without permissions refuse all but what they show.
  if (!is_refusal(errno)) raise_errno(errno);
}

void copy_times(int descriptor, const struct stat& old) {
  const std::array<timespec, 2> times{old.st_atim, old.st_mtim};
  if (::futimens(descriptor, times.data()) != 0 && !is_refusal(errno)) raise_errno(errno);
}

/// The target, locked so that no other writer is inside while it goes.
struct held_target {
  unique_fd fd;
  struct stat status {};
};

/// Nothing in it when there is no target.
held_target hold_target(const std::string& path, const t_filestats* expected) {
  held_target result;
  result.fd = open_existing(path, O_NOFOLLOW);
  if (!result.fd) {
    if (errno != ENOENT) raise_open_errno(errno);
    if (expected != nullptr) raise_errno(ENOENT);
    return result;
  }
  result.status = read_status(result.fd.get());
  if (S_ISDIR(result.status.st_mode)) raise_errno(EISDIR);
  if (!S_ISREG(result.status.st_mode)) throw exception_io("Not a regular file");
  if (!try_lock(result.fd.get())) throw exception_io_sharing_violation();
  result.status = read_status(result.fd.get());
  const t_filestats now{static_cast<std::uint64_t>(result.status.st_size), timestamp_of(result.status)};
  if (expected != nullptr && now != *expected) throw exception_io_sharing_violation();
  // A rename needs no permission of the file that it removes; a file that may not be written to stays all the same.
  if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) raise_errno(errno);
  return result;
}

} // namespace

void replace_local_file(const std::string& temporary, const std::string& target, const t_filestats* expected,
                        durability wanted, abort_callback& abort) {
  abort.check();
  const auto fd = open_existing(temporary, O_NOFOLLOW);
  if (!fd) raise_open_errno(errno);
  const auto held = hold_target(target, expected);
  if (held.fd) {
    const auto mode = copy_ownership(fd.get(), held.status);
    copy_attributes(held.fd.get(), fd.get());
    set_mode(fd.get(), mode);
    copy_times(fd.get(), held.status);
  } else {
    set_mode(fd.get(), 0666 & ~creation_mask());
  }
  abort.check();
  if (wanted == durability::on_disk) flush(fd.get());
  abort.check();
  // Opened before the rename: what can still fail should fail while the old file stands.
  unique_fd directory;
  if (wanted == durability::on_disk) {
    directory = open_existing(parent_directory(target), O_DIRECTORY);
    // A directory may be writable and searchable, but not readable.
    if (!directory && errno != EACCES) raise_errno(errno);
  }
  if (::rename(temporary.c_str(), target.c_str()) != 0) raise_errno(errno);
  if (directory) flush(directory.get());
}

} // namespace zelmora::host
