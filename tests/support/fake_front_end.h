// Stands in for a host's front end: messages and the progress of jobs are kept, questions and dialogs are answered as
// the test says.
#pragma once

#include "frame/abort_callback.h"
#include "frame/dialog.h"

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zelmora::test {

struct shown_message {
  std::string title;
  std::string text;
};

/// The services `popup_message`, `dialog_host` and `threaded_process` of a program that names this: jobs run on the
/// caller's thread.
struct fake_front_end {
  std::vector<shown_message> messages;
  std::vector<std::string> jobs;                       ///< titles
  std::vector<std::pair<unsigned, std::string>> steps; ///< progress and the path told with it
  std::unique_ptr<abort_callback_impl> interrupt;      ///< the token of every job
  std::vector<std::string> questions;
  bool says_yes = false;
  std::vector<dialog_model> dialogs;          ///< as they were shown, with their defaults
  std::map<std::string, std::string> answers; ///< by option; other fields keep their defaults
  std::string refusal;                        ///< what was wrong with the last dialog's values: it is then cancelled
};

/// What has been kept since the last `reset_front_end`.
fake_front_end& front_end();
void reset_front_end();

} // namespace zelmora::test
