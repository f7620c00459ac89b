// Questions and dialogs that are answered beforehand, by options of the command line.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace zelmora::host {

enum class answers {
  asked, ///< on the terminal; where there is none, questions are answered with no
  yes    ///< and dialogs with their defaults
};

/// How `popup_message::ask` and `dialog_host::show` answer from now on.
void set_answers(answers wanted) noexcept;
answers get_answers() noexcept;

/// The value of the field of that option, as text.
struct dialog_answer {
  std::string option;
  std::string text;
};

/// What dialogs are not to ask for from now on.
void set_dialog_answers(std::vector<dialog_answer> given);

/// Options are missing, or not what a dialog takes, and there is nobody to ask.
class dialog_unanswered : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

} // namespace zelmora::host
