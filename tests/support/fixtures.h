// The files under tests/data.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::test {

/// The path of `name` (such as "wav/s16.wav") under tests/data.
std::string fixture_path(std::string_view name);
/// Its bytes; a missing file raises a standard exception that says so.
std::vector<std::byte> load_fixture(std::string_view name);
/// The bytes of the file at `path`.
std::vector<std::byte> load_file(const std::string& path);

/// A table of text: one row a line, columns between tabs, lines that begin with '#' left out.
std::vector<std::vector<std::string>> load_fixture_table(std::string_view name);

} // namespace zelmora::test
