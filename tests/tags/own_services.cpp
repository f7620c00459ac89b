// The code page and the settings are asked of the host: here, of what is linked into the program.
#include "support/test_services.h"

namespace zelmora::test {
namespace {
[[maybe_unused]] const bool is_attached = (attach_own_services(), true);
} // namespace
} // namespace zelmora::test
