// What somebody may have meant who wrote a name that there is not.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelmora::cli {

/// Those of `names` that `given` may stand for, likeliest first, three at most: names that begin with it or hold it,
/// then those from which it differs by slips of the fingers. Case does not matter.
std::vector<std::string> nearest_names(std::string_view given, const std::vector<std::string>& names);

} // namespace zelmora::cli
