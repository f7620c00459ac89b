#include "host/terminal.h"

#include "frame/text.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fmt/core.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace zelmora::host {

namespace {

constexpr double redraw_interval = 0.05; // [s]
constexpr std::size_t bar_width = 30;

/// ECMA-48: back to the first column, and EL, erase to the end of the line.
constexpr std::string_view erase_line = "\r\x1b[K";

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

bool is_usable_terminal() {
  const char* const kind = std::getenv("TERM");
  return ::isatty(STDERR_FILENO) != 0 && kind != nullptr && std::string_view(kind) != "dumb";
}

std::size_t columns() {
  constexpr std::size_t usual = 80;
  winsize size{};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usual;
  return size.ws_col;
}

constexpr bool continues_character(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

/// The first `count` characters of UTF-8 text.
std::string_view first_characters(std::string_view text, std::size_t count) {
  std::size_t at = 0;
  while (at < text.size() && (continues_character(text[at]) || count-- > 0)) ++at;
  return text.substr(0, at);
}

std::string progress_line(std::string_view label, double fraction) {
  const auto text = escape_for_display(label);
  const auto width = columns() - 1; // a full last column would wrap on some terminals
  if (!(fraction >= 0)) return std::string(first_characters(text, width));
  const auto part = std::min(fraction, 1.0);
  const auto filled = static_cast<std::size_t>(std::lround(part * bar_width));
  const auto bar = fmt::format("  [{:<{}}] {:3.0f}%", std::string(filled, '#'), bar_width, std::floor(part * 100));
  return std::string(first_characters(text, width - std::min(width, bar.size()))) + bar;
}

void put(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); }

} // namespace

terminal& terminal::get() {
  static terminal instance;
  return instance;
}

terminal::terminal() : is_terminal_(is_usable_terminal()) {}

void terminal::erase() {
  if (!shown_.empty()) put(erase_line);
}

void terminal::draw() {
  if (!shown_.empty()) put(shown_);
  std::fflush(stderr);
}

void terminal::print_error_line(std::string_view line) {
  const auto whole = std::string(line) + "\n";
  const std::scoped_lock lock(lock_);
  erase();
  put(whole);
  draw();
}

void terminal::show_progress(std::string_view label, double fraction) {
  const std::scoped_lock lock(lock_);
  if (!is_terminal_) return;
  const auto time = now();
  if (!shown_.empty() && time - last_draw_ < redraw_interval) return;
  last_draw_ = time;
  erase();
  shown_ = progress_line(label, fraction);
  draw();
}

void terminal::clear_progress() {
  const std::scoped_lock lock(lock_);
  erase();
  shown_.clear();
  draw();
}

bool terminal::can_ask() { return ::isatty(STDIN_FILENO) != 0; }

bool terminal::ask_line(std::string_view question, std::string& answer) {
  if (!can_ask()) return false;
  const std::scoped_lock lock(lock_);
  erase();
  shown_.clear();
  put(escape_for_display(question));
  draw();
  answer.clear();
  for (;;) {
    const int c = std::getc(stdin);
    if (c == EOF) return !answer.empty();
    if (c == '\n') return true;
    answer += static_cast<char>(c);
  }
}

} // namespace zelmora::host
