#include "cli/interruptible_write.h"

#include "host/errno_map.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zelmora::cli {

namespace {

bool may_block(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return false;
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
  struct stat status {};
  const bool is_fifo = stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
  // Without a reader a FIFO can't be opened this way, rather than keeping its writer inside the system.
  const int flags = O_WRONLY | O_CLOEXEC | (is_fifo ? O_NONBLOCK : 0);
  for (;;) {
    abort.check();
    const int descriptor = open(path.c_str(), flags);
    if (descriptor >= 0) return descriptor;
    if (is_fifo && errno == ENXIO)
      abort.sleep(retry_interval);
    else if (errno != EINTR)
      host::raise_errno(errno);
  }
}

interruptible_writer::interruptible_writer(int descriptor, const abort_callback& abort)
    : descriptor_(descriptor), abort_(abort), may_block_(may_block(descriptor)) {}

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
      may_block_ = true; // opened without blocking: by us, or by whoever started the program
    else
      host::raise_errno(errno);
  }
}

} // namespace zelmora::cli
