// Values are those of errno(3) on Linux; each goes to the row of `raise_win32_io_error` that has its meaning, so that
// one table holds the classes and their texts.
#include "host/errno_map.h"

#include "frame/exceptions.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <fmt/core.h>
#include <system_error>

namespace zelmora::host {

namespace {

enum win32_code : std::uint32_t {
  invalid_function = 1,
  file_not_found = 2,
  path_not_found = 3,
  access_denied = 5,
  not_same_device = 17,
  write_protect = 19,
  not_ready = 21,
  sharing_violation = 32,
  netname_deleted = 64,
  broken_pipe = 109,
  buffer_overflow = 111,
  disk_full = 112,
  invalid_name = 123,
  dir_not_empty = 145,
  already_exists = 183,
  no_such_device = 433,
  io_device = 1117,
  network_unreachable = 1231,
  file_corrupt = 1392,
  no_system_resources = 1450,
};

struct errno_meaning {
  int error;
  win32_code code;
};

constexpr std::array meanings{
    errno_meaning{ENOSYS, invalid_function},
    errno_meaning{EOPNOTSUPP, invalid_function},
    errno_meaning{ENOENT, file_not_found},
    errno_meaning{ENOTDIR, path_not_found},
    errno_meaning{EACCES, access_denied},
    errno_meaning{EPERM, access_denied},
    errno_meaning{EXDEV, not_same_device},
    errno_meaning{EROFS, write_protect},
    errno_meaning{ENOMEDIUM, not_ready},
    errno_meaning{EBUSY, sharing_violation},
    errno_meaning{ETXTBSY, sharing_violation},
    errno_meaning{EAGAIN, sharing_violation},
    errno_meaning{ECONNRESET, netname_deleted},
    errno_meaning{EPIPE, broken_pipe},
    errno_meaning{ENAMETOOLONG, buffer_overflow},
    errno_meaning{ENOSPC, disk_full},
    errno_meaning{EDQUOT, disk_full},
    errno_meaning{EILSEQ, invalid_name},
    errno_meaning{ENOTEMPTY, dir_not_empty},
    errno_meaning{EEXIST, already_exists},
    errno_meaning{ENODEV, no_such_device},
    errno_meaning{ENXIO, no_such_device},
    errno_meaning{EIO, io_device},
    errno_meaning{EREMOTEIO, io_device},
    errno_meaning{ENETDOWN, network_unreachable},
    errno_meaning{ENETUNREACH, network_unreachable},
    errno_meaning{EHOSTDOWN, network_unreachable},
    errno_meaning{EHOSTUNREACH, network_unreachable},
    errno_meaning{ENOTCONN, network_unreachable},
    errno_meaning{ETIMEDOUT, network_unreachable},
    errno_meaning{ESTALE, network_unreachable}, // a network file that the server no longer knows
    errno_meaning{EUCLEAN, file_corrupt},       // how file systems report damaged structures of their own
    errno_meaning{EBADMSG, file_corrupt},
    errno_meaning{ENOMEM, no_system_resources},
    errno_meaning{ENOBUFS, no_system_resources},
    errno_meaning{ENOLCK, no_system_resources},
    errno_meaning{EMFILE, no_system_resources},
    errno_meaning{ENFILE, no_system_resources},
};

} // namespace

void raise_errno(int error) {
  if (error == EISDIR) throw zelmora_io::exception_io_denied("Is a directory");
  for (const auto& row : meanings)
    if (row.error == error) raise_win32_io_error(row.code);
  throw zelmora_io::exception_io(
      fmt::format("I/O error (errno {}: {})", error, std::generic_category().message(error)));
}

void raise_open_errno(int error) {
  if (error == EINVAL) raise_win32_io_error(invalid_name);
  raise_errno(error);
}

} // namespace zelmora::host
