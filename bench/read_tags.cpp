// The tags of many files, read by our tag engine.
//
// read_tags LIST               one path a line; prints how many values were read
// read_tags --memory N FILE    reads and maps the ID3v2 tag of FILE N times from memory
#include "frame/filesystem.h"
#include "host/host.h"
#include "tags/id3v2_tag.h"
#include "tags/tag_processor.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace zelmora;

std::size_t count_values(const file_info& info) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < info.meta_get_count(); ++i) count += info.meta_enum_value_count(i);
  return count;
}

file_ptr open_file(const std::string& path, abort_callback& abort) {
  file_ptr result;
  zelmora_io::filesystem::g_open(result, path, zelmora_io::open_mode::read, abort);
  return result;
}

std::size_t read_list(const char* path, abort_callback& abort) {
  std::ifstream list(path);
  std::size_t values = 0;
  for (std::string line; std::getline(list, line);) {
    file_info_impl info;
    try {
      tag_processor::read(*open_file(line, abort), info, abort);
    } catch (const exception_tag_not_found&) {
      continue;
    }
    values += count_values(info);
  }
  return values;
}

std::size_t read_again_and_again(int times, const char* path, abort_callback& abort) {
  const auto source = open_file(path, abort);
  std::vector<std::byte> tag(tag_processor::skip_id3v2(*source, abort).size);
  source->reopen(abort);
  source->read_object(tag.data(), tag.size(), abort);
  std::size_t values = 0;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i) {
    file_info_impl info;
    read_id3v2(tag, info);
    values += count_values(info);
  }
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  std::fprintf(stderr, "%d tags of %zu bytes: %.1f ms\n", times, tag.size(), took.count());
  return values;
}

} // namespace

int main(int argc, char** argv) try {
  host::host_options options;
  options.plugin_path = "none";
  host::host_instance host(options);
  abort_callback_dummy abort;
  std::size_t values = 0;
  if (argc == 2)
    values = read_list(argv[1], abort);
  else if (argc == 4 && std::string(argv[1]) == "--memory")
    values = read_again_and_again(std::atoi(argv[2]), argv[3], abort);
  else {
    std::fputs("usage: read_tags LIST | --memory N FILE\n", stderr);
    return 2;
  }
  std::printf("%zu\n", values);
  return 0;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "read_tags: %s\n", failure.what());
  return 1;
}
