#include "cli/decode_targets.h"

#include "frame/exceptions.h"
#include "frame/text.h"
#include "host/local_path.h"

#include <fmt/core.h>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <unordered_map>
#include <utility>

namespace zelmora::cli {

namespace {

using file_identity = std::pair<dev_t, ino_t>;

/// Nothing for what is no local file.
std::optional<file_identity> identity_of(const std::string& path) {
  if (!host::is_local_path(path)) return std::nullopt;
  struct stat status {};
  try {
    if (stat(host::system_path(path).c_str(), &status) != 0) return std::nullopt;
  } catch (const zelmora_io::exception_io&) {
    return std::nullopt;
  }
  return file_identity{status.st_dev, status.st_ino};
}

} // namespace

std::string output_name(std::string_view path, std::string_view extension) {
  std::string name;
  if (const auto colon = path.find("://"); colon != std::string_view::npos && !host::is_local_path(path)) {
    name = fmt::format("{}-{}", path.substr(0, colon), path.substr(colon + 3));
    for (auto& c : name)
      if (c == '/') c = '_';
  } else {
    const auto file = path_file_name(path);
    const auto dot = file.rfind('.');
    name = file.substr(0, dot == 0 ? std::string_view::npos : dot); // ".hidden" is all name
  }
  return fmt::format("{}.{}", name, extension);
}

bool is_same_file(const std::string& a, const std::string& b) {
  const auto first = identity_of(a);
  return first && first == identity_of(b);
}

std::vector<decode_target> plan_targets(const std::vector<std::string>& paths, const std::string& directory,
                                        std::string_view extension) {
  std::set<file_identity> sources;
  for (const auto& path : paths)
    if (const auto identity = identity_of(path)) sources.insert(*identity);
  std::unordered_map<std::string, std::string_view> owners;
  std::vector<decode_target> result;
  const std::string base = directory.ends_with('/') ? directory : directory + '/';
  for (const auto& path : paths) {
    auto& target = result.emplace_back();
    target.output = base + output_name(path, extension);
    const auto [owner, is_new] = owners.try_emplace(target.output, path);
    const auto existing = identity_of(target.output);
    if (!is_new)
      target.refusal = fmt::format("Its output {} is that of {}", target.output, owner->second);
    else if (existing && sources.contains(*existing))
      target.refusal = fmt::format("Its output {} is one of the files to decode", target.output);
  }
  return result;
}

} // namespace zelmora::cli
