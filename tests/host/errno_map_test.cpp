#include "host/errno_map.h"

#include "frame/exceptions.h"
#include "host_fixture.h"

namespace zelmora {
namespace {

using test::raised;

struct meaning {
  int error;
  const char* failure;
};
class ErrnoMap : public testing::TestWithParam<meaning> {};

TEST_P(ErrnoMap, RaisesByMeaning) {
  EXPECT_EQ(raised([] { host::raise_errno(GetParam().error); }), GetParam().failure);
  if (GetParam().error != EINVAL) {
    EXPECT_EQ(raised([] { host::raise_open_errno(GetParam().error); }), GetParam().failure);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Errors, ErrnoMap,
    testing::Values(meaning{ENOENT, "exception_io_not_found: Object not found"},
                    meaning{ENOTDIR, "exception_io_not_found: Object not found"},
                    meaning{EACCES, "exception_io_denied: Access denied"},
                    meaning{EPERM, "exception_io_denied: Access denied"},
                    meaning{EISDIR, "exception_io_denied: Is a directory"},
                    meaning{EROFS, "exception_io_write_protected: The media is write protected"},
                    meaning{ENOSPC, "exception_io_device_full: Device full"},
                    meaning{EDQUOT, "exception_io_device_full: Device full"},
                    meaning{EEXIST, "exception_io_already_exists: Object already exists"},
                    meaning{ENOTEMPTY, "exception_io_directory_not_empty: Directory not empty"},
                    meaning{EBUSY, "exception_io_sharing_violation: File is already in use"},
                    meaning{ETXTBSY, "exception_io_sharing_violation: File is already in use"},
                    meaning{EWOULDBLOCK, "exception_io_sharing_violation: File is already in use"},
                    meaning{EXDEV, "exception_io: Source and destination must be on the same device"},
                    meaning{EIO, "exception_io: Device error"},
                    meaning{ENAMETOOLONG, "exception_io_buffer_overflow: The file name is too long"},
                    meaning{EPIPE, "exception_io_no_data: The process receiving or sending data has terminated"},
                    meaning{ENETUNREACH, "exception_io_network_not_reachable: Network not reachable"},
                    meaning{ETIMEDOUT, "exception_io_network_not_reachable: Network not reachable"},
                    meaning{EMFILE, "exception_io: Insufficient system resources"},
                    meaning{ENOMEM, "exception_io: Insufficient system resources"},
                    meaning{ENOMEDIUM, "exception_io_device_not_ready: Device not ready"},
                    meaning{ENXIO, "exception_io_invalid_drive: Drive not found"},
                    meaning{EUCLEAN, "exception_io_file_corrupted: The file is corrupted"},
                    meaning{EILSEQ, "exception_io_invalid_path_syntax: Invalid path syntax"},
                    meaning{ENOSYS, "exception_io_unsupported_feature: Unsupported feature"},
                    meaning{EINVAL, "exception_io: I/O error (errno 22: Invalid argument)"},
                    meaning{ELOOP, "exception_io: I/O error (errno 40: Too many levels of symbolic links)"}),
    [](const auto& instance) { return "errno_" + std::to_string(instance.param.error); });

TEST(ErrnoMapOpen, InvalidNames) {
  EXPECT_EQ(raised([] { host::raise_open_errno(EINVAL); }), "exception_io_invalid_path_syntax: Invalid path syntax");
}

} // namespace
} // namespace zelmora
