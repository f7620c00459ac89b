#include "cli/messages.h"

#include "frame/text.h"
#include "host/terminal.h"

namespace zelmora::cli {

std::string error_line(std::string_view subject, std::string_view message) {
  std::string line = "zel: ";
  if (!subject.empty()) line += escape_for_display(subject) + ": ";
  return line + escape_for_display(message);
}

void print_error(std::string_view subject, std::string_view message) {
  host::terminal::get().print_error_line(error_line(subject, message));
}

} // namespace zelmora::cli
