// A file whose text is a value.
#pragma once

#include "frame/abort_callback.h"

#include <string>

namespace zelmora::host {

/// The text of the UTF-8 file at `path`, without a byte-order mark and without its last line end. What is no text, or
/// far too long for one, raises `exception_io`; the message begins with the path.
std::string read_text_file(const std::string& path, abort_callback& abort);

} // namespace zelmora::host
