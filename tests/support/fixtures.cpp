#include "support/fixtures.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zelmora::test {

std::string fixture_path(std::string_view name) { return std::string(ZELMORA_TEST_DATA "/").append(name); }

std::vector<std::byte> load_fixture(std::string_view name) { return load_file(fixture_path(name)); }

std::vector<std::byte> load_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("no such file: " + path);
  std::vector<char> text(std::filesystem::file_size(path));
  in.read(text.data(), static_cast<std::streamsize>(text.size()));
  std::vector<std::byte> result(text.size());
  std::ranges::transform(text, result.begin(), [](char c) { return static_cast<std::byte>(c); });
  return result;
}

std::vector<std::vector<std::string>> load_fixture_table(std::string_view name) {
  const auto bytes = load_fixture(name);
  std::istringstream in(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  std::vector<std::vector<std::string>> rows;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line.front() == '#') continue;
    auto& row = rows.emplace_back();
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, '\t');) row.push_back(std::move(cell));
  }
  return rows;
}

} // namespace zelmora::test
