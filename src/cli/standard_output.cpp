#include "cli/standard_output.h"

#include "cli/interrupt.h"
#include "host/errno_map.h"
#include "host/terminal.h"

#include <cerrno>
#include <unistd.h>

namespace zelmora::cli {

standard_output::standard_output() : is_terminal_(isatty(STDOUT_FILENO) == 1) { buffer_.reserve(capacity); }

void standard_output::write(std::string_view text) {
  if (buffer_.size() + text.size() > capacity) flush();
  buffer_ += text;
}

void standard_output::flush() {
  if (buffer_.empty()) return;
  if (is_terminal_) host::terminal::get().clear_progress();
  std::string_view rest = buffer_;
  while (!rest.empty()) {
    const auto written = ::write(STDOUT_FILENO, rest.data(), rest.size());
    if (written >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(written));
      continue;
    }
    const int error = errno;
    if (error == EINTR) {
      program_abort().check();
      continue;
    }
    buffer_.clear();
    try {
      host::raise_errno(error);
    } catch (const std::exception& failure) {
      throw standard_output_failure(failure.what(), error == EPIPE);
    }
  }
  buffer_.clear();
}

} // namespace zelmora::cli
