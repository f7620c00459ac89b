// One verb over many paths: several at once, results in the order of the paths, whatever their number.
#pragma once

#include "cli/messages.h"
#include "cli/path_list.h"
#include "cli/standard_output.h"

#include <exception>
#include <functional>
#include <string>
#include <vector>

namespace zelmora::cli {

/// What the work on one path has to say.
struct outcome {
  std::string output;              ///< for standard output
  std::vector<std::string> errors; ///< whole lines for standard error
  exit_status status = exit_status::done;

  void clear() {
    output.clear();
    errors.clear();
    status = exit_status::done;
  }
  void add_error(std::string_view subject, std::string_view message) { errors.push_back(error_line(subject, message)); }
  void fail(std::string_view subject, std::string_view message, exit_status with = exit_status::failed) {
    add_error(subject, message);
    raise_status(status, with);
  }
};

enum class report_form { text, json };
inline report_form form_of(bool json) { return json ? report_form::json : report_form::text; }

/// A path that failed: its line on standard error, and in JSON its object on standard output.
void fail_path(outcome& result, std::string_view path, const std::exception& failure, report_form form);

/// How many threads describe files: what the user has `asked` for, or if that is 0 as many as suit the machine.
unsigned jobs_for_reading(unsigned asked);

/// Works on the path that is number `number` [0, count) of the list; `result` comes empty. Called by several threads at
/// once. Raises nothing but `exception_aborted` and `standard_output_failure`: failures go into the result.
using path_work = std::function<void(const std::string& path, std::size_t number, outcome& result)>;

/// Works on all of `paths` with `jobs` threads and writes the results in the order of the paths, a bounded number of
/// them being held back. Returns the gravest status. Passes on `exception_aborted`, `standard_output_failure` and what
/// the list raises, after all threads have ended and what they had finished is written.
exit_status work_on_paths(path_list& paths, unsigned jobs, standard_output& out, const path_work& work);

} // namespace zelmora::cli
