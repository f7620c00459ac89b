#include "cli/worker_pool.h"

#include "cli/interrupt.h"
#include "cli/interruptible_write.h"
#include "cli/json_writer.h"
#include "host/terminal.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace zelmora::cli {

namespace {

exit_status deliver(const outcome& result, standard_output& out) {
  out.write(result.output);
  for (const auto& line : result.errors) {
    // What was said before comes before it on a terminal, too.
    out.flush();
    wait_until_writable(STDERR_FILENO, program_abort());
    host::terminal::get().print_error_line(line);
  }
  return result.status;
}

/// A ring of results between the oldest path not yet delivered and the newest taken.
class ordered_pool {
 public:
  ordered_pool(path_list& paths, unsigned jobs, standard_output& out, const path_work& work)
      : paths_(paths), out_(out), work_(work), slots_(std::size_t{jobs} * results_per_job) {}

  exit_status run(unsigned jobs) {
    paths_.set_before_wait([this] {
      const std::lock_guard hold(output_lock_);
      out_.flush();
    });
    std::vector<std::jthread> threads;
    {
      const interrupts_blocked guard;
      for (unsigned i = 1; i < jobs; ++i) threads.emplace_back([this] { run_thread(); });
    }
    run_thread();
    threads.clear();
    paths_.set_before_wait(nullptr);
    if (!failure_) return status_;
    deliver_finished();
    std::rethrow_exception(failure_);
  }

 private:
  /// How far a quick path may run ahead of a slow one, in results for each thread.
  static constexpr std::size_t results_per_job = 16;

  struct slot {
    outcome result;
    bool finished = false;
  };

  void run_thread() noexcept {
    try {
      std::string path;
      for (std::size_t number = 0; take(path, number);) {
        auto& mine = slots_[number % slots_.size()];
        work_(path, number, mine.result);
        finish(mine);
      }
    } catch (...) {
      const std::lock_guard hold(output_lock_);
      if (!failure_) failure_ = std::current_exception();
      stopped_ = true;
      room_.notify_all();
    }
  }

  /// The next path and its number; false when there are no more, or another thread has failed.
  bool take(std::string& path, std::size_t& number) {
    const std::lock_guard turn(take_lock_);
    {
      std::unique_lock hold(output_lock_);
      room_.wait(hold, [this] { return stopped_ || taken_ - delivered_ < slots_.size(); });
      if (stopped_) return false;
    }
    if (!paths_.next(path)) return false;
    const std::lock_guard hold(output_lock_);
    number = taken_++;
    return true;
  }

  void finish(slot& mine) {
    const std::lock_guard hold(output_lock_);
    mine.finished = true;
    if (stopped_) return; // `deliver_finished` is to come
    while (delivered_ < taken_ && slots_[delivered_ % slots_.size()].finished) {
      auto& oldest = slots_[delivered_ % slots_.size()];
      raise_status(status_, deliver(oldest.result, out_));
      oldest.result.clear();
      oldest.finished = false;
      ++delivered_;
    }
    if (paths_.is_waiting()) out_.flush();
    room_.notify_all();
  }

  /// Behind a failure: what was done is told, with gaps where work was given up.
  void deliver_finished() {
    try {
      for (; delivered_ < taken_; ++delivered_)
        if (auto& next = slots_[delivered_ % slots_.size()]; next.finished) deliver(next.result, out_);
    } catch (const std::exception&) {
      // Nobody takes what is said any more, which is why the work has ended, or adds nothing to why it has.
    }
  }

  path_list& paths_;
  standard_output& out_;
  const path_work& work_;
  std::vector<slot> slots_;
  std::mutex take_lock_;   ///< held by the thread that reads the list; taken before `output_lock_`
  std::mutex output_lock_; ///< guards all below, and the output
  std::condition_variable room_;
  std::size_t taken_ = 0;
  std::size_t delivered_ = 0;
  bool stopped_ = false;
  exit_status status_ = exit_status::done;
  std::exception_ptr failure_;
};

exit_status run_alone(path_list& paths, standard_output& out, const path_work& work) {
  auto status = exit_status::done;
  std::string path;
  outcome result;
  paths.set_before_wait([&out] { out.flush(); });
  for (std::size_t number = 0; paths.next(path); ++number) {
    result.clear();
    work(path, number, result);
    raise_status(status, deliver(result, out));
  }
  paths.set_before_wait(nullptr);
  return status;
}

} // namespace

void fail_path(outcome& result, std::string_view path, const std::exception& failure, report_form form) {
  result.fail(path, failure.what());
  if (form == report_form::json) append_json_error(result.output, path, std::nullopt, failure);
}

unsigned jobs_for_reading(unsigned asked) {
  // Describing a file is mostly waiting for the system, of which a few threads at once get the most.
  return asked != 0 ? asked : std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
}

exit_status work_on_paths(path_list& paths, unsigned jobs, standard_output& out, const path_work& work) {
  if (const auto count = paths.count()) jobs = static_cast<unsigned>(std::min<std::size_t>(jobs, *count));
  return jobs <= 1 ? run_alone(paths, out, work) : ordered_pool(paths, jobs, out, work).run(jobs);
}

} // namespace zelmora::cli
