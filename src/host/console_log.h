// What was printed on the console.
#pragma once

#include <string>
#include <vector>

namespace zelmora::host {

/// The last lines, the oldest first. With $ZELMORA_CONSOLE set they go to standard error as well.
std::vector<std::string> recent_console_lines();

} // namespace zelmora::host
