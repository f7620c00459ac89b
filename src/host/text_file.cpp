#include "host/text_file.h"

#include "frame/exceptions.h"
#include "frame/filesystem.h"
#include "frame/text.h"

#include <algorithm>
#include <fmt/core.h>

namespace zelmora::host {

namespace {

/// Far above what a tag should hold, and a bound for what is no text at all.
constexpr std::uint64_t longest_value = 16'777'216; // [bytes]

} // namespace

std::string read_text_file(const std::string& path, abort_callback& abort) {
  try {
    file_ptr source;
    zelmora_io::filesystem::g_open(source, path, zelmora_io::open_mode::read, abort);
    if (const auto size = source->get_size(abort); size != zelmora_io::file::unknown_size && size > longest_value)
      throw zelmora_io::exception_io_data(fmt::format("The file is longer than {} bytes", longest_value));
    const auto bytes = zelmora_io::file::g_read_whole(*source, abort, longest_value);
    std::string text(bytes.size(), '\0');
    std::ranges::transform(bytes, text.begin(), [](std::byte b) { return std::to_integer<char>(b); });
    // RFC 3629, section 6: a signature is no part of the text.
    if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
    // Editors end the last line, too.
    if (text.ends_with('\n')) text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
    // Several formats part values by a NUL.
    if (!is_valid_utf8(text) || text.find('\0') != std::string::npos)
      throw zelmora_io::exception_io_data("The file is no UTF-8 text");
    return text;
  } catch (const zelmora_io::exception_io& failure) {
    throw zelmora_io::exception_io(path + ": " + failure.what());
  }
}

} // namespace zelmora::host
