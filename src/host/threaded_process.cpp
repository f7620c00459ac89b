#include "frame/exceptions.h"
#include "frame/host_services.h"
#include "frame/text.h"
#include "host/io_statistics.h"
#include "host/jobs.h"
#include "host/terminal.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <fmt/core.h>
#include <mutex>
#include <string>
#include <thread>

namespace zelmora::host {

namespace {

constinit std::atomic<abort_callback*> interrupt{nullptr};

/// A job's progress on the terminal. The job may tell it from threads of its own.
class terminal_status final : public threaded_process_status {
 public:
  explicit terminal_status(std::string_view title) : title_(title) {}
  ~terminal_status() { terminal::get().clear_progress(); }
  terminal_status(const terminal_status&) = delete;
  terminal_status& operator=(const terminal_status&) = delete;

  void set_progress(unsigned progress) override {
    const std::scoped_lock lock(lock_);
    fraction_ = static_cast<double>(std::min(progress, progress_max)) / progress_max;
    show();
  }
  void set_title(std::string_view title) override {
    const std::scoped_lock lock(lock_);
    title_ = title;
    show();
  }
  void set_item(std::string_view item) override {
    const std::scoped_lock lock(lock_);
    item_ = item;
    show();
  }
  void set_item_path(std::string_view path) override { set_item(path_file_name(path)); }

 private:
  void show() const {
    terminal::get().show_progress(item_.empty() ? title_ : fmt::format("{}: {}", title_, item_), fraction_);
  }

  std::mutex lock_;
  std::string title_;
  std::string item_;
  double fraction_ = -1; ///< not told yet
};

/// What a job's thread leaves for the one that waits for it.
struct job_result {
  std::exception_ptr failure;
  io_statistics work;
};

class threaded_process_impl : public threaded_process {
 public:
  bool run_modal(const job& work, std::string_view title) override {
    auto& abort = get_interrupt();
    terminal_status status(title);
    job_result result;
    std::thread worker([&] {
      try {
        work(status, abort);
      } catch (...) {
        result.failure = std::current_exception();
      }
      result.work = thread_io_statistics();
    });
    worker.join();
    // Who measures this thread means the jobs that it waits for as well.
    thread_io_statistics() += result.work;
    if (!result.failure) return true;
    try {
      std::rethrow_exception(result.failure);
    } catch (const zelmora_io::exception_aborted&) {
      return false;
    }
  }
};

service_factory_single_t<threaded_process_impl> factory;

} // namespace

void set_interrupt(abort_callback* token) noexcept { interrupt.store(token); }

abort_callback& get_interrupt() noexcept {
  static abort_callback_dummy never;
  auto* const token = interrupt.load();
  return token != nullptr ? *token : never;
}

} // namespace zelmora::host
