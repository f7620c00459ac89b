// Questions that are answered beforehand, by an option of the command line.
#pragma once

namespace zelmora::host {

enum class answers {
  asked, ///< on the terminal; no where there is none
  yes
};

/// How `popup_message::ask` answers from now on.
void set_answers(answers wanted) noexcept;

} // namespace zelmora::host
