// How much work describing files may be, by an option of the command line.
#pragma once

namespace zelmora::host {

enum class effort {
  full, ///< whatever tells the truth
  fast  ///< no file is read whole
};

/// What `describing_effort` answers from now on.
void set_effort(effort wanted) noexcept;

} // namespace zelmora::host
