#include "cli/messages.h"

#include "frame/text.h"
#include "host/terminal.h"

namespace zelmora::cli {

void append_display(std::string& out, std::string_view text) {
  if (is_printable_ascii(text))
    out += text;
  else
    out += escape_for_display(text);
}

std::string error_line(std::string_view subject, std::string_view message) {
  std::string line = "zel: ";
  append_display(line, subject.empty() ? "\"\"" : subject);
  line += ": ";
  append_display(line, message);
  return line;
}

void print_error(std::string_view subject, std::string_view message) {
  host::terminal::get().print_error_line(error_line(subject, message));
}

void print_error(std::string_view message) {
  host::terminal::get().print_error_line("zel: " + escape_for_display(message));
}

} // namespace zelmora::cli
