// "file://" and bare paths.
#include "frame/filesystem.h"
#include "host/errno_map.h"
#include "host/local_file.h"
#include "host/local_path.h"
#include "host/local_replace.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace zelmora::host {

using namespace zelmora_io;

namespace {

/// As many links as the system itself follows in one path.
constexpr int most_links = 40;

std::string real_path(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  return resolved ? std::string(resolved.get()) : std::string();
}

/// What the link at `path` says; empty when there is none.
std::string read_link(const std::string& path) {
  std::array<char, PATH_MAX> text;
  const auto length = ::readlink(path.c_str(), text.data(), text.size());
  return length < 0 ? std::string() : std::string(text.data(), static_cast<std::size_t>(length));
}

std::string join(const std::string& directory, std::string_view name) {
  return directory.ends_with('/') ? directory + std::string(name) : directory + "/" + std::string(name);
}

/// Where a path leads at whose end nothing stands yet: through links that dangle, to a name in a real directory.
std::string resolve_missing(std::string path) {
  for (int links = 0; links < most_links; ++links) {
    const auto directory = real_path(parent_directory(path));
    if (directory.empty()) raise_errno(errno);
    auto here = join(directory, path.substr(path.rfind('/') + 1));
    const auto link = read_link(here);
    if (link.empty()) return here;
    path = link.starts_with('/') ? link : join(directory, link);
  }
  raise_errno(ELOOP);
}

class local_filesystem : public filesystem_v2 {
 public:
  bool is_our_path(std::string_view path) override { return is_local_path(path); }

  bool get_canonical_path(std::string_view path, std::string& out) override {
    if (!is_local_path(path)) return false;
    out = canonical_local_path(path);
    return true;
  }

  bool get_display_path(std::string_view path, std::string& out) override {
    if (!is_local_path(path)) return false;
    out = system_path(path);
    return true;
  }

  void open(file_ptr& out, std::string_view path, open_mode mode, abort_callback& abort) override {
    abort.check();
    const auto name = system_path(path);
    switch (mode) {
    case open_mode::read: out = service_new<local_file>(open_for_reading(name), file_access::read_only); return;
    case open_mode::write_existing:
      out = service_new<local_file>(open_for_writing(name, missing_file::raises), file_access::read_write);
      return;
    case open_mode::write_new: {
      file_ptr created =
          service_new<local_file>(open_for_writing(name, missing_file::is_created), file_access::read_write);
      // Only now that the lock is held: another writer's file is not emptied.
      if (created->get_size(abort) != 0) created->resize(0, abort);
      out = std::move(created);
      return;
    }
    }
    uBugCheck("unknown open mode");
  }

  void remove(std::string_view path, abort_callback& abort) override {
    abort.check();
    if (::unlink(system_path(path).c_str()) != 0) raise_errno(errno);
  }

  /// An object at `to` is never replaced: `exception_io_already_exists`.
  void move(std::string_view from, std::string_view to, abort_callback& abort) override {
    abort.check();
    const auto old_name = system_path(from);
    const auto new_name = system_path(to);
    if (::renameat2(AT_FDCWD, old_name.c_str(), AT_FDCWD, new_name.c_str(), RENAME_NOREPLACE) == 0) return;
    if (errno != EINVAL && errno != ENOSYS) raise_errno(errno);
    // Not every file system can look and rename in one step.
    struct stat there {};
    if (::fstatat(AT_FDCWD, new_name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0) raise_errno(EEXIST);
    if (errno != ENOENT) raise_errno(errno);
    if (::rename(old_name.c_str(), new_name.c_str()) != 0) raise_errno(errno);
  }

  std::string resolve_target(std::string_view path) override {
    const auto name = system_path(path);
    if (auto resolved = real_path(name); !resolved.empty()) return local_url(resolved);
    if (errno != ENOENT) raise_errno(errno);
    return local_url(resolve_missing(name));
  }

  std::string get_sibling_path(std::string_view path, std::string_view name) override {
    return std::string(path.substr(0, path.rfind('/') + 1)).append(name);
  }

  void open_temporary(file_ptr& out, std::string_view path, abort_callback& abort) override {
    abort.check();
    out = service_new<local_file>(create_temporary(system_path(path)), file_access::collected_writes);
  }

  void remove_temporary(std::string_view path, abort_callback& abort) override {
    abort.check();
    remove_unlocked(system_path(path));
  }

  void discard_temporary(file& temporary, std::string_view path, abort_callback& abort) override {
    const auto* local = dynamic_cast<const local_file*>(&temporary);
    if (local != nullptr && still_names(system_path(path), read_status(local->descriptor()))) remove(path, abort);
  }

  void replace(const replacement& what, abort_callback& abort) override { replace_local_file(what, abort); }
};

service_factory_single_t<local_filesystem, filesystem> factory;

} // namespace

} // namespace zelmora::host
