// A host without a plug-in over a directory of its own, and the file-system facts that tests compare.
#pragma once

#include "frame/filesystem.h"
#include "host/host.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zelmora::test {

/// A directory that goes with the object.
class scratch_directory {
 public:
  scratch_directory() {
    auto name = (std::filesystem::temp_directory_path() / "zelmora-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    // Names are compared with what links resolve to.
    path_ = std::filesystem::canonical(name).string();
    std::filesystem::permissions(path_, std::filesystem::perms::all);
  }
  ~scratch_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  scratch_directory(const scratch_directory&) = delete;
  scratch_directory& operator=(const scratch_directory&) = delete;

  const std::string& path() const noexcept { return path_; }
  std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }
  std::vector<std::string> list() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::string path_;
};

inline std::string read_bytes(const std::string& path) {
  std::string content;
  std::array<char, 65536> block;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(std::fopen(path.c_str(), "rb"), &std::fclose);
  while (in) {
    const auto got = std::fread(block.data(), 1, block.size(), in.get());
    content.append(block.data(), got);
    if (got < block.size()) break;
  }
  return content;
}

inline void write_bytes(const std::string& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline struct stat status_of(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status;
}

/// Bytes without a period that a block size would hide.
inline std::string pattern(std::size_t size, unsigned seed = 1) {
  std::string result(size, '\0');
  for (auto& c : result) {
    seed = seed * 1664525u + 1013904223u; // Numerical Recipes' generator
    c = static_cast<char>(seed >> 24);
  }
  return result;
}

/// Runs `work` in a process of its own; its exit status, or minus the signal that ended it. An exception is status 99.
template <class Work>
int run_in_child(Work work) {
  const pid_t child = ::fork();
  if (child == 0) {
    int status = 99;
    try {
      status = work();
    } catch (const std::exception&) {
    }
    ::_exit(status);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

/// "class: message" of what `work` raises; empty when it raises nothing.
template <class Work>
std::string raised(Work work) {
  try {
    work();
  } catch (const std::exception& failure) {
    return exception_class_name(failure) + ": " + failure.what();
  }
  return {};
}

class HostTest : public testing::Test {
 protected:
  file_ptr open(const std::string& path, zelmora_io::open_mode mode = zelmora_io::open_mode::read) {
    file_ptr result;
    zelmora_io::filesystem::g_open(result, path, mode, abort);
    return result;
  }

  scratch_directory scratch;
  host::host_instance host{{"none", scratch / ".config"}};
  abort_callback_dummy abort;
};

} // namespace zelmora::test
