// `errno` values as the exceptions that stand for them.
#pragma once

namespace zelmora::host {

/// Raises the exception whose meaning `error` has. What has no class of its own raises `exception_io` with the text
/// "I/O error (errno N: TEXT)".
[[noreturn]] void raise_errno(int error);

/// As `raise_errno`, for a path that could not be opened: there EINVAL says that the file system can't have such a
/// name.
[[noreturn]] void raise_open_errno(int error);

} // namespace zelmora::host
