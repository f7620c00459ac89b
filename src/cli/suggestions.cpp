#include "cli/suggestions.h"

#include "frame/text.h"

#include <algorithm>
#include <optional>

namespace zelmora::cli {

namespace {

constexpr std::size_t most_suggestions = 3;
/// Comparing costs the product of the lengths.
constexpr std::size_t longest_guess = 128;

/// How many letters must be inserted, deleted, replaced or swapped with their neighbours to make one from the other.
std::size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) cost[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j) cost[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replace = cost[i - 1][j - 1] + (a[i - 1] != b[j - 1]);
      cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, replace});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
    }
  }
  return cost[a.size()][b.size()];
}

/// How far `name` is from what was given; none when it is too far for a slip. Both are folded.
std::optional<std::size_t> distance_to(std::string_view given, std::string_view name) {
  if (name.starts_with(given)) return 0;
  constexpr std::size_t shortest_part = 3; // fewer letters are in every other name
  if (given.size() >= shortest_part && name.find(given) != std::string_view::npos) return 1;
  const auto distance = edit_distance(given, name);
  if (distance > std::max<std::size_t>(2, given.size() / 5)) return std::nullopt;
  return distance;
}

} // namespace

std::vector<std::string> nearest_names(std::string_view given, const std::vector<std::string>& names) {
  struct candidate {
    std::size_t distance;
    const std::string* name;
  };
  std::vector<std::string> result;
  if (given.empty() || given.size() > longest_guess) return result;
  std::vector<candidate> candidates;
  const auto folded = fold_utf8(given);
  for (const auto& name : names)
    if (const auto distance = distance_to(folded, fold_utf8(name))) candidates.push_back({*distance, &name});
  std::ranges::stable_sort(candidates, {}, &candidate::distance);
  for (const auto& each : candidates)
    if (result.size() < most_suggestions) result.push_back(*each.name);
  return result;
}

} // namespace zelmora::cli
