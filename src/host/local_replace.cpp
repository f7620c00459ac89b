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
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK);
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
  const auto fd = open_existing("/proc/self/status", O_RDONLY);
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

/// The target as it stands, open where it has to be.
struct held_target {
  unique_fd own;       ///< when nobody had it open
  int descriptor = -1; ///< -1 when there is no target
  struct stat status {};
};

[[noreturn]] void raise_in_use() { throw exception_io_sharing_violation(); }

/// A target that nobody, or no file of ours, has open. It is opened for writing: a rename needs no permission of the
/// file that it removes, but a file that may not be written to stays; and network file systems lock no others.
held_target hold_target(const std::string& path) {
  held_target result;
  result.own = open_existing(path, O_RDWR | O_NOFOLLOW);
  if (!result.own) {
    if (errno != ENOENT) raise_open_errno(errno);
    return result;
  }
  result.descriptor = result.own.get();
  result.status = read_status(result.descriptor);
  if (!S_ISREG(result.status.st_mode)) throw exception_io("Not a regular file");
  return result;
}

held_target find_target(const filesystem_v2::replacement& what, const std::string& path, abort_callback& abort) {
  held_target result;
  if (what.source == nullptr) {
    result = hold_target(path);
    if (result.descriptor >= 0 && !try_lock(result.descriptor)) raise_in_use();
    return result;
  }
  if (const auto* local = dynamic_cast<const local_file*>(what.source)) {
    result.descriptor = local->descriptor();
    result.status = read_status(result.descriptor);
    if (!still_names(path, result.status)) raise_in_use();
  } else {
    result = hold_target(path); // a view of the file, which has the lock
  }
  // Not every program takes locks: one that has written to the file since it was opened would lose its work.
  const t_filestats now{static_cast<std::uint64_t>(result.status.st_size), timestamp_of(result.status)};
  if (result.descriptor < 0 || now != what.source->get_stats(abort)) raise_in_use();
  return result;
}

void take_over(const held_target& target, int descriptor) {
  if (target.descriptor < 0) return set_mode(descriptor, 0666 & ~creation_mask());
  const auto mode = copy_ownership(descriptor, target.status);
  copy_attributes(target.descriptor, descriptor);
  set_mode(descriptor, mode);
  copy_times(descriptor, target.status);
}

} // namespace

void replace_local_file(const filesystem_v2::replacement& what, abort_callback& abort) {
  abort.check();
  const auto* temporary = dynamic_cast<const local_file*>(&what.temporary);
  if (temporary == nullptr) uBugCheck("a temporary of another file system");
  const auto from = system_path(what.temporary_path);
  const auto to = system_path(what.target);
  const auto target = find_target(what, to, abort);
  take_over(target, temporary->descriptor());
  abort.check();
  const bool durable = what.wanted == durability::on_disk;
  if (durable) flush(temporary->descriptor());
  // Opened before the rename: what can still fail should fail while the old file stands.
  unique_fd directory;
  if (durable) {
    directory = open_existing(parent_directory(to), O_RDONLY | O_DIRECTORY);
    // A directory may be writable and searchable, but not readable.
    if (!directory && errno != EACCES) raise_errno(errno);
  }
  abort.check();
  // In a directory that others can write to, the name may lead to something of theirs by now.
  if (!still_names(from, read_status(temporary->descriptor()))) raise_in_use();
  if (::rename(from.c_str(), to.c_str()) != 0) raise_errno(errno);
  if (directory) flush(directory.get());
}

} // namespace zelmora::host
