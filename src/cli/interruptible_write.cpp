#include "cli/interruptible_write.h"

#include "host/errno_map.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zelmora::cli {

namespace {

bool is_fifo(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

bool can_block(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0) return false;
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || isatty(descriptor) == 1;
}

} // namespace

void wait_until_writable(int descriptor, const abort_callback& abort) {
  std::array<pollfd, 2> waited{{{descriptor, POLLOUT, 0}, {abort.get_abort_event(), POLLIN, 0}}};
  for (;;) {
    const int ready = poll(waited.data(), waited.size(), -1);
    if (ready < 0 && errno != EINTR) host::raise_errno(errno);
    if (ready > 0 && waited[0].revents != 0) return;
    abort.check();
  }
}

int open_for_writing(const std::string& path, const abort_callback& abort) {
  constexpr double retry_interval = 0.05; // [s]
  const bool waits = is_fifo(path);
  // Without a reader a FIFO can't be opened this way, rather than keeping its writer inside the system.
  const int flags = O_WRONLY | O_CLOEXEC | (waits ? O_NONBLOCK : 0);
  for (;;) {
    abort.check();
    const int descriptor = open(path.c_str(), flags);
    if (descriptor >= 0) return descriptor;
    if (waits && errno == ENXIO)
      abort.sleep(retry_interval);
    else if (errno != EINTR)
      host::raise_errno(errno);
  }
}

interruptible_writer::interruptible_writer(int descriptor, const abort_callback& abort)
    : descriptor_(descriptor), abort_(abort), may_block_(can_block(descriptor)) {
  // Whether a descriptor blocks is shared with whoever has the same one open, so that is not ours to change. Opened
  // anew it is; a pipe then takes as much as it has room for, which is several times as fast as small writes.
  const auto again = fmt::format("/proc/self/fd/{}", descriptor);
  if (!may_block_ || !is_fifo(again)) return;
  reopened_ = open(again.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
  if (reopened_ < 0) return;
  descriptor_ = reopened_;
  may_block_ = false;
}

interruptible_writer::~interruptible_writer() {
  if (reopened_ >= 0) close(reopened_);
}

std::size_t interruptible_writer::write_some(std::span<const std::byte> bytes) {
  for (;;) {
    // A pipe that polls writable has room for PIPE_BUF bytes (pipe(7)): a write of no more than these returns.
    if (may_block_) wait_until_writable(descriptor_, abort_);
    const auto size = may_block_ ? std::min<std::size_t>(bytes.size(), PIPE_BUF) : bytes.size();
    const auto written = ::write(descriptor_, bytes.data(), size);
    if (written >= 0) return static_cast<std::size_t>(written);
    if (errno == EINTR)
      abort_.check();
    else if (errno == EAGAIN)
      wait_until_writable(descriptor_, abort_);
    else
      host::raise_errno(errno);
  }
}

} // namespace zelmora::cli
