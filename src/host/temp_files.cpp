// "tempfile://" and "tempmem://": objects without a name, gone with their last reference. Both come to be when they are
// opened as new; there is never an existing one to open.
#include "frame/filesystem.h"
#include "frame/memory_file.h"
#include "frame/text.h"
#include "host/errno_map.h"
#include "host/local_file.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace zelmora::host {

using namespace zelmora_io;

namespace {

constexpr std::string_view disk_scheme = "tempfile://";
constexpr std::string_view memory_scheme = "tempmem://";

unique_fd create_unnamed_in(const std::string& directory) {
  if (unique_fd fd(::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)); fd) return fd;
  // File systems without unnamed files: a name that is gone at once. EISDIR comes from kernels that know no O_TMPFILE.
  if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) return {};
  auto name = directory + "/zelmora-XXXXXX";
  unique_fd fd(::mkostemp(name.data(), O_CLOEXEC));
  if (fd) ::unlink(name.c_str());
  return fd;
}

/// In $TMPDIR; else in /var/tmp, which is on a disk where /tmp may be memory.
file_ptr create_disk_file() {
  const char* const chosen = std::getenv("TMPDIR");
  std::array<std::string, 3> directories{chosen != nullptr ? chosen : "", "/var/tmp", "/tmp"};
  int error = ENOENT;
  for (const auto& directory : directories) {
    if (directory.empty()) continue;
    open_descriptor opened{create_unnamed_in(directory), {}};
    if (!opened.fd) {
      error = errno;
      continue;
    }
    opened.status = read_status(opened.fd.get());
    return service_new<local_file>(std::move(opened), file_access::read_write);
  }
  raise_errno(error);
}

file_ptr create_memory_file() { return service_new<memory_file>(); }

class temporary_filesystem : public filesystem {
 public:
  temporary_filesystem(std::string_view scheme, file_ptr (*create)()) : scheme_(scheme), create_(create) {}

  bool is_our_path(std::string_view path) override {
    return path.size() >= scheme_.size() && ascii_equal(path.substr(0, scheme_.size()), scheme_);
  }
  bool get_canonical_path(std::string_view path, std::string& out) override { return get_display_path(path, out); }
  bool get_display_path(std::string_view path, std::string& out) override {
    if (!is_our_path(path)) return false;
    out = scheme_;
    return true;
  }
  void open(file_ptr& out, std::string_view, open_mode mode, abort_callback& abort) override {
    abort.check();
    if (mode != open_mode::write_new) throw exception_io_not_found();
    out = create_();
  }
  void remove(std::string_view, abort_callback&) override { throw exception_io_not_found(); }
  void move(std::string_view, std::string_view, abort_callback&) override { throw exception_io_not_found(); }

 private:
  std::string_view scheme_;
  file_ptr (*create_)();
};

service_factory_single_t<temporary_filesystem> disk_factory(disk_scheme, create_disk_file);
service_factory_single_t<temporary_filesystem> memory_factory(memory_scheme, create_memory_file);

} // namespace

} // namespace zelmora::host
