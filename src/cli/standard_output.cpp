#include "cli/standard_output.h"

#include "cli/interrupt.h"
#include "frame/bytes.h"
#include "frame/exceptions.h"
#include "host/terminal.h"

#include <unistd.h>

namespace zelmora::cli {

standard_output::standard_output() : writer_(STDOUT_FILENO, program_abort()), is_terminal_(isatty(STDOUT_FILENO) == 1) {
  buffer_.reserve(capacity);
}

void standard_output::write(std::string_view text) {
  if (buffer_.size() + text.size() > capacity) flush();
  buffer_ += text;
}

void standard_output::flush() {
  if (buffer_.empty()) return;
  if (is_terminal_) host::terminal::get().clear_progress();
  try {
    write_buffer();
  } catch (const zelmora_io::exception_io& failure) {
    buffer_.clear();
    const bool is_closed = dynamic_cast<const zelmora_io::exception_io_no_data*>(&failure) != nullptr;
    throw standard_output_failure(failure.what(), is_closed);
  }
}

void standard_output::write_buffer() {
  std::size_t written = 0;
  try {
    while (written < buffer_.size()) written += writer_.write_some(as_byte_span(buffer_).subspan(written));
  } catch (const zelmora_io::exception_aborted&) {
    buffer_.erase(0, written); // so that nothing goes out twice
    throw;
  }
  buffer_.clear();
}

} // namespace zelmora::cli
