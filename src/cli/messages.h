// What the program says on standard error, and how it ends.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace zelmora::cli {

/// In ascending weight: of two, the greater tells more.
enum class exit_status : int { done = 0, failed = 1, usage = 2, interrupted = 130 };

inline void raise_status(exit_status& status, exit_status to) { status = std::max(status, to); }

/// Adds `text` as `escape_for_display` has it: at the price of a copy where nothing needs escaping.
void append_display(std::string& out, std::string_view text);

/// "zel: SUBJECT: MESSAGE", fit for one line of a terminal. The subject is a path or a setting's key; an empty one is
/// shown as "".
std::string error_line(std::string_view subject, std::string_view message);
/// Puts `error_line` on standard error.
void print_error(std::string_view subject, std::string_view message);
/// "zel: MESSAGE", where there is no subject.
void print_error(std::string_view message);

} // namespace zelmora::cli
