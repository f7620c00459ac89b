#include "cli/progress.h"

#include "frame/text.h"
#include "host/terminal.h"

#include <fmt/core.h>

namespace zelmora::cli {

namespace {

constexpr std::chrono::milliseconds patience{300};
constexpr std::size_t longest_label = 40;

/// The end of a long name tells more than its beginning. Cut between characters.
std::string label_of(std::string_view path) {
  auto label = escape_for_display(path_file_name(path));
  if (label.size() <= longest_label) return label;
  auto from = label.size() - longest_label;
  while (from < label.size() && (static_cast<unsigned char>(label[from]) & 0xC0) == 0x80) ++from;
  return "..." + label.substr(from);
}

} // namespace

progress::progress(std::optional<std::size_t> paths)
    : paths_(paths), next_(std::chrono::steady_clock::now() + patience),
      enabled_(host::terminal::get().has_progress()) {}

progress::~progress() {
  if (shown_) host::terminal::get().clear_progress();
}

void progress::show(std::string_view path, double fraction) {
  if (!enabled_ || std::chrono::steady_clock::now() < next_) return;
  shown_ = true;
  auto label = label_of(path);
  if (paths_ && *paths_ > 1) {
    const auto count = static_cast<double>(*paths_);
    label += fmt::format(" ({} of {} done)", finished_.load(), *paths_);
    fraction = (static_cast<double>(finished_.load()) + (fraction < 0 ? 0 : fraction)) / count;
  }
  host::terminal::get().show_progress(label, fraction);
}

void progress::finish_path() { ++finished_; }

} // namespace zelmora::cli
