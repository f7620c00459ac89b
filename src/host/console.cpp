#include "host/console_log.h"

#include "frame/host_services.h"
#include "frame/text.h"
#include "host/terminal.h"

#include <cstdlib>
#include <deque>
#include <mutex>

namespace zelmora::host {

namespace {

/// Enough to tell what led to a failure.
constexpr std::size_t lines_kept = 100;

class console_lines {
 public:
  void add(std::string_view line) {
    const std::scoped_lock lock(lock_);
    if (lines_.size() == lines_kept) lines_.pop_front();
    lines_.emplace_back(line);
    if (listener_) listener_(line);
  }
  void set_listener(std::function<void(std::string_view line)> listener) {
    const std::scoped_lock lock(lock_);
    listener_ = std::move(listener);
  }
  std::vector<std::string> copy() {
    const std::scoped_lock lock(lock_);
    return {lines_.begin(), lines_.end()};
  }

 private:
  std::mutex lock_;
  std::deque<std::string> lines_;
  std::function<void(std::string_view line)> listener_;
};

console_lines& lines() {
  static console_lines instance;
  return instance;
}

class console_impl : public console {
 public:
  void print(std::string_view line) override {
    lines().add(line);
    if (std::getenv("ZELMORA_CONSOLE") != nullptr) terminal::get().print_error_line(escape_for_display(line));
  }
};

service_factory_single_t<console_impl> factory;

} // namespace

void set_console_listener(std::function<void(std::string_view line)> listener) {
  lines().set_listener(std::move(listener));
}

std::vector<std::string> recent_console_lines() { return lines().copy(); }

} // namespace zelmora::host
