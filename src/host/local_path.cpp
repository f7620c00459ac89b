#include "host/local_path.h"

#include "frame/exceptions.h"
#include "frame/text.h"
#include "host/errno_map.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <unistd.h>
#include <vector>

namespace zelmora::host {

namespace {

constexpr std::string_view file_scheme = "file://";
constexpr std::string_view scheme_mark = "://";

constexpr bool is_ascii_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

bool has_file_scheme(std::string_view path) {
  return path.size() >= file_scheme.size() && ascii_equal(path.substr(0, file_scheme.size()), file_scheme);
}

/// RFC 3986, 3.1: a letter, then letters, digits, "+", "-" and ".".
bool has_scheme(std::string_view path) {
  const auto mark = path.find(scheme_mark);
  if (mark == std::string_view::npos || mark == 0 || !is_ascii_letter(path.front())) return false;
  return std::ranges::all_of(path.substr(0, mark), [](char c) {
    return is_ascii_letter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
  });
}

std::string current_directory() {
  const std::unique_ptr<char, decltype(&std::free)> directory(::getcwd(nullptr, 0), &std::free);
  if (!directory) raise_errno(errno);
  return directory.get();
}

} // namespace

bool is_local_path(std::string_view path) noexcept {
  if (path.empty() || path.find('\0') != std::string_view::npos) return false;
  return has_file_scheme(path) || !has_scheme(path);
}

std::string system_path(std::string_view path) {
  if (has_file_scheme(path)) {
    path.remove_prefix(file_scheme.size());
    if (!path.starts_with('/')) throw exception_io_invalid_path_syntax();
  }
  return std::string(path);
}

std::string canonical_local_path(std::string_view path) {
  const auto bare = system_path(path);
  const auto absolute = bare.starts_with('/') ? bare : current_directory() + "/" + bare;
  std::vector<std::string_view> elements;
  for (std::size_t begin = 0; begin < absolute.size();) {
    const auto end = std::min(absolute.find('/', begin), absolute.size());
    const auto element = std::string_view(absolute).substr(begin, end - begin);
    begin = end + 1;
    if (element.empty() || element == ".") continue;
    if (element != "..") {
      elements.push_back(element);
    } else if (!elements.empty()) {
      elements.pop_back();
    }
  }
  std::string result(file_scheme);
  for (const auto element : elements) result.append("/").append(element);
  if (elements.empty()) result += '/';
  return result;
}

std::string local_url(std::string_view absolute) { return std::string(file_scheme).append(absolute); }

std::string parent_directory(std::string_view path) {
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos) return ".";
  return std::string(path.substr(0, std::max<std::size_t>(slash, 1)));
}

} // namespace zelmora::host
