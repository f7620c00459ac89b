// The terminal front end: one place that owns standard error, so that progress, messages and log lines never mix.
#pragma once

#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

namespace zelmora::host {

/// Thread-safe. The progress line is shown only where standard error is a terminal, and redrawn at most 20 times a
/// second.
class terminal {
 public:
  static terminal& get();

  /// A whole line on standard error, above the progress line.
  void print_error_line(std::string_view line);
  /// Shows "label  [#####     ]  42%" on the last line; `fraction` [0, 1]. A fraction below 0 shows the label alone.
  void show_progress(std::string_view label, double fraction);
  void clear_progress();
  /// Whether somebody sits there: standard input is a terminal.
  static bool can_ask();
  /// Reads a line from the terminal; false when there is none, or no more.
  bool ask_line(std::string_view question, std::string& answer);

  bool has_progress() const noexcept { return is_terminal_; }
  /// No progress line whatever standard error is.
  void disable_progress() noexcept { is_terminal_ = false; }

 private:
  terminal();
  void draw();
  void erase();

  std::mutex lock_;
  bool is_terminal_;
  std::string shown_;
  double last_draw_ = 0; ///< [s] on the steady clock
};

} // namespace zelmora::host
