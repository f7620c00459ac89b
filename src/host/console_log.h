// What was printed on the console.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::host {

/// The last lines, the oldest first. With $ZELMORA_CONSOLE set they go to standard error as well.
std::vector<std::string> recent_console_lines();

/// Told of each line from now on, on the thread that prints it; null for nobody.
void set_console_listener(std::function<void(std::string_view line)> listener);

} // namespace zelmora::host
