// Putting a finished temporary in a file's place.
#pragma once

#include "frame/filesystem.h"

#include <string>

namespace zelmora::host {

/// What `filesystem_v2::replace` promises, for files of `local_filesystem`.
void replace_local_file(const zelmora_io::filesystem_v2::replacement& what, abort_callback& abort);

} // namespace zelmora::host
