#include "cli/path_list.h"

#include "frame/exceptions.h"
#include "host/errno_map.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace zelmora::cli {

namespace {

constexpr std::size_t read_size = 65'536;

} // namespace

path_list::path_list(const path_arguments& arguments, abort_callback& abort) : arguments_(arguments), abort_(abort) {
  list_ended_ = arguments_.list.empty();
}

path_list::~path_list() {
  if (descriptor_ > STDIN_FILENO) close(descriptor_);
}

std::optional<std::size_t> path_list::count() const {
  if (!arguments_.list.empty()) return std::nullopt;
  return arguments_.paths.size();
}

bool path_list::next(std::string& path) {
  if (next_argument_ < arguments_.paths.size()) {
    path = arguments_.paths[next_argument_++];
    return true;
  }
  const char separator = arguments_.nul_separated ? '\0' : '\n';
  std::size_t searched = consumed_;
  for (;;) {
    const auto end = buffer_.find(separator, searched);
    if (end != std::string::npos) {
      path.assign(buffer_, consumed_, end - consumed_);
      consumed_ = searched = end + 1;
      if (path.empty()) continue;
      return true;
    }
    if (buffer_.size() - consumed_ > longest_path) raise_failure("A line is too long");
    buffer_.erase(0, consumed_);
    consumed_ = 0;
    searched = buffer_.size();
    if (fill()) continue;
    path = std::move(buffer_);
    buffer_.clear();
    return !path.empty();
  }
}

void path_list::raise_failure(const std::string& what) const {
  throw zelmora_io::exception_io(arguments_.list + ": " + what);
}

void path_list::open_list() {
  if (arguments_.list == "-") {
    descriptor_ = STDIN_FILENO;
    return;
  }
  // The writer of a FIFO is waited for below, where an interrupt ends the wait.
  do descriptor_ = open(arguments_.list.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  while (descriptor_ < 0 && errno == EINTR && !abort_.is_aborting());
  abort_.check();
  if (descriptor_ >= 0) return;
  try {
    host::raise_errno(errno);
  } catch (const zelmora_io::exception_io& failure) {
    raise_failure(failure.what());
  }
}

void path_list::wait_for_list() {
  std::array<pollfd, 2> waited{{{descriptor_, POLLIN, 0}, {abort_.get_abort_event(), POLLIN, 0}}};
  if (poll(waited.data(), waited.size(), 0) == 0) {
    // Nothing there yet: show what is finished before waiting. The mark comes first, so that what another thread
    // finishes in between is shown by that thread.
    waiting_ = true;
    if (before_wait_) before_wait_();
    // A FIFO that nobody has opened for writing yet would read as ended.
    while (poll(waited.data(), waited.size(), -1) < 0 && errno == EINTR) abort_.check();
    waiting_ = false;
  }
  abort_.check();
}

bool path_list::fill() {
  if (list_ended_) return false;
  if (descriptor_ < 0) open_list();
  const auto old_size = buffer_.size();
  buffer_.resize(old_size + read_size);
  ssize_t got = 0;
  int error = 0;
  do {
    wait_for_list();
    got = read(descriptor_, buffer_.data() + old_size, read_size);
    error = errno;
  } while (got < 0 && (error == EINTR || error == EAGAIN));
  buffer_.resize(old_size + static_cast<std::size_t>(got > 0 ? got : 0));
  if (got < 0) {
    try {
      host::raise_errno(error);
    } catch (const zelmora_io::exception_io& failure) {
      raise_failure(failure.what());
    }
  }
  list_ended_ = got == 0;
  return !list_ended_;
}

} // namespace zelmora::cli
