// The text of local paths. A path is a byte string: a bare one, or "file://" before the bytes of an absolute one.
// Nothing is percent-decoded, so that every name that the system allows has exactly one such form.
#pragma once

#include <string>
#include <string_view>

namespace zelmora::host {

/// Whether the local file system answers for `path`: not empty, no NUL inside, no scheme but "file".
bool is_local_path(std::string_view path) noexcept;

/// `path` as the system takes it. Raises `exception_io_invalid_path_syntax` for "file://" before no absolute path.
std::string system_path(std::string_view path);

/// "file://" and `path` made absolute, without empty, "." and ".." elements. Links are not followed.
std::string canonical_local_path(std::string_view path);

/// "file://" before a system path that is absolute.
std::string local_url(std::string_view absolute);

/// The directory that holds `path`, without a slash at its end but for the root's own; "." for a bare name.
std::string parent_directory(std::string_view path);

} // namespace zelmora::host
