// Putting a finished temporary in a file's place.
#pragma once

#include "frame/filesystem.h"

#include <string>

namespace zelmora::host {

/// What `filesystem_v2::replace` promises, over system paths.
void replace_local_file(const std::string& temporary, const std::string& target, const t_filestats* expected,
                        zelmora_io::durability wanted, abort_callback& abort);

} // namespace zelmora::host
